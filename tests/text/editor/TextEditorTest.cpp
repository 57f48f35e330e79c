// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/TextEditor.h"

#include "text/commands/Deleting.h"
#include "text/commands/Typing.h"
#include "text/editor/EditorActions.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

CaretSet at(std::size_t offset)
{
    return CaretSet(Caret(Utf8Offset(offset)));
}
CaretSet at(std::vector<std::size_t> offsets)
{
    std::vector<Caret> carets;
    for (const std::size_t offset : offsets)
        carets.emplace_back(Utf8Offset(offset));
    const std::size_t main = carets.size() - 1;
    return {std::move(carets), main};
}

void type(TextEditor& editor, std::string_view text)
{
    editor.perform(commands::typeText(editor.text(), editor.carets(), text, editor.options()), EditKind::typing);
}

class TextEditorTest : public testing::Test {
protected:
    void load(std::string_view text, EditorLanguage language = EditorLanguage::plainText)
    {
        document.load(TextSnapshot(text), language);
    }
    std::string text() const { return document.text().text(); }

    EditorDocument document;
    TextEditor one{document};
    TextEditor other{document};
};

}  // namespace

TEST_F(TextEditorTest, CaretsOfOtherEditorsFollow)
{
    load("one two three");
    one.setCarets(at(4));
    other.setCarets(CaretSet({Caret(Utf8Offset(4)), Caret(Utf8Offset(8), Utf8Offset(13))}, 1));
    type(one, "1½ ");
    EXPECT_EQ(one.carets(), at(8));
    const CaretSet moved({Caret(Utf8Offset(4)), Caret(Utf8Offset(12), Utf8Offset(17))}, 1);
    EXPECT_EQ(other.carets(), moved) << "a caret is not pushed by what another editor writes at it";
    one.undo();
    EXPECT_EQ(one.carets(), at(4));
    EXPECT_EQ(other.carets(), CaretSet({Caret(Utf8Offset(4)), Caret(Utf8Offset(8), Utf8Offset(13))}, 1));
    one.redo();
    EXPECT_EQ(one.carets(), at(8));
    EXPECT_EQ(other.carets(), moved);
    // What was written in one is undone in the other, with the carets of the step.
    EXPECT_TRUE(other.undo());
    EXPECT_EQ(text(), "one two three");
    EXPECT_EQ(other.carets(), at(4));
}

TEST_F(TextEditorTest, NoCaretIsLeftInsideOfACharacter)
{
    load("e x");
    one.setCarets(at(1));
    other.setCarets(CaretSet({Caret(Utf8Offset(1)), Caret(Utf8Offset(2), Utf8Offset(3))}, 0));
    one.rememberPlace();
    other.rememberPlace();
    other.setCarets(at({1, 3}));
    other.setCarets(at(3));
    type(one, "\u0301");
    other.setCarets(at(5));
    EXPECT_TRUE(other.goBack());
    test::checkEditor(other);
    EXPECT_TRUE(other.undoCarets());
    test::checkEditor(other);
    load("e x");
    one.setCarets(at(1));
    other.setCarets(at(1));
    type(one, "\u0301");
    EXPECT_EQ(other.carets(), at(3));
}

TEST_F(TextEditorTest, LoadingStartsAnew)
{
    load("one\ntwo");
    one.setCarets(at({3, 5}));
    one.rememberPlace();
    type(one, "x");
    load("1");
    for (TextEditor* editor : {&one, &other}) {
        EXPECT_EQ(editor->carets(), CaretSet());
        EXPECT_FALSE(editor->undo());
        EXPECT_FALSE(editor->redo());
        EXPECT_FALSE(editor->redoOtherBranch());
        EXPECT_FALSE(editor->undoCarets());
        EXPECT_FALSE(editor->goBack());
        EXPECT_TRUE(editor->folds().empty());
    }
}

TEST_F(TextEditorTest, MovingTheCaretEndsAStep)
{
    type(one, "a");
    type(one, "b");
    one.setCarets(at(0));
    one.setCarets(at(2));
    type(one, "c");
    EXPECT_EQ(text(), "abc");
    one.undo();
    EXPECT_EQ(text(), "ab");
    one.undo();
    EXPECT_EQ(text(), "");
    one.redo();
    EXPECT_EQ(text(), "ab");
    // Neither does the buffer hear of what changes nothing.
    const std::uint64_t generation = document.buffer().generation();
    one.setCarets(at(0));
    one.perform(commands::deleteBackward(one.text(), one.carets(), one.options()), EditKind::deleting);
    EXPECT_EQ(document.buffer().generation(), generation);
}

