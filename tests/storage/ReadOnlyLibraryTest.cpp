// SPDX-License-Identifier: GPL-3.0-or-later
// A library that can be read and not written: by wish, or because of where it lies.
#include "base/FileDescriptor.h"
#include "storage/DocumentExport.h"
#include "storage/DocumentStore.h"
#include "storage/Mount.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/StorageInitialization.h"
#include "storage/TemporaryFolder.h"
#include "storage/WindowStore.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Case = RecoveryError::Case;

constexpr auto readingOnly = "Penmark could not complete the operation: The library is open for reading only.";

template <class Action>
std::string failureOf(Action&& action)
{
    try {
        action();
    } catch (const RecoveryError& error) {
        return error.what();
    }
    return "no failure";
}

// A connection of its own, as another program has it.
class Connection {
public:
    explicit Connection(const fs::path& database) { EXPECT_EQ(sqlite3_open(database.c_str(), &handle_), SQLITE_OK); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { sqlite3_close(handle_); }

    void run(const std::string& sql)
    {
        EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
    }
    int number(const std::string& sql)
    {
        int found = 0;
        const auto take = [](void* to, int, char** values, char**) {
            *static_cast<int*>(to) = std::stoi(values[0]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), take, &found, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
        return found;
    }

private:
    sqlite3* handle_ = nullptr;
};

class ReadOnlyLibraryTest : public testing::Test {
protected:
    ReadOnlyLibraryTest()
    {
        RecoveryStore store(configuration);
        DocumentStore documents(store);
        document = documents.newDocument("Title");
        document.externalPath = "/there/file.txt";
        document = documents.createWithText(document, "the text").document;
        device = store.deviceID();
    }

    // Every file of the library with its bytes and the time of its last change.
    std::map<std::string, std::pair<std::string, fs::file_time_type>> contents() const
    {
        std::map<std::string, std::pair<std::string, fs::file_time_type>> found;
        for (const auto& entry : fs::directory_iterator(configuration.root))
            found[entry.path().filename()] = {readFile(entry.path()), entry.last_write_time()};
        return found;
    }

    std::string textIn(RecoveryStore& store) const
    {
        const DocumentStore documents(store);
        const auto found = documents.loadDocument(document.id);
        const auto head = found ? documents.loadHead(*found) : std::nullopt;
        return head ? ContentStore(store).loadText(head->contentHash) : "no text";
    }

    std::unique_ptr<RecoveryStore> read() const
    {
        return std::make_unique<RecoveryStore>(configuration, LibraryAccess::readOnly);
    }

    // Cuts a transaction off that has begun to change the database file.
    void cutOff()
    {
        const fs::path other = folder.path() / "cut off";
        fs::create_directory(other);
        {
            Connection writer(database);
            writer.run("CREATE TABLE filling(body); INSERT INTO filling VALUES(zeroblob(300000))");
            writer.run("PRAGMA cache_size=2; BEGIN; UPDATE metadata SET value='\"gone\"';"
                       "UPDATE documents SET json='{}'; UPDATE filling SET body=randomblob(300000)");
            for (const char* name : {"recovery.sqlite", "recovery.sqlite-journal"})
                fs::copy_file(configuration.root / name, other / name);
        }
        fs::remove(configuration.root / "recovery.sqlite");
        fs::copy(other, configuration.root);
        fs::remove_all(other);
    }

    TemporaryFolder folder{TemporaryFolder::inMemory()};
    RecoveryConfiguration configuration{folder.path() / "odd %41?#name" / "library", {}};
    fs::path database = configuration.root / "recovery.sqlite";
    RecoveryDocument document;
    Uuid device;
};

TEST_F(ReadOnlyLibraryTest, ReadsAndRefusesEveryWriteWithoutChangingAnything)
{
    fs::remove(configuration.root / "writer.lock");
    const auto before = contents();
    {
        const auto store = read();
        EXPECT_TRUE(store->isReadOnly());
        EXPECT_EQ(store->deviceID(), device);
        EXPECT_EQ(textIn(*store), "the text");
        EXPECT_EQ(DocumentStore(*store).history(document.id, 10, 0).revisions.size(), 1U);
        EXPECT_TRUE(store->integrityCheck());
        bool asked = false;
        store->beforeCommit = [&] { asked = true; };
        for (const char* sql :
             {"INSERT INTO documents VALUES('a','{}')", "UPDATE documents SET json='{}'", "DELETE FROM windows",
              "CREATE TABLE other(a)", "CREATE INDEX other ON documents(json)", "PRAGMA user_version=3", "VACUUM"})
            EXPECT_EQ(failureOf([&] { store->execute(sql); }), readingOnly) << sql;
        EXPECT_EQ(failureOf([&] { store->transaction([] { ADD_FAILURE() << "for nothing"; }); }), readingOnly);
        EXPECT_EQ(failureOf([&] { store->setMetadata("key", true); }), readingOnly);
        EXPECT_EQ(failureOf([&] { store->removeMetadata("deviceID"); }), readingOnly);
        EXPECT_EQ(failureOf([&] { DocumentStore(*store).writeRevision(document.id, document.head, "x"); }),
                  readingOnly);
        EXPECT_EQ(failureOf([&] { DocumentStore(*store).discard(document.id); }), readingOnly);
        EXPECT_EQ(failureOf([&] { WindowStore(*store).saveAll(std::vector<RecoveryWindow>(1)); }), readingOnly);
        EXPECT_FALSE(asked);
        EXPECT_EQ(textIn(*store), "the text") << "it goes on reading";
    }
    EXPECT_EQ(contents(), before);
}

TEST_F(ReadOnlyLibraryTest, ReadsBesideAWriterAndDoesNotHinderIt)
{
    auto writer = std::make_unique<RecoveryStore>(configuration);
    const auto store = read();
    document = DocumentStore(*writer).writeRevision(document.id, document.head, "changed", {}).document;
    EXPECT_EQ(textIn(*store), "changed");
    writer->transaction([&] {
        DocumentStore(*writer).writeRevision(document.id, document.head, "half");
        EXPECT_EQ(textIn(*store), "changed") << "nothing of a change before it is done";
    });
    EXPECT_EQ(textIn(*store), "half");
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }), RecoveryError(Case::locked).what());
    EXPECT_EQ(openLibrary(configuration, {}).status.failure(), Case::locked) << "not opened for reading unasked";
    EXPECT_TRUE(openLibrary(configuration, {}, LibraryAccess::readOnly).store);
    writer.reset();
    writer = std::make_unique<RecoveryStore>(configuration);  // while it is read
    EXPECT_EQ(textIn(*store), "half");
}

