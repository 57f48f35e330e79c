// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/RecoveryBuffer.h"

#include "base/Utf8.h"

#include <random>

#include <gtest/gtest.h>

namespace penmark {
namespace {

// Few different characters, some of which begin or end with the same bytes, so that texts differ inside of characters.
std::vector<std::string> randomCharacters(std::mt19937& random, std::size_t limit)
{
    static const std::string alphabet[] = {"a", "b", "\n", "\r", "é", "è", "©", "€", "₭", "😀", "😁", "🨀"};
    std::vector<std::string> characters(random() % limit);
    for (std::string& character : characters)
        character = alphabet[random() % std::size(alphabet)];
    return characters;
}

std::string joined(const std::vector<std::string>& characters, std::size_t from = 0, std::size_t to = std::string::npos)
{
    std::string text;
    for (std::size_t i = from; i < std::min(to, characters.size()); ++i)
        text += characters[i];
    return text;
}

struct Recorder final : TextObserver {
    void textChanged(const TextChange& change) override { edits.push_back(change.edit); }
    std::vector<TextEdit> edits;
};

TEST(RecoveryBufferTest, ReplacingTextIsOneSmallestEditOnCharacterBoundaries)
{
    std::mt19937 random(20'261);
    for (int round = 0; round < 3'000; ++round) {
        SCOPED_TRACE(round);
        const auto before = randomCharacters(random, 12);
        auto after = randomCharacters(random, 12);
        if (round % 3 != 0) {  // mostly what it was, with another middle
            const auto insert = randomCharacters(random, 3);
            after = before;
            const auto at = static_cast<std::ptrdiff_t>(random() % (after.size() + 1));
            const auto removed = std::min<std::ptrdiff_t>(2, static_cast<std::ptrdiff_t>(after.size()) - at);
            after.erase(after.begin() + at, after.begin() + at + removed);
            after.insert(after.begin() + at, insert.begin(), insert.end());
        }
        LoadedDocument loaded;
        loaded.record.id = Uuid::random();
        loaded.text = TextSnapshot(joined(before));
        RecoveryBuffer buffer(std::move(loaded));
        // Cut into pieces of its own, other than those of the text that comes.
        TextBuilder pieces;
        for (const std::string& character : after)
            pieces.append(character);
        Recorder recorder;
        buffer.content().buffer().addObserver(recorder);
        buffer.replaceText(std::move(pieces).build());
        buffer.content().buffer().removeObserver(recorder);

        ASSERT_EQ(buffer.text().text(), joined(after));
        std::size_t start = 0;
        while (start < std::min(before.size(), after.size()) && before[start] == after[start])
            ++start;
        std::size_t end = 0;
        while (end < std::min(before.size(), after.size()) - start &&
               before[before.size() - 1 - end] == after[after.size() - 1 - end])
            ++end;
        const std::string removed = joined(before, start, before.size() - end);
        const std::string inserted = joined(after, start, after.size() - end);
        if (removed.empty() && inserted.empty()) {
            EXPECT_TRUE(recorder.edits.empty());
            continue;
        }
        ASSERT_EQ(recorder.edits.size(), 1U);
        ASSERT_EQ(recorder.edits[0].replacements().size(), 1U);
        const Replacement& place = recorder.edits[0].replacements()[0];
        EXPECT_EQ(place.start.value, joined(before, 0, start).size());
        EXPECT_EQ(place.removed, removed.size());
        EXPECT_EQ(recorder.edits[0].inserted().text(), inserted);
        EXPECT_TRUE(isValidUtf8(inserted));
        ASSERT_TRUE(buffer.content().buffer().undo());
        EXPECT_EQ(buffer.text().text(), joined(before));
        EXPECT_FALSE(buffer.content().buffer().canUndo()) << "one step";
    }
}

TEST(RecoveryBufferTest, KeepsWhatIsSharedOfALargeText)
{
    const std::string large(3 << 20, 'x');
    LoadedDocument loaded;
    loaded.record.id = Uuid::random();
    loaded.text = TextSnapshot(large + "end");
    RecoveryBuffer buffer(std::move(loaded));
    buffer.replaceText(TextSnapshot(large + "END of it"));
    EXPECT_EQ(buffer.text(), TextSnapshot(large + "END of it"));
    EXPECT_LT(buffer.undoBytes(), 10'000U);
}

TEST(RecoveryBufferTest, TitleFollowsTheTextUntilAFileOrTheUserNamesIt)
{
    const struct {
        const char* description;
        void (*prepare)(RecoveryDocument&);
        const char* shown;
    } cases[] = {
        {"a draft", [](RecoveryDocument&) {}, "New line"},
        {"automatic so far", [](RecoveryDocument& record) { record.title = "line"; }, "New line"},
        {"another title", [](RecoveryDocument& record) { record.title = "Imported"; }, "Imported"},
        {"a chosen one", [](RecoveryDocument& record) { record.displayTitle = "Chosen"; }, "Chosen"},
        {"a file",
         [](RecoveryDocument& record) {
             record.title = "line";
             record.externalPath = "/tmp/line";
         },
         "line"},
    };
    for (const auto& [description, prepare, shown] : cases) {
        SCOPED_TRACE(description);
        LoadedDocument loaded;
        loaded.record.id = Uuid::random();
        loaded.text = TextSnapshot(std::string("line\n"));
        prepare(loaded.record);
        RecoveryBuffer buffer(std::move(loaded));
        buffer.replaceText(TextSnapshot(std::string("New line\n")));
        EXPECT_EQ(buffer.shownTitle(), shown);
    }
    LoadedDocument nothing;
    nothing.record.id = Uuid::random();
    RecoveryBuffer empty(std::move(nothing));
    EXPECT_EQ(empty.shownTitle(), "New Draft");
    EXPECT_TRUE(empty.isStored());
    EXPECT_EQ(empty.fileStatusText(), originalStatus::noFile);
}

}  // namespace
}  // namespace penmark
