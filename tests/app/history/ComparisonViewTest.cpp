// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonView.h"

#include "CpuTime.h"

#include <QAccessible>
#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace penmark {
namespace {

/// Sixty lines; the ones named are others.
std::string text(const std::string& mark, const std::vector<int>& marked)
{
    std::string text;
    for (int line = 1; line <= 60; ++line) {
        const bool isMarked = std::find(marked.begin(), marked.end(), line) != marked.end();
        text += "line " + std::to_string(line) + (isMarked ? " " + mark : "") + "\n";
    }
    return text;
}

class ComparisonViewTest : public testing::Test {
protected:
    void compare(const std::string& earlier, const std::string& current, bool keepsPlace = false)
    {
        view.setDiff(std::make_shared<const DocumentDiff>(compareTexts(earlier, current)), keepsPlace);
    }
    void show(QSize size = {600, 300})
    {
        view.resize(size);
        view.show();
        view.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
        view.setFocus();
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&view, key, modifiers); }
    /// The middle of a line's row, beside its text.
    QPoint at(std::size_t line) const { return view.lineRect(line).center(); }
    std::string spoken(std::size_t line) const { return view.spokenText(line).toStdString(); }
    bool isSeen(std::size_t line) const { return view.viewport()->rect().contains(view.lineRect(line)); }
    QColor colorOf(std::size_t line)
    {
        const QRect row = view.lineRect(line);
        return view.viewport()->grab().toImage().pixelColor(row.right() - 5, row.center().y());
    }

    ComparisonView view;
};

TEST_F(ComparisonViewTest, GoesFromChangeToChangeAndShowsEach)
{
    compare(text("", {}), text("edited", {5, 30, 55}));
    show({600, 160});
    std::vector<std::size_t> starts;
    for (const ComparisonLines::Change& change : view.lines().changes())
        starts.push_back(change.first);
    ASSERT_EQ(starts.size(), 3U);
    EXPECT_EQ(view.currentLine(), starts[0]) << "begins at the first change";
    for (const std::size_t expected : {starts[1], starts[2], starts[0], starts[1]}) {
        view.goToChange(true);
        EXPECT_EQ(view.currentLine(), expected);
        EXPECT_TRUE(isSeen(expected) && isSeen(expected + 1)) << expected;
    }
    key(Qt::Key_Down);
    for (const std::size_t expected : {starts[0], starts[2], starts[1]}) {
        view.goToChange(false);
        EXPECT_EQ(view.currentLine(), expected);
        EXPECT_TRUE(isSeen(expected));
    }
    EXPECT_EQ(view.currentChange(), 1U);
}

TEST_F(ComparisonViewTest, UnfoldsAndFoldsByKeysAndMouse)
{
    compare(text("", {}), text("edited", {30}));
    show();
    const std::size_t folded = view.lines().count();
    ASSERT_TRUE(view.lines().isRun(0));
    const auto unfoldAndFold = [&](const std::function<void()>& act) {
        act();
        EXPECT_GT(view.lines().count(), folded);
        EXPECT_EQ(view.currentLine(), 0U) << "where it was asked for";
        act();
        EXPECT_EQ(view.lines().count(), folded);
    };
    key(Qt::Key_Home);
    unfoldAndFold([&] { key(Qt::Key_Return); });
    unfoldAndFold([&] { key(Qt::Key_Space); });
    unfoldAndFold([&] { QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, at(0)); });
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(view.lines().count(), folded) << "there was no run";
}

TEST_F(ComparisonViewTest, SelectsAndCopiesLines)
{
    compare("one\ntwo\nthree\n", "one\n2\nthree\n");
    show();
    const auto copied = [&] {
        QGuiApplication::clipboard()->clear();
        key(Qt::Key_C, Qt::ControlModifier);
        return QGuiApplication::clipboard()->text().toStdString();
    };
    key(Qt::Key_Home);
    EXPECT_EQ(copied(), "one\n") << "the current line";
    key(Qt::Key_Down, Qt::ShiftModifier);
    key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(copied(), "one\ntwo\n2\n");
    key(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(copied(), "one\ntwo\n");
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(copied(), "one\ntwo\n2\nthree\n\n");

    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, at(3));
    QTest::mouseMove(view.viewport(), at(2));
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, at(2));
    EXPECT_EQ(copied(), "2\nthree\n");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::ShiftModifier, at(1));
    EXPECT_EQ(copied(), "two\n2\nthree\n");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, at(1));
    EXPECT_FALSE(view.selectedLines());
}

