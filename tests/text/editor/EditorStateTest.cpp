// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/EditorState.h"

#include "text/editor/EditorActions.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t tiny = std::numeric_limits<std::int64_t>::min();
constexpr const char* story = "é😀 {\r\n  one\r\n  two\r\n}\r\nlast e\u0301";

class EditorStateTest : public testing::Test {
protected:
    EditorDocument document{TextSnapshot(std::string_view(story)), EditorLanguage::c};
    TextEditor editor{document};
};

}  // namespace

TEST_F(EditorStateTest, ComesBackByWayOfJson)
{
    editor.toggleFold(LineNumber(0));
    ASSERT_EQ(editor.folds().all().size(), 1U);
    const Utf8Offset end = document.text().end();
    editor.setCarets(CaretSet({Caret(Utf8Offset(6), Utf8Offset(2)), Caret(end)}, 0));
    const std::string json = encodeRecord(editorState(editor, document.text().lineStart(LineNumber(4)), 0.25));
    // "é" is one unit and two bytes, "😀" two units and four bytes.
    EXPECT_EQ(json, R"({"carets":[{"anchor":3,"head":1},{"anchor":31,"head":31}],"mainCaret":0,)"
                    R"("scrollOffset":24,"scrolledRows":0.25,"folds":[{"start":5,"end":19}]})");

    TextEditor later(document);
    const ScrollPlace place = restoreEditor(later, decodeRecord<EditorState>(json));
    EXPECT_EQ(later.carets(), editor.carets());
    EXPECT_EQ(later.carets().mainIndex(), 0U);
    ASSERT_EQ(later.folds().all().size(), 1U);
    EXPECT_EQ(later.folds().all()[0].hidden, editor.folds().all()[0].hidden);
    EXPECT_EQ(document.text().lineAt(place.offset), LineNumber(4));
    EXPECT_EQ(place.scrolledRows, 0.25);
    EXPECT_EQ(encodeRecord(editorState(later, place.offset, place.scrolledRows)), json);
}

// What another version wrote stays.
TEST_F(EditorStateTest, KeepsMembersItDoesNotKnow)
{
    const std::string json =
        R"({"carets":[],"mainCaret":0,"scrollOffset":0,"scrolledRows":0,"folds":[],"spelling":[1,{}]})";
    EXPECT_EQ(encodeRecord(decodeRecord<EditorState>(json)), json);
    EXPECT_THROW(decodeRecord<EditorState>(R"({"carets":[{"anchor":"0","head":0}]})"), RecordError);
}

TEST_F(EditorStateTest, APlaceThatIsNoneBecomesTheNearest)
{
    EditorState state;
    state.carets = {{tiny, -1}, {2, 2}, {29, 29}, {huge, huge}};
    state.mainCaret = huge;
    state.scrollOffset = huge;
    state.scrolledRows = 1e300;
    const ScrollPlace place = restoreEditor(editor, state);
    const CaretSet& carets = editor.carets();
    ASSERT_EQ(carets.size(), 4U);
    EXPECT_EQ(carets[0], Caret(Utf8Offset(0)));
    EXPECT_EQ(carets[1], Caret(Utf8Offset(2))) << "the start of the pair";
    EXPECT_EQ(carets[2], Caret(Utf8Offset(document.text().end() - 3))) << "before the letter, not before its mark";
    EXPECT_EQ(carets[3], Caret(document.text().end()));
    EXPECT_EQ(carets.mainIndex(), 3U);
    EXPECT_EQ(place.offset, document.text().end());
    EXPECT_LE(place.scrolledRows, 1);

    for (double rows : {-1.0, std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        state.scrolledRows = rows;
        state.mainCaret = tiny;
        state.scrollOffset = tiny;
        const ScrollPlace top = restoreEditor(editor, state);
        EXPECT_EQ(top.scrolledRows, 0);
        EXPECT_EQ(top.offset, Utf8Offset(0));
        EXPECT_EQ(editor.carets().mainIndex(), 0U);
    }
    state.carets.clear();
    restoreEditor(editor, state);
    EXPECT_GE(editor.carets().size(), 1U);
}

// Neither end of a selection may be in a fold: it would be edited without being seen.
TEST_F(EditorStateTest, FoldsOpenForBothEndsOfASelection)
{
    const auto inside =
        static_cast<std::int64_t>(document.text().toUtf16(document.text().lineStart(LineNumber(2))).value);
    for (const StoredCaret& caret : {StoredCaret{0, inside}, StoredCaret{inside, 0}}) {
        EditorState state;
        state.carets = {caret};
        state.folds = {{5, 19}};
        restoreEditor(editor, state);
        EXPECT_TRUE(editor.folds().empty()) << caret.anchor;
        test::checkEditor(editor);
    }
}

TEST_F(EditorStateTest, FoldsThatFitNoMoreAreLeftOut)
{
    EditorState state;
    state.folds = {{huge, huge}, {tiny, tiny}, {5, 6},  {19, 5},    {-7, 3},
                   {5, 19},      {5, 19},      {4, 12}, {10, huge}, {huge, 3}};
    restoreEditor(editor, state);
    std::vector<FoldRegion> lines;
    for (const FoldSet::Fold& fold : editor.folds().all())
        lines.push_back(fold.lines);
    const std::vector<FoldRegion> expected{
        {LineNumber(0), LineNumber(2)}, {LineNumber(0), LineNumber(1)}, {LineNumber(1), LineNumber(4)}};
    EXPECT_EQ(lines, expected);
    test::checkEditor(editor);
}

TEST_F(EditorStateTest, AnyStateCanBeRestored)
{
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        test::RandomChoices choices(seed);
        document.load(TextSnapshot(test::someText(choices, choices.below(60))), EditorLanguage::markdown);
        const auto number = [&]() -> std::int64_t {
            switch (choices.below(6)) {
            case 0:
                return tiny + static_cast<std::int64_t>(choices.below(3));
            case 1:
                return huge - static_cast<std::int64_t>(choices.below(3));
            default:
                return static_cast<std::int64_t>(choices.below(200)) - 10;
            }
        };
        EditorState state;
        for (std::size_t count = choices.below(20); count > 0; --count)
            state.carets.push_back({number(), number()});
        for (std::size_t count = choices.below(20); count > 0; --count)
            state.folds.push_back({number(), number()});
        state.mainCaret = number();
        state.scrollOffset = number();
        state.scrolledRows = static_cast<double>(number());
        const ScrollPlace place = restoreEditor(editor, state);
        EXPECT_NO_THROW(test::checkEditor(editor));
        EXPECT_LE(place.offset, document.text().end());
        EXPECT_EQ(document.text().characterStart(place.offset), place.offset);
    }
}

}  // namespace penmark
