// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointRestore.h"

#include "organization/CheckpointFixture.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"

#include <algorithm>

namespace penmark {
namespace {

class CheckpointRestoreTest : public CheckpointFixture {
protected:
    static RecoveryWindow window(const Uuid& session, std::vector<Uuid> shown, std::vector<Uuid> putAside = {})
    {
        RecoveryWindow made;
        made.id = Uuid::random();
        made.sessionID = session;
        made.isOpen = true;
        made.documents = shown;
        made.selected = shown.back();
        shown.insert(shown.end(), putAside.begin(), putAside.end());
        for (const Uuid& document : shown) {
            made.tabIDs[document] = Uuid::random();
            made.editorStates[document] = {"\"" + document.text() + "\""};
        }
        return made;
    }
    static PenmarkSession session(std::optional<std::string> name, std::optional<Uuid> parent = {})
    {
        PenmarkSession made;
        made.id = Uuid::random();
        made.name = std::move(name);
        made.parentID = parent;
        return made;
    }
    SessionLibrary load() const { return SessionLibraryStore(store).load().library; }
    void save(const SessionLibrary& library) { SessionLibraryStore(store).save(load(), library); }

    CheckpointRestored restore(const Uuid& checkpoint, const RestoreChoice& choice = {})
    {
        return restoreCheckpoint(store, checkpoint, load(), choice, clock, [](Date) {
            return LocalDay{"UTC", "2026-11-20", "14:02"};
        });
    }
    static const PenmarkSession* named(const SessionLibrary& library, std::string_view name, const Uuid& parent)
    {
        for (const PenmarkSession& session : library.sessions) {
            if (session.name == name && session.parentID == parent)
                return &session;
        }
        return nullptr;
    }
};

TEST_F(CheckpointRestoreTest, MakesSessionsOfCopiesAndChangesNothing)
{
    const auto first = write("First", "then 1");
    const auto second = write("Second", "then 2");
    const auto note = write("Note", "then 3");
    SessionLibrary library;
    PenmarkSession outer = session("Outer");
    PenmarkSession inner = session("Inner", outer.id);
    inner.isOpen = false;
    inner.returnNoteID = note.id;
    outer.windows = {window(outer.id, {second.id, first.id}, {note.id})};
    outer.windows[0].searchViewID = Uuid::random();
    inner.windows = {window(inner.id, {first.id})};
    const PenmarkProject there{Uuid::random(), "There", "/there", {}, {}};
    const PenmarkProject gone{Uuid::random(), "Gone", "/gone", {}, {}};
    const PenmarkProject moved{Uuid::random(), "Moved", "/moved", {}, {}};
    outer.projectIDs = {there.id, gone.id, moved.id, Uuid::random()};
    for (const PenmarkProject& project : {there, gone, moved})
        library.projects.put(project);
    library.sessions.put(outer);
    library.sessions.put(inner);
    library.settings.activeSessionID = outer.id;
    save(library);
    const auto kept = checkpoints.keepLibrary(library, "Monday", true);

    rewrite(first, "now");
    documents.discard(second.id);
    library = load();
    library.projects.remove(gone.id);
    library.projects.remove(moved.id);
    const PenmarkProject again{Uuid::random(), "Again", "/moved", {}, {}};
    library.projects.put(again);
    save(library);
    const Rows before = rows();

    const auto restored = restore(kept.id);
    EXPECT_TRUE(restored.problems.empty());
    EXPECT_EQ(restored.documents.size(), 3u) << "one copy of what two windows show";
    EXPECT_EQ(textOf(restored.documents.at(first.id)), "then 1");
    EXPECT_EQ(textOf(restored.documents.at(second.id)), "then 2");
    EXPECT_EQ(documents.loadDocument(restored.documents.at(second.id))->title, "Second — restored copy");
    EXPECT_FALSE(documents.loadDocument(restored.documents.at(second.id))->deleted);

    EXPECT_EQ(load(), restored.library);
    ASSERT_TRUE(restored.session);
    const PenmarkSession* const enclosing = restored.library.sessions.find(*restored.session);
    EXPECT_EQ(enclosing->name, "Restored: Monday");
    EXPECT_TRUE(enclosing->isOpen);
    EXPECT_FALSE(enclosing->parentID);
    const PenmarkSession* const newOuter = named(restored.library, "Outer", enclosing->id);
    ASSERT_TRUE(newOuter);
    const PenmarkSession* const newInner = named(restored.library, "Inner", newOuter->id);
    ASSERT_TRUE(newInner);
    EXPECT_TRUE(newOuter->isOpen);
    EXPECT_FALSE(newInner->isOpen);
    EXPECT_EQ(newInner->returnNoteID, restored.documents.at(note.id));
    EXPECT_EQ(newOuter->projectIDs, (std::vector{there.id, gone.id, again.id}));
    EXPECT_EQ(*restored.library.projects.find(gone.id), gone);

    const RecoveryWindow& shown = newOuter->windows.at(0);
    const auto copyOf = [&](const RecoveryDocument& document) { return restored.documents.at(document.id); };
    EXPECT_NE(shown.id, outer.windows[0].id);
    EXPECT_EQ(shown.sessionID, newOuter->id);
    EXPECT_EQ(shown.documents, (std::vector{copyOf(second), copyOf(first), copyOf(note)}))
        << "no workspace would ever show what was put aside";
    EXPECT_EQ(shown.selected, copyOf(first));
    EXPECT_EQ(shown.editorStates.at(copyOf(second)), outer.windows[0].editorStates.at(second.id));
    EXPECT_EQ(shown.tabIDs.size(), 3u);
    EXPECT_NE(shown.tabIDs.at(copyOf(note)), outer.windows[0].tabIDs.at(note.id));
    EXPECT_FALSE(shown.searchViewID) << "there is no such search any more";
    EXPECT_EQ(newInner->windows.at(0).documents, std::vector{copyOf(first)});

    // Every row that was there is there unchanged.
    const Rows after = rows();
    for (const auto& [table, all] : before) {
        SCOPED_TRACE(table);
        ASSERT_GE(after.at(table).size(), all.size());
        EXPECT_TRUE(std::equal(all.begin(), all.end(), after.at(table).begin()));
    }
    EXPECT_EQ(after.at("content"), before.at("content"));
    EXPECT_EQ(after.at("library_items").size(), before.at("library_items").size() + 4);
}

TEST_F(CheckpointRestoreTest, RestoresWhatIsStillThere)
{
    const auto lost = write("Lost", "lost");
    const auto renamed = write("Renamed", "renamed");
    const auto removed = write("Removed", "removed");
    SessionLibrary library;
    PenmarkSession work = session({});
    work.returnNoteID = lost.id;
    work.windows = {window(work.id, {renamed.id, lost.id}), window(work.id, {lost.id}), window(work.id, {removed.id})};
    library.sessions.put(work);
    auto kept = checkpoints.load(checkpoints.keepLibrary(library, {}, false).id).value();
    kept.id = Uuid::random();
    kept.documents.erase(std::find_if(kept.documents.begin(), kept.documents.end(),
                                      [&](const CheckpointDocument& at) { return at.documentID == renamed.id; }));
    kept.documents.push_back({renamed.id, *renamed.head, {}, {}});  // others may not keep titles
    checkpoints.create(kept);
    documents.changeDocument(renamed.id, [](RecoveryDocument& d) { d.displayTitle = "As it is now"; });
    makeUnreadable("lost");
    store.execute("DELETE FROM documents WHERE id=?", {removed.id.text()});

    const auto restored = restore(kept.id);
    ASSERT_EQ(restored.problems.size(), 1u);
    EXPECT_EQ(restored.problems[0], "The text of “Lost” is no longer in the library.");
    EXPECT_EQ(restored.documents.size(), 2u);
    EXPECT_EQ(documents.loadDocument(restored.documents.at(renamed.id))->title, "As it is now — restored copy");
    EXPECT_EQ(documents.loadDocument(restored.documents.at(removed.id))->title, "Removed — restored copy");
    EXPECT_EQ(restored.library.sessions.find(*restored.session)->name, "Restored: 2026-11-20 14:02");

    const PenmarkSession& copy = **std::next(restored.library.sessions.items().begin());
    EXPECT_FALSE(copy.returnNoteID);
    ASSERT_EQ(copy.windows.size(), 2u) << "none for the window that showed nothing else";
    EXPECT_EQ(copy.windows[0].documents, std::vector{restored.documents.at(renamed.id)});
    EXPECT_FALSE(copy.windows[0].selected);
    EXPECT_EQ(copy.windows[1].documents, std::vector{restored.documents.at(removed.id)});
}

TEST_F(CheckpointRestoreTest, GivesDocumentsAloneWhereOnlyTheyAreWanted)
{
    const auto first = write("First", "1");
    const auto second = write("Second", "2");
    SessionLibrary library;
    library.sessions.put(session("Work"));
    const auto all = checkpoints.keepLibrary(library, {}, false);
    const auto chosen = restore(all.id, {std::set{second.id, Uuid::random()}, {}});
    EXPECT_FALSE(chosen.session);
    ASSERT_EQ(chosen.documents.size(), 1u);
    EXPECT_EQ(textOf(chosen.documents.at(second.id)), "2");
    const auto one = restore(checkpoints.keepDocument(first.id, "One").id);
    EXPECT_FALSE(one.session);
    EXPECT_EQ(one.documents.size(), 1u);
    EXPECT_EQ(load(), SessionLibrary());
    EXPECT_THROW(restore(Uuid::random()), SessionError);
}

TEST_F(CheckpointRestoreTest, MakesTheEnclosingSessionAsItIsWanted)
{
    const auto first = write("First", "1");
    const auto second = write("Second", "2");
    SessionLibrary library;
    PenmarkSession work = session("Work"), closed = session("Closed");
    closed.isOpen = false;
    library.sessions.put(work);
    library.sessions.put(closed);
    library.settings.activeSessionID = work.id;
    save(library);
    const auto all = checkpoints.keepLibrary(library, "Monday", false);
    const auto into = [&](std::string name, std::optional<Uuid> parent) {
        return RestoreChoice{{}, EnclosingSession{std::move(name), parent}};
    };

    const auto whole = restore(all.id, into("Again", work.id));
    const PenmarkSession* const again = named(whole.library, "Again", work.id);
    ASSERT_TRUE(again);
    EXPECT_EQ(whole.session, again->id);
    EXPECT_TRUE(named(whole.library, "Work", again->id));
    EXPECT_EQ(load().settings.activeSessionID, work.id) << "what is in use stays so";

    // A kept version has no sessions: its document is shown in a window of the new one.
    const auto version = restore(checkpoints.keepDocument(second.id, "One").id, into("", {}));
    const PenmarkSession* const made = version.library.sessions.find(version.session.value());
    EXPECT_EQ(made->name, "Restored: One");
    ASSERT_EQ(made->windows.size(), 1U);
    EXPECT_TRUE(made->windows[0].isOpen);
    EXPECT_EQ(made->windows[0].documents, std::vector{version.documents.at(second.id)});
    EXPECT_TRUE(made->windows[0].tabIDs.contains(version.documents.at(second.id)));

    const Rows before = rows();
    EXPECT_THROW(restore(all.id, into("", closed.id)), SessionError);
    EXPECT_THROW(restore(all.id, into("", Uuid::random())), SessionError);
    EXPECT_EQ(rows(), before);
}

// Whatever a record says, what comes of it is a valid library.
TEST_F(CheckpointRestoreTest, BreaksRingsOfParents)
{
    SessionCheckpoint damaged;
    damaged.id = Uuid::random();
    PenmarkSession one = session("one"), other = session("other", one.id), below = session("below", other.id);
    one.parentID = other.id;
    damaged.sessions = {below, one, other, session("self"), session("orphan", Uuid::random())};
    damaged.sessions[3].parentID = damaged.sessions[3].id;
    checkpoints.create(damaged);
    const auto restored = restore(damaged.id);
    for (const auto name : {"one", "other", "self", "orphan"})
        EXPECT_TRUE(named(restored.library, name, *restored.session)) << name;
    EXPECT_TRUE(named(restored.library, "below", named(restored.library, "other", *restored.session)->id));
}

TEST_F(CheckpointRestoreTest, LeavesNothingBehindWhicheverRowFails)
{
    const auto first = write("First", "1");
    write("Second", "2");
    SessionLibrary library;
    PenmarkSession work = session("Work");
    work.windows = {window(work.id, {first.id})};
    library.sessions.put(work);
    save(library);
    const auto kept = checkpoints.keepLibrary(library, {}, false);
    EXPECT_GE(failAtEachRow([&] { restore(kept.id); }), 2 * 3 + 2);

    const Rows before = rows();
    for (int calls = 0; calls < 3; ++calls) {
        const auto stop = [left = calls]() mutable {
            if (left-- == 0)
                throw Cancelled();
        };
        EXPECT_THROW(restore(kept.id, {{}, {}, stop}), Cancelled);
        EXPECT_EQ(rows(), before);
    }
}

}  // namespace
}  // namespace penmark
