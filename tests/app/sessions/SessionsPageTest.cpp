// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionsPage.h"

#include "app/navigator/ListedDate.h"
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/OrganiserFixture.h"
#include "app/sessions/SessionFilter.h"
#include "app/sessions/SessionTree.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>

namespace penmark {
namespace {

class SessionsPageTest : public OrganiserFixture {
protected:
    SessionsPageTest()
        : page(*records, actions, registry, previews), tree(*page.findChild<SessionTree*>()),
          filter(named<QLineEdit>(page, QStringLiteral("Filter sessions"))),
          contents(named<QTreeView>(page, QStringLiteral("Windows and tabs of the session")))
    {}

    /// Budget with Travel in it, and Letters; Letters was used last.
    void makeSessions()
    {
        budget = session("Budget");
        travel = session("Travel", budget);
        letters = session("Letters");
        show(page);
        ASSERT_TRUE(waitUntil([&] { return shown() == "Letters; Budget; -Travel"; }));
    }
    std::string shown() const { return rows(*tree.model()); }
    bool becomes(const std::string& wanted)
    {
        return waitUntil([&] { return shown() == wanted; });
    }
    /// Counts how often the tree was worked out anew, whatever came of it.
    void connectLooks(int& looks)
    {
        QObject::connect(tree.model(), &QAbstractItemModel::modelReset, &page, [&looks] { ++looks; });
        QObject::connect(tree.model(), &QAbstractItemModel::dataChanged, &page,
                         [&looks](const QModelIndex& first) { looks += first.parent().isValid() ? 0 : 1; });
    }
    const SessionTreeModel& model() const { return static_cast<const SessionTreeModel&>(*tree.model()); }
    QMessageBox& question()
    {
        if (!waitUntil([&] { return page.findChild<QMessageBox*>() != nullptr; }))
            throw std::runtime_error("no question");
        return *page.findChild<QMessageBox*>();
    }

