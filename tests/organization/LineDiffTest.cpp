// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/LineDiff.h"

#include "CpuTime.h"
#include "base/SystemError.h"

#include <algorithm>
#include <ostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace penmark {

void PrintTo(const Edit& edit, std::ostream* out)
{
    *out << "=-+"[static_cast<std::size_t>(edit.kind)] << edit.count;
}

namespace {

using Numbers = std::vector<std::uint32_t>;
using Lines = std::vector<std::string_view>;

Numbers randomNumbers(std::mt19937& random, std::size_t count, std::uint32_t alphabet)
{
    Numbers numbers(count);
    for (std::uint32_t& number : numbers)
        number = static_cast<std::uint32_t>(random() % alphabet);
    return numbers;
}

std::size_t longestCommonSubsequence(const Numbers& a, const Numbers& b)
{
    std::vector<std::size_t> row(b.size() + 1, 0);
    for (const std::uint32_t element : a) {
        std::size_t diagonal = 0;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t above = row[j + 1];
            row[j + 1] = element == b[j] ? diagonal + 1 : std::max(above, row[j]);
            diagonal = above;
        }
    }
    return row.back();
}

std::size_t edits(const EditScript& script)
{
    std::size_t count = 0;
    for (const Edit& edit : script)
        count += edit.kind == Edit::Kind::keep ? 0 : edit.count;
    return count;
}

/// What the script makes of `a`; what it adds is taken from `b`. Empty steps, steps of one kind in a row and additions
/// before removals are faults.
Numbers applied(const EditScript& script, const Numbers& a, const Numbers& b)
{
    Numbers result;
    std::size_t i = 0;
    const Edit* before = nullptr;
    for (const Edit& edit : script) {
        EXPECT_GT(edit.count, 0U);
        EXPECT_TRUE(before == nullptr || before->kind == Edit::Kind::keep || edit.kind == Edit::Kind::keep ||
                    (before->kind == Edit::Kind::remove && edit.kind == Edit::Kind::add));
        EXPECT_FALSE(before != nullptr && before->kind == edit.kind);
        before = &edit;
        const bool isAdding = edit.kind == Edit::Kind::add;
        const Numbers& source = isAdding ? b : a;
        const std::size_t from = isAdding ? result.size() : i;
        if (from + edit.count > source.size())
            throw std::logic_error("the script goes beyond the end");
        const auto first = source.begin() + static_cast<std::ptrdiff_t>(from);
        if (edit.kind != Edit::Kind::remove)
            result.insert(result.end(), first, first + static_cast<std::ptrdiff_t>(edit.count));
        if (!isAdding)
            i += edit.count;
    }
    EXPECT_EQ(i, a.size());
    return result;
}

// Small alphabets make many shortest scripts and many ways to miss them; large ones make elements of one side only.
TEST(LineDiff, IsAShortestScriptThatLeadsFromOneToTheOther)
{
    std::mt19937 random(1);
    for (int round = 0; round < 6000; ++round) {
        SCOPED_TRACE(round);
        const auto alphabet = static_cast<std::uint32_t>(1 + random() % (round % 3 == 0 ? 40 : 4));
        const Numbers a = randomNumbers(random, random() % 30, alphabet);
        Numbers b = randomNumbers(random, random() % 30, alphabet);
        if (round % 4 == 0) {  // a few edits apart
            b = a;
            for (auto count = random() % 4; count > 0; --count) {
                const auto place = b.begin() + static_cast<std::ptrdiff_t>(random() % (b.size() + 1));
                if (random() % 2 == 0 || place == b.end())
                    b.insert(place, static_cast<std::uint32_t>(random() % alphabet));
                else
                    b.erase(place);
            }
        }
        const EditScript script = shortestEditScript(a, b);
        ASSERT_EQ(applied(script, a, b), b);
        const std::size_t needed = a.size() + b.size() - 2 * longestCommonSubsequence(a, b);
        ASSERT_EQ(edits(script), needed);
        EXPECT_EQ(shortestEditScript(a, b, needed), script);
        if (alphabet == 1 && needed > 0) {  // nothing occurs on one side only, except when a side is empty
            EXPECT_EQ(shortestEditScript(a, b, needed - 1).has_value(), a.empty() || b.empty());
        }
    }
}

