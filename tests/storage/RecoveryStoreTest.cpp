// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryStore.h"

#include "base/FileDescriptor.h"
#include "storage/FaultyVfs.h"
#include "storage/RecoveryError.h"
#include "storage/StorageInitialization.h"
#include "storage/TemporaryFolder.h"

#include <fstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;

// Changes a database that no store has open.
void runSql(const fs::path& database, const std::string& sql)
{
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
}

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

mode_t modeOf(const fs::path& path)
{
    struct stat status {};
    stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

class RecoveryStoreTest : public testing::Test {
protected:
    TemporaryFolder folder;
    RecoveryConfiguration configuration{folder.path() / "new" / "library", {}};
    fs::path database = configuration.root / "recovery.sqlite";
};

TEST_F(RecoveryStoreTest, MakesAPrivateLibraryWithTheWholeSchema)
{
    const mode_t before = umask(0);
    {
        RecoveryStore store(configuration);
        EXPECT_EQ(modeOf(configuration.root), 0700u);
        EXPECT_EQ(modeOf(database), 0600u);
        EXPECT_EQ(modeOf(configuration.root / "writer.lock"), 0600u);
        EXPECT_EQ(fs::file_size(configuration.root / "writer.lock"), 0u);
        EXPECT_EQ(store.schemaVersion(), 4);
        EXPECT_EQ(store.query("SELECT count(*) FROM sqlite_schema WHERE type='table'")[0][0], "16");
        EXPECT_EQ(store.query("PRAGMA journal_mode")[0][0], "delete");
        EXPECT_EQ(store.query("PRAGMA synchronous")[0][0], "2");
        EXPECT_EQ(store.query("PRAGMA foreign_keys")[0][0], "1");
        EXPECT_TRUE(store.integrityCheck());
    }
    umask(before);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(configuration.root))
        ++files;
    EXPECT_EQ(files, 2u);

    fs::permissions(configuration.root, fs::perms(0755));
    RecoveryStore again(configuration);
    EXPECT_EQ(modeOf(configuration.root), 0755u);  // a folder that exists keeps its mode
}

TEST_F(RecoveryStoreTest, KeepsItsIdentityAndLeavesASoundLibraryUnchanged)
{
    const Uuid device = RecoveryStore(configuration).deviceID();
    const std::string bytes = readFile(database);
    EXPECT_EQ(RecoveryStore(configuration).deviceID(), device);
    EXPECT_EQ(readFile(database), bytes);

    runSql(database, "UPDATE metadata SET value='\"" + std::string("0f8fad5b-d9cb-469f-a165-70867728950e") + "\"'");
    EXPECT_EQ(RecoveryStore(configuration).deviceID().text(), "0F8FAD5B-D9CB-469F-A165-70867728950E");
    runSql(database, "UPDATE metadata SET value='no json'");  // no identity any more: a new one is kept
    const Uuid fresh = RecoveryStore(configuration).deviceID();
    EXPECT_EQ(RecoveryStore(configuration).deviceID(), fresh);
}

TEST_F(RecoveryStoreTest, BringsOlderLibrariesUpToDateWithoutTouchingTheirRows)
{
    RecoveryStore(configuration).execute("INSERT INTO documents VALUES('x','{}')");
    for (const int version : {0, 1, 3}) {
        runSql(database, "DROP TABLE sync_manifests; DROP INDEX revisions_by_document; PRAGMA user_version=" +
                             std::to_string(version));
        RecoveryStore store(configuration);
        EXPECT_EQ(store.schemaVersion(), 4);
        EXPECT_EQ(store.query("SELECT count(*) FROM sqlite_schema WHERE name IN "
                              "('sync_manifests','revisions_by_document')")[0][0],
                  "2");
        EXPECT_EQ(store.query("SELECT id FROM documents").size(), 1u);
    }
}

TEST_F(RecoveryStoreTest, RefusesANewerLibraryAndLeavesItsBytes)
{
    RecoveryStore{configuration};
    runSql(database, "PRAGMA user_version=5; PRAGMA journal_mode=WAL;");
    const std::string bytes = readFile(database);
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }),
              "This library was created by a newer Penmark (schema 5). It has not been changed.");
    EXPECT_EQ(readFile(database), bytes);
    runSql(database, "PRAGMA journal_mode=DELETE; PRAGMA user_version=4");
    EXPECT_EQ(RecoveryStore(configuration).schemaVersion(), 4);  // the lock was released
}

TEST_F(RecoveryStoreTest, IsOpenOnlyOnceAtATime)
{
    {
        RecoveryStore store(configuration);
        EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }),
                  "This recovery library is already open in another Penmark process.");
        EXPECT_EQ(store.query("SELECT 1")[0][0], "1");
    }
    RecoveryStore{configuration};
}

