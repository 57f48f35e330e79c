// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/HistoryWindow.h"

#include "CpuTime.h"
#include "app/appearance/Appearance.h"
#include "app/documents/LibraryFixture.h"
#include "app/editor/EditorView.h"
#include "app/history/ComparisonView.h"
#include "app/history/RecordedActions.h"
#include "organization/CheckpointStore.h"

#include <QAccessible>
#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QToolButton>
#include <algorithm>

namespace penmark {
namespace {

/// A document with versions, a minute apart, and the window of its history.
class HistoryWindowTest : public LibraryFixture {
protected:
    ~HistoryWindowTest() override { delete window; }

    /// Versions are stored with a clock of their own, so that each has another time.
    void write(const std::vector<std::string>& texts)
    {
        DocumentStore store(queue.store(), [this] { return now = Date{now.seconds + 60}; });
        for (const std::string& text : texts) {
            const auto written =
                head ? store.writeRevision(document, head, text) : store.createWithText(newDocument(store), text);
            head = written.revision.value().id;
            revisions.push_back(*head);
        }
    }
    RecoveryDocument newDocument(DocumentStore& store)
    {
        RecoveryDocument made = store.newDocument("Notes");
        document = made.id;
        return made;
    }
    void open()
    {
        window = new HistoryWindow(registry, actions, appearance, {font(), 4}, document, [this] { return now; });
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        list = window->findChild<QListView*>();
        view = window->findChild<ComparisonView*>();
        model = qobject_cast<VersionModel*>(list->model());
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        ASSERT_TRUE(waitUntil([&] { return model->isLoaded() && registry.find(document); }));
        ASSERT_TRUE(settle());
    }
    static QFont font() { return QFont(QStringLiteral("monospace"), 10); }

    /// The texts that are compared, as far as the lines tell: "old line|new line" once it is this.
    bool shows(const std::string& earlier, const std::string& current)
    {
        const DocumentDiff expected = compareTexts(earlier, current);
        return waitUntil([&] { return showsNow(expected); });
    }
    bool showsNow(const DocumentDiff& expected) const
    {
        if (!view->isVisible() || view->lines().count() != expected.lines.size())
            return false;
        for (std::size_t line = 0; line < expected.lines.size(); ++line) {
            if (view->lines().at(line) != expected.lines[line])
                return false;
        }
        return true;
    }
    void choose(std::size_t version, QItemSelectionModel::SelectionFlags how = QItemSelectionModel::ClearAndSelect)
    {
        list->selectionModel()->setCurrentIndex(model->indexOf(revisions[version]), how);
    }
    void click(std::size_t version, Qt::KeyboardModifiers modifiers = {})
    {
        const QModelIndex index = model->indexOf(revisions[version]);
        list->scrollTo(index);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, modifiers, list->visualRect(index).center());
    }
    template <class Widget>
    Widget* named(const char* text) const
    {
        for (Widget* widget : window->findChildren<Widget*>()) {
            if (widget->text() == QString::fromUtf8(text))
                return widget;
        }
        return nullptr;
    }
    bool says(const char* text) const
    {
        const QLabel* const label = named<QLabel>(text);
        return label && label->isVisible();
    }
    std::string moment(std::size_t version) const
    {
        return model->moment(*model->find(revisions[version])).toStdString();
    }
    bool isTitled(const std::string& text) const { return says(text.c_str()); }

    Appearance appearance;
    RecordedActions actions;
    Date now{700'000'000};
    Uuid document;
    std::optional<Uuid> head;
    std::vector<Uuid> revisions;  // the oldest first
    HistoryWindow* window = nullptr;
    QListView* list = nullptr;
    ComparisonView* view = nullptr;
    VersionModel* model = nullptr;
};

TEST_F(HistoryWindowTest, BeginsWithTheVersionBeforeTheCurrentText)
{
    write({"one\n", "one\ntwo\n", "one\ntwo\nthree\n"});
    open();
    EXPECT_TRUE(shows("one\ntwo\n", "one\ntwo\nthree\n"));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("History: Notes"));
    EXPECT_TRUE(isTitled(moment(1) + " with current text"));
    EXPECT_TRUE(says("1 of 1 change"));
    choose(0);
    EXPECT_TRUE(shows("one\n", "one\ntwo\nthree\n"));
    choose(2);
    EXPECT_TRUE(shows("one\ntwo\nthree\n", "one\ntwo\nthree\n"));
    EXPECT_TRUE(says("No differences."));
}

