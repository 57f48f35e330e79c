// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionLibraryStore.h"

#include "organization/ClosedItems.h"
#include "organization/Projects.h"
#include "organization/SessionError.h"
#include "organization/SessionVisits.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace penmark {

namespace {

constexpr Date now{700'000'000};

class SessionLibraryStoreTest : public testing::Test {
protected:
    Uuid addWindow(const Uuid& session)
    {
        RecoveryWindow window;
        window.id = Uuid::random();
        window.isOpen = true;
        window.documents = {Uuid::random(), Uuid::random()};
        window.sessionID = session;
        putWindow(library, window, now);
        return window.id;
    }

    /// A library with some of everything, saved.
    void fill()
    {
        for (const std::string name : {"a", "b", "c", "d"})
            addWindow(createSession(library, name, {}, now));
        const Uuid first = library.sessions.begin()->windows.front().id;
        createWorkspace(library, first, "workspace");
        closeTab(library, first, library.findWindow(first)->documents.front(), "tab", now);
        addProject(library, "/projects/one");
        startRun(library, Uuid::random(), now);
        save();
    }

    void save()
    {
        SessionLibraryStore(store).save(stored, library);
        stored = library;
    }

    Uuid session(std::size_t index) const { return library.sessions.items().at(index)->id; }

    /// Every row and the settings, in stored order.
    std::string rows()
    {
        std::string all;
        for (const auto& row : store.query("SELECT kind,id,json FROM library_items ORDER BY rowid"))
            all += row[0] + " " + row[1] + " " + row[2] + "\n";
        for (const auto& row : store.query("SELECT value FROM metadata WHERE key='sessionLibrary'"))
            all += row[0];
        return all;
    }

    /// From now on each row that is written adds to what `written` returns.
    void watchRows()
    {
        store.execute("CREATE TEMP TABLE written(what TEXT)");
        for (const std::string what : {"INSERT", "UPDATE", "DELETE"}) {
            const std::string row = what == "DELETE" ? "old" : "new";
            store.execute("CREATE TEMP TRIGGER watch_" + what + " AFTER " + what +
                          " ON library_items BEGIN INSERT INTO written VALUES('" + what + " '||" + row + ".kind); END");
            store.execute("CREATE TEMP TRIGGER settings_" + what + " AFTER " + what +
                          " ON metadata BEGIN INSERT INTO written VALUES('" + what + " '||" + row + ".key); END");
        }
        store.beforeCommit = [this] { ++commits; };
    }
    std::string written()
    {
        std::string all;
        for (const auto& row : store.query("SELECT what FROM written ORDER BY rowid"))
            all += (all.empty() ? "" : ", ") + row[0];
        store.execute("DELETE FROM written");
        return all;
    }

