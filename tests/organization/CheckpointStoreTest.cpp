// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointStore.h"

#include "organization/CheckpointFixture.h"
#include "organization/SessionCalendar.h"
#include "organization/SessionError.h"
#include "organization/SessionVisits.h"

namespace penmark {
namespace {

class CheckpointStoreTest : public CheckpointFixture {
protected:
    void switchSync(bool on)
    {
        store.execute("INSERT OR REPLACE INTO metadata(key,value) VALUES('syncSettings',?)",
                      {on ? "{\"enabled\":true}" : "{\"enabled\":false}"});
    }
    std::string json(const Uuid& checkpoint) const { return checkpoints.loadRecord(checkpoint).value(); }
    std::vector<RecoveryStore::Row> outbox() const
    {
        return store.query("SELECT id,payload FROM outbox WHERE entity='sessionCheckpoint'");
    }
};

TEST_F(CheckpointStoreTest, KeepsTheNewestRevisionOfEveryDocumentThatCanBeTakenUpAgain)
{
    auto first = rewrite(write("First", "1"), "2");
    first = documents.changeDocument(first.id, [](RecoveryDocument& d) { d.displayTitle = "Shown"; });
    const auto second = write("Second", "2");
    documents.discard(write("Discarded", "3").id);
    documents.createDocument(documents.newDocument("Empty"));
    store.execute("DELETE FROM revisions WHERE id=?", {write("Missing", "4").head->text()});
    store.execute("INSERT INTO documents(id,json) VALUES('damaged','{')");
    store.execute("INSERT INTO search_views(id,json) VALUES('a','{\"id\":1}'),('b','{'),('c','[2]')");

    SessionLibrary library;
    PenmarkSession session;
    session.id = Uuid::random();
    session.name = "Work";
    library.sessions.put(session);
    library.workspaces.put({Uuid::random(), "Group", session.id, true, {}, {}, {}});
    library.projects.put({Uuid::random(), "Folder", "/folder", {}, {}});
    library.settings.focusedWindowID = Uuid::random();

    const auto header = checkpoints.keepLibrary(library, "", true);
    const auto kept = checkpoints.load(header.id);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->documents, (std::vector<CheckpointDocument>{{first.id, *first.head, "Shown", {}},
                                                                {second.id, *second.head, "Second", {}}}));
    EXPECT_EQ(kept->sessions, std::vector{session});
    EXPECT_EQ(kept->workspaces.size(), 1u);
    EXPECT_EQ(kept->projects.size(), 1u);
    EXPECT_EQ(kept->focusedWindowID, library.settings.focusedWindowID);
    EXPECT_EQ(kept->searchViews, (std::vector<RawJson>{{"{\"id\":1}"}, {"[2]"}}));
    EXPECT_EQ(kept->deviceID, store.deviceID());
    EXPECT_FALSE(kept->name) << "an empty name is none";
    EXPECT_EQ(checkpoints.headers().headers, std::vector{header});
    EXPECT_FALSE(header.document);
    EXPECT_TRUE(outbox().empty()) << "sync was never set up";