TEST_F(HistoryWindowTest, ShowsAPlaceInTheTextOfAVersion)
{
    std::string lines;
    for (int line = 0; line < 500; ++line)
        lines += "line " + std::to_string(line) + "\n";
    const auto at = [](std::size_t start, std::size_t length) {
        return Utf8Range{Utf8Offset(start), Utf8Offset(start + length)};
    };
    write({lines + "pear\n", lines + "pear, plum\n", "nothing\n"});
    open();
    EditorView* text = nullptr;
    const auto selects = [&](const std::string& wanted) {
        return waitUntil([&] {
            text = window->findChild<EditorView*>();
            return text && text->isVisible() && text->hasFocus() &&
                   text->text().text(text->editor().carets().main().range()) == wanted &&
                   !text->caretRect(text->editor().carets().main()).isEmpty();
        });
    };
    window->showVersion(revisions[1], at(lines.size() + 6, 4));
    EXPECT_TRUE(selects("plum"));
    // The same version again, whose text is there already, and then another.
    list->setFocus();
    window->showVersion(revisions[1], at(5, 1));
    EXPECT_TRUE(selects("0"));
    window->showVersion(revisions[0], at(lines.size(), 4));
    EXPECT_TRUE(selects("pear"));

    // What is chosen meanwhile is not left.
    window->showVersion(revisions[1], at(lines.size() + 6, 4));
    choose(2);
    ASSERT_TRUE(waitUntil([&] { return text->text().text() == "nothing\n"; }));
    choose(1);
    ASSERT_TRUE(waitUntil([&] { return text->text().text() == lines + "pear, plum\n"; }));
    EXPECT_FALSE(text->editor().carets().main().hasSelection());
}

TEST_F(HistoryWindowTest, WhoChoosesWhileEarlierVersionsAreReadIsNotTakenElsewhere)
{
    std::vector<std::string> texts;
    for (int version = 0; version < 60; ++version)
        texts.push_back("text " + std::to_string(version) + "\n");
    write(texts);
    open();
    ASSERT_FALSE(model->indexOf(revisions[0]).isValid());
    window->showVersion(revisions[0], Utf8Range{Utf8Offset(0), Utf8Offset(4)});
    choose(50);
    ASSERT_TRUE(waitUntil([&] { return model->indexOf(revisions[0]).isValid(); }));
    EXPECT_EQ(list->currentIndex(), model->indexOf(revisions[50]));
    window->showVersion(revisions[0], Utf8Range{Utf8Offset(0), Utf8Offset(4)});
    EXPECT_TRUE(waitUntil([&] { return list->currentIndex() == model->indexOf(revisions[0]); }));
}

TEST_F(HistoryWindowTest, ADocumentWithoutVersionsSaysSo)
{
    document = registry.createDraft().id();
    open();
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->data(model->index(0), Qt::DisplayRole).toString(),
              QStringLiteral("No versions yet. A version is kept each time the text is stored."));
    EXPECT_FALSE(named<QPushButton>("Restore as New Document")->isEnabled());
    EXPECT_FALSE(named<QPushButton>("Copy Text")->isEnabled());
}

TEST_F(HistoryWindowTest, FollowsWhatIsTypedAndStored)
{
    write({"one\n", "one\ntwo\n"});
    open();
    ASSERT_TRUE(shows("one\n", "one\ntwo\n"));
    RecoveryBuffer& buffer = *registry.find(document);
    type(buffer, "three\n");
    EXPECT_TRUE(shows("one\n", "one\ntwo\nthree\n"));
    const auto badge = [&] { return model->texts(*model->find(revisions[1])).badge; };
    EXPECT_EQ(badge(), QStringLiteral("Last stored"));
    ASSERT_TRUE(store(buffer));
    ASSERT_TRUE(waitUntil([&] { return model->versionCount() == 3; }));
    EXPECT_EQ(badge(), QString());
    EXPECT_EQ(model->texts(*model->versionAt(0)).badge, QStringLiteral("Current text"));
    EXPECT_EQ(model->version(list->currentIndex())->revision.id, revisions[0]) << "what was chosen stays";
}

TEST_F(HistoryWindowTest, ComparesAnyTwoVersions)
{
    write({"a\n", "b\n", "c\n", "d\n"});
    open();
    click(0);
    ASSERT_TRUE(shows("a\n", "d\n"));
    click(2, Qt::ControlModifier);
    EXPECT_TRUE(shows("a\n", "c\n")) << "the older one first, in whatever order they were chosen";
    EXPECT_TRUE(isTitled(moment(0) + " with " + moment(2)));
    click(1);
    EXPECT_TRUE(shows("b\n", "d\n"));

    auto* const against = window->findChild<QComboBox*>();
    against->setCurrentIndex(1);
    EXPECT_TRUE(shows("a\n", "b\n"));
    choose(3);
    EXPECT_TRUE(shows("c\n", "d\n"));
    choose(0);
    EXPECT_TRUE(shows("", "a\n"));
    EXPECT_TRUE(isTitled(moment(0) + ", the first version"));

    choose(2);
    against->setCurrentIndex(2);
    choose(1);
    EXPECT_TRUE(shows("b\n", "c\n"));
    choose(3);
    EXPECT_TRUE(shows("c\n", "d\n"));
    against->setCurrentIndex(0);
    choose(0);
    EXPECT_TRUE(shows("a\n", "d\n"));
}