TEST_F(TextEditorTest, FoldsOpenForEditsAndCarets)
{
    const std::string_view source = "a {\n  b\n  c\n}\nd {\n  e\n}\n";
    const auto foldBoth = [&] {
        load(source, EditorLanguage::c);
        one.foldAll();
        ASSERT_EQ(one.folds().all().size(), 2U);
    };
    foldBoth();
    EXPECT_EQ(one.folds().hiddenLines(), 3U);
    other.setCarets(at(6));
    EXPECT_EQ(one.folds().all().size(), 2U) << "carets of another editor do not open them";
    type(other, "x");
    ASSERT_EQ(one.folds().all().size(), 1U) << "its edits do";
    EXPECT_EQ(one.folds().all()[0].lines, (FoldRegion{LineNumber(4), LineNumber(5)}));
    one.undo();
    EXPECT_EQ(one.folds().all().size(), 1U) << "one that has opened stays open";

    foldBoth();
    one.setCarets(at(3));
    EXPECT_EQ(one.folds().all().size(), 2U) << "the end of the first line can be seen";
    type(one, " //");
    EXPECT_EQ(one.folds().all().size(), 2U);
    test::checkEditor(one);
    one.setCarets(CaretSet(Caret(Utf8Offset(8), Utf8Offset(0))));
    EXPECT_EQ(one.folds().all().size(), 1U) << "a selection from there";

    // Undoing what was hidden since shows it.
    foldBoth();
    one.unfoldAll();
    one.setCarets(at(7));
    type(one, "!");
    one.setCarets(at(0));
    one.foldAll();
    ASSERT_EQ(one.folds().all().size(), 2U);
    one.undo();
    EXPECT_EQ(one.folds().all().size(), 1U);
    test::checkEditor(one);
}

TEST_F(TextEditorTest, FoldingMovesCaretsOutAndNamesWhatCannotBeFolded)
{
    load("a {\n  b\n}\nx\ny\nz", EditorLanguage::c);
    one.setCarets(CaretSet({Caret(Utf8Offset(6)), Caret(Utf8Offset(10), Utf8Offset(11))}, 0));
    EXPECT_EQ(one.fold(), std::nullopt);
    test::checkEditor(one);
    EXPECT_EQ(one.carets().main().head, Utf8Offset(3));
    EXPECT_TRUE(one.unfold());
    EXPECT_FALSE(one.unfold());
    one.setCarets(at(14));
    EXPECT_EQ(one.fold(), std::string(nothingToFold));
    // Selected lines can always be folded; one at whose start the selection ends is not meant.
    one.setCarets(CaretSet(Caret(Utf8Offset(10), Utf8Offset(14))));
    EXPECT_EQ(one.fold(), std::nullopt);
    EXPECT_EQ(one.folds().all().at(0).lines, (FoldRegion{LineNumber(3), LineNumber(4)}));
}

TEST_F(TextEditorTest, EarlierCaretsComeBack)
{
    load("one two three four");
    one.setCarets(at(0));
    one.setCarets(at({0, 4}));
    one.setCarets(at({0, 4, 8}));
    type(one, "x");  // "xone xtwo xthree four"
    EXPECT_TRUE(one.undoCarets());
    EXPECT_EQ(one.carets(), at({1, 6})) << "they have followed the edit";
    EXPECT_TRUE(one.undoCarets());
    EXPECT_EQ(one.carets().size(), 1U);
    EXPECT_FALSE(one.undoCarets());
}

TEST_F(TextEditorTest, GoesBackAndForwardThroughPlaces)
{
    load("0123456789");
    EXPECT_FALSE(one.goBack());
    EXPECT_FALSE(one.goForward());
    const auto jump = [&](std::size_t to) {
        one.rememberPlace();
        one.setCarets(at(to));
    };
    jump(3);
    jump(6);
    jump(9);
    std::vector<std::size_t> seen;
    while (one.goBack())
        seen.push_back(one.carets().main().head.value);
    EXPECT_EQ(seen, (std::vector<std::size_t>{6, 3, 0}));
    seen.clear();
    while (one.goForward())
        seen.push_back(one.carets().main().head.value);
    EXPECT_EQ(seen, (std::vector<std::size_t>{3, 6, 9}));

    // A jump from the middle leaves what lay ahead.
    one.goBack();
    one.goBack();
    jump(8);
    EXPECT_FALSE(one.goForward());
    EXPECT_TRUE(one.goBack());
    EXPECT_EQ(one.carets(), at(3));
    EXPECT_TRUE(one.goForward());
    EXPECT_EQ(one.carets(), at(8));

    // Places follow the text.
    other.setCarets(at(0));
    type(other, "ab");
    EXPECT_TRUE(one.goBack());
    EXPECT_EQ(one.carets(), at(5));
}

// Whoever goes back wants to get somewhere: a place where the caret is already is none.
TEST_F(TextEditorTest, GoingBackAlwaysMoves)
{
    load("0123456789");
    one.setCarets(at(3));
    one.rememberPlace();
    EXPECT_FALSE(one.goBack());
    one.setCarets(at(5));
    one.rememberPlace();
    one.rememberPlace();
    EXPECT_TRUE(one.goBack());
    EXPECT_EQ(one.carets(), at(3));
    EXPECT_FALSE(one.goBack());
    EXPECT_TRUE(one.goForward());
    EXPECT_EQ(one.carets(), at(5));
}

