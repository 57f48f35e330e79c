// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorView.h"

#include "CpuTime.h"
#include "app/navigator/SomeDocuments.h"

#include <QAccessible>
#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <algorithm>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using namespace std::chrono_literals;

/// The panel in a window of its own, with four documents unless told otherwise. What it asks for is written down as
/// "open 3 1", by the numbers of documents.
class NavigatorViewTest : public testing::Test {
protected:
    NavigatorViewTest()
        : view(headers), tree(view.findChild<NavigatorTree*>()), filter(view.findChild<QLineEdit*>()),
          strip(view.findChild<UndoStrip*>()), undo(strip->findChild<QPushButton*>())
    {
        const auto write = [this](const char* what) {
            return [this, what](const QList<Uuid>& documents) { note(what, documents); };
        };
        QObject::connect(
            &view, &NavigatorView::openRequested, &view,
            [this](const QList<Uuid>& documents, bool newWindow) { note(newWindow ? "openNew" : "open", documents); });
        QObject::connect(&view, &NavigatorView::peekRequested, &view, [this](const Uuid& id) { note("peek", {id}); });
        QObject::connect(&view, &NavigatorView::renameRequested, &view, [this](const Uuid& id, const QString& title) {
            note("rename", {id});
            asked += " to '" + title.toStdString() + "'";
        });
        QObject::connect(&view, &NavigatorView::discardRequested, &view, write("discard"));
        QObject::connect(&view, &NavigatorView::undoDiscardRequested, &view, write("undo"));
        QObject::connect(&view, &NavigatorView::restoreRequested, &view, write("restore"));
        QObject::connect(&view, &NavigatorView::copyPathRequested, &view, write("copyPath"));
        QObject::connect(&view, &NavigatorView::showInFilesRequested, &view, write("showInFiles"));
        QObject::connect(&view, &NavigatorView::leaveRequested, &view, [this] { note("leave", {}); });
        QObject::connect(&view, &NavigatorView::newDraftRequested, &view, [this] { note("newDraft", {}); });
        QObject::connect(&view, &NavigatorView::searchRequested, &view,
                         [this](const QString& text) { asked += "search " + text.toStdString(); });
        QObject::connect(&view, &NavigatorView::stateChanged, &view, [this] { ++stateChanges; });
    }

    void load(std::vector<DocumentHeader> all = {header(0, "Zero"), header(1, "One", "/notes/one.md"), header(2, "Two"),
                                                 header(3, "Three", "/notes/three.md")})
    {
        headers.adopt(std::move(all));
    }
    void show()
    {
        view.resize(280, 500);
        view.show();
        view.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
        QTest::qWait(1);
        stateChanges = 0;
    }
    void setDiscarded(const QList<Uuid>& documents, bool is)
    {
        for (const Uuid& id : documents) {
            DocumentHeader changed = *headers.find(id);
            changed.deleted = is;
            headers.put(changed);
        }
    }

    void note(const char* what, const QList<Uuid>& documents)
    {
        asked += (asked.empty() ? "" : "; ") + std::string(what);
        for (const Uuid& id : documents)
            asked += " " + std::to_string(std::stoi(id.text().substr(0, 8), nullptr, 16) - 1);
    }
    std::string take() { return std::exchange(asked, {}); }

    /// Selects a row of Recent, where the last document is the first.
    void select(int row)
    {
        tree->setFocus();
        tree->select(indexIn(model(), recent, row));
    }
    const NavigatorModel& model() const { return *static_cast<const NavigatorModel*>(tree->model()); }
    std::string current() const { return tree->currentIndex().data().toString().toStdString(); }
    void key(QWidget* to, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(to, key, modifiers); }
    void key(Qt::Key pressed, Qt::KeyboardModifiers modifiers = {}) { key(tree, pressed, modifiers); }
    QLineEdit* titleEditor() const { return tree->viewport()->findChild<QLineEdit*>(); }
    std::string page() const
    {
        for (const QLabel* label : view.findChildren<QLabel*>())
            if (label->isVisible() && label->parent() != strip)
                return label->text().toStdString();
        return tree->isVisible() ? "list" : "nothing";
    }
    std::string sections() const
    {
        std::string list;
        for (int number = 0; number < model().sectionCount(); ++number)
            if (!tree->isRowHidden(number, {}))
                list += (list.empty() ? "" : " ") + model().section(number).word().toStdString() +
                        (tree->isExpanded(model().index(number, 0)) ? "" : "-");
        return list;
    }
    /// The texts of a menu that pops up; those that can be chosen.
    QStringList menuTexts(const QMenu& menu) const
    {
        QStringList texts;
        for (const QAction* action : menu.actions())
            if (action->isEnabled() && !action->isSeparator())
                texts << action->text();
        return texts;
    }
    QMenu* openMenu()
    {
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(), QPoint());
        QApplication::sendEvent(tree, &event);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    void choose(QMenu* menu, const char* text)
    {
        ASSERT_TRUE(menu);
        for (QAction* action : menu->actions())
            if (action->text() == QString::fromUtf8(text)) {
                action->trigger();
                menu->close();
                return;
            }
        FAIL() << "no entry " << text;
    }

