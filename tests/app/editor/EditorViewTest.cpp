// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ShownEditor.h"

#include <memory>

namespace penmark {
namespace {

TEST(EditorView, TwoViewsOfOneTextHaveTheirOwnCaretsFoldsAndPlaces)
{
    std::string text;
    for (int line = 0; line < 200; ++line)
        text += "a {\n  b\n}\n";
    ShownEditor editor(text, EditorLanguage::c);
    auto other = std::make_unique<EditorView>(editor.document);
    other->resize(300, 200);
    other->show();
    editor.put(10);
    other->setCarets(CaretSet(Caret(Utf8Offset(1'500))));
    other->run(*editorCommand("fold.all"));
    EXPECT_TRUE(editor.view.editor().folds().empty());
    EXPECT_FALSE(other->editor().folds().empty());
    EXPECT_EQ(editor.view.textLayout().anchor().offset, Utf8Offset(0));
    editor.put(0);
    editor.type("xy");
    const Utf8Offset moved = other->editor().carets().main().head;
    editor.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(other->editor().carets().main().head + 2, moved) << "carets move with their text";
    EXPECT_EQ(editor.text(), text);
    other->typeText(QStringLiteral("z"));
    editor.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor.text(), text) << "the past is one for both";
    other.reset();
    editor.type("q");
    editor.settle();
    EXPECT_EQ(editor.seen(), editor.painted());
}

TEST(EditorView, StateComesBack)
{
    std::string text;
    for (int line = 0; line < 200; ++line)
        text += "a {\n  b 😀\n}\n";
    ShownEditor editor(text, EditorLanguage::c);
    editor.putAll({405, 705});
    editor.view.run(*editorCommand("fold.fold"));
    editor.view.textLayout().scrollBy(-250.5);
    editor.view.refresh(false);
    const EditorState state = editor.view.state();
    ShownEditor again(text, EditorLanguage::c);
    again.view.restore(state);
    EXPECT_EQ(again.carets(), editor.carets());
    EXPECT_EQ(again.view.editor().folds().all().size(), 1U);
    EXPECT_EQ(again.view.textLayout().anchor().offset, editor.view.textLayout().anchor().offset);
    EXPECT_NEAR(again.view.textLayout().anchor().scrolled, editor.view.textLayout().anchor().scrolled, .01);
    // The same for a text that has become another one.
    ShownEditor shorter("ab");
    shorter.view.restore(state);
    EXPECT_EQ(shorter.carets(), "2");
    shorter.settle();
    EXPECT_EQ(shorter.seen(), shorter.painted());
}

TEST(EditorView, OvertypeReplacesCharacters)
{
    ShownEditor editor("abc\nd");
    editor.put(1);
    editor.key(Qt::Key_Insert);
    editor.type("xyz");
    EXPECT_EQ(editor.text(), "axyz\nd");
    editor.key(Qt::Key_Insert);
    editor.type("q");
    EXPECT_EQ(editor.text(), "axyzq\nd");
}

// Whatever size the window gets, showing or hiding scroll bars comes to an end.
TEST(EditorView, ScrollBarsSettleAtAnySize)
{
    std::string text;
    for (int line = 0; line < 12; ++line)
        text += "some words that wrap or not\n";
    ShownEditor editor(text);
    for (int width = 150; width < 400; width += 7) {
        editor.view.resize(width, 215);
        editor.settle();
        ASSERT_EQ(editor.seen(), editor.painted()) << width;
    }
}

TEST(EditorView, TypingInALargeTextLaysOutAFewLines)
{
    std::string text;
    while (text.size() < std::size_t(20) << 20)
        text += "a line of some words, as there are many\n";
    ShownEditor editor(text);
    for (const std::size_t at : {std::size_t(0), text.size() / 2, text.size()}) {
        editor.put(at);
        editor.type("a");
        const std::size_t made = editor.view.textLayout().layoutsMade();
        editor.type("bcde");
        editor.settle();
        EXPECT_LE(editor.view.textLayout().layoutsMade() - made, 8U) << at;
    }
}

TEST(EditorView, FindMarksMoveWithTheirText)
{
    ShownEditor editor("one two three four");
    const auto mark = [](std::size_t start, std::size_t end) { return Utf8Range{Utf8Offset(start), Utf8Offset(end)}; };
    editor.view.setFindMarks({mark(0, 3), mark(4, 7), mark(8, 13), mark(14, 18)});
    const auto expectMarks = [&](std::vector<Utf8Range> marks) {
        const QImage shown = editor.painted();
        editor.view.setFindMarks({});
        EXPECT_NE(editor.painted(), shown);
        editor.view.setFindMarks(std::move(marks));
        EXPECT_EQ(editor.painted(), shown);
    };
    editor.put(5);
    editor.type("x");  // one txwo three four
    expectMarks({mark(0, 3), mark(4, 8), mark(9, 14), mark(15, 19)});
    editor.select(9, 14);
    editor.key(Qt::Key_Delete);  // one txwo  four
    expectMarks({mark(0, 3), mark(4, 8), mark(10, 14)});
    editor.putAll({0, 10});
    editor.type("ab");  // abone txwo  abfour
    expectMarks({mark(2, 5), mark(6, 10), mark(14, 18)});
    editor.key(Qt::Key_Z, Qt::ControlModifier);
    expectMarks({mark(0, 3), mark(4, 8), mark(10, 14)});
}

}  // namespace
}  // namespace penmark
