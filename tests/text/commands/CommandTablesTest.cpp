// SPDX-License-Identifier: GPL-3.0-or-later
#include "MarkedText.h"
#include "text/commands/Clipboard.h"
#include "text/commands/Comments.h"
#include "text/commands/Deleting.h"
#include "text/commands/Indent.h"
#include "text/commands/LetterCase.h"
#include "text/commands/LineOrder.h"
#include "text/commands/Lines.h"
#include "text/commands/Occurrences.h"
#include "text/commands/Typing.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::test {

namespace {

struct Row {
    std::string before;
    std::string after;
};

void expectRows(const Command& command, const std::vector<Row>& rows)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.before);
        EXPECT_EQ(run(command, row.before), row.after);
    }
}

/// With the options as the last argument.
template <class Function>
Command with(Function function, EditOptions options = {})
{
    return [=](const TextSnapshot& text, const CaretSet& carets) { return function(text, carets, options); };
}

Command typing(std::string typed, EditOptions options = {})
{
    return [=](const TextSnapshot& text, const CaretSet& carets) {
        return commands::typeText(text, carets, typed, options);
    };
}

EditOptions markdown()
{
    EditOptions options;
    options.markdown = true;
    return options;
}

}  // namespace

TEST(Typing, ReplacesSelectionsOrSurroundsThem)
{
    expectRows(typing("x"), {{"|", "x|"}, {"a|b|", "ax|bx|"}, {"«ab|c|de»\r\n|", "x|cx|\r\nx|"}});
    expectRows(typing("("), {{"«ab| |c»", "(«ab|) (|c»)"}, {"|", "(|"}});
    expectRows(typing("“"), {{"«ab|", "“«ab|”"}});
    EditOptions plain;
    plain.closeBrackets = false;
    expectRows(typing("(", plain), {{"«ab|", "(|"}});
}

TEST(Typing, OvertypesCharactersButNoLineEnd)
{
    EditOptions options;
    options.overtype = true;
    expectRows(
        typing("x", options),
        {{"|ab", "x|b"}, {"a|\r\nb", "ax|\r\nb"}, {"|e\u0301|👩‍💻", "x|x|"}, {"a|", "ax|"}, {"|\n", "x|\n"}});
    expectRows(typing("xy", options), {{"|a|bc", "xy|xy|"}, {"|abc", "xy|c"}});
}

TEST(Typing, NewLinesAreIndented)
{
    EditOptions options;
    options.indentAfterColon = true;
    expectRows(with(commands::insertNewline, options), {{"  a|b", "  a\n  |b"},
                                                        {"  |a\r\n\tb|\r\n", "  \n  |a\r\n\tb\n\t|\r\n"},
                                                        {" |  a", " \n |  a"},
                                                        {"if x:|", "if x:\n    |"},
                                                        {"  f({|})", "  f({\n      |\n  })"},
                                                        {"[«1|]", "[\n    |\n]"}});
    options.indentWithTabs = true;
    expectRows(with(commands::insertNewline, options), {{"\t{ | x", "\t{ \n\t\t| x"}});
}

// A CR and an LF that belong to two lines must not become one line end.
TEST(Typing, LineEndsThatMeetStayTwo)
{
    EditOptions options;
    expectRows(with(commands::insertNewline, options), {{"a\r|b", "a\r\r\n|b"}, {"a\r|b\r|c", "a\r\r\n|b\r\r\n|c"}});
    options.lineEnd = "\r";
    expectRows(with(commands::insertNewline, options), {{"a|\nb", "a\r\n|\nb"}});
    expectRows(commands::deleteForward, {{"a\r|x\nb", "a\r|\r\nb"}});
    expectRows(commands::moveLinesUp, {{"a\rb\n|\nc", "a\r|\r\nb\nc"}});
    expectRows(commands::trimTrailingBlanks, {{"a\r  |\nb", "a\r|\r\nb"}});
    expectRows(commands::reverseLines, {{"|b\r\na\rc\n\nd", "d\r\n\rc\na\n|b"}, {"|\nx\ry", "y\nx\r|"}});
}

