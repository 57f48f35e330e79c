// SPDX-License-Identifier: GPL-3.0-or-later
// A window by its keys.
#include "app/commands/CommandPalette.h"
#include "app/editor/EditorView.h"
#include "app/navigator/NavigatorView.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/ProgramTest.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QWindow>

namespace penmark {
namespace {

using Part = DocumentStatusBar::Part;
constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto alt = Qt::AltModifier;

class WindowKeysTest : public ProgramTest {};

TEST_F(WindowKeysTest, BeginsWithAnEmptyDraftThatTakesKeys)
{
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(window().tabs().documents().size(), 1U);
    EXPECT_TRUE(buffer().isDraft());
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_EQ(barText(), "");
    type("Hello");
    EXPECT_EQ(text(), "Hello");
    EXPECT_TRUE(asked.empty());
}

TEST_F(WindowKeysTest, OpensClosesAndReopensTabs)
{
    drafts({"one", "two", "three"});
    EXPECT_EQ(tabs(), "one two [three]");
    const Uuid third = buffer().id();
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(tabs(), "one [two]");
    type("!");
    EXPECT_EQ(text(), "two!");
    EXPECT_EQ(storedText(third), "three");
    key(Qt::Key_PageUp, ctrl);
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(tabs(), "[two!]");
    key(Qt::Key_T, ctrl | shift);
    EXPECT_EQ(tabs(), "[one] two!");
    key(Qt::Key_T, ctrl | shift);
    ASSERT_TRUE(wait([this] { return window().view() != nullptr; }));
    EXPECT_EQ(tabs(), "one two! [three]");
    type(" 3");
    EXPECT_EQ(text(), "three 3") << "the caret is where it was";
    key(Qt::Key_T, ctrl | shift);  // there is no more
    EXPECT_EQ(window().tabs().documents().size(), 3U);

    // What nobody has written into leaves no trace.
    key(Qt::Key_N, ctrl);
    key(Qt::Key_W, ctrl);
    key(Qt::Key_T, ctrl | shift);
    EXPECT_EQ(window().tabs().documents().size(), 3U);
}

TEST_F(WindowKeysTest, ClosingTheLastTextLeavesAnEmptyDraft)
{
    type("one");
    key(Qt::Key_W, ctrl);
    ASSERT_EQ(window().tabs().documents().size(), 1U);
    EXPECT_EQ(text(), "");
    type("x");
    EXPECT_EQ(text(), "x");
}

TEST_F(WindowKeysTest, GoesThroughTabsByPlaceAndNumber)
{
    drafts({"one", "two", "three"});
    const auto after = [this](Qt::Key which, Qt::KeyboardModifiers modifiers) {
        key(which, modifiers);
        return tabs();
    };
    EXPECT_EQ(after(Qt::Key_PageDown, ctrl), "[one] two three");
    EXPECT_EQ(after(Qt::Key_PageDown, ctrl), "one [two] three");
    EXPECT_EQ(after(Qt::Key_PageUp, ctrl), "[one] two three");
    EXPECT_EQ(after(Qt::Key_PageUp, ctrl), "one two [three]");
    EXPECT_EQ(after(Qt::Key_1, alt), "[one] two three");
    EXPECT_EQ(after(Qt::Key_2, alt), "one [two] three");
    EXPECT_EQ(after(Qt::Key_9, alt), "one [two] three");
    EXPECT_EQ(after(Qt::Key_PageUp, ctrl | shift), "[two] one three");
    EXPECT_EQ(after(Qt::Key_PageUp, ctrl | shift), "[two] one three");
    EXPECT_EQ(after(Qt::Key_PageDown, ctrl | shift), "one [two] three");
    EXPECT_EQ(after(Qt::Key_PageDown, ctrl | shift), "one three [two]");
    EXPECT_EQ(after(Qt::Key_PageDown, ctrl | shift), "one three [two]");
    type("!");
    EXPECT_EQ(text(), "two!");
}

TEST_F(WindowKeysTest, GoesThroughTabsByUseWhileCtrlIsHeld)
{
    drafts({"one", "two", "three"});
    key(Qt::Key_1, alt);  // used: one three two
    key(Qt::Key_Tab, ctrl);
    EXPECT_EQ(tabs(), "one two [three]");
    key(Qt::Key_Tab, ctrl);  // Ctrl was let go between: back
    EXPECT_EQ(tabs(), "[one] two three");

    bareKey(Qt::Key_Control, ctrl, true);
    bareKey(Qt::Key_Tab, ctrl, true);
    bareKey(Qt::Key_Tab, ctrl, false);
    bareKey(Qt::Key_Tab, ctrl, true);
    EXPECT_EQ(tabs(), "one [two] three");
    bareKey(Qt::Key_Tab, ctrl, true);
    EXPECT_EQ(tabs(), "[one] two three");
    bareKey(Qt::Key_Backtab, ctrl | shift, true);
    EXPECT_EQ(tabs(), "one [two] three");
    bareKey(Qt::Key_Control, {}, false);
    // Now it was used: the one before it is the one that was in front at first.
    key(Qt::Key_Tab, ctrl);
    EXPECT_EQ(tabs(), "[one] two three");
}

TEST_F(WindowKeysTest, RenamesInPlace)
{
    type("first line");
    const auto prompt = [] { return qobject_cast<QLineEdit*>(QApplication::focusWidget()); };
    key(Qt::Key_F2);
    ASSERT_NE(prompt(), nullptr);
    EXPECT_FALSE(prompt()->accessibleName().isEmpty());
    EXPECT_EQ(prompt()->selectedText(), QStringLiteral("first line"));
    type("Plans");
    key(Qt::Key_Return);
    EXPECT_EQ(tabs(), "[Plans]");
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    settle();
    EXPECT_EQ(buffer().record().displayTitle, "Plans");

    key(Qt::Key_F2);
    type("Other");
    key(Qt::Key_Escape);
    EXPECT_EQ(tabs(), "[Plans]");
    type("!");
    EXPECT_EQ(text(), "first line!");

    // Asked for again while it is asked for.
    key(Qt::Key_F2);
    key(Qt::Key_F2);
    key(Qt::Key_Escape);
    type("?");
    EXPECT_EQ(text(), "first line!?");

    // An empty title gives the automatic one back.
    key(Qt::Key_F2);
    key(Qt::Key_Delete);
    key(Qt::Key_Return);
    EXPECT_EQ(tabs(), "[first]");
    EXPECT_EQ(buffer().record().displayTitle, std::nullopt);
}

TEST_F(WindowKeysTest, GoesToALine)
{
    type("a\nbcd\ne\nf");
    const auto goTo = [this](const char* place) {
        key(Qt::Key_G, ctrl);
        type(place);
        key(Qt::Key_Return);
        return caret();
    };
    EXPECT_EQ(goTo("2"), "2:1");
    EXPECT_EQ(goTo("2:3"), "2:3");
    EXPECT_EQ(goTo("+1"), "3:1");
    EXPECT_EQ(goTo("-2"), "1:1");
    EXPECT_EQ(goTo("99"), "4:1");
    EXPECT_EQ(goTo("2:99"), "2:4");
    EXPECT_EQ(goTo("nonsense"), "2:4");
    EXPECT_EQ(window().statusLine().message().toStdString(), "“nonsense” is no line.");
    key(Qt::Key_G, ctrl);
    type("1");
    key(Qt::Key_Escape);
    EXPECT_EQ(caret(), "2:4");
    EXPECT_EQ(QApplication::focusWidget(), window().view());
}

TEST_F(WindowKeysTest, RunsACommandFromThePalette)
{
    type("b\na");
    key(Qt::Key_A, ctrl);
    key(Qt::Key_P, ctrl | shift);
    ASSERT_NE(qobject_cast<QLineEdit*>(QApplication::focusWidget()), nullptr);
    type("sort lines");
    key(Qt::Key_Return);
    ASSERT_TRUE(wait([this] { return text() == "a\nb"; })) << text();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    key(Qt::Key_P, ctrl | shift);
    key(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), window().view());
}

TEST_F(WindowKeysTest, FindsADocumentInTheLibrary)
{
    drafts({"alpha", "beta", "gamma"});
    key(Qt::Key_W, ctrl);
    key(Qt::Key_W, ctrl);
    settle();
    ASSERT_EQ(tabs(), "[alpha]");
    key(Qt::Key_F9);
    ASSERT_NE(window().navigator(), nullptr);
    ASSERT_TRUE(window().navigator()->isVisible());
    type("bet");
    QTest::qWait(50);
    key(Qt::Key_Down);
    EXPECT_NE(qobject_cast<QLineEdit*>(QApplication::focusWidget()), QApplication::focusWidget());
    key(Qt::Key_Return);
    ASSERT_TRUE(wait([this] { return tabs() == "alpha [beta]" && window().view() != nullptr; })) << tabs();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_EQ(text(), "beta");

    key(Qt::Key_F9);  // hides it
    EXPECT_FALSE(window().isLibraryVisible());
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    key(Qt::Key_F9);
    key(Qt::Key_Escape);  // takes the filter away
    EXPECT_NE(QApplication::focusWidget(), window().view());
    key(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_TRUE(window().isLibraryVisible());
}

TEST_F(WindowKeysTest, SavesAndAsksForAFileOnlyOnce)
{
    type("text");
    key(Qt::Key_S, ctrl);  // cancelled
    EXPECT_EQ(asked, std::vector<std::string>{"Save As"});
    EXPECT_TRUE(buffer().isDraft());
    answers = {file("a.txt").string()};
    key(Qt::Key_S, ctrl);
    ASSERT_TRUE(wait([this] { return !buffer().isDraft() && buffer().fileMatchesSavedVersion(); }));
    EXPECT_EQ(readFile("a.txt"), "text");
    EXPECT_TRUE(wait([this] { return status(Part::file) == "File saved"; }));

    asked.clear();
    type(" more");
    QTest::qWait(100);
    EXPECT_EQ(status(Part::file), "Unsaved file changes");
    key(Qt::Key_S, ctrl);
    ASSERT_TRUE(wait([this] { return buffer().fileMatchesSavedVersion(); }));
    EXPECT_EQ(readFile("a.txt"), "text more");
    EXPECT_TRUE(asked.empty());

    answers = {file("b.txt").string()};
    key(Qt::Key_S, ctrl | shift);
    ASSERT_TRUE(wait([this] { return buffer().record().externalPath == file("b.txt").string(); }));
    EXPECT_EQ(asked, std::vector<std::string>{"Save As"});
    EXPECT_EQ(readFile("b.txt"), "text more");
    EXPECT_TRUE(wait([this] { return window().tabBar().tabToolTip(0).toStdString() == file("b.txt").string(); }));
}

TEST_F(WindowKeysTest, ClosesAWindowAndKeepsItsTexts)
{
    type("first");
    key(Qt::Key_N, ctrl | shift);
    ASSERT_EQ(program->windows().size(), 2U);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    type("second");
    const Uuid second = buffer().id();
    key(Qt::Key_W, ctrl | shift);
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(tabs(), "[first]");
    EXPECT_EQ(storedText(second), "second");
}

TEST_F(WindowKeysTest, ADragOfATabMakesAWindowOnlyWhereItIsDroppedOutside)
{
    drafts({"one", "two"});
    window().move(0, 0);
    DocumentTabBar& bar = window().tabBar();
    const QPoint inTab = bar.tabRect(1).center();
    const auto dragAway = [&] {
        const QPointF away(inTab + QPoint(0, 100));
        QMouseEvent press(QEvent::MouseButtonPress, inTab, bar.mapToGlobal(inTab), Qt::LeftButton, Qt::LeftButton, {});
        QMouseEvent move(QEvent::MouseMove, away, bar.mapToGlobal(away), Qt::NoButton, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&bar, &press);
        QCoreApplication::sendEvent(&bar, &move);
    };
    const QPoint outside = window().frameGeometry().bottomRight() + QPoint(20, 20);
    const QPoint inside = window().frameGeometry().center();

    // With the button still down it was ended by a key.
    QWindow* const handle = window().windowHandle();
    const QPoint pressed = bar.mapTo(&window(), inTab);
    QTest::mousePress(handle, Qt::LeftButton, {}, pressed);
    QCursor::setPos(outside);
    dragAway();
    EXPECT_EQ(program->windows().size(), 1U);
    QTest::mouseRelease(handle, Qt::LeftButton, {}, pressed);
    ASSERT_EQ(QGuiApplication::mouseButtons(), Qt::NoButton);

    QCursor::setPos(inside);
    dragAway();
    EXPECT_EQ(program->windows().size(), 1U);

    QCursor::setPos(outside);
    dragAway();
    ASSERT_EQ(program->windows().size(), 2U);
    EXPECT_EQ(tabs(*program->windows()[0]), "[two]");
    EXPECT_EQ(tabs(*program->windows()[1]), "[one]");
}

}  // namespace
}  // namespace penmark