TEST_F(ReadOnlyLibraryTest, ReadsOlderLibrariesAndThoseWithoutIndexes)
{
    Connection(database).run("DROP TABLE windows; DROP TABLE sync_manifests; DROP TABLE checkpoint_revisions;"
                             "DROP INDEX revisions_by_document; DROP INDEX revisions_by_date; DROP INDEX "
                             "revisions_by_hash; DROP INDEX documents_by_path; PRAGMA user_version=2");
    const auto before = contents();
    const auto store = read();
    EXPECT_EQ(store->schemaVersion(), 2);
    EXPECT_TRUE(WindowStore(*store).load().windows.empty());
    EXPECT_TRUE(DocumentStore(*store).checkpointsHolding(*document.head).empty());
    EXPECT_TRUE(DocumentStore(*store).findBoundTo("/there/file.txt"));
    EXPECT_EQ(DocumentStore(*store).history(document.id, 10, 0).revisions.size(), 1U);
    EXPECT_EQ(textIn(*store), "the text");
    EXPECT_EQ(failureOf([&] { store->execute("INSERT INTO windows VALUES('a','{}')"); }), readingOnly);
    EXPECT_TRUE(store->repairedAtOpening().empty());
    EXPECT_EQ(contents(), before);
}

TEST_F(ReadOnlyLibraryTest, SaysWhyThereIsNothingToRead)
{
    const std::string prefix = "Penmark could not complete the operation: ";
    const std::string root = configuration.root.native();
    for (const char* mode : {"DELETE", "WAL"}) {
        Connection(database).run(std::string("PRAGMA user_version=5; PRAGMA journal_mode=") + mode);
        const auto before = contents();
        EXPECT_EQ(failureOf([&] { read(); }), RecoveryError(Case::newerSchema, "5").what()) << mode;
        EXPECT_EQ(contents(), before) << mode;
    }
    Connection(database).run("PRAGMA journal_mode=DELETE; PRAGMA user_version=4; ALTER TABLE documents RENAME TO d");
    EXPECT_EQ(failureOf([&] { read(); }), prefix + "The database in " + root + " holds no library.");
    std::ofstream(database) << std::string(4096, 'x');
    EXPECT_EQ(failureOf([&] { read(); }), prefix + "file is not a database");
    fs::remove(database);
    EXPECT_EQ(failureOf([&] { read(); }), prefix + "There is no library in " + root + ".");
    EXPECT_FALSE(fs::exists(database));
    fs::remove_all(configuration.root);
    EXPECT_EQ(failureOf([&] { read(); }), prefix + "There is no library in " + root + ".");
    EXPECT_FALSE(fs::exists(configuration.root));
}