    // What is covered cannot be removed while the checkpoint is there.
    EXPECT_THROW(store.execute("DELETE FROM revisions WHERE id=?", {first.head->text()}), RecoveryError);
    EXPECT_EQ(checkpoints.holding(*second.head), std::vector{header});
}

// As whoever saves the library does: a visit keeps one checkpoint a day, however often it saves.
TEST_F(CheckpointStoreTest, AVisitKeepsOneOfEachDay)
{
    SessionLibrary library;
    startRun(library, store.deviceID(), now);
    for (const std::string key : {"2026-03-01", "2026-03-01", "2026-03-02", "2026-03-01"}) {
        const LocalDay today{"Europe/Berlin", key, ""};
        if (isNewDay(library, today))
            enterDay(library, today, now, checkpoints.keepLibrary(library, {}, false).id);
    }
    const auto headers = checkpoints.headers().headers;
    ASSERT_EQ(headers.size(), 2u);
    const auto calendar = sessionCalendar(library, headers, [](Date) { return LocalDay{"", "2026-03-05", "10:00"}; });
    ASSERT_EQ(calendar.days.size(), 2u) << "each is listed under the day that was entered";
    EXPECT_EQ(calendar.days[0].visits.at(0).checkpoint, headers[0].id);
    EXPECT_EQ(calendar.days[1].checkpoints.at(0).header, headers[1]);

    checkpoints.remove(headers[0].id);
    expireCheckpoint(library, headers[0].id);
    EXPECT_TRUE(sessionCalendar(library, checkpoints.headers().headers).days[0].visits.at(0).expired);
}

TEST_F(CheckpointStoreTest, KeepsOneDocument)
{
    const auto before = write("Letter", "old");
    const auto document = rewrite(before, "new");
    const auto newest = checkpoints.keepDocument(document.id, "Sent");
    const auto older = checkpoints.keepDocument(document.id, {}, before.head);
    EXPECT_EQ(newest.document, document.id);
    EXPECT_TRUE(newest.pinned);
    EXPECT_EQ(checkpoints.holding(*document.head), std::vector{newest});
    EXPECT_EQ(checkpoints.holding(*before.head), std::vector{older});
    EXPECT_EQ(checkpoints.headers().headers, (std::vector{older, newest})) << "the newest first";
    EXPECT_EQ(checkpoints.load(newest.id)->documents.front().title, "Letter");

    const auto other = write("Other", "x");
    const auto empty = documents.newDocument("Empty");
    documents.createDocument(empty);
    EXPECT_THROW(checkpoints.keepDocument(document.id, {}, other.head), RecoveryError);
    EXPECT_THROW(checkpoints.keepDocument(empty.id, {}), RecoveryError);
    EXPECT_THROW(checkpoints.keepDocument(Uuid::random(), {}), RecoveryError);
    EXPECT_EQ(checkpoints.count(), 2);
}

TEST_F(CheckpointStoreTest, WritesAnIdentityOnceAndOnlyWithAllItsRevisions)
{
    const auto document = write("A", "a");
    SessionCheckpoint received;
    received.id = Uuid::random();
    received.documents = {{document.id, *document.head, "A", {}}, {document.id, *document.head, "again", {}}};
    checkpoints.create(received);
    SessionCheckpoint other = received;
    other.name = "Other";
    checkpoints.create(other);
    EXPECT_EQ(checkpoints.load(received.id), received);

    other.id = Uuid::random();
    other.documents.push_back({document.id, Uuid::random(), {}, {}});
    EXPECT_THROW(checkpoints.create(other), RecoveryError);
    EXPECT_EQ(checkpoints.count(), 1);
}

TEST_F(CheckpointStoreTest, LeavesNothingBehindWhicheverRowFails)
{
    switchSync(true);
    const auto document = write("A", "a");
    write("B", "b");
    CheckpointHeader kept;
    EXPECT_EQ(failAtEachRow([&] { kept = checkpoints.keepLibrary({}, "All", false); }), 4)
        << "the checkpoint, two revisions, and what is told of it";
    EXPECT_EQ(outbox(), (std::vector<RecoveryStore::Row>{{"checkpoint-" + kept.id.text(), json(kept.id)}}));
}

TEST_F(CheckpointStoreTest, TellsOfItOnlyWhileSyncIsOnAndItIsOurs)
{
    const auto document = write("A", "a");
    switchSync(false);
    checkpoints.keepDocument(document.id, {});
    switchSync(true);
    store.applyingSync = true;
    checkpoints.keepDocument(document.id, {});
    store.applyingSync = false;
    EXPECT_TRUE(outbox().empty());
}

TEST_F(CheckpointStoreTest, ListsWhatItCanReadWhateverElseIsThere)
{
    const auto document = write("A", "a");
    SessionCheckpoint large;
    large.id = Uuid::random();
    large.name = "Large";
    large.sessions.resize(1000);
    checkpoints.create(large);
    const auto small = checkpoints.keepDocument(document.id, "Small \"quoted\"");
    // Its end is never looked at.
    store.execute("UPDATE checkpoints SET json=CAST(substr(json,1,20000) AS BLOB) WHERE id=?", {large.id.text()});
    const std::string id = Uuid::random().text();
    store.execute("INSERT INTO checkpoints(id,created,pinned,json) VALUES('no id',1,0,'{}'),(?,2,0,'{\"id\":7')", {id});
    const std::string members = "\"name\":\"Foreign\",\"documents\":[{\"documentID\":\"" + document.id.text() +
                                "\"}],\"sessions\":[],\"workspaces\":[],\"id\":\"" + id + "\"}";
    const Uuid foreign = Uuid::random();
    store.execute("INSERT INTO checkpoints(id,created,pinned,json) VALUES(?,3,1,?)",
                  {foreign.text(), "{ " + std::string(2000, ' ') + members});

    const auto read = checkpoints.headers();
    EXPECT_EQ(read.headers, (std::vector<CheckpointHeader>{small,
                                                           {foreign, {3}, true, "Foreign", document.id},
                                                           {large.id, large.createdAt, false, "Large", {}}}));
    EXPECT_EQ(read.problems.size(), 2u);
    EXPECT_THROW(checkpoints.load(large.id), RecoveryError);
    EXPECT_FALSE(checkpoints.load(Uuid::random()));
}

TEST_F(CheckpointStoreTest, APinOrANameChangesNothingElseOfTheRecord)
{
    switchSync(true);
    SessionCheckpoint made;
    made.id = Uuid::random();
    made.createdAt = {800'000'000.125};
    made.unknownMembers.emplace_back("later", RawJson{"[1,{\"x\":null}]"});
    made.sessions.resize(1);
    made.sessions[0].unknownMembers.emplace_back("inner", RawJson{"\"ü\\n\""});
    checkpoints.create(made);

    EXPECT_EQ(checkpoints.rename(made.id, "New \"name\"").name, "New \"name\"");
    made.name = "New \"name\"";
    EXPECT_EQ(json(made.id), encodeRecord(made));
    EXPECT_TRUE(checkpoints.setPinned(made.id, true).pinned);
    made.pinned = true;
    EXPECT_EQ(json(made.id), encodeRecord(made));
    EXPECT_EQ(store.query("SELECT pinned FROM checkpoints")[0][0], "1");
    EXPECT_EQ(outbox()[0][1], encodeRecord(made)) << "what waits to be told is as it is now";
    EXPECT_FALSE(checkpoints.rename(made.id, "").name);
    made.name.reset();
    EXPECT_EQ(json(made.id), encodeRecord(made));

    for (const std::string damaged : {"[]", "{", "{}"}) {
        store.execute("UPDATE checkpoints SET json=?", {damaged});
        EXPECT_THROW(checkpoints.setPinned(made.id, false), RecoveryError) << damaged;
        EXPECT_EQ(json(made.id), damaged);
        EXPECT_EQ(store.query("SELECT pinned FROM checkpoints")[0][0], "1");
    }
    EXPECT_THROW(checkpoints.setPinned(Uuid::random(), false), SessionError);
    EXPECT_THROW(checkpoints.rename(Uuid::random(), "x"), SessionError);
}

TEST_F(CheckpointStoreTest, RemovingFreesWhatOnlyItProtected)
{
    switchSync(true);
    const auto old = write("A", "a");
    const auto document = rewrite(old, "b");
    const auto removed = checkpoints.keepDocument(document.id, {}, old.head);
    const auto kept = checkpoints.keepDocument(document.id, {});
    EXPECT_EQ(failAtEachRow([&] { checkpoints.remove(removed.id); }), 3);
    EXPECT_FALSE(checkpoints.contains(removed.id));
    EXPECT_EQ(checkpoints.headers().headers, std::vector{kept});
    ASSERT_EQ(outbox().size(), 1u);
    EXPECT_EQ(outbox()[0][1], json(kept.id));
    store.execute("DELETE FROM revisions WHERE id=?", {old.head->text()});
    EXPECT_THROW(checkpoints.remove(removed.id), SessionError);

    // Also a program that knows nothing of it leaves no protection behind.
    store.execute("DELETE FROM checkpoints WHERE id=?", {kept.id.text()});
    EXPECT_TRUE(store.query("SELECT 1 FROM checkpoint_revisions").empty());
}

}  // namespace
}  // namespace penmark
