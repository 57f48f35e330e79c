// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/DocumentFiles.h"

#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <algorithm>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class DocumentFilesTest : public testing::Test {
protected:
    void put(const fs::path& where, const std::string& bytes) { std::ofstream(where, std::ios::binary) << bytes; }
    std::string headText(const Uuid& id)
    {
        const auto head = documents.loadDocument(id)->head;
        return ContentStore(library).loadText(documents.loadRevision(*head)->contentHash);
    }
    static std::string failureOf(const std::function<void()>& action)
    {
        try {
            action();
        } catch (const RecoveryError& error) {
            return error.what();
        }
        return "no failure";
    }

    TemporaryFolder folder;
    fs::path file = folder.path() / "note.md";
    RecoveryStore library{{folder.path() / "library", {}}};
    DocumentStore documents{library};
    DocumentFiles files{library};
};

TEST_F(DocumentFilesTest, OpeningBindsAndFindsAgain)
{
    put(file, "\xff\xfe\x41\x00"s);
    const auto opened = files.open(file);
    EXPECT_EQ(opened.title, "note.md");
    EXPECT_EQ(opened.externalPath, fs::canonical(file).native());
    EXPECT_EQ(opened.externalDigest, sha256("\xff\xfe\x41\x00"s));
    EXPECT_EQ(opened.encoding, RecoveryEncoding::utf16LE);
    EXPECT_EQ(headText(opened.id), "A");
    EXPECT_EQ(files.open(file), opened);
    fs::create_symlink(file, folder.path() / "link.md");
    EXPECT_EQ(files.open(folder.path() / "link.md"), opened);
    EXPECT_EQ(files.open(folder.path() / "library" / ".." / "note.md"), opened);
    EXPECT_EQ(documents.history(opened.id, 10, 0).revisions.size(), 1u);
}

