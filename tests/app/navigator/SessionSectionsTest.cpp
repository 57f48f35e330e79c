// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "app/navigator/DraggedRows.h"
#include "app/navigator/SectionsFixture.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QMessageBox>
#include <QMimeData>

namespace penmark {
namespace {

/// Work (1, open, active) with windows 10 and 11, in it Inner (2) with window 12; Aside (3, closed) with window 13.
class SessionSectionsTest : public SectionsFixture {
protected:
    SessionSectionsTest()
    {
        source->given.sessions.put(session(1, "Work", {window(10, {0, 1}), window(11, {2})}));
        source->given.sessions.put(session(2, "Inner", {window(12, {3})}, 1));
        source->given.sessions.put(session(3, "Aside", {window(13, {4})}, {}, false));
        source->given.settings.activeSessionID = numbered(1);
    }
    void addWorkspace()
    {
        PenmarkWorkspace workspace;
        workspace.id = numbered(20);
        workspace.name = "Group";
        workspace.windowIDs = {numbered(10), numbered(77)};
        workspace.tabIDs = {numbered(1304), numbered(78)};
        source->given.workspaces.put(workspace);
    }
    void put(const PenmarkSession& changed)
    {
        source->given.sessions.put(changed);
        emit source->changed();
    }
};

TEST_F(SessionSectionsTest, AreATreeForTheKeyboard)
{
    show();
    const QAbstractItemModelTester tester(tree->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(rows("sessions"), "+Work +Aside");
    select("sessions", "Work");
    key(Qt::Key_Right);
    EXPECT_EQ(rows("sessions"), "-Work .+Inner .+Zero .+Two +Aside");
    EXPECT_EQ(current(), "Work");
    key(Qt::Key_Right);
    EXPECT_EQ(current(), "Inner");
    key(Qt::Key_Down);
    key(Qt::Key_Right);
    EXPECT_EQ(rows("sessions"), "-Work .+Inner .-Zero ..Zero ..One .+Two +Aside");
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(actions.take(), "show 10 1") << "the tab";
    key(Qt::Key_Left);
    EXPECT_EQ(current(), "Zero");
    key(Qt::Key_Return);
    EXPECT_EQ(actions.take(), "show 10 -") << "its window";
    key(Qt::Key_Left);
    EXPECT_EQ(rows("sessions"), "-Work .+Inner .+Zero .+Two +Aside");
    key(Qt::Key_Left);
    EXPECT_EQ(current(), "Work");
    key(Qt::Key_Return);
    key(Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(actions.take(), "open 1, switchTo 1");
    key(Qt::Key_F2);
    typeName(" Other  work ");
    EXPECT_EQ(actions.take(), "rename 1 Other work");
    EXPECT_EQ(spoken("sessions", "Work"), "Work, Session, active, 2 windows, expanded");
    EXPECT_EQ(spoken("sessions", "Aside"), "Aside, Session, closed, 1 window, collapsed");
    key(Qt::Key_Left);
    key(Qt::Key_Left);
    EXPECT_EQ(current(), "Sessions");
    EXPECT_EQ(texts(openMenu()), "New Session…, Keep Checkpoint…");
    QApplication::activePopupWidget()->close();
}

TEST_F(SessionSectionsTest, FollowTheLibraryRowByRow)
{
    show();
    section("sessions").setExpanded(0, true);
    QSignalSpy removed(tree->model(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(tree->model(), &QAbstractItemModel::rowsInserted);
    select("sessions", "Two");
    put(session(1, "Renamed", {window(10, {0, 1}), window(11, {2})}));
    EXPECT_EQ(rows("sessions"), "-Renamed .+Inner .+Zero .+Two +Aside");
    EXPECT_EQ(removed.count() + inserted.count(), 0) << "only the row has changed";
    put(session(4, "New"));
    EXPECT_EQ(rows("sessions"), "-Renamed .+Inner .+Zero .+Two +Aside New");
    source->given.sessions.remove(numbered(2));
    emit source->changed();
    EXPECT_EQ(rows("sessions"), "-Renamed .+Zero .+Two +Aside New");
    EXPECT_EQ(current(), "Two") << "stays selected";
    EXPECT_EQ(removed.count() + inserted.count(), 2);
    // Records of another writer may be in a loop, or name a session that is gone: nothing may be lost.
    put(session(5, "Here", {}, 6));
    put(session(6, "There", {}, 5));
    put(session(7, "Orphan", {}, 99));
    EXPECT_EQ(rows("sessions"), "-Renamed .+Zero .+Two +Aside New Orphan +Here +There");
}

TEST_F(SessionSectionsTest, AreFilteredByTitlesAndByDocuments)
{
    addWorkspace();
    show();
    filter->setText(QStringLiteral("three"));
    EXPECT_EQ(rows("sessions"), "-Work .-Inner ..-Three ...Three") << "with all around it";
    EXPECT_EQ(section("sessions").count(), 1);
    EXPECT_TRUE(tree->isRowHidden(heading("workspaces").row(), {}));
    section("sessions").setExpanded(1, false);
    EXPECT_EQ(rows("sessions"), "-Work .+Inner");
    filter->setText(QStringLiteral("ASÍDE"));
    EXPECT_EQ(rows("sessions"), "Aside") << "by name, with nothing to see inside";
    filter->setText(QStringLiteral("four"));
    EXPECT_EQ(rows("sessions"), "-Aside .-Four ..Four");
    EXPECT_EQ(rows("workspaces"), "+Group") << "links a tab of it";
    filter->clear();
    EXPECT_EQ(rows("sessions"), "+Work +Aside");
}

TEST_F(SessionSectionsTest, HaveMenus)
{
    show();
    select("sessions", "Work");
    EXPECT_EQ(texts(openMenu()), "Open, Switch To, Close Session, Rename…, New Nested Session…, Duplicate, Create "
                                 "Return Note, Keep Checkpoint…, Delete Session…")
        << "it is here already, and can go into none: one is inside, one is closed";
    QApplication::activePopupWidget()->close();
    choose("New Nested Session…");
    choose("Close Session");
    EXPECT_EQ(actions.take(), "askForNew 1, close 1");
    select("sessions", "Aside");
    choose("Move into Session", "Inner");
    choose("Open Here");
    EXPECT_EQ(actions.take(), "move 3 2, openHere 3");
    section("sessions").setExpanded(0, true);
    select("sessions", "Inner");
    choose("Move into Session", "None");
    EXPECT_EQ(actions.take(), "move 2 -");
    select("sessions", "Zero");
    choose("Move to Session", "Inner");
    EXPECT_EQ(actions.take(), "moveWindow 10 2");

    addWorkspace();
    emit source->changed();
    tree->select(rowOf("recent", "One"));
    choose("Link Tab to Workspace", "Group");
    choose("Document History…");
    choose("Keep Current Version…");
    EXPECT_EQ(actions.take(), "linkTab 20 10 1, history 1, keepVersion 1");
}

TEST_F(SessionSectionsTest, AreDeletedOnlyAfterAQuestion)
{
    show();
    for (const bool discards : {false, true}) {
        select("sessions", "Aside");
        key(Qt::Key_Delete);
        auto* const box = view.findChild<QMessageBox*>();
        ASSERT_TRUE(box);
        EXPECT_TRUE(box->text().contains(QLatin1String("Aside")));
        box->checkBox()->setChecked(discards);
        QTest::keyClick(box, Qt::Key_Return);
        EXPECT_EQ(actions.take(), "") << "Cancel is what a key meets first";
        EXPECT_TRUE(QTest::qWaitFor([&] { return !view.findChild<QMessageBox*>(); }));
        key(Qt::Key_Delete);
        auto* const again = view.findChild<QMessageBox*>();
        ASSERT_TRUE(again);
        again->checkBox()->setChecked(discards);
        for (QAbstractButton* button : again->buttons())
            if (again->buttonRole(button) == QMessageBox::DestructiveRole)
                button->click();
        EXPECT_EQ(actions.take(), discards ? "delete 3 and drafts" : "delete 3");
        EXPECT_TRUE(QTest::qWaitFor([&] { return !view.findChild<QMessageBox*>(); }));
    }
}

TEST_F(SessionSectionsTest, TakeWhatIsDropped)
{
    addWorkspace();
    show();
    section("sessions").setExpanded(0, true);
    const QModelIndex work = rowOf("sessions", "Work");
    const QModelIndex inner = rowOf("sessions", "Inner");
    const QModelIndex aside = rowOf("sessions", "Aside");
    EXPECT_FALSE(drop({work}, inner)) << "a loop";
    EXPECT_FALSE(drop({work}, work));
    EXPECT_FALSE(drop({work}, aside)) << "an open one into a closed one";
    EXPECT_TRUE(drop({aside}, inner));
    EXPECT_TRUE(drop({inner}, heading("sessions")));
    EXPECT_EQ(actions.take(), "move 3 2, move 2 -");
    EXPECT_TRUE(drop({rowOf("sessions", "Zero")}, inner));
    EXPECT_FALSE(drop({rowOf("sessions", "Zero")}, work)) << "it is there";
    EXPECT_TRUE(drop({rowOf("recent", "Four"), rowOf("recent", "One")}, aside));
    EXPECT_EQ(actions.take(), "moveWindow 10 2, add 4 1 3");

    const QModelIndex group = rowOf("workspaces", "Group");
    EXPECT_TRUE(drop({rowOf("sessions", "Two")}, group));
    EXPECT_TRUE(drop({rowOf("recent", "Three")}, group)) << "by the tab that shows it";
    EXPECT_EQ(actions.take(), "linkWindow 20 11, linkTab 20 12 3");
    headers.put(header(5, "Nowhere"));
    EXPECT_FALSE(drop({rowOf("recent", "Nowhere")}, group)) << "in no window";

    // What a tab of a window is dragged with.
    QMimeData tab;
    tab.setData(QLatin1String(DraggedRows::tabFormat),
                QByteArray::fromStdString(numbered(10).text() + " " + numbered(1).text()));
    ASSERT_TRUE(model().canDrop(tab, group));
    const_cast<NavigatorModel&>(model()).drop(tab, group);
    const_cast<NavigatorModel&>(model()).drop(tab, aside);
    EXPECT_EQ(actions.take(), "linkTab 20 10 1, add 1 3");
    EXPECT_FALSE(model().canDrop(tab, rowOf("recent", "One")));
}

TEST_F(SessionSectionsTest, ListWhatWorkspacesLink)
{
    addWorkspace();
    show();
    select("workspaces", "Group");
    key(Qt::Key_Right);
    EXPECT_EQ(rows("workspaces"), "-Group .Zero .Four .Window~ .Tab~");
    EXPECT_EQ(spoken("workspaces", "Group"), "Group, Workspace, open, 4 members · 2 unavailable, expanded");
    EXPECT_EQ(spoken("workspaces", "Window"), "Window, Unavailable on this computer");
    EXPECT_EQ(texts(openMenu()), "Open, Close Workspace, Focus, Rename…, Manage Members, Remove Workspace");
    QApplication::activePopupWidget()->close();
    choose("Focus");
    select("workspaces", "Four");
    key(Qt::Key_Return);
    key(Qt::Key_Delete);
    select("workspaces", "Window");
    choose("Unlink");
    select("workspaces", "Zero");
    choose("Unlink");
    EXPECT_EQ(actions.take(), "focus 20, show 13 4, unlinkTab 20 1304, unlinkWindow 20 77, unlinkWindow 20 10");
    select("workspaces", "Group");
    key(Qt::Key_Delete);
    EXPECT_EQ(actions.take(), "") << "not by one key: it does not come back";
    source->given.workspaces = {};
    emit source->changed();
    EXPECT_EQ(rows("workspaces"), "(No workspaces. Session > New Workspace with This Window links windows and tabs.)");
    EXPECT_FALSE(tree->isRowHidden(heading("workspaces").row(), {}));
}

TEST_F(SessionSectionsTest, ListWhatWasClosed)
{
    const auto closed = [this](int number, const char* title, std::optional<int> of) {
        ClosedPenmarkItem item;
        item.id = numbered(number);
        item.title = title;
        item.closedAt = {number * 1000.0};
        if (of)
            item.sessionID = numbered(*of);
        source->given.recentlyClosed.put(item);
    };
    show();
    EXPECT_EQ(rows("recentlyClosed"), "(Nothing closed lately.)");
    closed(31, "Old", 3);
    closed(33, "Newest", 99);
    closed(32, "Newer", {});
    emit source->changed();
    EXPECT_EQ(rows("recentlyClosed"), "Newest Newer Old");
    EXPECT_EQ(section("recentlyClosed").row(2).place, QStringLiteral("Aside"));
    EXPECT_EQ(section("recentlyClosed").row(0).place,
              QStringLiteral("Original session unavailable · Uses the current session, or creates one."));
    select("recentlyClosed", "Newer");
    key(Qt::Key_Return);
    key(Qt::Key_Delete);
    choose("Reopen");
    choose("Remove from List");
    EXPECT_EQ(actions.take(), "reopen 32, forget 32, reopen 32, forget 32");
    filter->setText(QStringLiteral("old"));
    EXPECT_EQ(rows("recentlyClosed"), "Old");
}

TEST_F(SessionSectionsTest, ListWhatIsOpenInTheSession)
{
    RecoveryWindow aside = window(14, {3});
    aside.isOpen = false;
    source->given.sessions.put(session(1, "Work", {window(11, {2, 1}), window(10, {0, 1}), aside}));
    view.setOpenHere({numbered(1), numbered(0)});
    show();
    EXPECT_EQ(dump(section("openHere")), "One, Zero, Two") << "this window first, each once, not what is put aside";
    put(session(1, "Work", {window(10, {0, 1})}));
    EXPECT_EQ(dump(section("openHere")), "One, Zero");
}

TEST_F(SessionSectionsTest, CostNothingUntilTheyAreSeen)
{
    view.setSessions(std::unique_ptr<SessionSource>(source), actions, numbered(10));
    NavigatorState state;
    state.collapsed = QStringList{QStringLiteral("sessions"), QStringLiteral("recentlyClosed")};
    view.setState(state);
    view.show();
    EXPECT_EQ(section("sessions").rowCount(), 0);
    EXPECT_EQ(heading("sessions").data(Qt::AccessibleTextRole), QStringLiteral("Sessions, 3 sessions"));
    EXPECT_FALSE(tree->isRowHidden(heading("sessions").row(), {}));
    tree->expand(heading("sessions"));
    EXPECT_EQ(rows("sessions"), "+Work +Aside");
    EXPECT_EQ(view.state().collapsed, QStringList{QStringLiteral("recentlyClosed")});
}

TEST_F(SessionSectionsTest, StayQuickWithFiveThousand)
{
    std::vector<std::shared_ptr<const PenmarkSession>> many;
    for (int number = 0; number < 5000; ++number)
        many.push_back(std::make_shared<const PenmarkSession>(
            session(10'000 + number, "Session " + std::to_string(number), {window(20'000 + number, {number % 5})},
                    number % 10 ? std::optional(10'000 + number / 10 * 10) : std::nullopt)));
    source->given.sessions.assign(std::move(many));
    view.setSessions(std::unique_ptr<SessionSource>(source), actions, numbered(10));
    const auto expectQuick = [&](const char* what, double limit, auto run) {
        const auto begin = cpuTime();
        run();
        EXPECT_LT((cpuTime() - begin).count(), granted(limit)) << what;
    };
    NavigatorSection& sessions = section("sessions");
    expectQuick("filling", 0.02, [&] { sessions.build(); });
    EXPECT_EQ(sessions.rowCount(), 500);
    for (int row = 499; row >= 490; --row)
        sessions.setExpanded(row, true);
    expectQuick("one is renamed", 0.02, [&] { put(session(10'000, "Other", {window(20'000, {0})})); });
    expectQuick("filter", 0.05, [&] { filter->setText(QStringLiteral("three")); });
    EXPECT_EQ(sessions.count(), 1000);
    view.show();
    view.grab();
    expectQuick("a frame", 0.02, [&] { view.grab(); });
}

}  // namespace
}  // namespace penmark
