// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchWindow.h"

#include "app/appearance/Appearance.h"
#include "app/search/FakeSearch.h"
#include "app/search/QueryField.h"
#include "app/search/SearchProblems.h"
#include "app/search/SearchResultsView.h"
#include "app/search/TargetPicker.h"

#include <QAccessible>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <functional>

#include <gtest/gtest.h>

namespace penmark {
namespace {

constexpr int patience = 60'000;  // milliseconds

bool waitFor(const std::function<bool()>& holds)
{
    return QTest::qWaitFor(holds, patience);
}

class SearchWindowTest : public testing::Test {
protected:
    void SetUp() override
    {
        QLocale::setDefault(QLocale(QLocale::English));
        window = new SearchWindow(fake, fake, fake, history, appearance,
                                  {QFontDatabase::systemFont(QFontDatabase::FixedFont)});
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        query = window->findChild<QueryField*>();
        results = window->findChild<SearchResultsView*>();
        QObject::connect(window, &SearchWindow::hitActivated, window, [this](std::size_t hit, bool newWindow) {
            opened += std::to_string(hit) + (newWindow ? "w " : " ");
        });
        show();
    }
    ~SearchWindowTest() override { delete window; }

    void show()
    {
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window, patience));
    }
    void key(Qt::Key code, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(QApplication::focusWidget(), code, modifiers);
    }
    void type(const char* text) { QTest::keyClicks(QApplication::focusWidget(), QString::fromUtf8(text)); }
    /// Types and searches at once.
    void search(const char* text)
    {
        query->setFocus();
        type(text);
        key(Qt::Key_Return);
    }
    void searchForPears()
    {
        search("pear");
        fake.finish(FakeSearch::threeHits());
    }
    void openOptions()
    {
        key(Qt::Key_O, Qt::AltModifier);
        auto* const field = called<QComboBox>("What is searched");
        ASSERT_TRUE(waitFor([&] { return field->isVisible(); }));
    }
    template <class Widget>
    Widget* named(const char* text) const
    {
        for (Widget* widget : window->findChildren<Widget*>()) {
            if (widget->text().remove(QLatin1Char('&')) == QString::fromUtf8(text))
                return widget;
        }
        return nullptr;
    }
    template <class Widget>
    Widget* called(const char* name) const
    {
        for (Widget* widget : window->findChildren<Widget*>()) {
            if (widget->accessibleName() == QString::fromUtf8(name))
                return widget;
        }
        return nullptr;
    }
    bool says(const char* text) const
    {
        const QLabel* const label = named<QLabel>(text);
        return label && label->isVisible();
    }
    std::size_t selected() const { return window->controller().search().selected().value_or(99); }
    void choose(const char* box, const char* text)
    {
        auto* const combo = called<QComboBox>(box);
        combo->setFocus();
        while (combo->currentText() != QString::fromUtf8(text)) {
            const int before = combo->currentIndex();
            key(Qt::Key_Down);
            ASSERT_NE(combo->currentIndex(), before);
        }
    }

    FakeSearch fake;
    SearchHistory history;
    Appearance appearance;
    SearchWindow* window = nullptr;
    QueryField* query = nullptr;
    SearchResultsView* results = nullptr;
    std::string opened;
};

