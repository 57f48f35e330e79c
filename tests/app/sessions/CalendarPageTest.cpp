// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/CalendarPage.h"

#include "app/sessions/CheckpointView.h"
#include "app/sessions/EntryList.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/MonthGrid.h"
#include "app/sessions/OrganiserFixture.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionVisits.h"

#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>

namespace penmark {
namespace {

class CalendarPageTest : public OrganiserFixture {
protected:
    CalendarPageTest()
        : page(*records, actions, registry), list(*page.findChild<EntryList*>()), month(*page.findChild<MonthGrid*>()),
          view(*page.findChild<CheckpointView*>()),
          table(named<QTreeView>(page, QStringLiteral("Documents of the checkpoint")))
    {}

    Uuid keep(const std::string& name, bool pinned)
    {
        const Uuid id = CheckpointStore(queue.store(), [this] { return now; })
                            .keepLibrary(records->library(), pinned ? std::optional(name) : std::nullopt, pinned)
                            .id;
        actions.names[id] = name;
        emit records->checkpointsChanged();
        return id;
    }
    /// A session with a document, of which the day's checkpoint has been taken.
    Uuid enterDay(const std::string& title)
    {
        session("Budget");
        const Uuid made = document(title, title);
        saveToday();
        return made;
    }
    /// The automatic checkpoint of the visit on this day.
    Uuid saveToday()
    {
        const auto days = [this] {
            return records->library().runs.find(*records->library().settings.currentRunID)->days;
        };
        const std::size_t before = days().size();
        records->touch();
        records->save();
        EXPECT_TRUE(waitUntil([&] { return days().size() > before; }));
        return days().back().checkpointID.value();
    }
    bool becomes(const std::string& wanted)
    {
        return waitUntil([&] { return rows(*list.model()) == wanted; });
    }
    bool holds(const std::string& wanted)
    {
        return waitUntil([&] { return rows(*table.model()) == wanted; });
    }
    void choose(const std::string& title)
    {
        const auto find = [&] {
            const auto found = list.model()->match(list.model()->index(0, 0), Qt::DisplayRole,
                                                   QString::fromStdString(title), 1, Qt::MatchExactly);
            return found.value(0);
        };
        ASSERT_TRUE(waitUntil([&] { return find().isValid(); })) << title;
        list.select(find());
    }
    void tick(int row, bool ticked)
    {
        table.model()->setData(table.model()->index(row, 0), ticked ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole);
    }
    QPushButton& button(const QString& text) { return named<QPushButton>(page, text); }

