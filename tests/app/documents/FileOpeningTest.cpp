// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/FileOpening.h"

#include "app/documents/LibraryFixture.h"
#include "base/SystemError.h"
#include "storage/DocumentFiles.h"

#include <thread>

#include <unistd.h>

namespace penmark {
namespace {

using Availability = OriginalFileAvailability;
using Texts = std::vector<std::string>;

class FileOpeningTest : public LibraryFixture {
protected:
    /// A document that is bound to a file, in the library only.
    Uuid bound(const std::filesystem::path& path) { return DocumentFiles(queue.store()).open(path).id; }
};

TEST_F(FileOpeningTest, FileInEachEncodingComesBackAsItIs)
{
    for (const auto& [encoding, word] : storedWords(RecoveryEncoding{})) {
        for (const std::size_t size : {3U, 300'000U}) {  // copied, and in pages of its own
            SCOPED_TRACE(std::string(word) + " " + std::to_string(size));
            std::string text = "ä\r\n";
            text.resize(size + 2, 'x');
            const auto path = file(std::string(word) + std::to_string(size), encodeText(text, encoding));
            const std::string bytes = readFile(path);
            RecoveryBuffer& buffer = openStored(path);
            EXPECT_EQ(buffer.text().text(), text);
            EXPECT_EQ(record(buffer.id()).encoding, encoding);
            EXPECT_EQ(record(buffer.id()).externalPath, path.native());
            EXPECT_EQ(record(buffer.id()).title, path.filename().native());
            EXPECT_EQ(textInLibrary(buffer.id()), text);
            EXPECT_EQ(buffer.fileStatusText(), originalStatus::saved);
            type(buffer, "!");
            ASSERT_TRUE(save(buffer)) << buffer.notice();
            EXPECT_EQ(readFile(path), encodeText(text + "!", encoding));
        }
    }
}

TEST_F(FileOpeningTest, WhatIsBoundComesBackWithTheNewerText)
{
    const struct {
        const char* description;
        bool hasOwnChanges, fileChanges;
        const char* text;
        Availability availability;
        Texts history;
    } cases[] = {
        {"unchanged", false, false, "one", Availability::current, {"one"}},
        {"changed on disk", false, true, "theirs", Availability::current, {"theirs", "one"}},
        {"own changes", true, false, "mine", Availability::current, {"mine", "one"}},
        {"both", true, true, "mine", Availability::changed, {"mine", "one"}},
    };
    for (const auto encoding : {RecoveryEncoding::utf8, RecoveryEncoding::utf16LE}) {
        for (const auto& test : cases) {
            SCOPED_TRACE(std::string(test.description) + (encoding == RecoveryEncoding::utf8 ? "" : ", UTF-16"));
            const auto path = file(test.description + std::string(storedWord(encoding)), encodeText("one", encoding));
            const Uuid id = bound(path);
            if (test.hasOwnChanges)
                documents().writeRevision(id, record(id).head, "mine");
            if (test.fileChanges)
                write(path, encodeText("theirs", encoding));
            const std::string bytes = readFile(path);
            RecoveryBuffer& buffer = openStored(path);
            EXPECT_EQ(buffer.id(), id);
            EXPECT_EQ(buffer.text().text(), test.text);
            EXPECT_EQ(history(id), test.history);
            EXPECT_TRUE(becomes(buffer, test.availability));
            EXPECT_EQ(buffer.fileMatchesSavedVersion(), !test.hasOwnChanges);
            EXPECT_EQ(readFile(path), bytes) << "opening writes no file";
            type(buffer, "!");
            EXPECT_EQ(save(buffer), test.availability == Availability::current) << buffer.notice();
        }
    }
}

TEST_F(FileOpeningTest, MissingFileKeepsItsDocumentUntilItIsBack)
{
    const auto path = file("gone.txt", "one");
    const Uuid id = bound(path);
    std::filesystem::remove(path);
    const Opened opened = open(path);
    ASSERT_TRUE(opened.buffer);
    EXPECT_EQ(opened.buffer->id(), id);
    EXPECT_EQ(opened.buffer->text().text(), "one");
    ASSERT_TRUE(becomes(*opened.buffer, Availability::unavailable));
    ASSERT_TRUE(waitUntil([&] { return record(id).missingOriginal && !opened.buffer->isSaving(); }));
}

TEST_F(FileOpeningTest, FileThatIsBackIsNoLongerMissing)
{
    const auto path = file("back.txt", "one");
    const Uuid id = bound(path);
    documents().changeDocument(id, [](RecoveryDocument& document) { document.missingOriginal = true; });
    RecoveryBuffer& buffer = openStored(path);
    ASSERT_TRUE(settle());
    EXPECT_FALSE(buffer.record().missingOriginal);
    EXPECT_FALSE(record(id).missingOriginal);
}

TEST_F(FileOpeningTest, FileThatIsNotThereYetIsMadeBySaving)
{
    for (const bool appears : {false, true}) {
        SCOPED_TRACE(appears);
        const auto path = files / (appears ? "appears.txt" : "new.txt");
        const Opened opened = open(path);
        ASSERT_TRUE(opened.buffer);
        RecoveryBuffer& buffer = *opened.buffer;
        EXPECT_TRUE(buffer.text().empty());
        EXPECT_EQ(buffer.shownTitle(), path.filename().native());
        EXPECT_EQ(buffer.fileStatusText(), originalStatus::unsaved);
        type(buffer, "first");
        ASSERT_TRUE(store(buffer));
        EXPECT_FALSE(std::filesystem::exists(path)) << "only saving makes it";
        if (appears)
            write(path, "theirs");
        EXPECT_EQ(save(buffer), !appears);
        EXPECT_EQ(readFile(path), appears ? "theirs" : "first");
        EXPECT_TRUE(becomes(buffer, appears ? Availability::changed : Availability::current));
    }
}

TEST_F(FileOpeningTest, RefusedFileSaysWhereAndWhatItMayBe)
{
    const auto latin = file("latin.txt", "one\ntwo gr\xFC\xDF"
                                         "e\n");
    const Opened refused = open(latin);
    ASSERT_TRUE(refused.refusal);
    EXPECT_EQ(refused.refusal->sentence, RecoveryError(RecoveryError::Case::unsupportedText).what());
    EXPECT_EQ(refused.refusal->at, (UnsupportedByte{10, 2}));
    EXPECT_FALSE(refused.refusal->likely.empty());
    EXPECT_EQ(rows("documents"), "0");

    const Opened asFolder = open(files);
    ASSERT_TRUE(asFolder.refusal);
    EXPECT_NE(asFolder.refusal->sentence.find("Is a directory"), std::string::npos) << asFolder.refusal->sentence;
    EXPECT_FALSE(asFolder.refusal->at);

    if (::geteuid() != 0) {
        const auto secret = file("secret", "text");
        std::filesystem::permissions(secret, std::filesystem::perms::none);
        const Opened unreadable = open(secret);
        ASSERT_TRUE(unreadable.refusal);
        EXPECT_NE(unreadable.refusal->sentence.find("Permission denied"), std::string::npos);
    }
    const Opened own = open(folder.path() / "library" / "file");
    ASSERT_TRUE(own.refusal) << "the library's folder is nobody's";
}

TEST_F(FileOpeningTest, OneFileIsOneDocumentByWhateverPath)
{
    const auto path = file("letter.txt", "text");
    std::filesystem::create_symlink(path, files / "link");
    std::vector<RecoveryBuffer*> got;
    const auto take = [&](RecoveryBuffer& buffer) {
        registry.retain(buffer.id());
        got.push_back(&buffer);
    };
    const auto refused = [](const FileRefusal& refusal) { FAIL() << refusal.sentence; };
    originals.open(path, &registry, take, refused);
    originals.open(files / "link", &registry, take, refused);
    originals.open(files / ".." / "files" / "letter.txt", &registry, take, refused);
    ASSERT_TRUE(waitUntil([&] { return got.size() == 3; }));
    EXPECT_EQ(got[0], got[1]);
    EXPECT_EQ(got[0], got[2]);
    type(*got[0], "!");
    ASSERT_TRUE(save(*got[0]));
    EXPECT_EQ(rows("documents"), "1");
    EXPECT_TRUE(std::filesystem::is_symlink(files / "link"));
    EXPECT_EQ(readFile(files / "link"), "text!");
    EXPECT_EQ(bound(files / "link"), got[0]->id());
}

TEST_F(FileOpeningTest, StoppedOpeningCallsNobody)
{
    const auto path = file("large", std::string(9 << 20, 'x'));
    std::stop_source stop;
    originals.open(
        path, &registry, [](RecoveryBuffer&) { FAIL() << "opened"; }, [](const FileRefusal&) { FAIL() << "refused"; },
        stop.get_token());
    stop.request_stop();
    ASSERT_TRUE(settle());
    EXPECT_TRUE(registry.buffers().empty());
    EXPECT_THROW(readFileBytes(path, stop.get_token()), Cancelled);
    EXPECT_EQ(readFileBytes(path).bytes.size(), 9U << 20);
}

TEST_F(FileOpeningTest, OpenedTextIsInHistoryHoweverSoonItIsEdited)
{
    const auto path = file("letter.txt", "opened");
    const Opened opened = open(path);
    ASSERT_TRUE(opened.buffer);
    type(*opened.buffer, " and edited");
    ASSERT_TRUE(save(*opened.buffer));
    EXPECT_EQ(history(opened.buffer->id()), (Texts{"opened and edited", "opened"}));
    EXPECT_EQ(readFile(path), "opened and edited");
}

TEST_F(FileOpeningTest, DamagedTextIsReplacedByTheFileThatHoldsIt)
{
    const auto path = file("letter.txt", "one");
    const Uuid id = bound(path);
    queue.store().execute("DELETE FROM chunks");
    RecoveryBuffer& buffer = *open(path).buffer;
    EXPECT_EQ(buffer.id(), id);
    EXPECT_EQ(buffer.text().text(), "one") << "the file's bytes are at hand";
    EXPECT_TRUE(buffer.permitsEditing());
}

// Files are opened on one thread while another one saves: a document may lose the file while it is looked for.
TEST_F(FileOpeningTest, DocumentThatIsOpenedHasTheFileWhateverIsSavedThereMeanwhile)
{
    const auto there = file("there", encodeText("one", RecoveryEncoding::utf16LE));
    for (const auto& path : {there, files / "missing"}) {
        SCOPED_TRACE(path);
        std::vector<Uuid> owners{bound(there),
                                 documents().createWithText(documents().newDocument("other"), "two").document.id};
        std::jthread rebinding([&](const std::stop_token& stop) {
            for (std::size_t round = 0; !stop.stop_requested(); ++round) {
                queue.store().transaction([&] {
                    for (std::size_t which : {0U, 1U})
                        documents().changeDocument(owners[which], [&](RecoveryDocument& document) {
                            document.externalPath = which == round % 2 ? std::optional(path.native()) : std::nullopt;
                        });
                });
                std::this_thread::sleep_for(std::chrono::microseconds(20));  // or the other hardly gets the lock
            }
        });
        for (int i = 0; i < 300; ++i) {
            const FileOpening opening = openFile(queue.store(), path);
            ASSERT_TRUE(std::holds_alternative<LoadedDocument>(opening));
            ASSERT_EQ(std::get<LoadedDocument>(opening).record.externalPath, path.native());
        }
    }
}

}  // namespace
}  // namespace penmark