TEST_F(ComparisonViewTest, LongLinesScrollOrWrap)
{
    view.setTextFont(QFontDatabase::systemFont(QFontDatabase::FixedFont), 8);
    std::string words;
    while (words.size() < 900)
        words += "word ";
    compare("a\n" + words + "\nb\n", "a\n" + words + "x\nb\n");
    show({500, 400});
    const int row = view.lineRect(0).height();
    EXPECT_EQ(view.lineRect(1).height(), row);
    EXPECT_GT(view.horizontalScrollBar()->maximum(), 0);
    key(Qt::Key_Right);
    EXPECT_GT(view.horizontalScrollBar()->value(), 0);

    view.setWraps(true);
    EXPECT_EQ(view.horizontalScrollBar()->maximum(), 0);
    EXPECT_GT(view.lineRect(1).height(), 5 * row);
    EXPECT_EQ(view.lineRect(3).height(), row);
    EXPECT_EQ(view.lineAt({10, view.lineRect(1).bottom() - 1}), 1U);
    EXPECT_EQ(view.lineRect(2).top(), view.lineRect(1).bottom() + 1);
    const int narrow = view.lineRect(1).height();
    view.resize(1000, 400);
    EXPECT_LT(view.lineRect(1).height(), narrow);
    view.setWraps(false);
    EXPECT_EQ(view.lineRect(1).height(), row);
}

TEST_F(ComparisonViewTest, KeepsItsPlaceWhenTheTextIsEdited)
{
    compare(text("", {}), text("edited", {5, 30, 55}));
    show({600, 160});
    view.goToChange(true);
    const std::size_t line = view.currentLine();
    const int scrolled = view.verticalScrollBar()->value();
    compare(text("", {}), text("edited", {5, 30, 54}), true);
    EXPECT_EQ(view.currentLine(), line);
    EXPECT_EQ(view.verticalScrollBar()->value(), scrolled);
    compare("", "", true);
    EXPECT_EQ(view.currentLine(), 0U);
    compare(text("", {}), text("edited", {5}));
    EXPECT_EQ(view.currentChange(), 0U);
}

TEST_F(ComparisonViewTest, KindsDifferInColourAndInWords)
{
    compare("same\nold\nends\r\nmore\n", "same\nnew\nends\nmore\n");
    show();
    ASSERT_EQ(view.lines().changes().size(), 1U);
    EXPECT_EQ(spoken(0), "same");
    std::vector<std::string> said;
    for (std::size_t line = 1; line < 5; ++line)
        said.push_back(spoken(line));
    std::sort(said.begin(), said.end());
    EXPECT_EQ(said, (std::vector<std::string>{"added: ends, line ending differs", "added: new",
                                              "removed: ends, line ending differs", "removed: old"}));
    const ComparisonColors& colors = ComparisonColors::of(lightColorScheme());
    EXPECT_EQ(colorOf(1), QColor(colors.removed.red, colors.removed.green, colors.removed.blue));
    view.setColors(darkColorScheme());
    const ComparisonColors& dark = ComparisonColors::of(darkColorScheme());
    EXPECT_EQ(colorOf(1), QColor(dark.removed.red, dark.removed.green, dark.removed.blue));
}

TEST_F(ComparisonViewTest, AssistiveTechnologySeesALineAtATime)
{
    compare(text("", {}), text("edited", {30}));
    show();
    QAccessibleInterface* const list = QAccessible::queryAccessibleInterface(&view);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->role(), QAccessible::List);
    ASSERT_EQ(list->childCount(), static_cast<int>(view.lines().count()));
    QAccessibleInterface* const run = list->child(0);
    EXPECT_EQ(run->text(QAccessible::Name).toStdString(), "26 unchanged lines, folded");
    EXPECT_TRUE(run->state().expandable);
    EXPECT_EQ(list->indexOfChild(run), 0);
    EXPECT_EQ(list->focusChild(), list->child(static_cast<int>(view.currentLine())));
    EXPECT_EQ(list->focusChild()->text(QAccessible::Name).toStdString(), "removed: line 30");
    key(Qt::Key_Down);
    EXPECT_EQ(list->focusChild()->text(QAccessible::Name).toStdString(), "added: line 30 edited");
    const QPoint point = view.viewport()->mapToGlobal(at(5));
    EXPECT_EQ(list->childAt(point.x(), point.y()), list->child(5));
    compare("", "");
    EXPECT_FALSE(list->childCount() > 1 || (list->child(0)->isValid() && list->child(5) != nullptr));
}

// Block mode has no limit to the number of lines but that of the characters.
TEST_F(ComparisonViewTest, ManyLinesAreShownAtOnce)
{
    const auto diff = std::make_shared<const DocumentDiff>(
        compareTexts(std::string(199'999, '\n'), std::string(99'000, 'x') + std::string(99'000, '\n')));
    show();
    for (const bool wraps : {false, true}) {
        SCOPED_TRACE(wraps);
        view.setWraps(wraps);
        const auto start = cpuTime();
        view.setDiff(diff);
        view.viewport()->grab();
        view.goToChange(true);
        view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
        view.viewport()->grab();
        EXPECT_LT((cpuTime() - start).count(), granted(0.1));
    }
    EXPECT_TRUE(isSeen(view.lines().count() - 1));
}

}  // namespace
}  // namespace penmark
