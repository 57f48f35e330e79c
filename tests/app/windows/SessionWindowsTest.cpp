// SPDX-License-Identifier: GPL-3.0-or-later
// Windows that follow sessions and workspaces, and what was there before.
#include "app/history/HistoryWindow.h"
#include "app/sessions/SessionStarter.h"
#include "app/sessions/SessionsWindow.h"
#include "app/windows/ProgramSessions.h"
#include "app/windows/ProgramTest.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionLibraryStore.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <future>

namespace penmark {
namespace {

constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto alt = Qt::AltModifier;

class SessionWindowsTest : public ProgramTest {
protected:
    ProgramSessions& sessions() { return program->sessions(); }
    const SessionLibrary& library() { return program->records().library(); }
    Uuid sessionOf(DocumentWindow& window)
    {
        program->records().collectNow();
        return library().sessionOf(window.id())->id;
    }

    /// A session with one window of drafts with these texts. It is in front.
    Uuid newSession(const std::vector<const char*>& texts, const char* name = "")
    {
        key(Qt::Key_N, ctrl | shift | alt);
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window()));
        EXPECT_TRUE(wait([this] { return window().view() != nullptr; }));
        drafts(texts);
        settle();
        const Uuid session = sessionOf(window());
        sessions().renameSession(session, QString::fromUtf8(name));
        return session;
    }

    /// The windows that are seen, as "[a] b | [c]", in the order of their titles.
    std::string seen()
    {
        std::vector<std::string> all;
        for (DocumentWindow* each : program->windows()) {
            if (each->isVisible())
                all.push_back(tabs(*each));
        }
        std::sort(all.begin(), all.end());
        std::string list;
        for (const std::string& each : all)
            list += (list.empty() ? "" : " | ") + each;
        return list;
    }
    void wantSeen(const std::string& expected)
    {
        EXPECT_TRUE(wait([&] { return seen() == expected; })) << seen() << "\nis not\n" << expected;
    }
    DocumentWindow& windowWith(const std::string& text)
    {
        for (DocumentWindow* each : program->windows()) {
            if (tabs(*each).find(text) != std::string::npos)
                return *each;
        }
        ADD_FAILURE() << "no window has " << text;
        return window();
    }
    Uuid checkpoint()
    {
        settle();
        return CheckpointStore(program->documents().library().store()).headers().headers.at(0).id;
    }
    /// What a chance quit would have left behind.
    void interrupt()
    {
        settle();
        program->records().save();
        settle();
        program.reset();
    }
};

TEST_F(SessionWindowsTest, NestedSessionsArePutAsideAndComeBack)
{
    drafts({"first"});
    const Uuid outer = newSession({"outer", "notes"}, "Outer");
    const Uuid middle = newSession({"middle"}, "Middle");
    const Uuid inner = newSession({"inner"});
    sessions().moveSession(middle, outer);
    sessions().moveSession(inner, middle);
    sessions().moveSession(outer, inner);
    EXPECT_EQ(barText(), "A session cannot contain itself or one of its parents.");
    wantSeen("[first] | [inner] | [middle] | outer [notes]");

    sessions().closeSession(outer);
    wantSeen("[first]");
    EXPECT_NE(barText().find("“Outer” was put aside."), std::string::npos) << barText();
    restart();
    wantSeen("[first]");
    sessions().openSession(middle);
    wantSeen("[first] | [inner] | [middle]");
    sessions().openSession(outer);
    wantSeen("[first] | [inner] | [middle] | outer [notes]");
    EXPECT_NE(windowWith("outer").windowTitle().indexOf(QStringLiteral(": Outer - Penmark")), -1);

    interrupt();
    start();
    wantSeen("[first] | [inner] | [middle] | outer [notes]");
    EXPECT_TRUE(program->records().interrupted());

    sessions().switchToSession(sessionOf(windowWith("first")));
    sessions().closeSession(outer);
    sessions().deleteSession(outer, false);
    sessions().openSession(middle);
    wantSeen("[first] | [inner] | [middle]");
    EXPECT_FALSE(library().sessions.find(middle)->parentID) << "what was nested has taken its place";
}

TEST_F(SessionWindowsTest, OneWindowStaysWhateverIsPutAside)
{
    drafts({"only"});
    const Uuid session = sessionOf(window());
    sessions().closeSession(session);
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_NE(sessionOf(window()), session);
    sessions().openSession(session);
    EXPECT_EQ(tabs(windowWith("only")), "[only]");
    sessions().switchToSession(sessionOf(*program->windows().back()));
    EXPECT_GE(program->windows().size(), 1U);
}

