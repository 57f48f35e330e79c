// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/OriginalFiles.h"

#include "app/documents/LibraryFixture.h"
#include "app/documents/PoolWork.h"
#include "base/Sha256.h"
#include "storage/DocumentFiles.h"

#include <unistd.h>

namespace penmark {
namespace {

using Availability = OriginalFileAvailability;
using Texts = std::vector<std::string>;

class OriginalFilesTest : public LibraryFixture {
protected:
    static constexpr std::string_view fileChanged =
        "The original file changed or moved. Your text is still open in Penmark. Save a copy or reload the original.";
};

TEST_F(OriginalFilesTest, SavingWritesExactlyTheTextAndSaysSo)
{
    RecoveryBuffer& buffer = openStored(file("letter.txt", "one\r\n"));
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
    EXPECT_TRUE(buffer.fileMatchesSavedVersion());
    type(buffer, "zwö");
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved);
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved) << "the library's store is no save";
    EXPECT_EQ(readFile(files / "letter.txt"), "one\r\n");
    type(buffer, "!");
    ASSERT_TRUE(save(buffer));
    EXPECT_EQ(readFile(files / "letter.txt"), "one\r\nzwö!");
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
    EXPECT_EQ(history(buffer.id()), (Texts{"one\r\nzwö!", "one\r\nzwö", "one\r\n"}));
    EXPECT_EQ(record(buffer.id()).externalDigest, sha256("one\r\nzwö!"));

    buffer.content().buffer().undo();
    EXPECT_FALSE(buffer.fileMatchesSavedVersion());
    buffer.replaceText(TextSnapshot(std::string("one\r\nzwö!")));
    ASSERT_TRUE(store(buffer));
    EXPECT_TRUE(buffer.fileMatchesSavedVersion()) << "the same text by another way";

    registry.setEncoding(buffer, RecoveryEncoding::utf16LE);
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved);
    ASSERT_TRUE(save(buffer));
    EXPECT_EQ(readFile(files / "letter.txt"), encodeText("one\r\nzwö!", RecoveryEncoding::utf16LE));
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);

    const Uuid id = buffer.id();
    registry.release(id);
    std::vector<Uuid> others;  // push it out of memory
    for (int i = 0; i < 40; ++i) {
        others.push_back(stored("other " + std::to_string(i)).id());
        registry.release(others.back());
    }
    ASSERT_TRUE(waitUntil([&] { return !registry.find(id); }));
    RecoveryBuffer& again = load(id);
    EXPECT_TRUE(again.fileMatchesSavedVersion());
    ASSERT_TRUE(becomes(again, Availability::current));
    EXPECT_EQ(again.fileStatusText(), originalStatus::saved);
}

TEST_F(OriginalFilesTest, EditsDuringASaveStayUnsavedChanges)
{
    RecoveryBuffer& buffer = openStored(file("letter.txt", "one"));
    type(buffer, " two");
    std::latch began(1);
    std::latch goesOn(1);
    queue.store().beforeCommit = [&] {
        if (!began.try_wait()) {
            began.count_down();
            goesOn.wait();
        }
    };
    std::optional<bool> saved;
    originals.save(buffer, [&](bool succeeded) { saved = succeeded; });
    began.wait();
    type(buffer, " three");
    EXPECT_TRUE(buffer.permitsEditing());
    goesOn.count_down();
    ASSERT_TRUE(waitUntil([&] { return saved.has_value(); }));
    EXPECT_TRUE(*saved);
    EXPECT_EQ(readFile(files / "letter.txt"), "one two");
    EXPECT_EQ(buffer.text().text(), "one two three");
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved);
    EXPECT_FALSE(buffer.isStored());
    ASSERT_TRUE(save(buffer));
    EXPECT_EQ(readFile(files / "letter.txt"), "one two three");
}

