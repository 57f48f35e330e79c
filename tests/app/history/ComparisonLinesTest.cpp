// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonLines.h"

#include "app/history/ComparisonColors.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

/// Lines "1" to "40", some of which are another text.
std::string lines(const std::unordered_map<int, std::string>& others = {})
{
    std::string text;
    for (int line = 1; line <= 40; ++line) {
        const auto other = others.find(line);
        text += (other == others.end() ? std::to_string(line) : other->second) + "\n";
    }
    return text;
}

ComparisonLines compared(const std::string& earlier, const std::string& current)
{
    return ComparisonLines(std::make_shared<const DocumentDiff>(compareTexts(earlier, current)));
}

/// As "-a +b 1 2 3 (20)"; a run that is unfolded is "[20]".
std::string dump(const ComparisonLines& lines)
{
    std::string all;
    for (std::size_t line = 0; line < lines.count(); ++line) {
        const DocumentDiffLine& at = lines.at(line);
        switch (at.kind) {
        case DocumentDiffLine::Kind::removed:
            all += "-" + at.text;
            break;
        case DocumentDiffLine::Kind::added:
            all += "+" + at.text;
            break;
        case DocumentDiffLine::Kind::collapsed:
            all += (lines.isUnfolded(line) ? "[" : "(") + std::to_string(at.hiddenLines) +
                   (lines.isUnfolded(line) ? "]" : ")");
            break;
        case DocumentDiffLine::Kind::unchanged:
            all += at.text;
            break;
        }
        all += line + 1 < lines.count() ? " " : "";
    }
    return all;
}

TEST(ComparisonLinesTest, RunsUnfoldAndFoldInAnyOrder)
{
    ComparisonLines shown = compared(lines(), lines({{12, "twelve"}, {28, "twenty-eight"}}));
    const std::string folded = "(8) 9 10 11 -12 +twelve 13 14 15 (9) 25 26 27 -28 +twenty-eight 29 30 31 (10)";
    ASSERT_EQ(dump(shown), folded);

    shown.toggle(9);
    EXPECT_EQ(dump(shown), "(8) 9 10 11 -12 +twelve 13 14 15 [9] 16 17 18 19 20 21 22 23 24 25 26 27 -28 "
                           "+twenty-eight 29 30 31 (10)");
    shown.toggle(0);
    shown.toggle(4);  // no run
    EXPECT_EQ(dump(shown), "[8] 1 2 3 4 5 6 7 8 9 10 11 -12 +twelve 13 14 15 [9] 16 17 18 19 20 21 22 23 24 25 26 "
                           "27 -28 +twenty-eight 29 30 31 (10)");
    EXPECT_EQ(shown.at(3).earlierLine, 3U);
    EXPECT_EQ(shown.changes().at(1).first, 30U);
    shown.toggle(17);
    shown.toggle(0);
    EXPECT_EQ(dump(shown), folded);
}

TEST(ComparisonLinesTest, KeepsRunsUnfoldedWhenTheCurrentTextIsEdited)
{
    ComparisonLines before = compared(lines(), lines({{12, "twelve\nmore"}, {28, "twenty-eight"}}));
    before.toggle(10);
    ComparisonLines after = compared(lines(), lines({{12, "twelve, edited"}, {28, "twenty-eight"}}));
    after.unfoldAsIn(before);
    EXPECT_EQ(dump(after), "(8) 9 10 11 -12 +twelve, edited 13 14 15 [9] 16 17 18 19 20 21 22 23 24 25 "
                           "26 27 -28 +twenty-eight 29 30 31 (10)");
}

TEST(ComparisonLinesTest, FindsTheChangeThatALineIsIn)
{
    const ComparisonLines shown = compared(lines(), lines({{12, "twelve"}, {28, "twenty-eight"}}));
    const std::vector<std::optional<std::size_t>> in = {{}, {}, {}, {}, 0, 0, {}, {}, {}, {}, {}, {}, {}, 1, 1, {}};
    const std::vector<std::optional<std::size_t>> behind = {0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, {}, {}, {}};
    const std::vector<std::optional<std::size_t>> before = {{}, {}, {}, {}, {}, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1};
    for (std::size_t line = 0; line < in.size(); ++line) {
        SCOPED_TRACE(line);
        EXPECT_EQ(shown.changeAt(line), in[line]);
        EXPECT_EQ(shown.changeBehind(line), behind[line]);
        EXPECT_EQ(shown.changeBefore(line), before[line]);
    }
}

TEST(ComparisonLinesTest, CopiesWhatIsFoldedOnceAndNeverTheLineThatStandsForIt)
{
    ComparisonLines shown = compared(lines(), lines({{12, "twelve"}}));
    const std::string whole = lines({{12, "12\ntwelve"}}) + "\n";
    EXPECT_EQ(shown.text(0, shown.count()), whole);
    shown.toggle(0);
    EXPECT_EQ(shown.text(0, shown.count()), whole);
    EXPECT_EQ(shown.text(12, 2), "12\ntwelve\n");
}

TEST(ComparisonColorsTest, EverythingCanBeRead)
{
    for (const ColorScheme* scheme : {&lightColorScheme(), &darkColorScheme()}) {
        const ComparisonColors& colors = ComparisonColors::of(*scheme);
        EXPECT_EQ(colors.background, scheme->background);
        for (const Rgb behind : {colors.background, colors.removed, colors.removedWord, colors.added, colors.addedWord,
                                 colors.run, colors.selection})
            EXPECT_GE(contrast(colors.text, behind), 4.5);
        for (const Rgb behind : {colors.background, colors.removed, colors.added, colors.run, colors.selection})
            EXPECT_GE(contrast(colors.number, behind), 4.5);
        EXPECT_GE(contrast(colors.removedSign, colors.removed), 4.5);
        EXPECT_GE(contrast(colors.addedSign, colors.added), 4.5);
        EXPECT_GE(contrast(colors.removedWord, colors.removed), 1.2);
        EXPECT_GE(contrast(colors.addedWord, colors.added), 1.2);
    }
}

}  // namespace
}  // namespace penmark