TEST(LineDiff, PutsChangesWhereAReaderExpectsThem)
{
    using enum Edit::Kind;
    const struct {
        Lines earlier, current;
        EditScript script;
    } cases[] = {
        {{}, {}, {}},
        {{"a"}, {"a"}, {{keep, 1}}},
        {{}, {"a", "b"}, {{add, 2}}},
        {{"a", "b"}, {}, {{remove, 2}}},
        {{"a", "b", "c"}, {"a", "x", "c"}, {{keep, 1}, {remove, 1}, {add, 1}, {keep, 1}}},
        // A paragraph put between two: its own empty line is the one behind it.
        {{"p", "", "q", ""}, {"p", "", "new", "", "q", ""}, {{keep, 2}, {add, 2}, {keep, 2}}},
        {{"p", "", "old", "", "q"}, {"p", "", "q"}, {{keep, 2}, {remove, 2}, {keep, 1}}},
        // One more of the same is the last of them.
        {{"a", "a"}, {"a", "a", "a"}, {{keep, 2}, {add, 1}}},
        {{"a", "a", "a", "b"}, {"a", "b"}, {{keep, 1}, {remove, 2}, {keep, 1}}},
        // A line that has become two others is shown with them, though they could stand one line farther.
        {{"a", "b", "c", "c", "a"},
         {"b", "c", "a", "b", "a"},
         {{remove, 1}, {keep, 2}, {remove, 1}, {add, 2}, {keep, 1}}},
        {{"a", "a "}, {"a", "a\r"}, {{keep, 1}, {remove, 1}, {add, 1}}},
    };
    for (const auto& [earlier, current, script] : cases)
        EXPECT_EQ(lineDiff(earlier, current), script);
}

TEST(LineDiff, TakesTheTimeThatTheChangesAreWorth)
{
    Numbers a(20'000);
    Numbers b(a.size());
    for (std::uint32_t i = 0; i < a.size(); ++i) {
        a[i] = 2 * i;
        b[i] = 2 * i + 1;
    }
    auto start = cpuTime();
    EXPECT_EQ(edits(shortestEditScript(a, b)), 40'000U);
    EXPECT_LT((cpuTime() - start).count(), granted(0.01));

    a.resize(1000);
    b.resize(1000);
    start = cpuTime();
    EXPECT_EQ(edits(shortestEditScript(a, b)), 2000U);
    EXPECT_LT((cpuTime() - start).count(), granted(0.005));

    std::reverse_copy(a.begin(), a.end(), b.begin());  // everything in common, and only one of it in order
    start = cpuTime();
    EXPECT_EQ(edits(shortestEditScript(a, b)), 1998U);
    EXPECT_LT((cpuTime() - start).count(), granted(0.02));

    // Long, with few edits: neither time nor memory may grow with the square of the length.
    std::mt19937 random(2);
    a = randomNumbers(random, 100'000, 50'000);
    b = a;
    for (int i = 0; i < 250; ++i)
        b[static_cast<std::size_t>(i) * 400 + random() % 400] = 60'000;
    start = cpuTime();
    const EditScript script = shortestEditScript(a, b);
    EXPECT_LT((cpuTime() - start).count(), granted(0.1));
    EXPECT_EQ(applied(script, a, b), b);
    EXPECT_EQ(edits(script), 500U);
}

TEST(LineDiff, StopsWhenAsked)
{
    std::mt19937 random(3);
    const Numbers a = randomNumbers(random, 200, 10);
    const Numbers b = randomNumbers(random, 200, 10);
    std::stop_source source;
    EXPECT_NO_THROW(shortestEditScript(a, b, source.get_token()));
    source.request_stop();
    EXPECT_THROW(shortestEditScript(a, b, source.get_token()), Cancelled);
}

}  // namespace
}  // namespace penmark