TEST_F(TextEditorTest, RedoesTheOtherBranchWithItsCarets)
{
    load("ab");
    one.setCarets(at(1));
    type(one, "1");
    one.undo();
    one.setCarets(at(2));
    type(one, "2");
    EXPECT_EQ(text(), "ab2");
    EXPECT_TRUE(one.redoOtherBranch());
    EXPECT_EQ(text(), "a1b");
    EXPECT_EQ(one.carets(), at(2));
    EXPECT_TRUE(one.redoOtherBranch());
    EXPECT_EQ(text(), "ab2");
    EXPECT_EQ(one.carets(), at(3));
}

TEST(EditorDocumentTest, FindsOutLineEndsAndIndentation)
{
    const auto opened = [](std::string_view text) {
        auto document = std::make_unique<EditorDocument>();
        document->load(TextSnapshot(text), EditorLanguage::c);
        return document->options();
    };
    EXPECT_EQ(opened("").lineEnd, "\n");
    EXPECT_EQ(opened("a").lineEnd, "\n");
    EXPECT_EQ(opened("a\nb\r\n").lineEnd, "\n");
    EXPECT_EQ(opened("a\r\nb\r\nc\n").lineEnd, "\r\n");
    EXPECT_EQ(opened("a\rb\rc\n").lineEnd, "\r");
    EXPECT_EQ(opened("a\rb\r\nc\r\n").lineEnd, "\r\n");

    const EditOptions two = opened("a {\n  b {\n    c\n  }\n}\n");
    EXPECT_FALSE(two.indentWithTabs);
    EXPECT_EQ(two.indentWidth, 2U);
    const EditOptions tabs = opened("a {\n\tb {\n\t\tc\n\t}\n}\n");
    EXPECT_TRUE(tabs.indentWithTabs);
    EXPECT_EQ(tabs.indentWidth, tabs.tabWidth);
    EXPECT_EQ(opened("a\nb\n").indentWidth, EditOptions().indentWidth);
    EXPECT_EQ(opened("a").lineComment, "//");

    // What one text said is forgotten when another is loaded.
    EditorDocument document;
    document.load(TextSnapshot(std::string_view("a {\r\n\tb\r\n}\r\n")), EditorLanguage::c);
    ASSERT_TRUE(document.options().indentWithTabs);
    document.load(TextSnapshot(std::string_view("a\n")), EditorLanguage::python);
    EXPECT_FALSE(document.options().indentWithTabs);
    EXPECT_EQ(document.options().lineEnd, "\n");
    EXPECT_EQ(document.options().lineComment, "#");
    EXPECT_TRUE(document.options().indentAfterColon);
}

TEST(EditorDocumentTest, ALargeTextIsColouredWhenAskedOnly)
{
    std::string text = "int a; // b\n";
    while (text.size() <= EditorDocument::largeText)
        text += text;
    EditorDocument document(TextSnapshot(std::move(text)), EditorLanguage::c);
    std::vector<Token> tokens;
    document.tokens(LineNumber(0), tokens);
    EXPECT_TRUE(document.isLarge());
    EXPECT_TRUE(tokens.empty());
    EXPECT_EQ(document.statistics(), nullptr);
    EXPECT_EQ(document.work(1000), std::nullopt);
    document.setAlwaysHighlight(true);
    document.tokens(LineNumber(0), tokens);
    EXPECT_FALSE(tokens.empty());
    TextEditor editor(document);
    type(editor, "x");
    document.load(TextSnapshot(std::string_view("int a;\n")), EditorLanguage::c);
    EXPECT_NO_THROW(test::checkDocument(document));
}

TEST(EditorDocumentTest, ColoursAndCountsAreThoseOfAFreshTextAfterAnyCommands)
{
    for (const EditorLanguage language : editorLanguages()) {
        SCOPED_TRACE(name(language));
        test::RandomChoices choices(static_cast<unsigned>(language));
        EditorDocument document(TextSnapshot(test::someText(choices, 300)), language);
        TextEditor editor(document);
        document.statistics();
        for (int round = 0; round < 60; ++round) {
            for (int action = 0; action < 4; ++action) {
                const char* done = test::act(editor, choices);
                document.work(choices.below(200));
                std::vector<Token> tokens;
                document.tokens(LineNumber(choices.below(document.text().lineCount())), tokens);
                ASSERT_NO_THROW(test::checkEditor(editor)) << done;
            }
            if (document.language() != language)
                document.setLanguage(language);
            ASSERT_NO_THROW(test::checkDocument(document));
            if (document.text().end().value > 20'000) {
                editor.setCarets(CaretSet(Caret(Utf8Offset(0), document.text().end())));
                editor.perform(commands::deleteSelections(document.text(), editor.carets()));
            }
        }
    }
}

}  // namespace penmark