// Whoever opens a file at the same time gets the same document.
TEST_F(DocumentFilesTest, OpeningAtOnceMakesOneDocument)
{
    for (int round = 0; round < 10; ++round) {
        put(file, std::string(200'000, 'x') + std::to_string(round));
        const auto open = [&] { DocumentFiles(library).open(file); };
        const std::jthread one(open);
        const std::jthread other(open);
    }
    EXPECT_EQ(documents.loadDocuments().documents.size(), 1u);
}

TEST_F(DocumentFilesTest, AChangedFileBecomesARevisionAndHistoryKeepsTheRest)
{
    put(file, "from disk");
    const auto opened = files.open(file);
    documents.writeRevision(opened.id, opened.head, "typed, never saved");
    put(file, "changed on disk");
    const auto again = files.open(file);
    EXPECT_EQ(again.id, opened.id);
    EXPECT_EQ(again.externalDigest, sha256("changed on disk"));
    EXPECT_EQ(headText(again.id), "changed on disk");
    std::vector<std::string> texts;
    for (const auto& revision : documents.history(opened.id, 10, 0).revisions)
        texts.push_back(ContentStore(library).loadText(revision.contentHash));
    EXPECT_EQ(texts, (std::vector<std::string>{"changed on disk", "typed, never saved", "from disk"}));
}

TEST_F(DocumentFilesTest, SavingWritesTheRecordedEncodingAndRecordsTheDigest)
{
    put(file, "\xfe\xff\x00\x41"s);
    auto document = files.open(file);
    document = documents.writeRevision(document.id, document.head, "B").document;
    const auto saved = files.save(document.id);
    EXPECT_EQ(readFile(file), "\xfe\xff\x00\x42"s);
    EXPECT_EQ(saved.externalDigest, sha256("\xfe\xff\x00\x42"s));
    EXPECT_EQ(saved.head, document.head);

    // Somebody else writes the file: nothing is overwritten until it has been taken in.
    put(file, "theirs");
    documents.writeRevision(document.id, document.head, "C");
    EXPECT_EQ(failureOf([&] { files.save(document.id); }),
              "The original file changed or moved. Your text is still open in Penmark. Save a copy or reload the "
              "original.");
    EXPECT_EQ(readFile(file), "theirs");
    EXPECT_EQ(headText(document.id), "C");
    // The file holds what would be written, as after a crash between writing and recording: it counts as saved.
    put(file, "\xfe\xff\x00\x43"s);
    EXPECT_EQ(files.save(document.id).externalDigest, sha256("\xfe\xff\x00\x43"s));
}

TEST_F(DocumentFilesTest, SavingToAPathBindsTheDocumentOnceItIsWritten)
{
    const auto draft = documents.createWithText(documents.newDocument("Draft"), "text").document;
    EXPECT_EQ(failureOf([&] { files.save(draft.id); }),
              "Penmark could not complete the operation: The document has no file. Give the path of one to save to.");
    put(file, "somebody's");
    EXPECT_NE(failureOf([&] { files.save(draft.id, file); }), "no failure");
    EXPECT_EQ(readFile(file), "somebody's");
    EXPECT_FALSE(documents.loadDocument(draft.id)->externalPath);

    // A path that another document is bound to would make the two overwrite each other.
    const auto bound = files.open(file);
    fs::remove(file);
    EXPECT_EQ(failureOf([&] { files.save(draft.id, file); }),
              "Penmark could not complete the operation: The document " + bound.id.text() + " is bound to " +
                  *bound.externalPath + " already.");
    // Nothing written yet, or discarded: an original is not replaced by an empty text.
    auto empty = documents.newDocument("Empty");
    empty.externalPath = (folder.path() / "kept.txt").native();
    documents.createDocument(empty);
    put(*empty.externalPath, "precious");
    EXPECT_NE(failureOf([&] { files.save(empty.id); }), "no failure");
    EXPECT_EQ(readFile(*empty.externalPath), "precious");
    const auto gone = documents.createWithText(documents.newDocument("Gone"), "text").document;
    documents.discard(gone.id);
    EXPECT_NE(failureOf([&] { files.save(gone.id, folder.path() / "gone.txt"); }), "no failure");
    for (const fs::path& odd : {fs::path(), fs::path("a\0b"s)})
        EXPECT_NE(failureOf([&] { files.save(draft.id, odd); }), "no failure");
    // A link to nothing: the file at its end is made, and is the one that is recorded.
    const auto linked = documents.createWithText(documents.newDocument("Linked"), "text").document;
    fs::create_symlink("target.txt", folder.path() / "dangling.txt");
    EXPECT_EQ(files.save(linked.id, folder.path() / "dangling.txt").externalPath,
              (fs::canonical(folder.path()) / "target.txt").native());
    EXPECT_EQ(files.open(folder.path() / "target.txt").id, linked.id);
    const fs::path fresh = folder.path() / "fresh.txt";
    const auto saved = files.save(draft.id, fresh);
    EXPECT_EQ(saved.externalPath, fs::canonical(fresh).native());
    EXPECT_EQ(readFile(fresh), "text");
    EXPECT_EQ(files.open(fresh).id, draft.id);
    fs::remove(fresh);
    EXPECT_NE(failureOf([&] { files.open(fresh); }).find("No such file or directory"), std::string::npos);
    EXPECT_TRUE(documents.loadDocument(draft.id)->missingOriginal);
    EXPECT_NE(failureOf([&] { files.save(draft.id); }), "no failure");  // it moved, or was deleted on purpose
}

TEST_F(DocumentFilesTest, ReloadingKeepsTheReplacedText)
{
    put(file, "old");
    const auto document = files.open(file);
    documents.writeRevision(document.id, document.head, "mine");
    put(file, "new");
    EXPECT_EQ(files.reload(document.id).externalDigest, sha256("new"));
    EXPECT_EQ(headText(document.id), "new");
    const auto all = documents.loadDocuments().documents;
    const auto kept =
        std::find_if(all.begin(), all.end(), [](const auto& one) { return one.title == "note.md — before reload"; });
    ASSERT_NE(kept, all.end());
    EXPECT_EQ(headText(kept->id), "mine");
    EXPECT_FALSE(kept->externalPath);
    files.reload(document.id);  // nothing is replaced, so nothing is kept
    library.execute("DELETE FROM chunks");
    put(file, "rescued");
    files.reload(document.id);  // nothing can be kept, and the file is the remedy
    EXPECT_EQ(headText(document.id), "rescued");
    EXPECT_EQ(documents.loadDocuments().documents.size(), all.size());
}

TEST_F(DocumentFilesTest, RefusedFilesLeaveNoTrace)
{
    put(file, "caf\xe9");
    EXPECT_EQ(failureOf([&] { files.open(file); }),
              "This file is not valid UTF-8 or BOM-marked UTF-16 text. No bytes have been changed.");
    EXPECT_NE(failureOf([&] { files.open(folder.path()); }), "no failure");
    const fs::path pipe = folder.path() / "pipe";
    mkfifo(pipe.c_str(), 0600);
    EXPECT_NE(failureOf([&] { files.open(pipe); }), "no failure");  // and without waiting for a writer
    for (const char* own : {"recovery.sqlite", "writer.lock", "recovery.sqlite-journal"})
        EXPECT_NE(failureOf([&] { files.open(folder.path() / "library" / own); }).find("is inside the library's own"),
                  std::string::npos);
    const fs::path odd = folder.path() / "odd\xff.txt";
    put(odd, "text");
    EXPECT_NE(failureOf([&] { files.open(odd); }).find("is not valid UTF-8"), std::string::npos);
    EXPECT_EQ(files.import(odd).title, "odd\uFFFD.txt");  // not bound, so its name need not be exact
    EXPECT_EQ(documents.loadDocuments().documents.size(), 1u);
}

}  // namespace
}  // namespace penmark