TEST(Typing, TransposesWithinALine)
{
    expectRows(commands::transpose, {{"a|b", "ba|"},
                                     {"ab|\r\n", "ba|\r\n"},
                                     {"|ab", "|ab"},
                                     {"a\n|\nb", "a\n|\nb"},
                                     {"e\u0301|👩‍💻c", "👩‍💻e\u0301|c"},
                                     {"a|b|c", "ba|c"}});
}

TEST(Deleting, BackspaceTakesWhatAUserTakesForACharacter)
{
    EditOptions options;
    expectRows(with(commands::deleteBackward, options), {{"|a", "|a"},
                                                         {"ab|c|", "a|"},
                                                         {"a\r\n|b", "a|b"},
                                                         {"a\r|b", "a|b"},
                                                         {"e\u0301\u0323|", "e\u0301|"},
                                                         {"👩‍💻|🇩🇪|", "|"},
                                                         {"❤\uFE0F|1\uFE0F\u20E3|", "|"},
                                                         {"กำ|", "ก|"},
                                                         {"      |a", "    |a"},
                                                         {"    |a", "|a"},
                                                         {"\t  |a", "\t|a"},
                                                         {"a    |", "a   |"},
                                                         {"a«b|c|", "a|"}});
}

TEST(Deleting, WordsAndRestsOfLines)
{
    expectRows(commands::deleteWordLeft, {{"foo bar|", "foo |"}, {"foo b|ar|", "foo |"}, {"a\r\n|b", "a|b"}});
    expectRows(commands::deleteWordRight, {{"|foo bar", "|bar"}, {"a|\r\nb", "a|b"}, {"|fo|o\n", "|\n"}});
    expectRows(commands::deleteToLineStart, {{"a b|c\nd", "|c\nd"}, {"a\r\n|b", "a|b"}, {"a|b|\n", "|\n"}});
    expectRows(commands::deleteToLineEnd, {{"a|bc\r\nd", "a|\r\nd"}, {"a|\r\nd", "a|d"}, {"a|b|c", "a|"}});
}

TEST(Deleting, Lines)
{
    expectRows(commands::deleteLines, {{"", "|"},
                                       {"a|b", "|"},
                                       {"ab|c\r\nd\r\ne", "d|\r\ne"},
                                       {"a\nb\nc|", "a\nb|"},
                                       {"ab\r\n|", "|ab"},
                                       {"«a\n|b\nc|\nd", "|b\nd|"},
                                       {"«a\nb|\nc", "c|"}});
}

TEST(Lines, MoveOverTheirNeighbourAndLeaveLineEnds)
{
    expectRows(commands::moveLinesUp, {{"a\nb|", "b|\na"},
                                       {"a\r\nb\n|c", "a\r\n|c\nb"},
                                       {"a\r\nb«b\ncc|\rd", "b«b\r\ncc|\na\rd"},
                                       {"|a\nb", "|a\nb"},
                                       {"1\n|2\n3|\n4\n5|", "|2\n3|\n1\n5|\n4"},
                                       {"a\n«b\n|c", "«b\n|a\nc"}});
    expectRows(commands::moveLinesDown, {{"|a\nb", "b\n|a"},
                                         {"a\r\n|b\nc", "a\r\nc\n|b"},
                                         {"a«a\r\nbb|\nc\rd", "c\r\na«a\nbb|\rd"},
                                         {"a\n|b", "a\n|b"},
                                         {"|a\n«b\n|c", "c\n|a\n«b|"},
                                         {"1|\n2\n3\n|4\n5\n", "2\n1|\n3\n5\n|4\n"}});
}

TEST(Lines, AreDuplicatedAndInserted)
{
    expectRows(with(commands::duplicate), {{"a|b", "ab\na|b"},
                                           {"a|b|\r\nc", "ab\r\na|b|\r\nc"},
                                           {"«ab|c", "ab«ab|c"},
                                           {"|a»b|c\r", "a|a»bc\rab|c\r"},
                                           {"|\n", "\n|\n"}});
    expectRows(with(commands::insertLineBelow), {{" a|b\r\nc", " ab\n |\r\nc"}, {"|a|", "a\n|"}});
    expectRows(with(commands::insertLineAbove), {{"a\r\n  b|b", "a\r\n  |\n  bb"}, {"|a|\nb|", "|\na\n|\nb"}});
}