    DocumentHeaders headers;
    NavigatorView view;
    NavigatorTree* tree;
    QLineEdit* filter;
    UndoStrip* strip;
    QPushButton* undo;
    std::string asked;
    int stateChanges = 0;
};

TEST_F(NavigatorViewTest, IsUsedByKeys)
{
    load();
    show();
    view.focusFilter();
    ASSERT_TRUE(filter->hasFocus());
    key(filter, Qt::Key_Down);
    ASSERT_TRUE(tree->hasFocus());
    EXPECT_EQ(current(), "Two") << "the first document, not the heading above it";

    key(Qt::Key_Return);
    EXPECT_EQ(take(), "open 2");
    key(Qt::Key_Enter, Qt::ControlModifier);
    EXPECT_EQ(take(), "openNew 2");
    key(Qt::Key_Space);
    EXPECT_EQ(take(), "peek 2");
    key(Qt::Key_Down, Qt::ShiftModifier);
    key(Qt::Key_Return);
    EXPECT_EQ(take(), "open 2 0");
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_Return);
    EXPECT_EQ(take(), "open 2 0 3 1") << "each once, though Recent lists all";

    key(Qt::Key_Home);
    EXPECT_EQ(current(), "Drafts");
    key(Qt::Key_Return);
    EXPECT_EQ(sections(), "drafts- recent");
    key(Qt::Key_Right);
    EXPECT_EQ(sections(), "drafts recent");
    key(Qt::Key_Space);
    EXPECT_EQ(sections(), "drafts- recent");
    EXPECT_EQ(take(), "");
    key(Qt::Key_Up);
    EXPECT_TRUE(filter->hasFocus());

    select(0);
    key(Qt::Key_Escape);
    EXPECT_EQ(take(), "leave");
}

TEST_F(NavigatorViewTest, FiltersFromTheKeyboard)
{
    load();
    show();
    select(3);
    QTest::keyClick(tree, 't');
    EXPECT_TRUE(filter->hasFocus());
    EXPECT_EQ(filter->text(), QStringLiteral("t"));
    QTest::keyClicks(filter, QStringLiteral("hr"));
    EXPECT_EQ(dump(model().section(recent)), "Three");
    EXPECT_EQ(sections(), "recent") << "what has no hits is not shown";
    key(filter, Qt::Key_Return);
    EXPECT_EQ(take(), "open 3");
    key(filter, Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(take(), "openNew 3");
    key(filter, Qt::Key_Escape);
    EXPECT_EQ(filter->text(), QString());
    EXPECT_EQ(dump(model().section(recent)), "Three, Two, One, Zero");
    EXPECT_EQ(take(), "");
    key(filter, Qt::Key_Escape);
    EXPECT_EQ(take(), "leave");
    EXPECT_EQ(stateChanges, 4);

    filter->setText(QStringLiteral("one"));
    select(0);
    filter->setText(QStringLiteral("on"));
    EXPECT_EQ(current(), "One") << "stays where it was found";
}

TEST_F(NavigatorViewTest, RenamesInPlace)
{
    struct Case {
        const char* what;
        const char* typed;
        Qt::Key end;
        const char* asked;
    };
    const Case cases[] = {
        {"another title", "  My  title ", Qt::Key_Return, "rename 3 to 'My title'"},
        {"cancelled", "My title", Qt::Key_Escape, ""},
        {"empty", " ", Qt::Key_Return, "rename 3 to ''"},
        {"the same", "Three", Qt::Key_Return, ""},
    };
    load();
    show();
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        select(0);
        key(Qt::Key_F2);
        ASSERT_TRUE(titleEditor());
        EXPECT_EQ(titleEditor()->text(), QStringLiteral("Three"));
        EXPECT_EQ(titleEditor()->selectedText(), QStringLiteral("Three"));
        QTest::keyClicks(titleEditor(), QString::fromUtf8(each.typed));
        key(titleEditor(), each.end);
        EXPECT_TRUE(QTest::qWaitFor([&] { return !titleEditor(); }));
        EXPECT_EQ(take(), each.asked);
        EXPECT_TRUE(tree->hasFocus());
    }
    // Storing another document moves the row below the editor, not what it is about.
    key(Qt::Key_F2);
    headers.put(header(4, "Newer"));
    ASSERT_TRUE(titleEditor());
    QTest::keyClicks(titleEditor(), QStringLiteral("X"));
    key(titleEditor(), Qt::Key_F2);
    key(titleEditor(), Qt::Key_Up);
    key(titleEditor(), Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !titleEditor(); }));
    EXPECT_EQ(take(), "rename 3 to 'X'");
}