    const TemporaryFolder folder{TemporaryFolder::inMemory()};
    RecoveryStore store{RecoveryConfiguration{folder.path(), {}}};
    SessionLibrary library;
    SessionLibrary stored;
    int commits = 0;
};

TEST_F(SessionLibraryStoreTest, WritesOnlyTheRowsThatDifferAndKeepsTheirOrder)
{
    fill();
    watchRows();
    struct Case {
        std::string name;
        std::function<void()> change;
        std::string rows;
    };
    const std::vector<Case> cases{
        {"nothing", [] {}, ""},
        {"an equal record",
         [&] {
             const PenmarkSession same = *library.sessions.find(session(1));
             library.sessions.change(same.id, [](PenmarkSession& at) { at.name = "other"; });
             library.sessions.put(same);
         },
         ""},
        {"one in the middle", [&] { renameSession(library, session(1), "B"); }, "UPDATE session"},
        {"one removed", [&] { library.sessions.remove(session(2)); }, "DELETE session"},
        {"one changed, one removed, one added",
         [&] {
             renameSession(library, session(0), "A");
             library.sessions.remove(session(1));
             PenmarkSession added;
             added.id = Uuid::random();
             library.sessions.put(added);
         },
         "UPDATE session, DELETE session, INSERT session"},
        {"two exchanged",
         [&] {
             auto items = library.sessions.items();
             std::swap(items[1], items[2]);
             library.sessions.assign(items);
         },
         "DELETE session, DELETE session, INSERT session, INSERT session"},
        {"settings alone", [&] { library.settings.historyPolicy.days = 7; }, "INSERT sessionLibrary"},
        {"of each kind",
         [&] {
             finishRun(library, now);
             addProject(library, "/projects/two");
             renameWorkspace(library, library.workspaces.begin()->id, "W");
             forgetClosed(library, library.recentlyClosed.begin()->id);
         },
         "UPDATE workspace, INSERT project, UPDATE run, DELETE closed, INSERT sessionLibrary"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        commits = 0;
        one.change();
        save();
        EXPECT_EQ(commits, one.rows.empty() ? 0 : 1);
        EXPECT_EQ(written(), one.rows);
        EXPECT_TRUE(SessionLibraryStore(store).load().library == library);
    }
}

// Fails the first row that is written, then the second, … until a save gets through.
TEST_F(SessionLibraryStoreTest, LeavesEverythingAsItWasWhicheverStatementFails)
{
    fill();
    store.setMetadata("syncSettings", RawJson{R"({"enabled":true})"});
    store.execute("CREATE TEMP TABLE allowed(count INTEGER)");
    for (const std::string table : {"library_items", "metadata", "outbox"}) {
        for (const std::string what : {"INSERT", "UPDATE", "DELETE"}) {
            store.execute("CREATE TEMP TRIGGER fault_" + table + what + " BEFORE " + what + " ON " + table +
                          " BEGIN UPDATE allowed SET count=count-1; "
                          "SELECT RAISE(ABORT,'fault') WHERE (SELECT count FROM allowed)<0; END");
        }
    }
    const auto allow = [&](int count) {
        store.execute("DELETE FROM allowed");
        store.execute("INSERT INTO allowed VALUES(?)", {std::int64_t{count}});
    };
    renameSession(library, session(1), "B");
    deleteSession(library, session(2));
    createSession(library, "e", {}, now);
    closeWorkspace(library, library.workspaces.begin()->id);
    addProject(library, "/projects/two");

    const std::string before = rows();
    int faults = 0;
    for (bool isSaved = false; !isSaved; ++faults) {
        SCOPED_TRACE(faults);
        allow(faults);
        try {
            SessionLibraryStore(store).save(stored, library);
            isSaved = true;
        } catch (const RecoveryError&) {
            EXPECT_EQ(rows(), before);
            EXPECT_TRUE(store.query("SELECT 1 FROM outbox").empty());
        }
        ASSERT_LT(faults, 100);
    }
    EXPECT_GT(faults, 7);
    EXPECT_TRUE(SessionLibraryStore(store).load().library == library);

    stored = library;
    allow(100);
    store.beforeCommit = [] { throw RecoveryError::storage("no commit"); };
    const std::string after = rows();
    renameSession(library, session(0), "A");
    EXPECT_THROW(save(), RecoveryError);
    EXPECT_EQ(rows(), after);
}

TEST_F(SessionLibraryStoreTest, RefusesWhatIsNotValid)
{
    fill();
    const std::string before = rows();
    const SessionLibrary valid = library;
    const Uuid window = library.sessions.begin()->windows.front().id;
    const std::string duplicate = "Duplicate session or window identity.";
    const std::string loop = "A session cannot contain itself or one of its parents.";
    struct Case {
        std::string name;
        std::string sentence;
        std::function<void(PenmarkSession&)> change;  // of the third session
    };
    const std::vector<Case> cases{
        {"the window of another session", duplicate, [&](auto& at) { at.windows.front().id = window; }},
        {"one window twice", duplicate, [&](auto& at) { at.windows.push_back(at.windows.front()); }},
        {"a window that is called as a session", duplicate, [&](auto& at) { at.windows.front().id = session(0); }},
        {"its own parent", loop, [&](auto& at) { at.parentID = at.id; }},
        {"a parent that is not there", loop, [&](auto& at) { at.parentID = Uuid::random(); }},
        {"a loop of two", loop, [&](auto& at) { at.parentID = session(3); }},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        library = valid;
        library.sessions.change(session(3), [&](PenmarkSession& at) { at.parentID = session(2); });
        library.sessions.change(session(2), one.change);
        try {
            SessionLibraryStore(store).save(stored, library);
            ADD_FAILURE() << "saved";
        } catch (const SessionError& error) {
            EXPECT_EQ(error.what(), one.sentence);
        }
        EXPECT_EQ(rows(), before);
    }
}

TEST_F(SessionLibraryStoreTest, LeavesWhatItCannotReadAndGoesOnWithTheRest)
{
    fill();
    moveSession(library, session(1), session(0));
    moveSession(library, session(2), session(3));
    save();
    const auto json = [&](const Uuid& id) {
        return store.query("SELECT json FROM library_items WHERE id=?", {id.text()})[0][0];
    };
    const auto overwrite = [&](const Uuid& id, const std::string& record) {
        store.execute("UPDATE library_items SET json=? WHERE id=?", {Blob{record}, id.text()});
    };
    const Uuid workspace = library.workspaces.begin()->id;
    overwrite(session(0), "{");                                   // the parent of the second is lost
    PenmarkSession looping = *library.sessions.find(session(3));  // with the third
    looping.parentID = session(2);
    looping.windows.push_back(library.sessions.find(session(1))->windows.front());  // a window that is there already
    overwrite(session(3), encodeRecord(looping));
    overwrite(workspace, json(library.projects.begin()->id));  // a record in another's place
    store.execute(
        "UPDATE metadata SET value='{\"windowOrder\":7,\"historyPolicy\":{\"days\":3650}}' WHERE key='sessionLibrary'");

    auto loaded = SessionLibraryStore(store).load();
    const std::string before = rows();
    EXPECT_EQ(loaded.problems.size(), 6u) << testing::PrintToString(loaded.problems);
    ASSERT_EQ(loaded.library.sessions.size(), 3u);
    EXPECT_FALSE(loaded.library.sessions.find(session(1))->parentID);
    EXPECT_TRUE(loaded.library.settings.windowOrder.empty());
    EXPECT_TRUE(loaded.library.workspaces.isEmpty());
    EXPECT_EQ(loaded.library.settings.historyPolicy.days, 3650) << "what can be read of damaged settings counts";
    const RecoveryWindow& twice = loaded.library.sessions.find(session(3))->windows.back();
    EXPECT_NE(twice.id, looping.windows.back().id);
    EXPECT_EQ(twice.documents, looping.windows.back().documents);
    EXPECT_NE(twice.tabIDs, looping.windows.back().tabIDs);
    EXPECT_NO_THROW(validate(loaded.library));

    SessionLibrary changed = loaded.library;
    SessionLibraryStore(store).save(loaded.library, changed);
    EXPECT_EQ(rows(), before) << "what was mended in memory alone has been written";
    renameSession(changed, session(1), "B");
    SessionLibraryStore(store).save(loaded.library, changed);
    EXPECT_EQ(json(session(0)), "{");
    EXPECT_EQ(store.query("SELECT value FROM metadata WHERE key='sessionLibrary'")[0][0],
              R"({"windowOrder":7,"historyPolicy":{"days":3650}})");
    useSession(changed, session(1));
    SessionLibraryStore(store).save(loaded.library, changed);
    EXPECT_TRUE(SessionLibraryStore(store).load().library.settings == changed.settings);
}

// A commit that was reported as failed may have been stored: what the memory still has must not be lost by it.
TEST_F(SessionLibraryStoreTest, WritesARecordWhoseRowIsNotThere)
{
    fill();
    store.execute("DELETE FROM library_items WHERE id=?", {session(1).text()});
    renameSession(library, session(1), "B");
    save();
    const auto loaded = SessionLibraryStore(store).load();
    const auto* const found = loaded.library.sessions.find(session(1));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, "B");
}

TEST_F(SessionLibraryStoreTest, QueuesTheWholeLibraryOnceWhileSyncIsOn)
{
    store.execute("INSERT INTO outbox VALUES('catalog','sessionCatalog','x'),('catalog-1','other','x')");
    const auto queued = [&] {
        return store.query("SELECT id,payload FROM outbox WHERE id>'catalog-' AND entity='sessionCatalog'");
    };
    fill();
    store.setMetadata("syncSettings", RawJson{R"({"enabled":false})"});
    createSession(library, "off", {}, now);
    save();
    EXPECT_TRUE(queued().empty());
    store.setMetadata("syncSettings", RawJson{R"({"enabled":true})"});
    for (const std::string name : {"on", "again"}) {
        createSession(library, name, {}, now);
        save();
        save();
        ASSERT_EQ(queued().size(), 1u);
        EXPECT_EQ(queued()[0][1], encodeLibrary(library));
        EXPECT_TRUE(Uuid::parse(queued()[0][0].substr(8)));
    }
    EXPECT_EQ(store.query("SELECT count(*) FROM outbox")[0][0], "3");

    std::string keys;
    parseJson(encodeLibrary(library), [&](const JsonValue& root) {
        root.forEachMember([&](std::string_view key, const JsonValue&) { keys.append(key).append(" "); });
    });
    EXPECT_EQ(keys, "sessions workspaces projects runs recentlyClosed activeSessionID currentRunID historyPolicy "
                    "windowOrder ");
}

}  // namespace

}  // namespace penmark
