// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/DocumentDiff.h"

#include "CpuTime.h"
#include "base/SystemError.h"
#include "organization/ComparedText.h"

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using Kind = DocumentDiffLine::Kind;

std::string numbered(std::size_t from, std::size_t to)
{
    std::string text;
    for (std::size_t i = from; i <= to; ++i)
        text += std::to_string(i) + (i < to ? "\n" : "");
    return text;
}

std::string repeated(std::string_view part, std::size_t times)
{
    std::string text;
    for (; times > 0; --times)
        text += part;
    return text;
}

/// " 1|-2|+two|…4 unchanged lines"
std::string shown(const std::vector<DocumentDiffLine>& lines)
{
    std::string text;
    for (const DocumentDiffLine& line : lines) {
        static constexpr const char* signs[] = {" ", "-", "+", "…"};
        text += (text.empty() ? "" : "|") + std::string(signs[static_cast<std::size_t>(line.kind)]) + line.text +
                (line.differsInLineEndOnly ? "(line end)" : "");
    }
    return text;
}

std::string shown(std::string_view earlier, std::string_view current)
{
    return shown(compareTexts(earlier, current).lines);
}

TEST(DocumentDiff, ShowsChangesWithThreeLinesAround)
{
    const struct {
        std::string earlier, current, expected;
    } cases[] = {
        {"", "", " "},
        {"a\nb\nc", "a\nb\nc", " a| b| c"},
        {"a\nb\nc\nd", "a\nb\nc\nd", "…4 unchanged lines"},
        {"a", "b", "-a|+b"},
        {"a", "a\n", " a|+"},
        {"", "a", "-|+a"},
        {"a\nb", "b", "-a| b"},
        {"1\n2\n3", "1\ntwo\n3", " 1|-2|+two| 3"},
        // Three lines beyond the context are shown, four are not; the same at both ends and between two changes.
        {numbered(1, 6) + "\nx", numbered(1, 6) + "\ny", " 1| 2| 3| 4| 5| 6|-x|+y"},
        {numbered(1, 7) + "\nx", numbered(1, 7) + "\ny", "…4 unchanged lines| 5| 6| 7|-x|+y"},
        {"x\n" + numbered(1, 6), "y\n" + numbered(1, 6), "-x|+y| 1| 2| 3| 4| 5| 6"},
        {"x\n" + numbered(1, 7), "y\n" + numbered(1, 7), "-x|+y| 1| 2| 3|…4 unchanged lines"},
        {"x\n" + numbered(1, 9) + "\nx", "y\n" + numbered(1, 9) + "\ny", "-x|+y| 1| 2| 3| 4| 5| 6| 7| 8| 9|-x|+y"},
        {"x\n" + numbered(1, 10) + "\nx", "y\n" + numbered(1, 10) + "\ny",
         "-x|+y| 1| 2| 3|…4 unchanged lines| 8| 9| 10|-x|+y"},
        // The same where only one side has something at the end.
        {numbered(1, 7), "x\n" + numbered(1, 7), "+x| 1| 2| 3|…4 unchanged lines"},
        {numbered(1, 6) + "\nx", numbered(1, 6), " 1| 2| 3| 4| 5| 6|-x"},
        // Line ends.
        {"a\r\nb", "a\nb", "-a(line end)|+a(line end)| b"},
        {"a\r\nb\r\n", "a\nb\nc\n", "-a(line end)|-b(line end)|+a(line end)|+b(line end)|+c| "},
        {"a\r\nb", "A\nb", "-a|+A| b"},
        {"a\rb", "a\rc", "-a\rb|+a\rc"},
    };
    for (const auto& [earlier, current, expected] : cases) {
        SCOPED_TRACE(earlier);
        EXPECT_EQ(shown(earlier, current), expected);
    }
}