TEST_F(NavigatorViewTest, OffersToUndoWhatIsDiscarded)
{
    load();
    show();
    view.setUndoInterval(10s);
    QObject::connect(&view, &NavigatorView::discardRequested, &view,
                     [this](const QList<Uuid>& documents) { setDiscarded(documents, true); });
    QObject::connect(&view, &NavigatorView::undoDiscardRequested, &view,
                     [this](const QList<Uuid>& documents) { setDiscarded(documents, false); });
    QLabel* const label = strip->findChild<QLabel*>();

    select(0);
    key(Qt::Key_Delete);
    EXPECT_EQ(take(), "discard 3");
    EXPECT_EQ(dump(model().section(recent)), "Two, One, Zero");
    EXPECT_TRUE(strip->isVisible());
    EXPECT_EQ(label->text(), QStringLiteral("“Three” discarded"));
    EXPECT_TRUE(tree->hasFocus()) << "never takes it";
    EXPECT_EQ(current(), "Two") << "the next one";
    key(Qt::Key_Tab);
    ASSERT_TRUE(undo->hasFocus());
    EXPECT_EQ(QAccessible::queryAccessibleInterface(undo)->text(QAccessible::Name),
              QStringLiteral("Undo: “Three” discarded"));
    key(undo, Qt::Key_Return);
    EXPECT_EQ(take(), "undo 3");
    EXPECT_EQ(dump(model().section(recent)), "Three, Two, One, Zero");
    EXPECT_FALSE(strip->isVisible());
    EXPECT_TRUE(tree->hasFocus());

    select(0);
    key(Qt::Key_Down, Qt::ShiftModifier);
    key(Qt::Key_Delete);
    select(0);
    key(Qt::Key_Delete);
    EXPECT_EQ(label->text(), QStringLiteral("3 documents discarded"));
    EXPECT_EQ(take(), "discard 3 2; discard 1");
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(take(), "undo 3 2 1");
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(take(), "") << "once";
}

TEST_F(NavigatorViewTest, StopsOfferingAfterAWhile)
{
    load();
    show();
    view.setUndoInterval(30ms);
    select(0);
    key(Qt::Key_Delete);
    take();
    undo->setFocus();
    QTest::qWait(100);
    EXPECT_TRUE(strip->isVisible()) << "not from under the one who is about to press it";
    tree->setFocus();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !strip->isVisible(); }));
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(take(), "");
}

TEST_F(NavigatorViewTest, HasAMenuForWhatIsSelected)
{
    load();
    setDiscarded({numbered(0)}, true);
    show();
    NavigatorState state = view.state();
    state.showsDiscarded = true;
    state.collapsed.clear();
    view.setState(state);

    select(0);
    EXPECT_EQ(menuTexts(*openMenu()).join(QLatin1String(", ")).toStdString(),
              std::string("Open, Open in New Window, Rename…, Copy Path, Show in Files, Discard"));
    QMenu* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    choose(menu, "Copy Path");
    EXPECT_EQ(take(), "copyPath 3");
    choose(openMenu(), "Show in Files");
    EXPECT_EQ(take(), "showInFiles 3");
    choose(openMenu(), "Open in New Window");
    EXPECT_EQ(take(), "openNew 3");
    choose(openMenu(), "Discard");
    EXPECT_EQ(take(), "discard 3");

    select(1);  // a draft
    EXPECT_EQ(menuTexts(*openMenu()).join(QLatin1String(", ")).toStdString(),
              std::string("Open, Open in New Window, Rename…, Discard"));
    QApplication::activePopupWidget()->close();
    key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(menuTexts(*openMenu()).join(QLatin1String(", ")).toStdString(),
              std::string("Open, Open in New Window, Copy Path, Show in Files, Discard"));
    QApplication::activePopupWidget()->close();
    tree->select(indexIn(model(), discarded, 0));
    key(Qt::Key_Delete);
    EXPECT_EQ(take(), "") << "it is discarded";
    choose(openMenu(), "Restore");
    EXPECT_EQ(take(), "restore 0");
}