    DocumentPreviews previews{registry, queue};
    SessionsPage page;
    SessionTree& tree;
    QLineEdit& filter;
    QTreeView& contents;
    Uuid budget;
    Uuid travel;
    Uuid letters;
};

TEST_F(SessionsPageTest, ListsSessionsWithWhatIsNestedInThem)
{
    makeSessions();
    QComboBox& order = named<QComboBox>(page, QStringLiteral("Sort by"));
    order.setCurrentIndex(static_cast<int>(SessionTreeModel::Order::name));
    EXPECT_EQ(shown(), "Budget; -Travel; Letters");
    order.setCurrentIndex(static_cast<int>(SessionTreeModel::Order::created));
    EXPECT_EQ(shown(), "Letters; Budget; -Travel");
    order.setCurrentIndex(static_cast<int>(SessionTreeModel::Order::recent));
    records->change([&](SessionLibrary& library) { useSession(library, travel); });
    EXPECT_TRUE(becomes("Budget; -Travel; Letters")) << "a nested one in use brings what encloses it";

    const QModelIndex nested = model().indexOf(travel);
    EXPECT_TRUE(nested.data(Qt::FontRole).value<QFont>().bold()) << "the active one";
    EXPECT_FALSE(model().indexOf(letters).data(Qt::FontRole).value<QFont>().bold());
    records->change([&](SessionLibrary& library) { closeSession(library, budget); });
    EXPECT_EQ(nested.data(ListEntry::dotRole).toInt(), static_cast<int>(ListEntry::Dot::putAside));
    EXPECT_EQ(nested.data(Qt::AccessibleTextRole).toString().toStdString(), "Travel, put aside, No windows");
}

TEST_F(SessionsPageTest, SaysWhenASessionWasLastUsed)
{
    makeSessions();
    const auto said = [&](const Uuid& session) {
        return model().indexOf(session).data(ListEntry::sideRole).toString().toStdString();
    };
    const auto shownAs = [&](Date date) { return listedDate(date, now).toStdString(); };
    const Date made = now;
    now.seconds += 400 * 86'400.0;
    records->change([&](SessionLibrary& library) { useSession(library, letters); });
    EXPECT_EQ(said(letters), "now");
    EXPECT_EQ(said(budget), shownAs(made)) << "nothing was written in it";

    const auto written = [&](const char* title, double daysAgo) {
        DocumentHeader header;
        header.id = Uuid::random();
        header.title = title;
        header.updatedAt = Date{now.seconds - daysAgo * 86'400};
        registry.headers().put(header);
        return header.id;
    };
    window(travel, "in", {written("map", 20)});
    window(budget, "one", {written("sums", 200)});
    window(budget, "two", {written("old", 300), written("plan", 100), Uuid::random()});
    EXPECT_EQ(said(budget), shownAs(Date{now.seconds - 100 * 86'400.0})) << "the latest, and not of what is nested";
    EXPECT_EQ(said(travel), shownAs(Date{now.seconds - 20 * 86'400.0}));
}

TEST_F(SessionsPageTest, FindsNamesTitlesAndBeginningsOfTexts)
{
    makeSessions();
    window(travel, "w", {document("list", "Packing list\nwith a tent"), document("plan", "Route\nover the pass")});
    for (const auto& [typed, found] : std::map<std::string, std::string>{{"letter", "Letters"},
                                                                         {"PACKING", "Budget; -Travel"},
                                                                         {"travel tent", "Budget; -Travel"},
                                                                         {"over pass", "Budget; -Travel"},
                                                                         {"nothing has this", ""}}) {
        SCOPED_TRACE(typed);
        filter.setText(QString::fromStdString(typed));
        EXPECT_TRUE(becomes(found)) << shown();
        EXPECT_EQ(says(page, QStringLiteral("No session has these words.")), found.empty());
    }
    EXPECT_TRUE(page.clearFilter());
    EXPECT_EQ(shown(), "Letters; Budget; -Travel");
    EXPECT_FALSE(page.clearFilter()) << "then Esc is the window's";
}

// What is found stays right, and what was folded is not folded again for another word.
TEST_F(SessionsPageTest, FoldsATextOnceUntilItChanges)
{
    budget = session("Budget");
    letters = session("Letters");
    const Uuid sums = document("sums", "Sums\nof March");
    const Uuid plan = document("plan", "Plan\nfor May");
    window(budget, "w", {sums, plan});
    window(letters, "v", {plan});
    SessionFilter words(*records, registry, previews);
    const auto find = [&](const char* typed) {
        words.setWords(QString::fromUtf8(typed));
        const std::vector<bool> found = words.matches();
        return std::string(found[0] ? "Budget " : "") + (found[1] ? "Letters" : "");
    };
    EXPECT_EQ(find("march"), "") << "not read yet";
    ASSERT_TRUE(waitUntil([&] { return find("march") == "Budget "; }));
    EXPECT_EQ(words.textsFolded(), 4U) << "of two documents the title, then the beginning";
    for (const auto& [typed, found] : std::map<const char*, const char*>{
             {"SUMS may", "Budget "}, {"budget pl\u00e4n", "Budget "}, {"may", "Budget Letters"}, {"budgetsums", ""}}) {
        EXPECT_EQ(find(typed), found) << typed;
    }
    EXPECT_EQ(words.textsFolded(), 4U);

    registry.rename(sums, "Accounts");
    ASSERT_TRUE(waitUntil([&] { return find("accounts") == "Budget "; }));
    EXPECT_EQ(words.textsFolded(), 5U) << "only what was renamed";
    records->change([&](SessionLibrary& library) { renameSession(library, letters, "Post"); });
    EXPECT_EQ(find("post may"), "Letters");
    const Uuid other = document("other", "Other");
    window(letters, "u", {other});
    EXPECT_EQ(find("other"), "Letters");
    EXPECT_EQ(words.textsFolded(), 6U) << "of another library only what is new";
    EXPECT_EQ(words.keptCount(), 3U);
    RecoveryBuffer& opened = load(plan);
    registry.retain(plan);
    type(opened, " and June");
    EXPECT_EQ(find("june"), "Budget Letters") << "as it is in memory";

    find("");
    EXPECT_EQ(words.keptCount(), 0U);
    EXPECT_EQ(find("accounts"), "Budget ");
    previews.forget();
    EXPECT_EQ(words.keptCount(), 0U);
    EXPECT_EQ(find("accounts"), "Budget ");
}

TEST_F(SessionsPageTest, LooksAtMostTwiceASecondWhileTextsAreRead)
{
    makeSessions();
    filter.setText(QStringLiteral("letter"));
    ASSERT_EQ(shown(), "Letters");
    settle();
    int looks = 0;
    connectLooks(looks);
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 1200 || (looks < 2 && clock.elapsed() < 60'000)) {
        emit previews.changed({});
        QTest::qWait(20);
    }
    EXPECT_GE(looks, 2) << "what comes all the time does not keep it waiting";
    EXPECT_LE(looks, clock.elapsed() / 450 + 1);
    const int before = looks;
    emit previews.changed({});
    EXPECT_TRUE(waitUntil([&] { return looks > before; })) << "the last texts count as well";
}

TEST_F(SessionsPageTest, KeysAskForWhatTheirActionsSay)
{
    makeSessions();
    tree.setFocus();
    tree.select(travel);
    QTest::keyClick(&tree, Qt::Key_Return);
    EXPECT_EQ(actions.take(), "open Travel");
    QTest::keyClick(&tree, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(actions.take(), "switch to Travel");
    QTest::keyClick(&tree, Qt::Key_F2);
    auto* const editor = tree.viewport()->findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, QStringLiteral("Trip "));
    records->change([&](SessionLibrary& library) { useSession(library, budget); });
    QTest::qWait(60);
    EXPECT_EQ(shown(), "Letters; Budget; -Travel");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(becomes("Budget; -Travel; Letters"));
    EXPECT_EQ(actions.take(), "rename Travel to 'Trip'") << "whatever has happened meanwhile";
    QTest::keyClick(&tree, Qt::Key_L);
    EXPECT_EQ(filter.text().toStdString(), "l");
    EXPECT_EQ(QApplication::focusWidget(), &filter);
    QTest::keyClick(&filter, Qt::Key_Down);
    EXPECT_EQ(QApplication::focusWidget(), &tree);
}

TEST_F(SessionsPageTest, DeletesOnlyWhenThatIsConfirmed)
{
    makeSessions();
    tree.setFocus();
    tree.select(budget);
    QTest::keyClick(&tree, Qt::Key_Delete);
    EXPECT_EQ(question().defaultButton(), question().button(QMessageBox::Cancel));
    QTest::keyClick(&question(), Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return page.findChild<QMessageBox*>() == nullptr; }));
    EXPECT_EQ(actions.take(), "");
    QTest::keyClick(&tree, Qt::Key_Delete);
    question().checkBox()->setChecked(true);
    named<QPushButton>(question(), QStringLiteral("Delete Session")).click();
    EXPECT_EQ(actions.take(), "delete with drafts Budget");
}

TEST_F(SessionsPageTest, TakesDropsOnlyWhereASessionCanGo)
{
    makeSessions();
    const Uuid closed = session("Closed");
    records->change([&](SessionLibrary& library) { closeSession(library, closed); });
    ASSERT_TRUE(waitUntil([&] { return model().indexOf(closed).isValid(); }));
    struct {
        Uuid moved;
        std::optional<Uuid> target;
        bool can;
    } const cases[] = {{budget, budget, false},  {budget, travel, false},        {travel, budget, false},
                       {letters, closed, false}, {letters, std::nullopt, false}, {letters, Uuid::random(), false},
                       {closed, letters, true},  {letters, travel, true},        {travel, std::nullopt, true}};
    for (const auto& each : cases) {
        SCOPED_TRACE(actions.names[each.moved] + " into " + (each.target ? actions.names[*each.target] : "none"));
        EXPECT_EQ(model().canMove(each.moved, each.target), each.can);
        const QModelIndex onto = each.target ? model().indexOf(*each.target) : QModelIndex();
        if (each.target && !onto.isValid())
            continue;
        const std::unique_ptr<QMimeData> data(model().mimeData({model().indexOf(each.moved)}));
        EXPECT_EQ(model().canDropMimeData(data.get(), Qt::MoveAction, -1, -1, onto), each.can);
        tree.model()->dropMimeData(data.get(), Qt::MoveAction, -1, -1, onto);
        EXPECT_EQ(actions.take().empty(), !each.can);
    }
}

TEST_F(SessionsPageTest, ShowsWhatTheSelectedSessionHolds)
{
    budget = session("Budget");
    show(page);
    ASSERT_TRUE(becomes("Budget"));
    EXPECT_TRUE(
        says(page, QStringLiteral("One session so far. New Session puts other work aside without closing it.")));
    const Uuid sums = document("sums", "Sums\n\n  and  more");
    window(budget, "w", {sums, document("notes", "Notes")});
    ASSERT_TRUE(waitUntil([&] { return rows(*contents.model()) == "Window 1; Sums; Notes"; }));
    const QModelIndex tab = contents.model()->index(1, 0);
    EXPECT_TRUE(waitUntil([&] { return tab.data(ListEntry::detailRole).toString() == QStringLiteral("and more"); }));
    contents.setFocus();
    contents.setCurrentIndex(tab);
    QTest::keyClick(&contents, Qt::Key_Return);
    EXPECT_EQ(actions.take(), "show w with sums");

    named<QPushButton>(page, QStringLiteral("Create Return Note")).click();
    EXPECT_EQ(actions.take(), "create note Budget");
    records->change([&](SessionLibrary& library) { setReturnNote(library, budget, sums); });
    ASSERT_TRUE(waitUntil([&] { return says(page, QStringLiteral("Open Return Note")); }));
    named<QPushButton>(page, QStringLiteral("Open Return Note")).click();
    EXPECT_EQ(actions.take(), "open note Budget");

    // What is selected and folded stays when the library becomes another.
    travel = session("Travel", budget);
    ASSERT_TRUE(becomes("Budget; -Travel"));
    EXPECT_EQ(tree.current(), budget);
    tree.collapse(model().indexOf(budget));
    session("Letters");
    ASSERT_TRUE(becomes("Letters; Budget; -Travel"));
    EXPECT_EQ(tree.current(), budget);
    EXPECT_FALSE(tree.isExpanded(model().indexOf(budget)));
}

}  // namespace
}  // namespace penmark
