// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"
#include "organization/ClosedItems.h"
#include "organization/SessionLibraryStore.h"
#include "storage/WindowStore.h"

namespace penmark {
namespace {

class SessionsTest : public PenmarkctlTest {
protected:
    SessionLibrary sessions() const { return SessionLibraryStore(*openLibrary()).load().library; }

    void change(const std::function<void(SessionLibrary&)>& change) const
    {
        const auto store = openLibrary();
        SessionLibraryStore rows(*store);
        SessionLibrary library = rows.load().library;
        const SessionLibrary stored = library;
        change(library);
        rows.save(stored, library);
    }

    // A window whose tabs show the documents.
    void addWindow(const std::string& session, const std::string& window, const Words& documents) const
    {
        RecoveryWindow added;
        added.id = *Uuid::parse(window);
        added.isOpen = true;
        for (const std::string& document : documents) {
            added.documents.push_back(*Uuid::parse(document));
            added.tabIDs[added.documents.back()] = Uuid::random();
        }
        change([&](SessionLibrary& library) {
            added.sessionID = *Uuid::parse(session);
            library.sessions.change(*added.sessionID, [&](PenmarkSession& owner) { owner.windows.push_back(added); });
        });
    }

    // Each row as the fields without the identifiers and dates, separated by blanks.
    std::string rows(Words words, const std::vector<std::size_t>& columns) const
    {
        std::string text;
        for (const std::string& row : split(output(std::move(words)))) {
            const auto fields = split(row, '\t');
            for (const std::size_t column : columns)
                text.append(column < fields.size() ? fields[column] : "").append(column == columns.back() ? "\n" : " ");
        }
        return text;
    }