TEST_F(HistoryWindowTest, OnlyTheNewestQuestionIsAnswered)
{
    std::vector<std::string> texts;
    for (int each = 0; each < 30; ++each)
        texts.push_back("version " + std::to_string(each) + "\n" + std::string(50'000, 'x') + "\n");
    write(texts);
    open();
    int answers = 0;
    QObject::connect(window->findChild<VersionComparison*>(), &VersionComparison::compared, window,
                     [&](const std::shared_ptr<const DocumentDiff>& diff) {
                         ++answers;
                         EXPECT_EQ(diff->lines.front().text, "version 20");
                     });
    for (std::size_t each = 0; each <= 20; ++each)
        choose(each);
    EXPECT_TRUE(shows(texts[20], texts[29]));
    ASSERT_TRUE(settle());
    QTest::qWait(50);
    EXPECT_EQ(answers, 1);
}

TEST_F(HistoryWindowTest, LoadsEarlierVersionsByKeysAndBySearch)
{
    std::vector<std::string> texts;
    for (int each = 0; each < 1'300; ++each)
        texts.push_back(std::to_string(each) + "\n");
    queue.store().transaction([&] { write(texts); });
    open();
    ASSERT_EQ(model->versionCount(), 50U);
    choose(1'250);
    QTest::keyClick(list, Qt::Key_Down);
    ASSERT_EQ(model->row(list->currentIndex()).kind, VersionRow::Kind::loadEarlier);
    EXPECT_TRUE(shows("1250\n", "1299\n")) << "what was chosen stays to be seen";
    QTest::keyClick(list, Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return model->versionCount() == 100; }));
    EXPECT_EQ(model->version(list->currentIndex())->revision.id, revisions[1'249]);
    EXPECT_TRUE(shows("1249\n", "1299\n"));

    window->showVersion(revisions[3]);
    EXPECT_TRUE(shows("3\n", "1299\n"));
    window->showVersion(Uuid::random());
    EXPECT_TRUE(waitUntil([&] { return says("This version is no longer in the library."); }));
    choose(5);
    EXPECT_TRUE(shows("5\n", "1299\n"));
}

TEST_F(HistoryWindowTest, ADamagedVersionLeavesTheOthers)
{
    write({"one\n", "two\n", "three\n"});
    const std::string hash = documents().loadRevision(revisions[1])->contentHash;
    queue.store().execute("UPDATE content SET body='nothing' WHERE hash=?", {hash});
    open();
    const RecoveryError missing(RecoveryError::Case::missingContent);
    ASSERT_TRUE(waitUntil([&] { return says(missing.what()); }));
    EXPECT_FALSE(view->isVisible());
    EXPECT_FALSE(named<QPushButton>("Copy Text")->isEnabled());
    QTest::keyClick(list, Qt::Key_F8);
    choose(0);
    EXPECT_TRUE(shows("one\n", "three\n"));
    EXPECT_FALSE(says(missing.what()));
    choose(1);
    EXPECT_TRUE(waitUntil([&] { return says(missing.what()); }));
}

TEST_F(HistoryWindowTest, KeysWorkFromTheList)
{
    write({"a\n1\n2\n3\n4\n5\n6\n7\n8\n9\nb\n", "A\n1\n2\n3\n4\n5\n6\n7\n8\n9\nB\n"});
    open();
    ASSERT_TRUE(waitUntil([&] { return view->lines().changes().size() == 2; }));
    list->setFocus();
    EXPECT_EQ(view->currentChange(), 0U);
    QTest::keyClick(list, Qt::Key_F8);
    EXPECT_EQ(view->currentChange(), 1U);
    QTest::keyClick(list, Qt::Key_F8, Qt::ShiftModifier);
    EXPECT_EQ(view->currentChange(), 0U);
    QTest::keyClick(list, Qt::Key_Z, Qt::AltModifier);
    EXPECT_TRUE(view->wraps());
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_TRUE(view->hasFocus());
    QTest::keyClick(view, Qt::Key_Escape);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(HistoryWindowTest, ButtonsActOnTheChosenVersion)
{
    write({"one\n", "two\n", "three\n"});
    const CheckpointHeader kept = CheckpointStore(queue.store()).keepDocument(document, "Draft", revisions[0]);
    open();
    choose(0);
    ASSERT_TRUE(shows("one\n", "three\n"));
    const auto asked = [&](const std::function<void()>& act) {
        actions.asked.clear();
        act();
        return actions.asked;
    };
    const auto press = [&](const char* text) { QTest::mouseClick(named<QPushButton>(text), Qt::LeftButton); };
    EXPECT_EQ(asked([&] { press("Restore as New Document"); }), "restore " + revisions[0].text() + "\n");
    EXPECT_EQ(asked([&] { press("Keep Current Version…"); }), "keep " + document.text() + "\n");
    press("Copy Text");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("one\n"));

    ASSERT_TRUE(says("Kept by: Draft"));
    QMenu* const menu = named<QToolButton>("Checkpoint")->menu();
    const auto pick = [&](const char* text) {
        emit menu->aboutToShow();
        for (QAction* action : menu->actions()) {
            if (action->text() == QString::fromUtf8(text))
                return action->trigger();
        }
        ADD_FAILURE() << text;
    };
    EXPECT_EQ(asked([&] { pick("Unpin"); }), "unpin " + kept.id.text() + "\n");
    EXPECT_EQ(asked([&] { pick("Remove Checkpoint"); }), "remove " + kept.id.text() + "\n");
    auto* const name = window->findChild<QLineEdit*>();
    const auto rename = [&](const char* text, Qt::Key end) {
        return asked([&] {
            pick("Rename…");
            EXPECT_EQ(name->text(), QStringLiteral("Draft"));
            QTest::keyClicks(name, QLatin1StringView(text));
            QTest::keyClick(name, end);
            EXPECT_FALSE(name->isVisible());
        });
    };
    EXPECT_EQ(rename("Other", Qt::Key_Escape), "");
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(rename("Better", Qt::Key_Return), "rename to Better " + kept.id.text() + "\n");

    CheckpointStore(queue.store()).remove(kept.id);
    window->checkpointsChanged();
    EXPECT_TRUE(waitUntil([&] { return !says("Kept by: Draft"); }));
}

TEST_F(HistoryWindowTest, ShowsTheTextOfAVersionInstead)
{
    write({"one\n", "two\n", "three\n"});
    open();
    choose(0);
    ASSERT_TRUE(shows("one\n", "three\n"));
    named<QToolButton>("Text")->click();
    auto* const text = window->findChild<EditorView*>();
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(text->isVisible() && text->isReadOnly());
    EXPECT_EQ(text->text().text(), "one\n");
    choose(1);
    EXPECT_TRUE(waitUntil([&] { return text->text().text() == "two\n"; }));
    named<QToolButton>("Text")->click();
    EXPECT_TRUE(shows("two\n", "three\n"));
}

TEST_F(HistoryWindowTest, LargeTextsAreComparedAtOnceAndWhatIsNotComparedIsSaid)
{
    std::string text;
    for (int line = 0; text.size() < 199'500; ++line)
        text += "line " + std::to_string(line) + std::string(195, 'x') + "\n";
    std::string other = text;
    for (std::size_t at = 60; at < other.size(); at += 700)
        other[at] = other[at] == '\n' ? '\n' : '#';
    write({text, text + text, other});
    open();
    const auto start = cpuTime();
    choose(0);
    ASSERT_TRUE(shows(text, other));
    view->viewport()->grab();
    EXPECT_LT((cpuTime() - start).count(), granted(0.1)) << "of the window's thread, the check of this test included";
    EXPECT_FALSE(says("Large changes are shown as removed and added blocks."));
    choose(1);
    EXPECT_TRUE(waitUntil([&] {
        return says("Large changes are shown as removed and added blocks. Only the first 200,000 characters of each "
                    "text are compared.");
    }));
}

TEST_F(HistoryWindowTest, EverythingThatTakesTheFocusHasAName)
{
    write({"one\n", "two\n"});
    CheckpointStore(queue.store()).keepDocument(document, "Draft", revisions[0]);
    open();
    ASSERT_TRUE(shows("one\n", "two\n"));
    int seen = 0;
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->focusPolicy() == Qt::NoFocus || widget->focusProxy())
            continue;
        ++seen;
        QAccessibleInterface* const access = QAccessible::queryAccessibleInterface(widget);
        ASSERT_NE(access, nullptr);
        EXPECT_FALSE(access->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
    }
    EXPECT_GT(seen, 8);
    const QString row = model->data(model->indexOf(revisions[0]), Qt::AccessibleTextRole).toString();
    EXPECT_TRUE(row.contains(QStringLiteral("kept by Draft"))) << row.toStdString();
}

}  // namespace
}  // namespace penmark