TEST_F(NavigatorViewTest, KeepsItsStateAndDoesNotEcho)
{
    load();
    setDiscarded({numbered(0)}, true);
    show();
    EXPECT_EQ(sections(), "drafts recent");
    NavigatorState state;
    state.filter = QStringLiteral("t");
    state.collapsed = QStringList{QStringLiteral("drafts"), QStringLiteral("recent")};
    state.order = QStringLiteral("title");
    state.showsDiscarded = true;
    state.width = 333;
    view.setState(state);
    EXPECT_EQ(view.state(), state);
    EXPECT_EQ(view.sizeHint().width(), 333);
    EXPECT_EQ(dump(model().section(recent)), "One, Three, Two") << "the path of the first has a t";
    EXPECT_EQ(stateChanges, 0);

    filter->clear();
    EXPECT_EQ(sections(), "drafts- recent- discarded");
    EXPECT_EQ(stateChanges, 1);
    tree->expand(model().index(recent, 0));
    EXPECT_EQ(view.state().collapsed, QStringList{QStringLiteral("drafts")});
    filter->setText(QStringLiteral("two"));
    EXPECT_EQ(sections(), "drafts recent") << "hits are never hidden in a closed section";
    tree->collapse(model().index(recent, 0));
    filter->clear();
    EXPECT_EQ(sections(), "drafts- recent discarded") << "closed for that filter only";
    stateChanges = 0;
    view.resize(300, 500);
    EXPECT_EQ(view.state().width, 300);
    EXPECT_EQ(stateChanges, 1);

    QTest::mouseClick(view.findChild<QToolButton*>(QString(), Qt::FindDirectChildrenOnly), Qt::LeftButton);
    choose(qobject_cast<QMenu*>(QApplication::activePopupWidget()), "Show Discarded");
    EXPECT_EQ(sections(), "drafts- recent");
    EXPECT_EQ(stateChanges, 2);
}

TEST_F(NavigatorViewTest, IsUsedByMouse)
{
    load();
    show();
    const auto at = [&](const QModelIndex& index) { return tree->visualRect(index).center(); };
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at(indexIn(model(), recent, 0)));
    EXPECT_EQ(take(), "") << "selects";
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at(indexIn(model(), recent, 0)));
    EXPECT_EQ(take(), "open 3");
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, Qt::ControlModifier, at(indexIn(model(), recent, 2)));
    key(Qt::Key_Return);
    EXPECT_EQ(take(), "open 3 1");
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at(model().index(drafts, 0)));
    EXPECT_EQ(sections(), "drafts- recent");
    EXPECT_EQ(stateChanges, 1);
}