    CalendarPage page;
    EntryList& list;
    MonthGrid& month;
    CheckpointView& view;
    QTreeView& table;
};

TEST_F(CalendarPageTest, GroupsVisitsAndCheckpointsByDay)
{
    show(page);
    ASSERT_TRUE(waitUntil([&] { return says(page, QStringLiteral("The first checkpoint is taken today.")); }));
    session("Budget");
    const Uuid notes = document("notes", "Notes");
    const Uuid first = saveToday();
    now.seconds += 3 * 86'400;
    saveToday();
    now.seconds += 60;
    keep("Before the trip", true);
    now.seconds += 600;
    CheckpointStore(queue.store(), [this] { return now; }).keepDocument(notes, "Signed");
    emit records->checkpointsChanged();
    ASSERT_TRUE(becomes("Today · Tuesday 12 May 2026; 2026-05-09 06:13 · Current visit; Signed; Before the trip; "
                        "Automatic checkpoint; Saturday 9 May 2026; 06:13 · Current visit; Automatic checkpoint"))
        << rows(*list.model());
    const auto detail = [&](int row, int role) {
        return list.model()->index(row, 0).data(role).toString().toStdString();
    };
    EXPECT_EQ(detail(2, ListEntry::detailRole), "Document checkpoint · Notes · Pinned");
    EXPECT_EQ(detail(3, ListEntry::sideRole), "06:15");
    EXPECT_EQ(detail(7, ListEntry::detailRole), "Automatic");
    EXPECT_FALSE(says(page, QStringLiteral("The first checkpoint")));

    // The month tells of the same days, and leads to them.
    auto& days = *month.findChild<QTableView*>();
    const auto spoken = [&](int row, int column) {
        return days.model()->index(row, column).data(Qt::AccessibleTextRole).toString().toStdString();
    };
    EXPECT_EQ(days.currentIndex().data().toInt(), 12);
    EXPECT_EQ(days.currentIndex().data(Qt::AccessibleTextRole).toString().toStdString(),
              "Tuesday 12 May 2026, today, 1 visit, 3 checkpoints, pinned");
    QTest::keyClick(&days, Qt::Key_Up);
    EXPECT_EQ(month.day(), QDate(2026, 5, 5));
    for (int step = 0; step < 4; ++step)
        QTest::keyClick(&days, Qt::Key_Right);
    EXPECT_EQ(list.currentIndex().data().toString().toStdString(), "Saturday 9 May 2026");
    EXPECT_EQ(spoken(days.currentIndex().row(), days.currentIndex().column()),
              "Saturday 9 May 2026, 1 visit, 1 checkpoint");
    QTest::keyClick(&list, Qt::Key_Down);
    ASSERT_TRUE(view.shown());
    EXPECT_EQ(view.shown()->header.id, first) << "a visit stands for its checkpoint";
    choose("Signed");
    EXPECT_EQ(month.day(), QDate(2026, 5, 12));
}

TEST_F(CalendarPageTest, MonthsGoOnBeyondTheirEnds)
{
    MonthGrid grid(QDate(2026, 1, 31));
    auto& days = *grid.findChild<QTableView*>();
    QSignalSpy chosen(&grid, &MonthGrid::dayChosen);
    const auto press = [&](Qt::Key key) {
        QTest::keyClick(&days, key);
        EXPECT_EQ(days.currentIndex().data().toInt(), grid.day().day()) << "what is selected is the day";
        return grid.day();
    };
    EXPECT_EQ(press(Qt::Key_Right), QDate(2026, 2, 1));
    EXPECT_EQ(press(Qt::Key_Left), QDate(2026, 1, 31));
    EXPECT_EQ(press(Qt::Key_PageDown), QDate(2026, 2, 28));
    EXPECT_EQ(press(Qt::Key_Home), QDate(2026, 2, 1));
    EXPECT_EQ(press(Qt::Key_PageUp), QDate(2026, 1, 1));
    EXPECT_EQ(press(Qt::Key_Up), QDate(2025, 12, 25));
    EXPECT_EQ(press(Qt::Key_End), QDate(2025, 12, 31));
    EXPECT_EQ(chosen.count(), 7);
    grid.setDay(QDate(2024, 2, 29));
    EXPECT_EQ(chosen.count(), 7) << "only what the user chooses is told";
    EXPECT_EQ(days.currentIndex().data().toInt(), 29);
}

TEST_F(CalendarPageTest, RestoresTheWholeOrWhatIsTicked)
{
    show(page);
    button(QStringLiteral("Restore as New Copy")).click();
    EXPECT_TRUE(says(page, QStringLiteral("Choose a checkpoint.")));
    EXPECT_EQ(actions.take(), "");
    const Uuid apples = enterDay("Apples");
    actions.names[apples] = "apples";
    document("bread", "Bread");
    const Uuid cheese = document("cheese", "Cheese");
    keep("kept", true);
    type(load(apples), " and pears");
    store(load(apples));
    registry.discard(std::vector{cheese});
    settle();
    choose("kept");
    ASSERT_TRUE(holds("Apples; Bread; Cheese"));
    const auto state = [&](int row) { return table.model()->index(row, 2).data().toString().toStdString(); };
    EXPECT_TRUE(state(0).starts_with("Changed, now 16")) << state(0);
    EXPECT_EQ(state(1), "Unchanged");
    EXPECT_EQ(state(2), "Discarded since");
    EXPECT_TRUE(says(page, QStringLiteral("3 documents · 1 changed · 1 discarded or gone")));

    button(QStringLiteral("Restore as New Copy")).click();
    EXPECT_EQ(actions.take(), "restore kept whole");
    tick(0, true);
    tick(2, true);
    named<QLineEdit>(page, QStringLiteral("Filter documents of the checkpoint")).setText(QStringLiteral("BREA"));
    ASSERT_TRUE(holds("Bread"));
    tick(0, true);
    button(QStringLiteral("Restore as New Copy (3)")).click();
    EXPECT_EQ(actions.take(), "restore kept: apples bread cheese");
    tick(0, false);
    emit records->checkpointsChanged();
    QTest::qWait(100);
    settle();
    button(QStringLiteral("Restore as New Copy (2)")).click();
    EXPECT_EQ(actions.take(), "restore kept: apples cheese") << "ticks stay when the list is read again";

    QSignalSpy compared(&page, &CalendarPage::compareRequested);
    table.setFocus();
    table.setCurrentIndex(table.model()->index(0, 0));
    button(QStringLiteral("Compare…")).click();
    ASSERT_EQ(compared.count(), 1);
    EXPECT_EQ(actions.names[compared.front().front().value<Uuid>()], "bread");

    QSignalSpy searched(&page, &CalendarPage::searchRequested);
    QPushButton& search = button(QStringLiteral("Search in This Checkpoint…"));
    table.setFocus();
    for (int steps = 0; steps < 20 && !search.hasFocus(); ++steps)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
    ASSERT_TRUE(search.hasFocus());
    QTest::keyClick(&search, Qt::Key_Space);
    ASSERT_EQ(searched.count(), 1);
    EXPECT_EQ(actions.names[searched.front().front().value<Uuid>()], "kept");
}

TEST_F(CalendarPageTest, DropsAnswersAboutWhatIsNoLongerChosen)
{
    show(page);
    enterDay("One");
    const Uuid earlier = keep("earlier", true);
    now.seconds += 60;
    document("two", "Two");
    keep("later", true);
    ASSERT_TRUE(waitUntil([&] { return list.model()->rowCount() == 5; })) << rows(*list.model());
    choose("earlier");
    choose("later");
    ASSERT_TRUE(holds("One; Two"));
    choose("earlier");
    list.select(list.model()->index(0, 0));  // a heading
    settle();
    settle();
    EXPECT_EQ(rows(*table.model()), "");
    EXPECT_FALSE(view.shown());

    // One that has gone meanwhile is said to be gone, and the list follows.
    CheckpointStore(queue.store()).remove(earlier);
    choose("earlier");
    EXPECT_TRUE(waitUntil([&] { return says(page, QStringLiteral("Choose an available checkpoint.")); }));
    emit records->checkpointsChanged();
    EXPECT_TRUE(waitUntil([&] { return list.model()->rowCount() == 4; }));
}

TEST_F(CalendarPageTest, PinsRenamesAndDeletesWhenAsked)
{
    show(page);
    enterDay("One");
    keep("kept", true);
    choose("kept");
    button(QStringLiteral("Unpin")).click();
    EXPECT_EQ(actions.take(), "unpin kept");
    button(QStringLiteral("Rename…")).click();
    auto& line = named<QLineEdit>(page, QStringLiteral("Optional checkpoint name"));
    EXPECT_EQ(line.text().toStdString(), "kept");
    line.setText(QStringLiteral(" Final "));
    QTest::keyClick(&line, Qt::Key_Return);
    EXPECT_EQ(actions.take(), "rename kept to 'Final'");
    QTest::keyClick(&list, Qt::Key_Delete);
    ASSERT_TRUE(waitUntil([&] { return page.findChild<QMessageBox*>() != nullptr; }));
    EXPECT_EQ(actions.take(), "") << "it cannot be undone";
    named<QPushButton>(*page.findChild<QMessageBox*>(), QStringLiteral("Delete Checkpoint")).click();
    EXPECT_EQ(actions.take(), "delete kept");
}

}  // namespace
}  // namespace penmark