// What a transaction wrote before it was cut off is in the database file, and only its journal can take it out.
TEST_F(ReadOnlyLibraryTest, UndoesACutOffChangeInACopy)
{
    const auto early = read();
    cutOff();
    EXPECT_NE(failureOf([&] { textIn(*early); }).find("Open it again."), std::string::npos);
    ASSERT_NE(readFile(database).find("\"gone\""), std::string::npos) << "nothing of the change is in the file";
    const auto before = contents();
    const fs::path temporary = folder.path() / "temporary";
    fs::create_directory(temporary);
    setenv("TMPDIR", temporary.c_str(), 1);
    {
        const auto store = read();
        EXPECT_EQ(textIn(*store), "the text");
        EXPECT_EQ(store->deviceID(), device);
        EXPECT_EQ(failureOf([&] { store->setMetadata("key", true); }), readingOnly);
        EXPECT_TRUE(fs::is_empty(temporary)) << "nothing is left behind, however the program ends";
    }
    setenv("TMPDIR", (folder.path() / "none").c_str(), 1);
    EXPECT_NE(failureOf([&] { read(); }).find("The last change to the library was cut off."), std::string::npos);
    unsetenv("TMPDIR");
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(textIn(*std::make_unique<RecoveryStore>(configuration)), "the text") << "a writer undoes it in place";
}

TEST_F(ReadOnlyLibraryTest, OpensForReadingByItselfWhereNothingCanBeWritten)
{
    const ReadOnlyMount disk(configuration.root);
    if (!disk.mounted())
        GTEST_SKIP() << "mounting is not permitted here";
    const OpenedLibrary opened = openLibrary(configuration, {});
    const auto& store = opened.store;
    ASSERT_TRUE(store) << opened.status.message();
    EXPECT_TRUE(opened.status.paths());
    EXPECT_TRUE(store->isReadOnly());
    EXPECT_EQ(textIn(*store), "the text");
    EXPECT_EQ(failureOf([&] { store->setMetadata("key", true); }), readingOnly);
}

TEST_F(ReadOnlyLibraryTest, OpensWhatIsOtherwiseOddOnAReadOnlyDisk)
{
    struct {
        const char* what;
        std::function<void()> prepare;
        std::optional<Case> failure;
    } const cases[] = {
        {"a cut off change", [this] { cutOff(); }, {}},
        {"without a lock file", [this] { fs::remove(configuration.root / "writer.lock"); }, {}},
        {"a write-ahead log", [this] { Connection(database).run("PRAGMA journal_mode=WAL"); }, {}},
        {"a newer library", [this] { Connection(database).run("PRAGMA user_version=5"); }, Case::newerSchema},
        {"an empty database", [this] { fs::resize_file(database, 0); }, Case::storage},
        {"no database", [this] { fs::remove(database); }, Case::storage},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const std::string saved = readFile(database);
        each.prepare();
        {
            const ReadOnlyMount disk(configuration.root);
            if (!disk.mounted())
                GTEST_SKIP() << "mounting is not permitted here";
            const auto before = contents();
            const auto [status, store] = openLibrary(configuration, {});
            EXPECT_EQ(status.failure(), each.failure) << status.message();
            EXPECT_EQ(store ? textIn(*store) : "the text", "the text");
            EXPECT_EQ(contents(), before);
        }
        fs::remove(configuration.root / "recovery.sqlite-journal");
        std::ofstream(database, std::ios::binary) << saved;
    }
}