TEST_F(NavigatorViewTest, SaysWhyItIsEmpty)
{
    view.setPatience(1h);
    show();
    EXPECT_EQ(page(), "list") << "nothing yet: it may take no time";
    view.setPatience(1ms);  // a timer that runs starts anew
    EXPECT_TRUE(QTest::qWaitFor([&] { return page() == "Reading the library…"; }, 60'000)) << page();
    load({});
    EXPECT_EQ(page(), "Nothing here. Ctrl+N starts a draft; it is kept without a file.");
    QPushButton* button = nullptr;
    for (QPushButton* each : view.findChildren<QPushButton*>())
        if (each->isVisible())
            button = each;
    ASSERT_TRUE(button);
    button->click();
    EXPECT_EQ(take(), "newDraft");

    headers.put(header(0, "Bound", "/notes/bound.md"));
    EXPECT_EQ(page(), "list");
    tree->select(indexIn(model(), drafts, 0));
    for (const Qt::Key pressed : {Qt::Key_Delete, Qt::Key_F2, Qt::Key_Space})
        key(pressed);
    EXPECT_EQ(take(), "") << "a message is no document";
    key(Qt::Key_Return);
    EXPECT_EQ(take(), "newDraft");
    filter->setText(QStringLiteral("zebra"));
    EXPECT_EQ(page(), "No titles match.");

    // What is no title may be in a text; the offer is a key away and does not make the panel wider.
    QPushButton* search = nullptr;
    for (QPushButton* const each : view.findChildren<QPushButton*>())
        if (each->isVisible())
            search = each;
    ASSERT_TRUE(search);
    EXPECT_EQ(search->text().toStdString(), "Search texts for “zebra”\n(Ctrl+Shift+F)");
    const int narrowest = view.minimumSizeHint().width();
    filter->setText(QStringLiteral("zebra & ").repeated(20));
    EXPECT_EQ(view.minimumSizeHint().width(), narrowest);
    EXPECT_TRUE(search->accessibleName().contains(filter->text()));
    EXPECT_TRUE(search->text().contains(QStringLiteral("&&")) && search->text().contains(QStringLiteral("…")));
    filter->setText(QStringLiteral("zebra"));
    filter->setFocus();
    key(filter, Qt::Key_Down);
    ASSERT_TRUE(search->hasFocus());
    view.setState(view.state());
    EXPECT_TRUE(search->hasFocus()) << "also when the list is looked at again";
    EXPECT_EQ(view.typedFilter(), QStringLiteral("zebra")) << "for the key that the offer names";
    key(search, Qt::Key_Space);
    EXPECT_EQ(take(), "search zebra");
    filter->setText(QStringLiteral(" "));
    EXPECT_FALSE(search->isVisible());
    filter->setText(QStringLiteral("bou"));
    EXPECT_EQ(page(), "list");
}

// What is drawn in the colour of selections, when nothing is selected: the mark of a match, the bar of the front.
TEST_F(NavigatorViewTest, DrawsMarks)
{
    QPalette colors = view.palette();
    colors.setColor(QPalette::Base, Qt::white);
    colors.setColor(QPalette::Highlight, Qt::red);
    view.setPalette(colors);
    load();
    show();
    const auto redIn = [&](int row) {
        const QImage image = tree->viewport()->grab(tree->visualRect(indexIn(model(), recent, row))).toImage();
        int red = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                red += image.pixelColor(x, y).hsvSaturation() > 60 && image.pixelColor(x, y).hsvHue() < 20;
        return red;
    };
    EXPECT_EQ(redIn(0), 0);
    view.setCurrent(numbered(3));
    const int bar = redIn(0);
    EXPECT_GT(bar, 30);
    EXPECT_EQ(redIn(1), 0);
    view.setCurrent({});
    EXPECT_EQ(redIn(0), 0);
    filter->setText(QStringLiteral("three"));
    EXPECT_GT(redIn(0), bar);
    filter->setText(QStringLiteral("notes"));
    EXPECT_EQ(redIn(0), 0) << "found in the path";
}

TEST_F(NavigatorViewTest, PaintsAHundredThousandRowsSwiftly)
{
    std::vector<DocumentHeader> all;
    for (int number = 0; number < 100'000; ++number)
        all.push_back(header(number, "Thoughts " + std::to_string(number),
                             number % 2 ? "/home/a/Notes/and other things/of some length/file.md" : ""));
    load(std::move(all));
    auto begin = cpuTime();
    show();
    view.grab();
    EXPECT_LT((cpuTime() - begin).count(), granted(0.1)) << "the first frame";
    EXPECT_GT(tree->verticalScrollBar()->maximum(), 1'000'000) << "all of them are there";

    filter->setText(QStringLiteral("thoughts"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !model().documents().isWaiting(); }, 60'000));
    const int step = tree->verticalScrollBar()->maximum() / 100;
    begin = cpuTime();
    for (int frame = 0; frame < 100; ++frame) {
        tree->verticalScrollBar()->setValue(frame * step);
        tree->viewport()->repaint();
    }
    EXPECT_LT((cpuTime() - begin).count() / 100, granted(0.004)) << "a frame with marks";
    begin = cpuTime();
    DocumentHeader stored = headers.all()[500];
    stored.updatedAt = {1e9};
    headers.put(stored);
    tree->viewport()->repaint();
    EXPECT_LT((cpuTime() - begin).count(), granted(0.03)) << "a document was stored";
}

}  // namespace
}  // namespace penmark
