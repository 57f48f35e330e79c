// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/WorkspacesPage.h"

#include "app/sessions/EntryList.h"
#include "app/sessions/OrganiserFixture.h"

#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

namespace penmark {
namespace {

class WorkspacesPageTest : public OrganiserFixture {
protected:
    WorkspacesPageTest()
        : page(*records, actions, registry), list(named<EntryList>(page, QStringLiteral("Workspaces"))),
          members(named<EntryList>(page, QStringLiteral("Members of the workspace")))
    {}

    /// Trip links the window with maps, the tab of the list in the other window, and a window of another computer.
    void makeWorkspace()
    {
        const Uuid travel = session("Travel");
        maps = window(travel, "maps", {document("map", "Map")});
        lists = window(travel, "lists", {packing = document("packing", "Packing"), document("food", "Food")});
        records->change([&](SessionLibrary& library) {
            trip = createWorkspace(library, maps, "Trip");
            const Uuid tab = library.findWindow(lists)->tabIDs.at(packing);
            actions.names[tab] = "tab of packing";
            linkTab(library, trip, tab);
            library.workspaces.change(trip,
                                      [&](PenmarkWorkspace& workspace) { workspace.windowIDs.push_back(elsewhere); });
        });
        actions.names[trip] = "Trip";
        actions.names[elsewhere] = "elsewhere";
        show(page);
        ASSERT_TRUE(waitUntil([&] { return members.model()->rowCount() > 0; }));
    }
    QPushButton& button(const QString& text) { return named<QPushButton>(page, text); }
    std::string menuOf(const QString& text)
    {
        QMenu* const menu = button(text).menu();
        emit menu->aboutToShow();
        std::string all;
        for (const QAction* const action : menu->actions()) {
            all += (all.empty() ? "" : "; ") + action->text().toStdString();
            for (const QAction* const tab : action->menu() ? action->menu()->actions() : QList<QAction*>())
                all += "; -" + tab->text().toStdString();
        }
        return all;
    }

    WorkspacesPage page;
    EntryList& list;
    EntryList& members;
    Uuid maps;
    Uuid lists;
    Uuid packing;
    Uuid trip;
    Uuid elsewhere = Uuid::random();
};

TEST_F(WorkspacesPageTest, ShowsMembersThatAreHereAndThoseThatAreNot)
{
    makeWorkspace();
    EXPECT_EQ(rows(*members.model()), "Windows, with all their tabs; Map; Single tabs; Packing; "
                                      "Unavailable on this computer; Window");
    std::string unlinked;
    for (int row = 0; row < members.model()->rowCount(); ++row) {
        members.select(members.model()->index(row, 0));
        if (button(QStringLiteral("Unlink")).isEnabled())
            button(QStringLiteral("Unlink")).click();
        unlinked += actions.take() + "|";
    }
    EXPECT_EQ(unlinked, "|unlink window maps||unlink tab tab of packing||unlink window elsewhere|");
    members.setFocus();
    members.select(members.model()->index(3, 0));
    QTest::keyClick(&members, Qt::Key_Return);
    EXPECT_EQ(actions.take(), "show lists with packing");
}

TEST_F(WorkspacesPageTest, OffersToLinkWhatIsNotLinked)
{
    makeWorkspace();
    EXPECT_EQ(menuOf(QStringLiteral("Link Window…")), "Packing +1");
    button(QStringLiteral("Link Window…")).menu()->actions().front()->trigger();
    EXPECT_EQ(actions.take(), "link window lists");
    EXPECT_EQ(menuOf(QStringLiteral("Link Tab…")), "Map; -Map; Packing +1; -Food");
    button(QStringLiteral("New Workspace with This Window")).click();
    EXPECT_EQ(actions.take(), "new workspace with " + actions.names[records->library().settings.windowOrder.front()]);
}

TEST_F(WorkspacesPageTest, SaysWhatFocusAndClosingDo)
{
    makeWorkspace();
    button(QStringLiteral("Focus")).click();
    EXPECT_EQ(actions.take(), "focus Trip");
    records->change([&](SessionLibrary& library) { focusWorkspace(library, trip); });
    const QString focused = QStringLiteral("Other Penmark windows are hidden. Workspace membership is unchanged.");
    ASSERT_TRUE(waitUntil([&] { return says(page, focused); }));
    button(QStringLiteral("Show All Open Workspaces")).click();
    EXPECT_EQ(actions.take(), "show all");
    button(QStringLiteral("Close Workspace")).click();
    EXPECT_EQ(actions.take(), "close Trip");
    records->change([&](SessionLibrary& library) { closeWorkspace(library, trip); });
    ASSERT_TRUE(waitUntil([&] { return says(page, QStringLiteral("Reopen Workspace")); }));
    EXPECT_FALSE(says(page, focused));
    button(QStringLiteral("Reopen Workspace")).click();
    EXPECT_EQ(actions.take(), "reopen Trip");
    button(QStringLiteral("Remove Workspace…")).click();
    ASSERT_TRUE(waitUntil([&] { return page.findChild<QMessageBox*>() != nullptr; }));
    auto& question = *page.findChild<QMessageBox*>();
    EXPECT_TRUE(question.informativeText().contains(QStringLiteral("nothing is deleted")));
    named<QPushButton>(question, QStringLiteral("Remove Workspace")).click();
    EXPECT_EQ(actions.take(), "remove Trip");
}

TEST_F(WorkspacesPageTest, SelectsAWorkspaceThatIsAskedFor)
{
    makeWorkspace();
    Uuid other;
    records->change([&](SessionLibrary& library) { other = createWorkspace(library, lists, ""); });
    page.showWorkspace(other);
    EXPECT_EQ(list.currentIndex().data().toString().toStdString(), "Packing, Food") << "without a name: what it links";
    records->change([&](SessionLibrary& library) { removeWorkspace(library, other); });
    EXPECT_TRUE(waitUntil([&] { return list.currentIndex().data().toString() == QStringLiteral("Trip"); }));
}

}  // namespace
}  // namespace penmark