// A folder may be read-only by one path and not by another: trusting that nobody writes is not for then.
TEST_F(ReadOnlyLibraryTest, TrustsThatNothingChangesOnlyWithoutAWriter)
{
    Connection(database).run("PRAGMA journal_mode=WAL");
    const int writer = ::open((configuration.root / "writer.lock").c_str(), O_RDWR);
    ASSERT_EQ(flock(writer, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(failureOf([&] { read(); }), RecoveryError(Case::locked).what());
    ::close(writer);
    const auto store = read();
    EXPECT_EQ(textIn(*store), "the text");
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }), RecoveryError(Case::locked).what());
}

// Some folders can be read and not written by whoever is not root.
TEST_F(ReadOnlyLibraryTest, OpensForReadingInAFolderOfAnotherUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    for (const fs::path& above : {folder.path(), configuration.root.parent_path(), configuration.root})
        fs::permissions(above, fs::perms(0755));
    for (const char* name : {"recovery.sqlite", "writer.lock"})
        fs::permissions(configuration.root / name, fs::perms(0644));
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(seteuid(nobody), 0);
    const auto [status, store] = openLibrary(configuration, {});
    const bool isReadOnly = store && store->isReadOnly();
    const std::string text = store ? textIn(*store) : status.message();
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_TRUE(isReadOnly);
    EXPECT_EQ(text, "the text");
}

class DamagedLibraryTest : public ReadOnlyLibraryTest {
protected:
    static constexpr std::size_t documentCount = 200;

    DamagedLibraryTest()
    {
        RecoveryStore store(configuration);
        DocumentStore documents(store);
        for (std::size_t i = 1; i < documentCount; ++i)
            documents.createWithText(documents.newDocument("Number " + std::to_string(i)), std::to_string(i));
    }

    /// Overwrites a page of a table or index.
    void damage(const std::string& name)
    {
        int page = 0;
        int size = 0;
        {
            Connection connection(database);
            page = connection.number("SELECT pageno FROM dbstat WHERE name='" + name +
                                     "' AND pagetype='leaf' ORDER BY path LIMIT 1 OFFSET 1");
            size = connection.number("PRAGMA page_size");
        }
        ASSERT_GT(page, 0) << name;
        std::fstream file(database, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(page - 1) * size);
        file << std::string(static_cast<std::size_t>(size), '\xFF');
    }
};

// One page that cannot be read takes a few documents with it, whatever it holds, and never all of them.
TEST_F(DamagedLibraryTest, WhatCanBeReadIsExportedAndTheRestIsNamed)
{
    const std::string sound = readFile(database);
    int round = 0;
    for (const char* name : {"documents", "sqlite_autoindex_documents_1", "revisions", "sqlite_autoindex_revisions_1",
                             "content", "sqlite_autoindex_content_1"}) {
        SCOPED_TRACE(name);
        damage(name);
        const auto before = contents();
        const auto store = read();
        std::vector<std::string> problems;
        std::size_t steps = 0;
        const fs::path target = folder.path() / std::to_string(++round);
        const std::size_t written = DocumentExport(*store).run(
            target, false, [&](const std::string& problem) { problems.push_back(problem); },
            [&](std::size_t, std::size_t, const std::string&) { ++steps; });
        EXPECT_GT(written, documentCount / 2);
        // The list of documents is not read by way of its index.
        EXPECT_EQ(written == documentCount, std::string_view(name) == "sqlite_autoindex_documents_1");
        EXPECT_EQ(problems.empty(), written == documentCount);
        std::size_t files = 0;
        std::size_t right = 0;
        for (const auto& entry : fs::directory_iterator(target)) {
            ++files;
            const std::string stem = entry.path().stem().string();
            right += stem == "file" || "Number " + readFile(entry.path()) == stem ? 1 : 0;
        }
        EXPECT_EQ(files, written);
        EXPECT_EQ(right, written) << "a text under another's name";
        const auto isNamed = [](const std::string& problem) { return problem.starts_with("document "); };
        const auto named = static_cast<std::size_t>(std::count_if(problems.begin(), problems.end(), isNamed));
        EXPECT_EQ(written + named, documentCount) << "neither written nor named";
        EXPECT_EQ(contents(), before);
        std::ofstream(database, std::ios::binary) << sound;
    }
}

}  // namespace
}  // namespace penmark