TEST_F(RecoveryStoreTest, SaysWhyItCannotBeOpened)
{
    const std::string prefix = "Penmark could not complete the operation: ";
    fs::create_directories(configuration.root / "writer.lock");
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }), prefix + "Cannot open library lock.");
    fs::remove(configuration.root / "writer.lock");
    fs::create_directories(database);
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }), prefix + "Cannot open SQLite library.");
    fs::remove(database);
    std::ofstream(database) << std::string(4096, 'x');
    EXPECT_EQ(failureOf([&] { RecoveryStore{configuration}; }), prefix + "file is not a database");
    EXPECT_EQ(readFile(database), std::string(4096, 'x'));  // nothing is reset

    std::ofstream(folder.path() / "file") << "x";
    const auto inFile = RecoveryConfiguration{folder.path() / "file" / "library", {}};
    EXPECT_EQ(failureOf([&] { RecoveryStore{inFile}; }),
              prefix + (folder.path() / "file").native() + ": Not a directory");
    fs::create_symlink("loop", folder.path() / "loop");
    for (const fs::path& impossible :
         {folder.path() / "loop", folder.path() / "loop" / "library", fs::path("/proc/x/y")})
        EXPECT_NE(failureOf([&] { RecoveryStore{{impossible, {}}}; }), "no failure") << impossible;
    const auto [status, store] = openLibrary(inFile, {});
    EXPECT_EQ(store, nullptr);
    EXPECT_EQ(status.message(), prefix + (folder.path() / "file").native() + ": Not a directory");
    EXPECT_EQ(status.paths(), nullptr);
}

TEST_F(RecoveryStoreTest, ATransactionIsDoneWholeOrNotAtAll)
{
    RecoveryStore store(configuration);
    const auto add = [&](const char* key) { store.setMetadata(key, std::string("v")); };
    const auto keys = [&] { return store.query("SELECT key FROM metadata WHERE key<>'deviceID' ORDER BY key"); };

    EXPECT_EQ(store.transaction([&] {
        add("a");
        store.transaction([&] { add("b"); });
        return 7;
    }),
              7);
    EXPECT_EQ(keys(), (std::vector<RecoveryStore::Row>{{"a"}, {"b"}}));

    EXPECT_THROW(store.transaction([&] {
        add("c");
        store.transaction([&] { throw std::runtime_error("inside"); });
    }),
                 std::runtime_error);
    // The failure inside is swallowed on the way out, yet half a change must not be kept.
    EXPECT_THROW(store.transaction([&] {
        add("d");
        try {
            store.transaction([&] { throw std::runtime_error("inside"); });
        } catch (const std::runtime_error&) {}
        add("e");
    }),
                 std::runtime_error);
    store.beforeCommit = [] { throw std::logic_error("before commit"); };
    EXPECT_THROW(store.transaction([&] { add("f"); }), std::logic_error);
    store.beforeCommit = nullptr;
    EXPECT_EQ(keys().size(), 2u);

    store.transaction([&] { add("g"); });  // and the store goes on working
    EXPECT_EQ(keys().size(), 3u);
}

// SQLite ends the transaction by itself when the disk is full. What comes behind a failure that was caught must not be
// stored on its own.
TEST_F(RecoveryStoreTest, NothingIsStoredBehindARollbackOfSQLite)
{
    FaultyVfs disk;
    RecoveryStore store(configuration);
    const auto keys = [&] { return store.query("SELECT key FROM metadata WHERE key<>'deviceID'"); };
    const std::string failure = failureOf([&] {
        store.transaction([&] {
            store.setMetadata("half1", true);
            disk.failAt(1, FaultyVfs::Mode::fromThenOn);
            // Large enough to be written before COMMIT.
            EXPECT_NE(failureOf([&] { store.setMetadata("big", std::string(8'000'000, 'x')); }), "no failure");
            disk.failAt(0, FaultyVfs::Mode::once);
            EXPECT_NE(failureOf([&] { store.setMetadata("half2", true); }), "no failure");
        });
    });
    EXPECT_EQ(failure, "Penmark could not complete the operation: database or disk is full");
    EXPECT_TRUE(keys().empty());
    store.setMetadata("later", true);
    EXPECT_EQ(keys(), (std::vector<RecoveryStore::Row>{{"later"}}));

    store.beforeCommit = [&] {
        try {
            store.transaction([] { throw std::runtime_error("inside"); });
        } catch (const std::runtime_error&) {}
    };
    EXPECT_THROW(store.transaction([&] { store.setMetadata("never", true); }), std::runtime_error);
    EXPECT_EQ(keys().size(), 1u);
}

// A record that cannot be indexed, or a disk without room for an index, costs speed and nothing else.
TEST_F(RecoveryStoreTest, OpensWithoutTheIndexesThatCannotBeMade)
{
    RecoveryStore(configuration)
        .execute("INSERT INTO documents VALUES('x','{}')");  // something that must still be there
    runSql(database, "DROP INDEX revisions_by_date; DROP INDEX revisions_by_hash; PRAGMA foreign_keys=OFF; INSERT INTO "
                     "revisions VALUES('r','x','h','{broken')");
    RecoveryStore store(configuration);
    EXPECT_EQ(store.query("SELECT id FROM documents").size(), 1u);
    EXPECT_EQ(store.query("SELECT name FROM sqlite_schema WHERE name IN ('revisions_by_date','revisions_by_hash')"),
              (std::vector<RecoveryStore::Row>{{"revisions_by_hash"}}));
}