TEST_F(SearchWindowTest, SearchesOnceForWhatIsTypedInOneGo)
{
    EXPECT_TRUE(says("Type to search."));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Search"));
    type("pear");
    EXPECT_TRUE(fake.runs.empty());
    ASSERT_TRUE(waitFor([&] { return !fake.runs.empty(); }));
    EXPECT_EQ(fake.lastRule().query, "pear");
    EXPECT_EQ(window->windowTitle(), QStringLiteral("pear - Search"));
    EXPECT_TRUE(says("Searching · results updating"));
    fake.publish(FakeSearch::threeHits());
    EXPECT_TRUE(says("3 hits in 2 sources · 2 of 8 searched"));
    TextSearchBatch last;
    last.elapsedMS = 45;
    fake.finish(std::move(last));
    EXPECT_TRUE(says("Complete for local content"));
    EXPECT_TRUE(says("3 hits in 2 sources · 8 of 8 searched · 45 ms"));

    type("s");
    ASSERT_TRUE(waitFor([&] { return fake.runs.size() == 2; }));
    EXPECT_TRUE(results->isVisible());  // what was found before is shown until there is something else
    fake.finish();
    EXPECT_TRUE(says("No matches in All retained documents\n8 sources were searched."));
    query->clear();
    search("");
    EXPECT_TRUE(says("Enter text to search for."));
    EXPECT_EQ(fake.runs.size(), 2U);
}