TEST_F(SessionWindowsTest, OpeningHereTakesTheWindowsAndClosesNothingElse)
{
    drafts({"first"});
    const Uuid outer = newSession({"outer"});
    const Uuid inner = newSession({"inner"});
    sessions().moveSession(inner, outer);
    ASSERT_EQ(library().settings.activeSessionID, inner);
    sessions().openSessionHere(outer);
    wantSeen("[first] | [inner] | [outer]");
    EXPECT_EQ(library().sessions.find(inner)->windows.size(), 2U);
    EXPECT_TRUE(library().sessions.find(outer)->isOpen) << "it encloses an open one";

    // One without windows gets one when it is opened, unless those nested in it have some.
    sessions().openSession(outer);
    EXPECT_EQ(program->windows().size(), 3U);
    sessions().moveSession(inner, std::nullopt);
    sessions().openSession(outer);
    EXPECT_TRUE(wait([this] { return program->windows().size() == 4; })) << seen();
    sessions().switchToSession(inner);
    EXPECT_EQ(library().settings.activeSessionID, inner);
    EXPECT_EQ(sessionOf(window()), inner);
    EXPECT_FALSE(library().sessions.find(outer)->isOpen) << "it has given way";
}

TEST_F(SessionWindowsTest, AWindowMadeBesideAWorkspaceInFocusStaysInSight)
{
    drafts({"first"});
    newSession({"second"});
    Uuid links;
    program->records().change([&](SessionLibrary& changed) { links = createWorkspace(changed, window().id(), ""); });
    sessions().focusWorkspace(links);
    wantSeen("[second]");
    key(Qt::Key_N, ctrl | shift);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    draft("third");
    sessions().renameWorkspace(links, QStringLiteral("Links"));
    EXPECT_NE(seen().find("[third]"), std::string::npos) << seen();
    sessions().closeWorkspace(links);
    EXPECT_NE(barText().find("“Links” was put aside."), std::string::npos) << barText();
    runCommand("workspace.reopen");
    EXPECT_NE(seen().find("[second]"), std::string::npos) << seen();
}

TEST_F(SessionWindowsTest, OverlappingWorkspacesAreClosedOpenedAndFocused)
{
    drafts({"left"});
    const Uuid left = window().id();
    newSession({"shared"});
    const Uuid shared = window().id();
    newSession({"tab", "other"});
    const Uuid many = window().id();
    const Uuid tab = window().tabs().documents()[0];
    Uuid one;
    Uuid two;
    program->records().change([&](SessionLibrary& changed) {
        one = createWorkspace(changed, left, "One");
        two = createWorkspace(changed, shared, "");
    });
    sessions().linkWindow(one, shared);
    sessions().linkTab(one, many, tab);
    wantSeen("[left] | [shared] | tab [other]");

    sessions().closeWorkspace(one);
    wantSeen("[other] | [shared]");
    sessions().closeWorkspace(two);
    wantSeen("[other]");
    restart();
    wantSeen("[other]");
    sessions().reopenWorkspace(one);
    wantSeen("[left] | [other] tab | [shared]");

    sessions().reopenWorkspace(two);
    sessions().focusWorkspace(two);
    wantSeen("[shared]");
    restart();
    wantSeen("[shared]");
    // Closing what is seen alone does not end the program while others are hidden.
    key(Qt::Key_W, ctrl | shift);
    wantSeen("[left] | [other] tab");
    key(Qt::Key_T, ctrl | shift);
    wantSeen("[left] | [other] tab | [shared]");
    EXPECT_EQ(library().workspaces.find(two)->windowIDs, std::vector{shared}) << "no link has changed";
    sessions().removeWorkspace(two);
    wantSeen("[left] | [other] tab | [shared]");
}

TEST_F(SessionWindowsTest, WhatWasClosedComesBackWhereItWas)
{
    drafts({"one", "two", "three"});
    key(Qt::Key_PageUp, ctrl);
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(tabs(), "one [three]");
    const Uuid session = newSession({"four", "five"});
    key(Qt::Key_W, ctrl | shift);
    wantSeen("one [three]");
    restart();
    key(Qt::Key_T, ctrl | shift);
    wantSeen("four [five] | one [three]");
    EXPECT_EQ(sessionOf(windowWith("four")), session);
    key(Qt::Key_T, ctrl | shift);
    wantSeen("four [five] | one [two] three");
    EXPECT_FALSE(program->canReopenClosed());

    // The session is gone: the present one has it.
    windowWith("four").activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&windowWith("four")));
    key(Qt::Key_W, ctrl);
    sessions().deleteSession(session, false);
    wantSeen("one [two] three");
    key(Qt::Key_T, ctrl | shift);
    wantSeen("[five] | one [two] three");
}

TEST_F(SessionWindowsTest, AReturnNoteStaysWithItsSession)
{
    drafts({"work"});
    const Uuid session = sessionOf(window());
    runCommand("session.createNote");
    ASSERT_TRUE(wait([this] { return window().tabs().documents().size() == 2 && window().buffer(); }));
    const Uuid note = window().buffer()->id();
    EXPECT_NE(text().find("Where I was"), std::string::npos) << text();
    settle();
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(tabs(), "[work]");
    EXPECT_EQ(library().sessions.find(session)->returnNoteID, note);
    restart();
    key(Qt::Key_R, ctrl | alt);
    ASSERT_TRUE(wait([&] { return window().buffer() && window().buffer()->id() == note; }));
    runCommand("file.discard");
    EXPECT_EQ(window().buffer()->id(), note) << "it asks once";
    barButton("Discard It")->click();
    EXPECT_TRUE(wait([this] { return tabs() == "[work]"; }));
    EXPECT_FALSE(library().sessions.find(session)->returnNoteID);
}