TEST(DocumentDiff, CountsLinesOnBothSidesAndUnfolds)
{
    const std::string text = numbered(1, 20);
    const DocumentDiff diff = compareTexts("old\nolder\n" + text + "\nx", "new\n" + text + "\nx\n\n" + text);
    ASSERT_TRUE(diff.hasChanges());
    EXPECT_EQ(diff.removedLines, 2U);
    EXPECT_EQ(diff.addedLines, 1U + 21U);
    std::size_t earlierLine = 1;
    std::size_t currentLine = 1;
    bool isFolded = false;
    for (std::size_t i = 0; i < diff.lines.size(); ++i) {
        const DocumentDiffLine& line = diff.lines[i];
        EXPECT_EQ(line.earlierLine, line.kind == Kind::added ? 0 : earlierLine);
        EXPECT_EQ(line.currentLine, line.kind == Kind::removed ? 0 : currentLine);
        const auto hidden = diff.unfolded(i);
        EXPECT_EQ(hidden.size(), line.hiddenLines);
        for (std::size_t k = 0; k < hidden.size(); ++k) {
            EXPECT_EQ(hidden[k].kind, Kind::unchanged);
            EXPECT_EQ(hidden[k].text, std::to_string(earlierLine - 2 + k));
            EXPECT_EQ(hidden[k].earlierLine, earlierLine + k);
            EXPECT_EQ(hidden[k].currentLine, currentLine + k);
            isFolded = true;
        }
        const std::size_t count = line.kind == Kind::collapsed ? line.hiddenLines : 1;
        earlierLine += line.kind == Kind::added ? 0 : count;
        currentLine += line.kind == Kind::removed ? 0 : count;
    }
    EXPECT_TRUE(isFolded);
    EXPECT_EQ(earlierLine - 1, 23U);
    EXPECT_EQ(currentLine - 1, 43U);
}

// One below and one above each limit. A text in blocks shows what a comparison by line would keep.
TEST(DocumentDiff, FallsBackToBlocksBeyondItsLimits)
{
    const auto lines = [](std::size_t count, std::string_view line) {
        return repeated(std::string(line) + "\n", count - 1) + std::string(line);
    };
    const auto unlike = [](std::size_t count, char sign) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i)
            text += sign + std::to_string(i) + "\n";
        text += sign;
        return text;
    };
    const std::string changed = "a\nkept\nb";
    const struct {
        const char* what;
        std::string earlier, current;
        bool isBlocks, isIncomplete;
    } cases[] = {
        {"2,000 lines", lines(2000, "x"), "y", false, false},
        {"2,001 lines", lines(2001, "x"), "y", true, false},
        {"2,001 lines, the other side", "y", lines(2001, "x"), true, false},
        {"1,000 characters in a line", std::string(1000, 'x'), "y", false, false},
        {"1,001 characters in a line", std::string(1001, 'x'), "y", true, false},
        {"500 characters of two units", repeated("😀", 500), "y", false, false},
        {"501 characters of two units", repeated("😀", 500) + "x", "y", true, false},
        {"1,000 characters of three bytes", repeated("中", 1000), "y", false, false},
        {"a long line that is common", std::string(1001, 'x') + "\na", std::string(1001, 'x') + "\nb", true, false},
        {"200,000 characters", repeated(std::string(499, 'x') + "\n", 400), "y", false, false},
        {"200,001 characters", repeated(std::string(499, 'x') + "\n", 400) + "x", "y", true, false},
        {"200,002 characters", repeated(std::string(499, 'x') + "\n", 400) + "xx", "y", true, true},
        {"1,000 x 1,000 lines", unlike(999, 'a'), unlike(999, 'b'), false, false},
        {"1,001 x 1,000 lines", unlike(1000, 'a'), unlike(999, 'b'), true, false},
        {"many lines in common", lines(1500, "x") + "\na\n" + lines(400, "z"),
         lines(1500, "x") + "\nb\n" + lines(400, "z"), false, false},
    };
    for (const auto& [what, earlier, current, isBlocks, isIncomplete] : cases) {
        SCOPED_TRACE(what);
        const DocumentDiff diff = compareTexts(earlier, current);
        EXPECT_EQ(diff.fellBackToBlocks, isBlocks);
        EXPECT_EQ(diff.isIncomplete, isIncomplete);
        EXPECT_TRUE(diff.hasChanges());
        EXPECT_EQ(diff.note(), isBlocks ? "Large changes are shown as removed and added blocks." : "");
    }
    EXPECT_EQ(compareTexts(lines(2001, "x"), lines(2001, "x")).note(), "");
    const std::string start = std::string(1001, 's') + "\n" + numbered(1, 9) + "\n";
    EXPECT_EQ(shown(start + "a\nkept\nb\nend", start + "c\nkept\nd\nend"),
              "…7 unchanged lines| 7| 8| 9|-a|-kept|-b|+c|+kept|+d| end");
    EXPECT_EQ(shown(lines(2001, "x"), lines(2001, "x")), "…2001 unchanged lines");
    const std::string lineEnds = shown(lines(2001, "x\r"), lines(2001, "x\r") + "\r");
    EXPECT_EQ(lineEnds, "…1997 unchanged lines| x| x| x|-x|+x\r");
}