TEST(Lines, AreJoined)
{
    expectRows(commands::joinLines, {{"a|\r\n  b\nc", "a |b\nc"},
                                     {"«a  \n\n\tb\n|c", "«a b\n|c"},
                                     {"a|", "a|"},
                                     {"|a\n\nb", "a|\nb"},
                                     {"  \n|\n b", "  \n|b"},
                                     {"|a\n|b\nc|", "a |b |c|"},
                                     {"a\n«b|\nc", "a\n«b| c"}});
}

TEST(Lines, AreArranged)
{
    expectRows([](const auto& text, const auto& carets) { return commands::sortLines(text, carets); },
               {{"b|x\r\nB\na", "a\r\nB\nb|x"},
                {"b\na\n|", "a\nb\n|"},
                {"x\n«c\nb\n|a", "x\n«b\nc|\na"},
                {"Äpfel\nzebra\näpfel|", "zebra\nÄpfel\näpfel|"},
                {"ss\nß\nSt|", "ss\nß\nSt|"}});
    const auto sorted = [](commands::SortOrder order) {
        return
            [=](const TextSnapshot& text, const CaretSet& carets) { return commands::sortLines(text, carets, order); };
    };
    expectRows(sorted({.descending = true}), {{"a|\nB\nc", "c\nB\na|"}});
    expectRows(sorted({.caseSensitive = true}), {{"a|\nB\nb\nA", "A\nB\na|\nb"}});
    expectRows(sorted({.numeric = true}), {{"a10|\na9\na09\n7", "7\na09\na9\na10|"}});
    expectRows(commands::uniqueLines, {{"a\nb\na|\nB\na\nc", "a|\nb\nB\nc"}, {"«a\r\na|", "«a|"}, {"b\nb|\n", "b|\n"}});
    expectRows(commands::trimTrailingBlanks, {{"a \t\r\nb|  \n  ", "a\r\nb|\n"}, {"a \n«b |\n", "a \n«b|\n"}});
}

TEST(Lines, EndsAreConverted)
{
    const auto ends = [](std::string end) {
        return [=](const TextSnapshot& text, const CaretSet& carets) {
            return commands::convertLineEnds(text, carets, end);
        };
    };
    expectRows(ends("\r\n"), {{"a\r|b\n|\r\n|c\r", "a\r\n|b\r\n|\r\n|c\r\n"}, {"\n|\n«\n|", "\r\n|\r\n«\r\n|"}});
    expectRows(ends("\n"), {{"a\r\r\n«b|\r", "a\n\n«b|\n"}});
    expectRows(ends("\r"), {{"\n\r\n|\n", "\r\r|\r"}});
}

TEST(LetterCase, MapsSelectionsAndWords)
{
    expectRows(commands::upperCase, {{"stra|ße x", "STRA|SSE x"},
                                     {"«ﬁx| ı|", "«FIX| I|"},
                                     {"«a|b|c", "«A|b|c"},
                                     {"|ab«c|", "|ab«C|"},
                                     {" |", " |"}});
    expectRows(commands::lowerCase, {{"ΟΔΟΣ|", "οδος|"}, {"|İ»", "|i\u0307»"}});
    expectRows(commands::titleCase, {{"«don't STOP ǆ|", "«Don't Stop ǅ|"}, {"h|el|lo", "H|el|lo"}});
    expectRows(commands::swapCase, {{"«aBß 1ΣΑΣ|", "«AbSS 1σας|"}});
}

TEST(Indent, LinesInAndOut)
{
    EditOptions options;
    expectRows(with(commands::indentLines, options),
               {{"|a\r\n", "    |a\r\n"}, {"«a\n\n b|\nc", "«    a\n\n     b|\nc"}});
    expectRows(with(commands::outdentLines, options),
               {{"    «a\n  b\n\tc|", "«a\nb\nc|"}, {"     |a", " |a"}, {"|", "|"}});
    expectRows(with(commands::tabKey, options),
               {{"字b|", "字b |"}, {"a|b|", "a   |b   |"}, {"\ta«b|", "\ta   |"}, {"«a\nb|", "«    a\n    b|"}});
    options.indentWithTabs = true;
    options.tabWidth = 8;
    expectRows(with(commands::outdentLines, options), {{"\ta|", "    a|"}});
    expectRows(with(commands::tabKey, options), {{"a|", "a\t|"}});
    const auto convert = [&](bool toTabs) {
        return [=](const TextSnapshot& text, const CaretSet& carets) {
            return commands::convertIndentation(text, carets, toTabs, options);
        };
    };
    expectRows(convert(true), {{"          a  b|\r\n  \t\tc", "\t  a  b|\r\n\t\tc"}});
    expectRows(convert(false), {{"\ta\n«  \tb\tc|", "\ta\n«        b\tc|"}});
}