// The foreign key is checked at COMMIT when it is deferred: that failure must be reported and rolled back.
TEST_F(RecoveryStoreTest, AFailedCommitIsRolledBackAndReported)
{
    RecoveryStore store(configuration);
    const auto change = [&] {
        store.execute("PRAGMA defer_foreign_keys=ON");
        store.execute("INSERT INTO revisions(id,document_id,hash,json) VALUES('r','d','none','{}')");
    };
    EXPECT_EQ(failureOf([&] { store.transaction(change); }),
              "Penmark could not complete the operation: FOREIGN KEY constraint failed");
    EXPECT_TRUE(store.query("SELECT * FROM revisions").empty());
    store.transaction([&] { store.setMetadata("a", true); });
    EXPECT_EQ(store.metadata<bool>("a"), true);
}

TEST_F(RecoveryStoreTest, BindsAndReadsEveryKindOfValue)
{
    RecoveryStore store(configuration);
    const std::string withNul("a\0b", 3);
    store.execute("INSERT INTO checkpoints(id,created,pinned,json) VALUES(?,?,?,?)",
                  {withNul, 0.5, std::int64_t{1} << 40, Blob{}});
    const auto rows = store.query("SELECT id,created,pinned,json,typeof(json),typeof(id),NULL FROM checkpoints");
    EXPECT_EQ(rows, (std::vector<RecoveryStore::Row>{{withNul, "0.5", "1099511627776", "", "blob", "text", ""}}));
    EXPECT_EQ(failureOf([&] { store.execute("INSERT INTO nowhere VALUES(1)"); }),
              "Penmark could not complete the operation: no such table: nowhere");
    for (const char* sql : {"SELECT ?,?,?", "SELECT 1", "SELECT ?,?; SELECT 1", ""})
        EXPECT_NE(failureOf([&] { store.query(sql, {"a", "b"}); }), "no failure") << sql;
}

TEST_F(RecoveryStoreTest, ReadsTheBeginningOfAValueAlone)
{
    RecoveryStore store(configuration);
    const std::string large(3'000'000, 'x');
    store.execute("INSERT INTO windows(id,json) VALUES('large',?),('text','aé'),('empty',x''),('number',7)",
                  {Blob{large}});
    const auto beginning = [&](std::int64_t row, std::size_t limit) {
        return store.readBeginning("windows", "json", row, limit);
    };
    EXPECT_EQ(beginning(1, 5000).bytes, large.substr(0, 5000));
    EXPECT_FALSE(beginning(1, large.size() - 1).isAll);
    EXPECT_TRUE(beginning(1, large.size()).isAll);
    EXPECT_EQ(beginning(2, 100).bytes, "aé");
    EXPECT_TRUE(beginning(2, 3).isAll);
    EXPECT_TRUE(beginning(3, 100).isAll);
    EXPECT_THROW(beginning(4, 100), RecoveryError);
    EXPECT_THROW(beginning(5, 100), RecoveryError);
}

TEST_F(RecoveryStoreTest, MetadataThatDoesNotDecodeCountsAsAbsent)
{
    RecoveryStore store(configuration);
    EXPECT_FALSE(store.metadata<bool>("k"));
    store.setMetadata("k", std::vector<std::string>{"é", ""});
    EXPECT_EQ(store.query("SELECT value FROM metadata WHERE key='k'")[0][0], R"(["é",""])");
    EXPECT_EQ(store.metadata<std::vector<std::string>>("k")->size(), 2u);
    EXPECT_FALSE(store.metadata<bool>("k"));
    store.removeMetadata("k");
    EXPECT_FALSE(store.metadata<std::vector<std::string>>("k"));
}

TEST_F(RecoveryStoreTest, CountsStatementsThatConcernSearch)
{
    RecoveryStore store(configuration);
    const auto advances = [&](std::string_view sql) {
        const auto before = store.searchVersion();
        store.execute(sql);
        return store.searchVersion() - before;
    };
    EXPECT_EQ(advances("INSERT INTO documents VALUES('a','{}')"), 1u);
    EXPECT_EQ(advances("UPDATE revisions SET json='{}' WHERE id='none'"), 1u);
    EXPECT_EQ(advances("DELETE FROM checkpoint_revisions"), 1u);
    EXPECT_EQ(advances("DELETE FROM windows"), 0u);
    EXPECT_EQ(advances("SELECT * FROM documents"), 0u);
    const auto before = store.searchVersion();
    EXPECT_NE(failureOf([&] { store.execute("INSERT INTO documents VALUES('a','{}')"); }), "no failure");
    EXPECT_EQ(store.searchVersion(), before);
}

TEST_F(RecoveryStoreTest, SerialisesThreads)
{
    RecoveryStore store(configuration);
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&store] {
                for (int i = 0; i < 10; ++i)
                    store.transaction([&] {
                        const auto count = store.metadata<std::int64_t>("count").value_or(0);
                        store.setMetadata("count", count + 1);
                    });
            });
    }
    EXPECT_EQ(store.metadata<std::int64_t>("count"), 40);
}

}  // namespace
}  // namespace penmark