TEST(DocumentDiff, CutsLongLinesBetweenCharacters)
{
    const std::string thousand(1000, 'x');
    const std::string cut = thousand + " …";
    EXPECT_EQ(shown(thousand + "\r", thousand + "y"), "-" + thousand + "|+" + cut);
    const std::string almost(999, 'x');
    EXPECT_EQ(shown("", almost + "😀"), "-|+" + almost + " …");
    EXPECT_EQ(shown("", almost + "é"), "-|+" + almost + "é");
    EXPECT_EQ(shown(thousand + "yy", thousand + "yy"), " " + cut);

    // The text itself, before a character that its last unit would be in; a carriage return without its line feed.
    const std::string most = repeated(std::string(999, 'x') + "\n", 200);
    for (const std::string& end : {std::string("😀"), std::string("y\n"), std::string("\r\n")}) {
        const DocumentDiff diff = compareTexts(most + end, most);
        EXPECT_TRUE(diff.isIncomplete);
        EXPECT_TRUE(diff.fellBackToBlocks);
        EXPECT_EQ(diff.lines.back().text, end == "y\n" ? "" : diff.lines.back().text);
    }
    const DocumentDiff behind = compareTexts(most + "ya", most + "yb");
    EXPECT_FALSE(behind.hasChanges());
    EXPECT_TRUE(behind.isIncomplete);
}

// Whatever is shown is both texts: unfolded, the unchanged and removed lines are the earlier one, and the unchanged
// and added lines the current one.
TEST(DocumentDiff, ShowsBothTextsWhole)
{
    std::mt19937 random(1);
    const auto someText = [&] {
        static constexpr const char* parts[] = {"a", "b", "\n", "\n", "\n", "é ", "😀", "中", "word "};
        std::string text;
        for (auto count = random() % 60; count > 0; --count)
            text += parts[random() % std::size(parts)];
        return text;
    };
    for (int round = 0; round < 2000; ++round) {
        const std::string earlier = someText();
        const std::string current = random() % 2 == 0 ? someText() : earlier.substr(0, earlier.find("😀")) + someText();
        const DocumentDiff diff = compareTexts(earlier, current);
        std::string sides[2];
        const auto add = [&](const DocumentDiffLine& line) {
            if (line.kind != Kind::added)
                sides[0] += (line.earlierLine > 1 ? "\n" : "") + line.text;
            if (line.kind != Kind::removed)
                sides[1] += (line.currentLine > 1 ? "\n" : "") + line.text;
        };
        for (std::size_t i = 0; i < diff.lines.size(); ++i) {
            if (diff.lines[i].kind != Kind::collapsed)
                add(diff.lines[i]);
            for (const DocumentDiffLine& line : diff.unfolded(i))
                add(line);
        }
        ASSERT_EQ(sides[0], earlier);
        ASSERT_EQ(sides[1], current);
    }
}

// Long lines in which every character is a word of its own, few are different, and hardly two stand at the same place.
TEST(DocumentDiff, TakesAFractionOfASecondWhateverTheTexts)
{
    constexpr const char* characters[] = {"一", "二", "三"};
    std::mt19937 random(3);
    std::string texts[2];
    for (std::string& text : texts) {
        for (int line = 0; line < 398; ++line) {
            for (int word = 0; word < 499; ++word)
                text += characters[random() % 3];
            text += '\n';
        }
    }
    const auto start = cpuTime();
    const DocumentDiff diff = compareTexts(texts[0], texts[1]);
    EXPECT_LT((cpuTime() - start).count(), granted(0.1));
    EXPECT_FALSE(diff.fellBackToBlocks);
}

// As many lines as are compared one by one, as long as they can be: in most of them every tenth word has changed.
TEST(DocumentDiff, TakesAFractionOfASecond)
{
    std::mt19937 random(2);
    std::string earlier;
    std::string current;
    for (int line = 0; line < 999; ++line) {
        const bool isSame = line % 10 == 5;
        for (int word = 0; word < 50; ++word) {
            const std::string text = std::to_string(random() % 900 + 100) + (word < 49 ? " " : "\n");
            earlier += text;
            current += !isSame && word < 49 && random() % 10 == 0 ? "new " : text;
        }
    }
    ASSERT_LE(earlier.size(), 200'000U);
    const auto start = cpuTime();
    const DocumentDiff diff = compareTexts(earlier, current);
    EXPECT_LT((cpuTime() - start).count(), granted(0.1));
    EXPECT_FALSE(diff.fellBackToBlocks);
    EXPECT_GT(std::count_if(diff.lines.begin(), diff.lines.end(), [](auto& line) { return !line.marks.empty(); }),
              1700);
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(compareTexts(earlier, current, source.get_token()), Cancelled);
}

}  // namespace
}  // namespace penmark