TEST_F(SearchWindowTest, EnterSearchesAndThenOpens)
{
    search("pear");
    ASSERT_EQ(fake.runs.size(), 1U);
    key(Qt::Key_Return);  // the search is on its way
    EXPECT_EQ(fake.runs.size(), 1U);
    fake.finish(FakeSearch::threeHits());
    EXPECT_EQ(opened, "");
    key(Qt::Key_Return);
    key(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(opened, "0 0w ");
    type("s");
    key(Qt::Key_Return);  // another query: what is shown is not for this one
    EXPECT_EQ(opened, "0 0w ");
    EXPECT_EQ(fake.runs.size(), 2U);
    EXPECT_EQ(fake.lastRule().query, "pears");
}

TEST_F(SearchWindowTest, ResultsAreWalkedByKeys)
{
    searchForPears();
    key(Qt::Key_Down);
    ASSERT_TRUE(results->hasFocus());
    EXPECT_EQ(selected(), 0U);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    key(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(opened, "1 1w ");
    key(Qt::Key_Left);  // to the source, which folds with the next
    key(Qt::Key_Left);
    key(Qt::Key_Down);
    key(Qt::Key_Return);  // a source opens at its first hit
    EXPECT_EQ(opened, "1 1w 2 ");
    key(Qt::Key_Up);
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    EXPECT_EQ(selected(), 0U);
    QTest::keyClick(results, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("notes.md:3:    a pear here"));
    key(Qt::Key_Up);
    key(Qt::Key_Up);
    EXPECT_TRUE(query->hasFocus());
    key(Qt::Key_Down);
    type("s!");
    EXPECT_TRUE(query->hasFocus());
    EXPECT_EQ(query->text(), QStringLiteral("pears!"));
}

// Somebody reads the results while texts change.
TEST_F(SearchWindowTest, ARefreshKeepsTheReadersPlace)
{
    const auto publish = [this](std::size_t shift, const char* other) {
        TextSearchBatch batch;
        for (std::size_t document = 0; document < 3; ++document) {
            std::vector<TextSearchHit> hits;
            for (std::size_t hit = shift; hit < 50; ++hit)
                hits.push_back(FakeSearch::hit(10 * hit + shift, "pear", 0, 4));
            FakeSearch::addGroup(batch, document == 1 ? other : "text", std::move(hits), TextSearchSource::Kind::file,
                                 "/home/someone/" + std::to_string(document));
        }
        fake.finish(std::move(batch));
    };
    search("pear");
    publish(0, "b");
    results->setFocus();
    results->showHit(80);  // the 30th of the second document
    QScrollBar* const bar = results->verticalScrollBar();
    bar->setValue(bar->value() + 100);
    const int top = results->visualRect(results->currentIndex()).top();
    key(Qt::Key_F5);
    publish(2, "renamed");
    const TextSearchHit* const hit = results->results().hit(results->currentIndex());
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->line, 302U);
    EXPECT_EQ(window->controller().search().groupOf(selected()).source->title, "renamed");
    EXPECT_EQ(results->visualRect(results->currentIndex()).top(), top);
    EXPECT_TRUE(results->hasFocus());

    search("s");
    publish(0, "b");
    EXPECT_FALSE(results->currentIndex().isValid());
    EXPECT_EQ(bar->value(), 0);
}

TEST_F(SearchWindowTest, StepsGoOnFromTheSecondHitOfALineAfterARefresh)
{
    const auto publish = [this] {
        TextSearchHit second = FakeSearch::hit(3, "a pear, a pear", 10, 4);
        second.column = 11;
        TextSearchBatch batch;
        FakeSearch::addGroup(batch, "notes.md",
                             {FakeSearch::hit(3, "a pear, a pear", 2, 4), second, FakeSearch::hit(9, "pear", 0, 4)});
        fake.finish(std::move(batch));
    };
    search("pear");
    publish();
    key(Qt::Key_F4);
    key(Qt::Key_F4);
    key(Qt::Key_F5);
    publish();
    key(Qt::Key_F4);
    EXPECT_EQ(opened, "0 1 2 ");
}

// Somebody edits one hit after the other away, and the results follow.
TEST_F(SearchWindowTest, StepsLeaveNoHitOutWhenTheOneBeforeIsEditedAway)
{
    const auto publish = [this](std::vector<std::size_t> lines) {
        std::vector<TextSearchHit> hits;
        for (const std::size_t line : lines)
            hits.push_back(FakeSearch::hit(line, "pear", 0, 4));
        TextSearchBatch batch;
        FakeSearch::addGroup(batch, "notes.md", std::move(hits));
        fake.finish(std::move(batch));
    };
    search("pear");
    publish({1, 5, 9, 12});
    key(Qt::Key_F4);
    for (int i = 0; i < 2; ++i) {
        key(Qt::Key_F5);
        publish({5, 9, 12});
    }
    key(Qt::Key_F4);
    EXPECT_EQ(opened, "0 0 ");
    key(Qt::Key_F4);
    EXPECT_EQ(opened, "0 0 1 ");
    key(Qt::Key_F5);
    publish({5, 12});
    key(Qt::Key_F4, Qt::ShiftModifier);
    EXPECT_EQ(opened, "0 0 1 0 ");
}

TEST_F(SearchWindowTest, F4GoesRoundThroughAllHits)
{
    searchForPears();
    results->collapseAll();
    for (int i = 0; i < 4; ++i)
        key(Qt::Key_F4);
    key(Qt::Key_F4, Qt::ShiftModifier);
    EXPECT_EQ(opened, "0 1 2 0 2 ");
    EXPECT_EQ(results->currentHit(), 2U);
    EXPECT_TRUE(results->isExpanded(results->currentIndex().parent()));
    EXPECT_TRUE(query->hasFocus());
}

TEST_F(SearchWindowTest, EscapeStopsAndThenLeaves)
{
    const QSignalSpy left(window, &SearchWindow::leave);
    search("pear");
    fake.publish(FakeSearch::threeHits());
    EXPECT_TRUE(named<QPushButton>("Stop")->isVisible());
    key(Qt::Key_Escape);
    EXPECT_FALSE(fake.isRunning());
    EXPECT_EQ(left.count(), 0);
    EXPECT_TRUE(says("Stopped · Refresh to search again"));
    EXPECT_FALSE(named<QPushButton>("Stop")->isVisible());
    key(Qt::Key_F5);
    EXPECT_TRUE(fake.isRunning());
    fake.finish();
    key(Qt::Key_Escape);
    EXPECT_EQ(left.count(), 1);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(SearchWindowTest, ShowsMoreWhereTheLimitWasReached)
{
    searchForPears();
    auto* const more = named<QPushButton>("Show More");
    EXPECT_FALSE(more->isVisible());
    key(Qt::Key_F5);
    TextSearchBatch limited = FakeSearch::threeHits();
    limited.limited = true;
    fake.publish(std::move(limited));
    EXPECT_TRUE(says("Result limit reached · refine or show more"));
    ASSERT_TRUE(more->isVisible());
    QTest::mouseClick(more, Qt::LeftButton);
    EXPECT_EQ(fake.runs.back().request.limit, TextSearchRequest::baseLimit + TextSearchRequest::moreHits);
    EXPECT_FALSE(more->isVisible());
}

TEST_F(SearchWindowTest, SearchesNothingWhileItIsHidden)
{
    searchForPears();
    key(Qt::Key_F5);
    window->hide();
    EXPECT_FALSE(fake.isRunning());
    EXPECT_EQ(results->results().rowCount(), 0);
    EXPECT_EQ(window->controller().search().status(),
              "Paused while hidden · resumes when shown; Refresh to search now");
    const std::size_t before = fake.runs.size();
    window->setQuery("plum");
    EXPECT_EQ(fake.runs.size(), before);
    show();
    ASSERT_EQ(fake.runs.size(), before + 1);
    EXPECT_EQ(fake.lastRule().query, "plum");
    window->showMinimized();
    EXPECT_FALSE(window->controller().search().visible());
    EXPECT_FALSE(fake.isRunning());
    window->showNormal();
    EXPECT_TRUE(waitFor([&] { return fake.isRunning(); }));
}

TEST_F(SearchWindowTest, KeysAndBoxesChangeTheRule)
{
    searchForPears();
    key(Qt::Key_C, Qt::AltModifier);
    EXPECT_TRUE(waitFor([&] { return fake.lastRule().caseSensitive; }));
    key(Qt::Key_W, Qt::AltModifier);
    EXPECT_TRUE(waitFor([&] { return fake.lastRule().wholeWord; }));
    key(Qt::Key_R, Qt::AltModifier);
    EXPECT_EQ(fake.lastRule().mode, TextMatchMode::regex);
    key(Qt::Key_R, Qt::AltModifier);
    EXPECT_EQ(fake.lastRule().mode, TextMatchMode::literal);
    choose("How to match", "Normalized");
    EXPECT_EQ(fake.lastRule().mode, TextMatchMode::normalized);
    EXPECT_TRUE(says("Opt-in: folds accents and - . _ / separators. Exact matches rank first; normalized matches are "
                     "labeled."));
    query->setFocus();
    openOptions();
    choose("What is searched", "Contents and paths");
    EXPECT_EQ(fake.lastRule().field, TextSearchField::both);
    EXPECT_TRUE(named<QToolButton>("Options (1)"));
    EXPECT_FALSE(called<QLineEdit>("File types")->isEnabled());

    // A rule that comes from elsewhere keeps what this window does not know.
    TextSearchRule rule;
    rule.query = "plum";
    rule.wholeWord = true;
    rule.fileTypes = {"md"};
    rule.unknownMembers.emplace_back("later", RawJson{"1"});
    window->setRule(rule);
    EXPECT_EQ(query->text(), QStringLiteral("plum"));
    EXPECT_TRUE(named<QCheckBox>("Match whole words")->isChecked());
    key(Qt::Key_C, Qt::AltModifier);
    rule.caseSensitive = true;
    EXPECT_TRUE(waitFor([&] { return fake.lastRule() == rule; }));
}

TEST_F(SearchWindowTest, AFolderHasOptionsOfItsOwn)
{
    PenmarkProject project;
    project.id = Uuid::random();
    project.path = "/home/someone/garden";
    fake.library_.projects.put(project);
    TextSearchScope scope;
    scope.kind = TextScopeKind::project;
    scope.id = project.id;
    searchForPears();
    window->setScope(scope);
    EXPECT_EQ(fake.lastRule().scope, scope);
    EXPECT_TRUE(says("Files in the chosen folder, including current unsaved text."));
    openOptions();
    called<QLineEdit>("File types")->setFocus();
    type("md, .py");
    ASSERT_TRUE(waitFor([&] { return fake.lastRule().fileTypes.size() == 2; }));
    EXPECT_EQ(fake.lastRule().fileTypes, (std::vector<std::string>{"md", "py"}));
    EXPECT_EQ(called<QLineEdit>("File types")->text(), QStringLiteral("md, .py"));
    key(Qt::Key_H, Qt::AltModifier);
    EXPECT_TRUE(waitFor([&] { return fake.lastRule().includeHidden; }));
    EXPECT_TRUE(named<QToolButton>("Options (2)"));
}

TEST_F(SearchWindowTest, TargetsAreChosenFromAListThatIsFiltered)
{
    PenmarkSession work;
    work.id = Uuid::random();
    work.name = "Work & more";
    fake.library_.sessions.put(work);
    fake.targets = {{Uuid::random(), QStringLiteral("Garden"), QStringLiteral("2 windows")},
                    {work.id, QStringLiteral("Work & more"), QStringLiteral("1 window")}};
    searchForPears();
    auto* const picker = window->findChild<TargetPicker*>();
    EXPECT_FALSE(picker->isVisible());
    auto* const kinds = called<QComboBox>("Where to search");
    kinds->setCurrentIndex(0);
    emit kinds->activated(0);
    EXPECT_TRUE(says("Unavailable target"));
    EXPECT_TRUE(says("Activate an editor to choose the current file."));
    EXPECT_FALSE(results->isVisible());
    choose("Where to search", "Session");
    EXPECT_TRUE(says("Choose an available session."));
    key(Qt::Key_Tab);
    ASSERT_TRUE(picker->hasFocus());
    key(Qt::Key_Space);
    EXPECT_EQ(fake.listedKind, TextScopeKind::session);
    auto* const filter = called<QLineEdit>("Filter targets");
    ASSERT_TRUE(filter->isVisible());
    QTest::keyClicks(filter, QStringLiteral("MORE"));
    auto* const list = called<QListView>("Targets");
    EXPECT_EQ(list->model()->rowCount(), 1);
    QTest::keyClick(filter, Qt::Key_Return);
    EXPECT_FALSE(filter->isVisible());
    EXPECT_EQ(fake.lastRule().scope.id, work.id);
    EXPECT_EQ(picker->text(), QStringLiteral("Work && more"));
    EXPECT_TRUE(says("Includes nested sessions"));
    EXPECT_TRUE(says("The chosen session and its descendants."));
}

TEST_F(SearchWindowTest, ProblemsAreListedAndCopied)
{
    key(Qt::Key_R, Qt::AltModifier);
    search("(");
    EXPECT_TRUE(fake.runs.empty());
    EXPECT_TRUE(window->controller().search().message().starts_with("Invalid ICU regular expression: "));
    EXPECT_TRUE(says(window->controller().search().message().c_str()));
    key(Qt::Key_R, Qt::AltModifier);
    query->clear();
    search("pear");
    TextSearchBatch batch = FakeSearch::threeHits();
    batch.issues = {{"This file cannot be read.", "a/b.md"}, {"The folder is gone.", {}}};
    batch.problems = 2;
    fake.finish(std::move(batch));
    auto* const button = named<QPushButton>("2 problems");
    ASSERT_TRUE(button && button->isVisible());
    key(Qt::Key_P, Qt::AltModifier);
    SearchProblems* problems = nullptr;
    ASSERT_TRUE(waitFor([&] { return (problems = window->findChild<SearchProblems*>()) != nullptr; }));
    auto* const list = problems->findChild<QListView*>();
    EXPECT_EQ(list->model()->rowCount(), 2);
    list->selectAll();
    QTest::keyClick(list, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(),
              "a/b.md: This file cannot be read.\nThe folder is gone.");
    window->controller().search().refresh();
    fake.finish();
    EXPECT_EQ(list->model()->rowCount(), 0);
    EXPECT_FALSE(button->isVisible());
}

TEST_F(SearchWindowTest, EarlierQueriesComeBack)
{
    search("apple");
    query->clear();
    search("pear");
    query->clear();
    type("pl");
    key(Qt::Key_Up);
    EXPECT_EQ(query->text(), QStringLiteral("pear"));
    key(Qt::Key_Up);
    key(Qt::Key_Up);
    EXPECT_EQ(query->text(), QStringLiteral("apple"));
    ASSERT_TRUE(waitFor([&] { return fake.lastRule().query == "apple"; }));
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    EXPECT_EQ(query->text(), QStringLiteral("pl"));
    EXPECT_TRUE(query->hasFocus());
}

TEST_F(SearchWindowTest, ScreenReadersHearOfTheEndOfASearch)
{
    QSignalSpy announced(window, &SearchWindow::announced);
    const auto read = [](const QLabel* label) {
        QAccessibleInterface* const line = QAccessible::queryAccessibleInterface(const_cast<QLabel*>(label));
        return line->text(QAccessible::Name).toStdString();
    };
    search("pear");
    fake.publish(FakeSearch::threeHits());
    fake.publish(FakeSearch::threeHits());
    EXPECT_EQ(announced.count(), 0);
    fake.finish();
    EXPECT_EQ(announced.count(), 1);
    const QLabel* const status = named<QLabel>("Complete for local content");
    ASSERT_TRUE(status);
    EXPECT_EQ(read(status), "Complete for local content, 6 hits in 4 sources");
    // While the next one runs, that is no longer said of the line.
    search("s");
    EXPECT_EQ(read(status), "Searching · results updating");
    EXPECT_EQ(announced.count(), 1);
    TextSearchBatch last;
    last.issues.push_back({"It cannot be read.", {}});
    last.problems = 1;
    fake.finish(std::move(last));
    ASSERT_EQ(announced.count(), 2);
    EXPECT_EQ(announced.back().front().toString().toStdString(), read(status));
    EXPECT_TRUE(read(status).ends_with(", 0 hits, 1 problem")) << read(status);

    search("x");
    fake.runs.back().fail("It is no expression.");
    ASSERT_EQ(announced.count(), 3);
    EXPECT_TRUE(announced.back().front().toString().contains(QLatin1String("It is no expression.")));

    // What has changed since is read, and not how the search ended; a search that follows an edit interrupts nobody.
    search("y");
    fake.finish();
    EXPECT_EQ(announced.count(), 4);
    window->controller().search().textChanged({});
    EXPECT_EQ(read(status), "Results changed · Refresh to update");
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other, patience));
    window->controller().search().refresh();
    fake.finish();
    EXPECT_EQ(read(status), "Complete for local content, 0 hits");
    EXPECT_EQ(announced.count(), 4);
}

TEST_F(SearchWindowTest, EverythingIsNamedAndReachedByTab)
{
    searchForPears();
    openOptions();
    query->setFocus();
    QSet<QWidget*> reached;
    for (QWidget* at = query; !reached.contains(at); at = QApplication::focusWidget()) {
        reached.insert(at);
        const auto* const button = qobject_cast<QAbstractButton*>(at);
        EXPECT_TRUE(!at->accessibleName().isEmpty() || (button && !button->text().isEmpty()))
            << at->metaObject()->className();
        key(Qt::Key_Tab);
    }
    for (QWidget* const widget : window->findChildren<QWidget*>()) {
        if (widget->focusPolicy() & Qt::TabFocus && widget->isVisible() && widget->isEnabled() &&
            !widget->focusProxy()) {
            EXPECT_TRUE(reached.contains(widget)) << widget->metaObject()->className();
        }
    }
}

TEST_F(SearchWindowTest, MayGoWhileItSearches)
{
    searchForPears();
    key(Qt::Key_F5);
    delete window;
    window = nullptr;
    EXPECT_FALSE(fake.isRunning());
    fake.finish(FakeSearch::threeHits());
}

}  // namespace
}  // namespace penmark
