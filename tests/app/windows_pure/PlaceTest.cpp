// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/CompareWindow.h"
#include "app/windows/LinePrompt.h"

#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(PlaceTest, IsReadAsPeopleTypeIt)
{
    using Place = std::optional<TypedPlace>;
    const struct {
        const char* typed;
        Place place;  // from line 10 of 20
    } cases[] = {
        {"12", TypedPlace{12, 1}},
        {" 12 : 5 ", TypedPlace{12, 5}},
        {":5", TypedPlace{10, 5}},
        {"12:", TypedPlace{12, 1}},
        {"+3", TypedPlace{13, 1}},
        {"-3:2", TypedPlace{7, 2}},
        {"-30", TypedPlace{1, 1}},
        {"+30", TypedPlace{20, 1}},
        {"0", TypedPlace{1, 1}},
        {"21", TypedPlace{20, 1}},
        {"3:0", TypedPlace{3, 1}},
        {"+9223372036854775807", TypedPlace{20, 1}},
        {"-9223372036854775808", TypedPlace{1, 1}},
        {"", std::nullopt},
        {":", std::nullopt},
        {"x", std::nullopt},
        {"3:x", std::nullopt},
        {"3:-1", std::nullopt},
        {"3:4:5", std::nullopt},
        {"1.5", std::nullopt},
        {"+", std::nullopt},
        {"99999999999999999999", std::nullopt},
    };
    for (const auto& [typed, place] : cases) {
        SCOPED_TRACE(typed);
        EXPECT_EQ(parsePlace(QString::fromUtf8(typed), 10, 20), place);
    }
}

TEST(DifferingLinesTest, AreThoseFromTheFirstToTheLastDifference)
{
    const struct {
        std::string left, right, leftLines, rightLines;
    } cases[] = {
        {"", "", "", ""},
        {"a\nb\n", "a\nb\n", "", ""},
        {"a\nb\nc", "a\nX\nc", "b\n", "X\n"},
        {"a\nc", "a\nb\nc", "", "b\n"},
        {"a\nb\nc", "a\nc", "b\n", ""},
        {"a\na\n", "a\n", "a\n", ""},
        {"a\nb", "a\nb\n", "b", "b\n"},
        {"a\nb", "a\r\nb", "a\n", "a\r\n"},
        {"", "x", "", "x"},
        {"1\nx\n2\ny\n3\n", "1\nX\n2\nY\n3\n", "x\n2\ny\n", "X\n2\nY\n"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.left + " | " + test.right);
        const TextSnapshot left(test.left);
        const TextSnapshot right(test.right);
        const DifferingLines differing = differingLines(left, right);
        EXPECT_EQ(left.text(differing.left), test.leftLines);
        EXPECT_EQ(right.text(differing.right), test.rightLines);
        // Equal texts but for what is marked.
        EXPECT_EQ(left.text({Utf8Offset(0), differing.left.start}), right.text({Utf8Offset(0), differing.right.start}));
        EXPECT_EQ(left.text({differing.left.end, left.end()}), right.text({differing.right.end, right.end()}));
    }
}

TEST(DifferingLinesTest, OnlyLinesThatTheOtherTextLacksAreMarked)
{
    const auto marked = [](const TextSnapshot& text, const TextSnapshot& other) {
        const DifferingLines differing = differingLines(text, other);
        std::string lines;
        for (const Utf8Range& range : linesOfItsOwn(text, differing.left, other, differing.right))
            lines += "[" + text.text(range) + "]";
        return lines;
    };
    const TextSnapshot mine(std::string_view("same\nmine\nalso mine\nmoved\nbetween\nlast of mine"));
    const TextSnapshot theirs(std::string_view("same\nbetween\ntheirs\nmoved\n"));
    EXPECT_EQ(marked(mine, theirs), "[mine\nalso mine\n][last of mine]");
    EXPECT_EQ(marked(theirs, mine), "[theirs\n]");
    EXPECT_EQ(marked(mine, mine), "");
    EXPECT_EQ(marked(TextSnapshot(), theirs), "");
}

}  // namespace
}  // namespace penmark