TEST_F(OriginalFilesTest, WhatKeepsAFileFromBeingSavedIsANoticeAndTheTextIsSafe)
{
    const struct {
        const char* description;
        std::function<void(const std::filesystem::path&)> happens;
        std::string_view notice;  // a part of it
        Availability availability;
        std::optional<std::string> holds;
    } cases[] = {
        {"changed", [](const auto& path) { write(path, "theirs"); }, fileChanged, Availability::changed, "theirs"},
        {"removed", [](const auto& path) { std::filesystem::remove(path); }, fileChanged, Availability::unavailable,
         std::nullopt},
        {"a folder",
         [](const auto& path) {
             std::filesystem::remove(path);
             std::filesystem::create_directory(path);
         },
         "", Availability::unavailable, std::nullopt},
        {"read-only", [](const auto& path) { std::filesystem::permissions(path, std::filesystem::perms::owner_read); },
         "The original file is read-only. Save a copy.", Availability::current, "one"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.description);
        const auto path = file(test.description, "one");
        RecoveryBuffer& buffer = openStored(path);
        type(buffer, " mine");
        test.happens(path);
        EXPECT_FALSE(save(buffer));
        EXPECT_NE(buffer.notice().find(test.notice), std::string::npos) << buffer.notice();
        EXPECT_FALSE(buffer.notice().empty());
        EXPECT_EQ(buffer.error(), "");
        EXPECT_EQ(buffer.text().text(), "one mine");
        EXPECT_TRUE(buffer.isStored());
        EXPECT_EQ(textInLibrary(buffer.id()), "one mine");
        if (test.holds) {
            EXPECT_EQ(readFile(path), *test.holds);
        }
        originals.check(buffer);
        EXPECT_TRUE(becomes(buffer, test.availability));
    }
}

