// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/MatcherTexts.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

bool standsBefore(const TextMatch& left, const TextMatch& right)
{
    return left.bytes.start < right.bytes.start;
}

// So many at a time, each time behind the last one.
std::vector<TextMatch> findInParts(const TextMatcher& matcher, std::string_view text, std::size_t partSize)
{
    std::vector<TextMatch> all;
    Utf8Range within = TextMatcher::everywhere;
    while (true) {
        const std::vector<TextMatch> part = findAll(matcher, text, partSize, within);
        all.insert(all.end(), part.begin(), part.end());
        if (part.size() < partSize)
            return all;
        within.start = part.back().bytes.end;
        if (part.back().bytes.empty() && ++within.start.value > text.size())
            return all;
        while (within.start.value < text.size() &&
               (static_cast<unsigned char>(text[within.start.value]) & 0xC0U) == 0x80)
            ++within.start;
    }
}

// What stands before a part decides what is found in it.
TEST(TextMatcher, PartsPutTogetherAreTheWhole)
{
    std::vector<TextSearchRule> rules;
    for (const char* const query : {"s", "st", "f", "_", "1", "\u0301", "ss", "中", "é"})
        rules.push_back(ruleOf(query));
    for (const char* const pattern :
         {"^",    "^.",   "(?m)^", "(?m)^.", "(?m)$", "$",    "(?<=s)s",      "(?<=^s)\\w?", "(?<!s)t", "\\b",
          "\\b.", "\\Bs", "s*",    "s|",     "a|s",   "st|s", "(?<=[\\s1])s", "(?i)k",       "\\As",    ".\\b"})
        rules.push_back(ruleOf(pattern, TextMatchMode::regex));
    MatcherTexts random(7);
    std::size_t found = 0;
    for (int round = 0; round < 6'000; ++round) {
        TextSearchRule rule = rules[random.below(rules.size())];
        rule.caseSensitive = random.below(2) == 0;
        rule.wholeWord = random.below(3) == 0;
        const std::string text = random.text(random.below(40));
        const TextMatcher matcher(rule);
        const std::vector<TextMatch> whole = findAll(matcher, text);
        const std::size_t partSize = 1 + random.below(4);
        ASSERT_EQ(findInParts(matcher, text, partSize), whole)
            << rule.query << " in \"" << text << "\" by " << partSize << " case " << rule.caseSensitive << " word "
            << rule.wholeWord;
        found += whole.size();
    }
    EXPECT_GT(found, 6'000U);
}

// Here exact matches come first, so what follows a place is compared with what the whole text has there.
TEST(TextMatcher, ApproximateMatchesBehindAPlaceAreThoseOfTheWhole)
{
    MatcherTexts random(8);
    std::size_t found = 0;
    for (int round = 0; round < 6'000; ++round) {
        const bool isTypo = random.below(2) == 0;
        TextSearchRule rule = ruleOf(isTypo            ? "stst"
                                     : random.below(2) ? "s"
                                                       : "s t",
                                     isTypo ? TextMatchMode::typoTolerant : TextMatchMode::normalized);
        rule.caseSensitive = random.below(2) == 0;
        rule.wholeWord = random.below(3) == 0;
        std::string text;
        for (std::size_t words = random.below(8); words > 0; --words)
            text += std::string(random.below(2) ? "st" : "sst") + random.text(1 + random.below(3)) + "st";
        const TextMatcher matcher(rule);
        std::vector<TextMatch> whole = findAll(matcher, text);
        std::sort(whole.begin(), whole.end(), standsBefore);
        if (whole.empty())
            continue;
        const std::size_t first = random.below(whole.size());
        const std::size_t last = first + random.below(whole.size() - first);
        const Utf8Range within{first == 0 ? Utf8Offset() : whole[first - 1].bytes.end, whole[last].bytes.end};
        std::vector<TextMatch> part = findAll(matcher, text, 1'000, within);
        std::sort(part.begin(), part.end(), standsBefore);
        ASSERT_EQ(part, std::vector(whole.begin() + static_cast<std::ptrdiff_t>(first),
                                    whole.begin() + static_cast<std::ptrdiff_t>(last) + 1))
            << rule.query << " in \"" << text << "\" from " << within.start.value << " to " << within.end.value;
        found += part.size();
    }
    EXPECT_GT(found, 4'000U);
}

}  // namespace
}  // namespace penmark