    static inline const std::string first = "AAAA0000-0000-4000-8000-000000000001";
    static inline const std::string second = "AAAA0000-0000-4000-8000-000000000002";
};

TEST_F(SessionsTest, SessionsNestMoveCloseAndGo)
{
    const std::string work = line({"session", "new", "--title", "Work"});
    const std::string thesis = line({"session", "new", "--parent", work});
    const std::string deep = line({"session", "new", "--title=Deep", "--parent", thesis.substr(0, 8)});
    const std::string other = line({"session", "new", "--title=Other"});
    const std::string notes = line({"new", "--title", "notes.md"}, "a");
    const std::string todo = line({"new", "--title", "todo"}, "b");
    addWindow(thesis, first, {notes, todo});
    addWindow(thesis, second, {todo, line({"new", "--title", std::string(50, 'w')}, "c")});

    const std::vector<std::size_t> shown{1, 2, 3, 4};
    EXPECT_EQ(rows({"sessions"}, shown), "open 0 0 Work\nopen 2 3 notes.md, todo, +1\nopen 0 0 Deep\nopen 0 0 Other\n");
    EXPECT_EQ(column(output({"sessions"}), 6), "-|" + work + "|" + thesis + "|-");
    EXPECT_EQ(rows({"session", "show", thesis}, {0, 2, 4}),
              "window open notes.md +1\ntab open notes.md\ntab open todo\n"
              "window open todo +1\ntab open todo\ntab open " +
                  std::string(50, 'w') + "\n");
    EXPECT_EQ(column(output({"session", "show", thesis}), 3).substr(0, 76), "-|" + notes + "|" + todo + "|");

    const std::string loop = "penmarkctl: A session cannot contain itself or one of its parents.\n";
    EXPECT_EQ(failure({"session", "move", work, deep}), loop);
    EXPECT_EQ(failure({"session", "move", work, work}), loop);
    EXPECT_EQ(failure({"session", "new", "--parent", std::string(nobody)}),
              "penmarkctl: Penmark could not complete the operation: There is no session " + std::string(nobody) +
                  ".\n");
    EXPECT_EQ(output({"session", "close", work}), "");
    EXPECT_EQ(rows({"sessions"}, {1}), "closed\nclosed\nclosed\nopen\n");
    EXPECT_EQ(rows({"session", "show", thesis}, {2}), "closed\nclosed\nclosed\nclosed\nclosed\nclosed\n");
    EXPECT_EQ(failure({"session", "move", other, work}), "penmarkctl: The destination session is no longer open.\n");
    EXPECT_EQ(output({"session", "reopen", work}), "");
    EXPECT_EQ(output({"session", "move", other, work}), "");
    EXPECT_EQ(output({"session", "move", deep}), "");
    EXPECT_EQ(output({"session", "rename", work, ""}), "");
    EXPECT_EQ(output({"session", "rename", other, "New\tname"}), "");
    EXPECT_EQ(rows({"sessions"}, {1, 4}), "open Empty session\nopen notes.md, todo, +1\nopen New\\tname\nopen Deep\n");
    EXPECT_EQ(output({"session", "delete", thesis}), "");
    EXPECT_EQ(rows({"sessions"}, {4}), "Empty session\nNew\\tname\nDeep\n");
    EXPECT_EQ(output({"cat", todo}), "b");
    EXPECT_EQ(output({"verify"}), "ok\n");

    ProgramCall terminal = call({"sessions"});
    terminal.onTerminal = true;
    const auto lines = split(runProgram(terminal).output);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find("open  0  0  Empty session  20"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("open  0  0    New\\tname    20"), std::string::npos) << lines[1];
}

TEST_F(SessionsTest, APrefixOfSeveralNamesThem)
{
    line({"session", "new"});
    const std::string owner = line({"session", "new"});
    addWindow(owner, first, {line({"new"}, "a")});
    addWindow(owner, second, {});
    EXPECT_EQ(failure({"workspace", "new", "aaaa"}),
              "penmarkctl: Penmark could not complete the operation: AAAA begins the identifier of more than one "
              "window: " +
                  first + ", " + second + ".\n");
    EXPECT_EQ(failure({"workspace", "new", owner}),
              "penmarkctl: Penmark could not complete the operation: There is no window " + owner + ".\n");
    EXPECT_EQ(output({"workspaces"}), "");
}

TEST_F(SessionsTest, WorkspacesLinkWindowsTabsAndDocuments)
{
    const std::string owner = line({"session", "new"});
    const std::string notes = line({"new", "--title", "notes"}, "a");
    const std::string todo = line({"new", "--title", "todo"}, "b");
    const std::string alone = line({"new", "--title", "alone"}, "c");
    addWindow(owner, first, {notes, todo});
    addWindow(owner, second, {todo});
    const std::string id = line({"workspace", "new", first, "Thesis"});
    const auto members = [&] { return rows({"workspace", "show", id}, {0, 2, 3}); };
    EXPECT_EQ(members(), "window available notes +1\n");

    const std::string tabs = column(output({"session", "show", owner}), 1);  // window, two tabs, window, a tab
    const std::string tab = split(tabs, '|')[4];
    const std::string several = failure({"workspace", "link", id, notes, todo});
    EXPECT_NE(several.find("Document " + todo + " is in more than one tab: "), std::string::npos) << several;
    EXPECT_NE(several.find(tab), std::string::npos);
    EXPECT_EQ(failure({"workspace", "link", id, notes, alone}),
              "penmarkctl: Penmark could not complete the operation: There is no window or tab " + alone + ".\n");
    EXPECT_EQ(members(), "window available notes +1\n") << "a part of it was done";
    EXPECT_EQ(output({"workspace", "link", id, notes, tab, tab}), "");
    EXPECT_EQ(members(), "window available notes +1\ntab available notes\ntab available todo\n");

    EXPECT_EQ(output({"workspace", "unlink", id, first, todo}), "");
    EXPECT_EQ(members(), "tab available notes\n");
    EXPECT_EQ(output({"workspace", "close", id}), "");
    EXPECT_EQ(rows({"session", "show", owner}, {0, 2, 4}),
              "window open todo +1\ntab open todo\ntab put aside notes\nwindow open todo\ntab open todo\n");
    EXPECT_EQ(rows({"workspaces"}, {1, 2, 3, 4}), "closed 1 0 Thesis\n");
    EXPECT_EQ(output({"workspace", "reopen", id}), "");
    EXPECT_EQ(output({"workspace", "rename", id, ""}), "");
    EXPECT_EQ(rows({"workspaces"}, {1, 2, 3, 4}), "open 1 0 notes\n");
    line({"workspace", "new", second});

    EXPECT_EQ(output({"session", "delete", owner}), "");
    EXPECT_EQ(rows({"workspaces"}, {1, 2, 3, 4}), "open 0 1 Workspace\nopen 0 1 Workspace\n");
    EXPECT_EQ(members(), "tab unavailable \n");
    EXPECT_EQ(output({"workspace", "unlink", id, column(output({"workspace", "show", id}), 1)}), "");
    EXPECT_EQ(members(), "");
    EXPECT_EQ(output({"workspace", "remove", id}), "");
    EXPECT_EQ(rows({"workspaces"}, {2, 3}), "0 1\n");
}

TEST_F(SessionsTest, ProjectsAreFolders)
{
    put("thesis/chapter one/file", "x");
    std::filesystem::create_directory_symlink(path("thesis"), path("link"));
    const std::string thesis = std::filesystem::canonical(path("thesis")).native();
    const std::string id = line({"project", "add", "thesis"});
    for (const std::string& same : {path("thesis/"), std::string("./thesis/../thesis"), path("link")})
        EXPECT_EQ(line({"project", "add", same}), id) << same;
    line({"project", "add", "thesis/chapter one"});
    EXPECT_EQ(rows({"projects"}, {1, 2}), "thesis " + thesis + "\nchapter one " + thesis + "/chapter one\n");
    EXPECT_EQ(failure({"project", "add", "nowhere"}), "penmarkctl: nowhere: No such file or directory\n");
    EXPECT_EQ(failure({"project", "add", "thesis/chapter one/file"}),
              "penmarkctl: thesis/chapter one/file: Not a directory\n");
    std::filesystem::create_directory(path("\xff"));
    EXPECT_NE(failure({"project", "add", "\xff"}).find("cannot be a project"), std::string::npos);
    EXPECT_EQ(output({"project", "remove", id}), "");
    EXPECT_EQ(rows({"projects"}, {1}), "chapter one\n");
}

TEST_F(SessionsTest, ClosedItemsComeBack)
{
    const std::string owner = line({"session", "new", "--title", "Owner"});
    const std::string current = line({"session", "new", "--title", "Current"});
    const std::string notes = line({"new", "--title", "notes"}, "a");
    const std::string todo = line({"new", "--title", "todo"}, "b");
    const std::string gone = line({"new", "--title", "gone"}, "c");
    addWindow(owner, first, {notes, todo});
    addWindow(owner, second, {todo, gone});
    change([&](SessionLibrary& library) {
        closeTab(library, *Uuid::parse(first), *Uuid::parse(notes), "notes", {Date::now().seconds - 10});
        closeWindow(library, *Uuid::parse(second), "", Date::now());
    });
    EXPECT_EQ(rows({"closed"}, {2, 3}), "todo +1 Owner\nnotes Owner\n");
    output({"session", "close", owner});
    const std::string items = column(output({"closed"}), 0);
    EXPECT_EQ(line({"reopen", split(items, '|')[1]}), first);
    EXPECT_EQ(rows({"session", "show", owner}, {0, 2, 4}), "window open notes +1\ntab open notes\ntab open todo\n");

    output({"session", "delete", owner});
    output({"discard", gone});
    EXPECT_EQ(rows({"closed"}, {2, 3}), "todo +1 Original session unavailable\n");
    output({"session", "reopen", current});
    const ProgramResult reopened = run({"reopen", split(items, '|')[0]});
    EXPECT_EQ(reopened.status, 0);
    EXPECT_EQ(reopened.output, second + "\n");
    EXPECT_EQ(reopened.errors,
              "penmarkctl: The original session is unavailable. The item is now in session " + current + ".\n");
    EXPECT_EQ(rows({"session", "show", current}, {0, 2, 4}), "window open todo\ntab open todo\n");
    EXPECT_EQ(output({"closed"}), "");
}

// The table that windows are read from at a start must not bring back what was deleted.
TEST_F(SessionsTest, WindowsOfADeletedSessionAreGone)
{
    const std::string owner = line({"session", "new"});
    addWindow(owner, first, {line({"new"}, "a")});
    const RecoveryWindow owned = *sessions().findWindow(*Uuid::parse(first));
    RecoveryWindow older;
    older.id = *Uuid::parse(second);
    {
        const auto store = openLibrary();
        WindowStore(*store).saveAll(std::vector{older, owned});
    }
    output({"session", "delete", owner});
    EXPECT_EQ(WindowStore(*openLibrary()).load().windows, std::vector{older}) << "nobody has known this one";
}

// A record that is damaged hides no other, and what this version does not know stays when another one changes.
TEST_F(SessionsTest, RecordsArePrintedAsTheyAreKept)
{
    const std::string id = line({"session", "new", "--title", "Work"});
    line({"project", "add", "."});
    const std::string record = output({"sessions", "--json"});
    EXPECT_EQ(record.find("{\"id\":\"" + id + "\",\"name\":\"Work\",\"createdAt\":"), 0u) << record;
    EXPECT_TRUE(record.ends_with(",\"isOpen\":true,\"windows\":[],\"projectIDs\":[]}\n")) << record;
    EXPECT_EQ(decodeRecord<PenmarkProject>(line({"projects", "--json"})).path,
              std::filesystem::canonical(folder.path()).native());

    openLibrary()->execute("INSERT INTO library_items VALUES('session',?,'{\"id\":7}')", {Uuid::random().text()});
    openLibrary()->execute("UPDATE library_items SET json=replace(CAST(json AS TEXT),'}',',\"later\":[1]}') WHERE id=?",
                           {id});
    const ProgramResult listed = run({"sessions"});
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(column(listed.output, 0), id);
    EXPECT_NE(listed.errors.find("A session record cannot be read: "), std::string::npos);
    const ProgramResult kept = run({"checkpoint", "keep"});
    EXPECT_EQ(kept.status, 1) << "what it could not cover goes unnoticed";
    EXPECT_EQ(kept.output, column(output({"checkpoints"}), 0) + "\n");
    EXPECT_EQ(output({"session", "rename", id, "Play"}), "");
    const auto records = split(output({"sessions", "--json"}));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_NE(records[0].find("\"name\":\"Play\""), std::string::npos);
    EXPECT_NE(records[0].find("\"later\":[1]"), std::string::npos);
    EXPECT_EQ(records[1], "{\"id\":7}");
}

}  // namespace
}  // namespace penmark
