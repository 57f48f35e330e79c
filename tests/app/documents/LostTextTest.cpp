// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/LibraryFixture.h"
#include "base/Sha256.h"

#include <algorithm>
#include <map>
#include <random>

namespace penmark {
namespace {

using namespace std::chrono_literals;

// Plays what a user, a full disk and other programs do to a few documents and their files, in a random order and with
// answers coming in between. Nothing but the user's own editing may take a text out of a buffer, and nothing but
// another program a text out of a file, that the library does not hold by then.
class LostTextTest : public LibraryFixture, public testing::WithParamInterface<unsigned> {
protected:
    LostTextTest() : LibraryFixture({2ms, 10ms, 5ms, 1, 1 << 20}) {}

    struct Known {
        Uuid id;
        bool shown = true;  // retained by a view
    };

    std::size_t below(std::size_t limit) { return random() % limit; }
    std::string fresh() { return "text " + std::to_string(++texts) + "\n"; }

    void look();
    void compare();
    void edit(RecoveryBuffer& buffer);
    void changeFile(const std::filesystem::path& path);
    void finish(const std::function<void(OriginalFiles::Done)>& action);
    void showAnother(const std::filesystem::path& path);
    void act(int action);
    bool idle() const;
    bool isInLibrary(const std::string& text);