TEST_F(OriginalFilesTest, StoreThatFailsWritesNoFile)
{
    const auto path = file("letter.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    type(buffer, " two");
    failCommits(1);
    EXPECT_FALSE(save(buffer));
    EXPECT_EQ(buffer.error(), diskFull);
    EXPECT_EQ(readFile(path), "one");
    EXPECT_FALSE(buffer.isSaving());
    EXPECT_TRUE(save(buffer));
    EXPECT_EQ(buffer.error(), "");
    EXPECT_EQ(readFile(path), "one two");
}

TEST_F(OriginalFilesTest, EmptyDraftCanBeSaved)
{
    RecoveryBuffer& buffer = registry.createDraft();
    registry.retain(buffer.id());
    EXPECT_FALSE(save(buffer)) << "nowhere to save to";
    EXPECT_FALSE(buffer.notice().empty());
    ASSERT_TRUE(saveAs(buffer, files / "empty.py")) << buffer.notice();
    EXPECT_EQ(readFile(files / "empty.py"), "");
    EXPECT_EQ(buffer.record().externalPath, (files / "empty.py").native());
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
    EXPECT_EQ(buffer.notice(), "");
}

TEST_F(OriginalFilesTest, SavingAsReplacesAFileAndKeepsItsText)
{
    const auto path = file("theirs.txt", "their text");
    RecoveryBuffer& buffer = stored("mine");
    EXPECT_FALSE(saveAs(buffer, path)) << "nobody agreed to replace it";
    EXPECT_EQ(readFile(path), "their text");
    EXPECT_TRUE(buffer.isDraft());

    ASSERT_TRUE(saveAs(buffer, path, true)) << buffer.notice();
    EXPECT_EQ(readFile(path), "mine");
    const auto kept = titled("theirs.txt — before it was replaced");
    ASSERT_TRUE(kept);
    EXPECT_TRUE(kept->deleted);
    EXPECT_EQ(history(kept->id), (Texts{"discarded", "their text"}));

    const std::string binary("\xff\xfe\x00\xd8 no text \x00", 14);
    const auto data = file("data.bin", binary);
    EXPECT_FALSE(saveAs(buffer, data, true));
    EXPECT_EQ(readFile(data), binary);
    EXPECT_NE(buffer.notice().find("data.bin is not a text file"), std::string::npos) << buffer.notice();
    EXPECT_EQ(buffer.record().externalPath, path.native());
    EXPECT_TRUE(save(buffer)) << "still bound to the first one";
}

TEST_F(OriginalFilesTest, DocumentWhoseFileIsReplacedBecomesADraft)
{
    for (const bool inMemory : {false, true}) {
        for (const bool copies : {false, true}) {
            SCOPED_TRACE(std::string(inMemory ? "in memory" : "not in memory") + (copies ? ", a copy" : ""));
            const auto path = file("bound" + std::to_string(inMemory) + std::to_string(copies), "bound text");
            Uuid owner;
            if (inMemory)
                owner = openStored(path).id();
            else
                owner = DocumentFiles(queue.store()).open(path).id;
            RecoveryBuffer& buffer = stored("mine");
            const auto act = [&](auto done) {
                if (copies)
                    originals.saveCopy(buffer, path, true, done);
                else
                    originals.saveAs(buffer, path, true, done);
            };
            ASSERT_TRUE(does(act)) << buffer.notice();
            EXPECT_EQ(readFile(path), "mine");
            EXPECT_EQ(record(owner).externalPath.has_value(), copies)
                << "who is bound to a file stays so behind a copy";
            EXPECT_EQ(textInLibrary(owner), "bound text");
            EXPECT_EQ(buffer.isDraft(), copies) << "a copy binds nothing";
            EXPECT_EQ(registry.findBoundTo(path.native()), copies ? registry.find(owner) : &buffer);
            if (!inMemory || copies)
                continue;
            RecoveryBuffer& draft = *registry.find(owner);
            EXPECT_TRUE(draft.isDraft());
            EXPECT_EQ(draft.fileStatusText(), originalStatus::noFile);
            EXPECT_EQ(registry.headers().find(owner)->path, "");
            type(draft, " more");
            ASSERT_TRUE(store(draft));
            EXPECT_FALSE(record(owner).externalPath) << "and stays one";
        }
    }
}

TEST_F(OriginalFilesTest, SavingAsOntoTheOwnFileKeepsWhatAnotherProgramWroteThere)
{
    const auto path = file("own.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    type(buffer, " two");
    ASSERT_TRUE(saveAs(buffer, path, true)) << buffer.notice();
    EXPECT_EQ(readFile(path), "one two");
    EXPECT_EQ(rows("documents"), "1") << "what the file held is in the document's own history";
    write(path, "theirs");
    ASSERT_TRUE(saveAs(buffer, path, true)) << buffer.notice();
    EXPECT_EQ(readFile(path), "one two");
    EXPECT_EQ(buffer.record().externalPath, path.native());
    const auto kept = titled("own.txt — before it was replaced");
    ASSERT_TRUE(kept);
    EXPECT_EQ(history(kept->id), (Texts{"discarded", "theirs"}));
}

TEST_F(OriginalFilesTest, ReloadingTakesTheFileAndKeepsWhatItReplaces)
{
    const auto path = file("letter.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    type(buffer, " mine, not stored");
    write(path, "theirs");
    ASSERT_TRUE(reload(buffer)) << buffer.notice();
    EXPECT_EQ(buffer.text().text(), "theirs");
    EXPECT_TRUE(buffer.isStored());
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
    const auto kept = titled("letter.txt — before reload");
    ASSERT_TRUE(kept);
    EXPECT_FALSE(kept->deleted);
    EXPECT_EQ(textInLibrary(kept->id), "one mine, not stored");

    ASSERT_TRUE(buffer.content().buffer().undo());
    EXPECT_EQ(buffer.text().text(), "one mine, not stored") << "one step back";
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved);
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(history(buffer.id()), (Texts{"one mine, not stored", "theirs", "one mine, not stored", "one"}));
    ASSERT_TRUE(save(buffer));
    EXPECT_EQ(readFile(path), "one mine, not stored");

    std::filesystem::remove(path);
    EXPECT_FALSE(reload(buffer));
    EXPECT_FALSE(buffer.notice().empty());
    EXPECT_EQ(buffer.text().text(), "one mine, not stored");
    EXPECT_TRUE(buffer.permitsEditing());
}

TEST_F(OriginalFilesTest, ReloadingInAnotherEncoding)
{
    const auto path = file("text", std::string("a\0b\0", 4));
    const Opened refused = open(path);
    ASSERT_TRUE(refused.refusal);
    RecoveryBuffer* buffer = nullptr;
    originals.openAs(
        path, RecoveryEncoding::utf16LE, &registry, [&](RecoveryBuffer& opened) { buffer = &opened; },
        [](const FileRefusal& refusal) { FAIL() << refusal.sentence; });
    ASSERT_TRUE(waitUntil([&] { return buffer != nullptr; }));
    registry.retain(buffer->id());
    EXPECT_EQ(buffer->text().text(), "ab");
    ASSERT_TRUE(store(*buffer));
    EXPECT_EQ(record(buffer->id()).encoding, RecoveryEncoding::utf16LE);
    EXPECT_EQ(readFile(path), std::string("a\0b\0", 4));
    ASSERT_TRUE(reload(*buffer, RecoveryEncoding::utf16BE)) << buffer->notice();
    EXPECT_EQ(buffer->text().text(), "愀戀");
    EXPECT_EQ(buffer->record().encoding, RecoveryEncoding::utf16BE);
    EXPECT_EQ(record(buffer->id()).encoding, RecoveryEncoding::utf16BE);
    EXPECT_TRUE(reload(*buffer)) << "its bytes show no text, and are read as they were before";
    EXPECT_EQ(buffer->text().text(), "愀戀");
}

TEST_F(OriginalFilesTest, OpeningInAnEncodingFindsTheDocumentThatIsBound)
{
    const auto path = file("text", "\xEF\xBB\xBFmarked");
    const auto bound = DocumentFiles(queue.store()).open(path);
    RecoveryBuffer* buffer = nullptr;
    originals.openAs(
        path, RecoveryEncoding::utf8, &registry, [&](RecoveryBuffer& opened) { buffer = &opened; },
        [](const FileRefusal& refusal) { FAIL() << refusal.sentence; });
    ASSERT_TRUE(waitUntil([&] { return buffer != nullptr; }));
    registry.retain(buffer->id());
    EXPECT_EQ(buffer->id(), bound.id);
    EXPECT_EQ(buffer->text().text(), "\xEF\xBB\xBFmarked");
    ASSERT_TRUE(store(*buffer));
    EXPECT_EQ(history(bound.id), (Texts{"\xEF\xBB\xBFmarked", "marked"}));
    EXPECT_EQ(rows("documents"), "1");
}

TEST_F(OriginalFilesTest, MovedFileIsLocated)
{
    const auto path = file("old.txt", "text");
    RecoveryBuffer& buffer = openStored(path);
    type(buffer, " mine");
    ASSERT_TRUE(store(buffer));
    std::filesystem::rename(path, files / "new.txt");
    originals.check(buffer);
    ASSERT_TRUE(becomes(buffer, Availability::unavailable));
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::unavailable);
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
    EXPECT_TRUE(record(buffer.id()).missingOriginal);
    ASSERT_TRUE(does([&](auto done) { originals.locate(buffer, files / "new.txt", done); }));
    ASSERT_TRUE(becomes(buffer, Availability::current));
    EXPECT_FALSE(record(buffer.id()).missingOriginal);
    EXPECT_EQ(buffer.text().text(), "text mine");
    ASSERT_TRUE(save(buffer));
    EXPECT_EQ(readFile(files / "new.txt"), "text mine");
    EXPECT_FALSE(std::filesystem::exists(path));

    file("other.txt", "another text");
    ASSERT_TRUE(does([&](auto done) { originals.locate(buffer, files / "other.txt", done); }));
    EXPECT_TRUE(becomes(buffer, Availability::changed)) << "it is not the file that was moved";
    EXPECT_FALSE(save(buffer));
    EXPECT_EQ(readFile(files / "other.txt"), "another text");
}

TEST_F(OriginalFilesTest, ConvertedCopyOfALegacyFileNeverTouchesIt)
{
    const std::string latin = "Gr\xF6\xDF"
                              "e\r\n";
    const auto path = file("latin.txt", latin);
    RecoveryBuffer* buffer = nullptr;
    originals.openConverted(
        path, "iso-8859-1", &registry, [&](RecoveryBuffer& opened) { buffer = &opened; },
        [](const FileRefusal& refusal) { FAIL() << refusal.sentence; });
    ASSERT_TRUE(waitUntil([&] { return buffer != nullptr; }));
    registry.retain(buffer->id());
    EXPECT_EQ(buffer->text().text(), "Größe\r\n");
    EXPECT_TRUE(buffer->isDraft());
    EXPECT_EQ(buffer->shownTitle(), "latin.txt");
    type(*buffer, "mehr");
    ASSERT_TRUE(store(*buffer));
    EXPECT_FALSE(save(*buffer)) << "it has no file";
    EXPECT_EQ(readFile(path), latin);
    EXPECT_FALSE(record(buffer->id()).externalPath);
    EXPECT_EQ(record(buffer->id()).originPath, path.native());
}

TEST_F(OriginalFilesTest, ChangesOfAFileAreSeenWhenItIsWatched)
{
    const auto path = file("letter.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    originals.watch();
    const auto replace = [&](std::string_view bytes) {
        write(files / "letter.txt.new", bytes);
        std::filesystem::rename(files / "letter.txt.new", path);
    };
    for (int round = 0; round < 2; ++round) {  // a watch must outlive the file that was watched
        SCOPED_TRACE(round);
        write(path, "theirs");
        ASSERT_TRUE(becomes(buffer, Availability::changed)) << "written over";
        replace("one");
        ASSERT_TRUE(becomes(buffer, Availability::current)) << "another file with the old text took its place";
        replace("other");
        ASSERT_TRUE(becomes(buffer, Availability::changed));
        std::filesystem::remove(path);
        ASSERT_TRUE(becomes(buffer, Availability::unavailable));
        ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
        EXPECT_TRUE(record(buffer.id()).missingOriginal);
        write(path, "one");
        ASSERT_TRUE(becomes(buffer, Availability::current)) << "it is back";
        ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
        EXPECT_FALSE(record(buffer.id()).missingOriginal);
    }
    EXPECT_EQ(buffer.text().text(), "one");
    type(buffer, " two");
    ASSERT_TRUE(save(buffer));
    write(path, "theirs");
    EXPECT_TRUE(becomes(buffer, Availability::changed)) << "also behind an own save";
}

TEST_F(OriginalFilesTest, CheckThatASaveOvertookDoesNotCount)
{
    const auto path = file("letter.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    // The only thread of the pool is busy until the save has begun.
    QThreadPool* const pool = &filePool();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(1);
    std::latch goesOn(1);
    pool->start([&] { goesOn.wait(); });
    bool changed = false;
    QObject::connect(&buffer, &RecoveryBuffer::stateChanged, &registry,
                     [&] { changed |= buffer.originalAvailability() == Availability::changed; });
    originals.check(buffer);
    type(buffer, " two");
    std::optional<bool> saved;
    originals.save(buffer, [&](bool succeeded) { saved = succeeded; });
    queue.finishWriting();  // the file is written; nobody has heard of it
    goesOn.count_down();
    pool->waitForDone();
    pool->setMaxThreadCount(threads);
    ASSERT_TRUE(waitUntil([&] { return saved.has_value(); }));
    ASSERT_TRUE(becomes(buffer, Availability::current));
    originals.check(buffer);
    ASSERT_TRUE(settle());
    pool->waitForDone();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(*saved);
    EXPECT_FALSE(changed) << "a false alarm";
    EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
}

}  // namespace
}  // namespace penmark