TEST_F(SessionWindowsTest, ACheckpointComesBackAsCopies)
{
    drafts({"apple", "pear"});
    const Uuid original = window().buffer()->id();
    sessions().keepCheckpoint(QStringLiteral("Fruit"));
    const Uuid kept = checkpoint();
    type(" changed");
    settle();
    const std::string before = text();
    sessions().restoreCheckpoint(kept);
    ASSERT_TRUE(wait([this] { return program->windows().size() == 2; }));
    DocumentWindow& copy = window();
    ASSERT_TRUE(wait([&] { return copy.buffer() != nullptr; }));
    EXPECT_EQ(text(), "pear");
    EXPECT_NE(copy.buffer()->id(), original);
    EXPECT_NE(copy.buffer()->shownTitle().find(" — restored copy"), std::string::npos);
    EXPECT_EQ(program->documents().find(original)->text().text(), before) << "current work is as it was";
    const PenmarkSession* const owner = library().sessionOf(copy.id());
    ASSERT_TRUE(owner && owner->parentID);
    EXPECT_EQ(library().sessions.find(*owner->parentID)->name, "Restored: Fruit");
    settle();
    restart();
    EXPECT_EQ(program->windows().size(), 2U);
    EXPECT_TRUE(SessionLibraryStore(program->documents().library().store()).load().problems.empty());

    SessionStart start;
    start.name = "Again";
    start.parent = library().sessionOf(window().id())->id;
    start.kind = SessionStart::Kind::checkpoint;
    start.checkpoint = kept;
    sessions().start(start);
    ASSERT_TRUE(wait([this] { return program->windows().size() == 3; }));
    const PenmarkSession* const nested = library().sessionOf(window().id());
    ASSERT_TRUE(nested && nested->parentID);
    EXPECT_EQ(library().sessions.find(*nested->parentID)->name, "Again");
    EXPECT_EQ(library().sessions.find(*nested->parentID)->parentID, start.parent);

    sessions().restoreCheckpoint(Uuid::random());
    EXPECT_TRUE(wait([this] { return barText() == "Choose an available checkpoint."; })) << barText();
}

TEST_F(SessionWindowsTest, WhatIsRestoredAtTheEndIsThereAtTheNextStart)
{
    drafts({"apple"});
    sessions().keepCheckpoint(QStringLiteral("Fruit"));
    const Uuid kept = checkpoint();
    std::promise<void> goOn;
    program->documents().library().run(
        program.get(), [until = goOn.get_future().share()](RecoveryStore&) { until.wait(); }, [] {},
        [](const RecoveryError&) {});
    sessions().restoreCheckpoint(kept);
    type("!");
    QTimer::singleShot(0, program.get(), [&] { goOn.set_value(); });
    restart();
    ASSERT_EQ(program->windows().size(), 2U);
    for (DocumentWindow* each : program->windows())
        EXPECT_NE(tabs(*each), "[New]");
}

TEST_F(SessionWindowsTest, AVersionIsRestoredBesideTheDocument)
{
    drafts({"first"});
    const Uuid document = window().buffer()->id();
    program->documents().storeAll();
    settle();
    const auto revision = program->documents().find(document)->record().head.value();
    type(" second");
    key(Qt::Key_H, ctrl | alt);
    HistoryWindow* history = nullptr;
    ASSERT_TRUE(wait([&] {
        for (QWidget* each : QApplication::topLevelWidgets()) {
            if (each->isVisible() && !history)
                history = qobject_cast<HistoryWindow*>(each);
        }
        return history != nullptr;
    }));
    settle();
    sessions().restoreRevision(document, revision);
    ASSERT_TRUE(wait([&] { return window().buffer() && window().buffer()->id() != document; }));
    EXPECT_EQ(text(), "first");
    EXPECT_EQ(window().buffer()->shownTitle(), "first second — restored copy");
    EXPECT_EQ(program->documents().find(document)->text().text(), "first second");
}

TEST_F(SessionWindowsTest, AFolderBecomesAProject)
{
    std::filesystem::create_directories(file("project/inner"));
    writeFile("project/a.txt", "in the project");
    answers = {file("project").string()};
    runCommand("file.openProject");
    EXPECT_EQ(asked, std::vector<std::string>{"Open Project Folder"});
    ASSERT_EQ(library().projects.size(), 1U);
    EXPECT_EQ(library().projects.begin()->name, "project");
    EXPECT_TRUE(window().isLibraryVisible());
    sessions().openProjectFiles({file("project/a.txt")}, false);
    ASSERT_TRUE(wait([this] { return window().buffer() && !window().buffer()->isDraft(); }));
    EXPECT_EQ(text(), "in the project");
    restart();
    EXPECT_EQ(library().projects.size(), 1U);
}

}  // namespace
}  // namespace penmark