TEST(Comments, AreToggled)
{
    EditOptions options;
    options.lineComment = "//";
    expectRows(with(commands::toggleComment, options), {{"  a|", "  // a|"},
                                                        {"  // a|\r\n", "  a|\r\n"},
                                                        {"«    a\n\n  //b|", "«  //   a\n\n  // //b|"},
                                                        {"«//a\n  // b|", "«a\n  b|"},
                                                        {"\ta|\n\n  b|", "\t// a|\n\n  // b|"},
                                                        {"|", "// |"}});
    options.lineComment.clear();
    options.blockCommentStart = "<!--";
    options.blockCommentEnd = "-->";
    expectRows(with(commands::toggleComment, options), {{" a|b ", " <!-- a|b --> "},
                                                        {" <!-- a|b -->", " a|b"},
                                                        {"x«a\nb|\n", "x«<!-- a\nb -->|\n"},
                                                        {"x«<!-- a\nb-->|", "x«a\nb|"},
                                                        {"|", "|"}});
    expectRows(with(commands::toggleComment), {{"a|", "a|"}});
}

TEST(Lists, EnterContinuesAndRenumbers)
{
    expectRows(with(commands::insertNewline, markdown()), {{"- a|b", "- a\n- |b"},
                                                           {"  * [x] a|", "  * [x] a\n  * [ ] |"},
                                                           {"> > a|", "> > a\n> > |"},
                                                           {"> 1) a|\r\n> 2) b\r\nc", "> 1) a\n> 2) |\r\n> 3) b\r\nc"},
                                                           {"1. a|\n   text\n\n2. b\n   1. x\n3. c\n\ntext\n4. d",
                                                            "1. a\n2. |\n   text\n\n3. b\n   1. x\n4. c\n\ntext\n4. d"},
                                                           {"9. a|b|\n10. c", "9. a\n10. |b\n11. |\n12. c"},
                                                           {"1. a|\n2. b|\n3. c", "1. a\n2. |\n3. b\n4. |\n5. c"},
                                                           {"1. a\n2. |\nb", "1. a\n|\nb"},
                                                           {"> - |", "> |"},
                                                           {"> |", "|"},
                                                           {"-| a", "-\n| a"},
                                                           {"  a (|", "  a (\n  |"},
                                                           {"- - -|", "- - -\n|"},
                                                           {"1.x|", "1.x\n|"}});
}

TEST(Lists, TabMovesItemsBetweenLists)
{
    expectRows(with(commands::tabKey, markdown()),
               {{"1. a\n2. b|\n3. c", "1. a\n   1. b|\n2. c"},
                {"- a\n- |b", "- a\n  - |b"},
                {"1. a\n   1. x\n2. b|\n3. c", "1. a\n   1. x\n   2. b|\n2. c"},
                {"10. a\n«11. b\n12. c|\n13. d", "10. a\n«    1. b\n    2. c|\n11. d"},
                {"> - a\n> - b|", "> - a\n>   - b|"}});
    expectRows(with(commands::backTabKey, markdown()), {{"1. a\n   1. x|\n   2. y\n2. b", "1. a\n2. x|\n   1. y\n3. b"},
                                                        {"- a\n  - b|", "- a\n- b|"},
                                                        {"- a|", "- a|"}});
}