    std::mt19937 random{GetParam()};
    int texts = 0;
    int succeeded = 0;
    int lookups = 0;
    std::vector<Known> known;
    std::vector<std::filesystem::path> paths;
    std::map<Uuid, std::string> seenTexts;
    std::map<std::filesystem::path, std::string> seenFiles;
};

bool LostTextTest::isInLibrary(const std::string& text)
{
    ++lookups;
    const std::string hash = sha256(text);
    return queue.store().query("SELECT count(*) FROM revisions WHERE hash=?", {hash})[0][0] != "0" &&
           ContentStore(queue.store()).loadText(hash) == text;
}

bool LostTextTest::idle() const
{
    const auto all = registry.buffers();
    return std::none_of(all.begin(), all.end(), [](const RecoveryBuffer* buffer) { return buffer->isSaving(); });
}

// What there is now, and must be in the library once it is gone.
void LostTextTest::look()
{
    seenTexts.clear();
    for (const RecoveryBuffer* buffer : registry.buffers()) {
        if (!buffer->text().empty())
            seenTexts.emplace(buffer->id(), buffer->text().text());
    }
    seenFiles.clear();
    for (const auto& path : paths) {
        if (std::filesystem::exists(path))
            seenFiles.emplace(path, readFile(path));
    }
}

void LostTextTest::compare()
{
    for (const auto& [id, text] : seenTexts) {
        const RecoveryBuffer* buffer = registry.find(id);
        if (!buffer || buffer->text().text() != text) {
            EXPECT_TRUE(isInLibrary(text)) << "gone from a buffer: " << text;
        }
    }
    for (const auto& [path, text] : seenFiles) {
        if (!std::filesystem::exists(path) || readFile(path) != text) {
            EXPECT_TRUE(isInLibrary(text)) << "gone from a file: " << text;
        }
    }
}

void LostTextTest::edit(RecoveryBuffer& buffer)
{
    if (!buffer.permitsEditing())
        return;
    const std::size_t choice = below(6);
    if (choice == 0)
        buffer.content().buffer().undo();
    else if (choice == 1)
        buffer.replaceText(TextSnapshot(fresh()));
    else
        type(buffer, fresh());
    look();
}

void LostTextTest::changeFile(const std::filesystem::path& path)
{
    ASSERT_TRUE(waitUntil([&] { return idle(); }));
    compare();
    std::error_code ignored;
    const std::size_t choice = below(3);
    if (choice == 0) {
        std::filesystem::remove(path, ignored);
    } else if (choice == 1) {
        write(path, fresh());
    } else {
        write(files / "new", fresh());
        std::filesystem::rename(files / "new", path);
    }
    look();
}

// Often something else happens before it has ended.
void LostTextTest::finish(const std::function<void(OriginalFiles::Done)>& action)
{
    auto ended = std::make_shared<bool>(false);
    action([this, ended](bool saved) {
        *ended = true;
        succeeded += saved;
    });
    if (below(3) != 0) {
        ASSERT_TRUE(waitUntil([&] { return *ended; }));
    }
}

void LostTextTest::showAnother(const std::filesystem::path& path)
{
    if (known.size() < 5 && below(2) == 0) {
        known.push_back({registry.createDraft().id(), true});
        registry.retain(known.back().id);
        return;
    }
    const Opened opened = open(path);
    if (!opened.buffer)
        return;
    const Uuid id = opened.buffer->id();
    const auto found = std::find_if(known.begin(), known.end(), [&](const Known& each) { return each.id == id; });
    if (found == known.end())
        known.push_back({id, true});
    else if (std::exchange(found->shown, true))
        registry.release(id);
}

void LostTextTest::act(int action)
{
    Known& document = known[below(known.size())];
    RecoveryBuffer* const buffer = registry.find(document.id);
    const auto& path = paths[below(paths.size())];
    const bool replaces = below(2) == 0;
    if (action < 35 && buffer)
        edit(*buffer);
    else if (action < 42 && buffer)
        registry.store(*buffer);
    else if (action < 46)
        commitsToFail = static_cast<int>(1 + below(2));
    else if (action < 56 && buffer)
        finish([&](auto done) { originals.save(*buffer, done); });
    else if (action < 60 && buffer)
        finish([&](auto done) { originals.saveAs(*buffer, path, replaces, done); });
    else if (action < 62 && buffer)
        finish([&](auto done) { originals.saveCopy(*buffer, path, replaces, done); });
    else if (action < 68 && buffer)
        finish([&](auto done) { originals.reload(*buffer, {}, done); });
    else if (action < 76)
        changeFile(path);
    else if (action < 83 && document.shown) {
        document.shown = false;
        registry.release(document.id);
    } else if (action < 90 && !document.shown) {
        document.shown = true;
        registry.load(document.id, &registry, [this](RecoveryBuffer& loaded) { registry.retain(loaded.id()); });
        ASSERT_TRUE(waitUntil([&] { return registry.find(document.id) != nullptr; }));
    } else if (action < 92)
        registry.discard(std::vector{document.id});
    else if (action < 94)
        registry.restore(std::vector{document.id});
    else
        showAnother(path);
}

TEST_P(LostTextTest, NoTextIsLostWhateverHappens)
{
    for (const char* name : {"a.txt", "b.txt", "c.txt"})
        paths.push_back(file(name, fresh()));
    failCommits(0);
    originals.watch();
    for (int i = 0; i < 3; ++i) {
        known.push_back({registry.createDraft().id(), true});
        registry.retain(known.back().id);
    }
    for (int step = 0; step < 4'000; ++step) {
        SCOPED_TRACE(step);
        look();
        const int action = static_cast<int>(below(100));
        act(action);
        for (std::size_t events = below(4); events > 0; --events)
            QCoreApplication::processEvents();
        compare();
        ASSERT_FALSE(HasFailure()) << "behind action " << action;
    }
    // The disk has room again, and the user tries again where there was a conflict.
    commitsToFail = 0;
    for (int i = 0; i < 3; ++i) {
        registry.storeAll(true);
        ASSERT_TRUE(settle());
        ASSERT_TRUE(waitUntil([&] { return idle(); }));
    }
    for (const RecoveryBuffer* buffer : registry.buffers()) {
        EXPECT_TRUE(buffer->isStored()) << buffer->error();
        if (!buffer->text().empty()) {
            EXPECT_EQ(textInLibrary(buffer->id()), buffer->text().text());
        }
    }
    EXPECT_GT(succeeded, 20) << "files were saved and reloaded";
    EXPECT_GT(lookups, 50) << "texts have given way";
}

INSTANTIATE_TEST_SUITE_P(Seeds, LostTextTest, testing::Range(1U, 5U));

}  // namespace
}  // namespace penmark
