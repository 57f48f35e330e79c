// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/find/FindBar.h"

#include "app/commands/CommandRegistry.h"
#include "app/editor/EditorView.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/ProgramTest.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

namespace penmark {
namespace {

constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto alt = Qt::AltModifier;

class FindBarTest : public ProgramTest {
protected:
    FindBar* bar() { return window().pane()->findBar(); }
    bool isOpen() { return bar() && bar()->isVisible(); }
    QLineEdit* field() { return qobject_cast<QLineEdit*>(QApplication::focusWidget()); }
    std::string fieldText() { return field() ? field()->text().toStdString() : "no field"; }
    std::string said() { return window().statusLine().message().toStdString(); }
    bool hasTextFocus() { return QApplication::focusWidget() == window().view(); }

    void settleFind()
    {
        DocumentFind& find = bar()->find();
        ASSERT_TRUE(wait([&] { return find.isIdle() && (!isOpen() || find.rule().query.empty() || find.isFresh()); }));
    }
    /// "3 of 17 | 2:1": what the bar says and where the selection ends.
    std::string state()
    {
        settleFind();
        std::string shown;
        for (const auto* label : bar()->findChildren<QLabel*>()) {
            if (label->isVisible() && !label->text().isEmpty())
                shown += (shown.empty() ? "" : "; ") + label->text().toStdString();
        }
        return shown + " | " + selected();
    }
    std::string selected()
    {
        const Utf8Range range = window().view()->editor().carets().main().range();
        return std::to_string(range.start.value) + "-" + std::to_string(range.end.value);
    }
    std::string after(Qt::Key which, Qt::KeyboardModifiers modifiers = {})
    {
        key(which, modifiers);
        return state();
    }
};

TEST_F(FindBarTest, FindsWhileTyping)
{
    type("can cat car cart");
    key(Qt::Key_Home);
    key(Qt::Key_F, ctrl);
    ASSERT_TRUE(isOpen());
    EXPECT_EQ(fieldText(), "");
    EXPECT_FALSE(field()->accessibleName().isEmpty());
    EXPECT_EQ(state(), " | 0-0");
    type("ca");
    EXPECT_EQ(state(), "1 of 4 | 0-2");
    type("r");
    EXPECT_EQ(state(), "1 of 2 | 8-11");
    EXPECT_EQ(after(Qt::Key_Return), "2 of 2 | 12-15");
    EXPECT_EQ(after(Qt::Key_Return), "1 of 2 | 8-11");
    EXPECT_EQ(said(), "Search wrapped to the start");
    EXPECT_EQ(after(Qt::Key_Enter, shift), "2 of 2 | 12-15");
    EXPECT_EQ(after(Qt::Key_F3, shift), "1 of 2 | 8-11");
    type("x");
    EXPECT_EQ(state(), "No results | 8-11") << "back where the last step led";
    EXPECT_EQ(text(), "can cat car cart");
    key(Qt::Key_Escape);
    EXPECT_FALSE(isOpen());
    EXPECT_TRUE(hasTextFocus());
    type("bus");
    EXPECT_EQ(text(), "can cat bus cart") << "the match was selected";
}

TEST_F(FindBarTest, OptionsHaveKeysAndAreKept)
{
    type("Cart cart cartoon c.rt");
    key(Qt::Key_F, ctrl);
    type("cart");
    EXPECT_EQ(state(), "1 of 3 | 0-4");
    EXPECT_EQ(after(Qt::Key_C, alt), "1 of 2 | 5-9");
    EXPECT_EQ(after(Qt::Key_W, alt), "1 of 1 | 5-9");
    EXPECT_EQ(fieldText(), "cart") << "nothing was typed by them";
    key(Qt::Key_A, ctrl);
    type("c.rt");
    EXPECT_EQ(state(), "1 of 1 | 18-22");
    EXPECT_EQ(after(Qt::Key_R, alt), "1 of 2 | 5-9");
    window().resize(700, 300);
    QTest::qWait(50);
}

TEST_F(FindBarTest, FindsInTheSelection)
{
    type("ab\nab ab\nab\nab");
    key(Qt::Key_F, ctrl);
    type("ab");
    EXPECT_EQ(state(), "1 of 5 | 0-2") << "from the end on, and around";
    key(Qt::Key_Escape);
    window().view()->setCarets(CaretSet(Caret(Utf8Offset(3), Utf8Offset(12))));
    key(Qt::Key_H, ctrl);
    auto* const toggle = [this] {
        for (auto* button : bar()->findChildren<QToolButton*>()) {
            if (button->accessibleName() == QLatin1String("Find in Selection"))
                return button;
        }
        return static_cast<QToolButton*>(nullptr);
    }();
    ASSERT_NE(toggle, nullptr);
    EXPECT_EQ(fieldText(), "ab") << "several lines are no query";
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_EQ(state(), "5 results | 3-12");
    EXPECT_EQ(after(Qt::Key_L, alt), "1 of 3 | 3-5");
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_EQ(after(Qt::Key_Return), "2 of 3 | 6-8");
    key(Qt::Key_Tab);
    type("x");
    EXPECT_EQ(after(Qt::Key_Enter, ctrl | alt), "No results | 6-6");
    EXPECT_EQ(text(), "ab\nx x\nx\nab");
    key(Qt::Key_Escape);
    key(Qt::Key_F3);
    EXPECT_EQ(state(), " | 9-11") << "the selection counts no more";

    // A selection within a line is a query, and nowhere to search in.
    key(Qt::Key_F, ctrl);
    EXPECT_EQ(state(), "2 of 2 | 9-11");
    EXPECT_EQ(after(Qt::Key_L, alt), "2 of 2 | 9-11");
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_EQ(said(), "Select the text to search in first.");
}

TEST_F(FindBarTest, ActsOnTheViewInFront)
{
    type("ab ab");
    runCommand("view.splitRight");
    EditorView* const second = window().view();
    key(Qt::Key_Home, ctrl);
    key(Qt::Key_F, ctrl);
    type("ab");
    EXPECT_EQ(state(), "1 of 2 | 0-2");
    EditorView* first = nullptr;
    for (auto* view : window().pane()->findChildren<EditorView*>())
        first = view == second ? first : view;
    ASSERT_NE(first, nullptr);
    first->setFocus();
    key(Qt::Key_F3);
    settleFind();
    EXPECT_EQ(first->editor().carets().main(), Caret(Utf8Offset(0), Utf8Offset(2)));
    EXPECT_EQ(second->editor().carets().main(), Caret(Utf8Offset(0), Utf8Offset(2)));
    key(Qt::Key_F3);
    settleFind();
    EXPECT_EQ(first->editor().carets().main(), Caret(Utf8Offset(3), Utf8Offset(5)));
    EXPECT_EQ(second->editor().carets().main(), Caret(Utf8Offset(0), Utf8Offset(2)));
    runCommand("view.splitRight");
    key(Qt::Key_F3);
    settleFind();
    EXPECT_EQ(selected(), "0-2");
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(text(), "") << "its bar went with it";
}

}  // namespace
}  // namespace penmark