TEST(Clipboard, CopiesCutsAndPastes)
{
    EditOptions options;
    options.lineEnd = "\r\n";
    struct Case {
        std::string from, copied, left, to, pasted;
    };
    const std::string nul("a\0b", 3);
    for (const Case& each : std::vector<Case>{{"«a| «b|", "a\r\nb", "| |", "x|y|", "xa|yb|"},
                                              {"«a| «b|", "a\r\nb", "| |", "x«y|", "xa\r\nb|"},
                                              {"«a\nb|", "a\nb", "|", "1|2|", "1a|2b|"},
                                              {"«a\nb|", "a\nb", "|", "1|2|3|", "1a\r\nb|2a\r\nb|3a\r\nb|"},
                                              {"a|b\nc", "ab\n", "c|", "x\ny|", "x\nab\r\ny|"},
                                              {"c\na|b", "ab\r\n", "c|", "«x|", "ab\r\n|"},
                                              {"a|\nb|\nc", "a\nb\n", "c|", "x|\ny|", "a\r\nx|\nb\r\ny|"},
                                              {"a|a|\nb", "aa\n", "b|", "x|y|", "aa\r\nx|y|"},
                                              {"«" + nul + "|", nul, "|", "|", nul + "|"}}) {
        SCOPED_TRACE(each.from + " -> " + each.to);
        const MarkedText from = readMarks(each.from);
        const commands::ClipboardText copied = commands::copy(from.text, from.carets, options);
        EXPECT_EQ(copied.text, each.copied);
        EXPECT_EQ(run(commands::cut, each.from), each.left);
        const auto paste = [&](const TextSnapshot& text, const CaretSet& carets) {
            return commands::paste(text, carets, copied, options);
        };
        EXPECT_EQ(run(paste, each.to), each.pasted);
    }
    const MarkedText empty = readMarks("|");
    const EditResult kept = commands::paste(empty.text, empty.carets, {"a\n\r", {}, false}, options, true);
    EXPECT_EQ(empty.text.apply(kept.edit).text(), "a\n\r");
}

TEST(Clipboard, ColumnsSelectAcrossLines)
{
    const TextSnapshot text = readMarks("abcdef\na\n\tb\n字字字\nabcd").text;
    const auto select = [&](commands::LineColumn anchor, commands::LineColumn head) {
        return writeMarks(text, commands::columnSelection(text, anchor, head, {}));
    };
    using Line = LineNumber;
    EXPECT_EQ(select({Line(0), 2}, {Line(4), 5}), "ab«cde|f\na\n«\tb|\n字«字|字\nab«cd|");
    EXPECT_EQ(select({Line(1), 5}, {Line(0), 1}), "a|bcde»f\na|\n\tb\n字字字\nabcd");
    EXPECT_EQ(select({Line(0), 4}, {Line(1), 4}), "abcd|ef\na|\n\tb\n字字字\nabcd");
}

TEST(Occurrences, AreSelectedOneByOneOrAtOnce)
{
    const auto next = [](std::string_view marked) {
        const MarkedText before = readMarks(marked);
        const CaretSet carets = commands::selectNextOccurrence(before.text, before.carets);
        return writeMarks(before.text, carets) + " main " + std::to_string(carets.mainIndex());
    };
    EXPECT_EQ(next("fo|o bar|"), "«foo| «bar| main 1");
    EXPECT_EQ(next("«a|b a a"), "«a|b «a| a main 1");
    EXPECT_EQ(next("a «a| |a»"), "|a» «a| |a» main 0");
    EXPECT_EQ(next("«a| «a|"), "«a| «a| main 1");
    EXPECT_EQ(next("«e| e\u0301 e"), "«e| e\u0301 «e| main 1");
    const auto all = [](std::string_view marked) {
        const MarkedText before = readMarks(marked);
        return writeMarks(before.text, commands::selectAllOccurrences(before.text, before.carets));
    };
    EXPECT_EQ(all("foo fo|o\r\nafoo"), "«foo| «foo|\r\na«foo|");
    EXPECT_EQ(all("«aa|aaa"), "«aa|«aa|a");
    EXPECT_EQ(all("  |  "), "  |  ");
}

TEST(Occurrences, AreReplacedAndCarriedAlong)
{
    const auto replace = [](std::string literal, std::string with) {
        return [=](const TextSnapshot& text, const CaretSet& carets) {
            return commands::replaceAll(text, carets, literal, with);
        };
    };
    expectRows(replace("ab", "xyz"), {{"ab|ab«c|ab", "xyz|xyz«c|xyz"}, {"a|b", "xyz|"}, {"", "|"}});
    expectRows(replace("\n", ""), {{"a\r\nb\n|c", "a\r\nb|c"}});
    expectRows(replace("e", "E"), {{"ee\u0301e|", "Ee\u0301E|"}});
}

}  // namespace penmark::test
