// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "base/SystemError.h"
#include "search/MatcherTexts.h"
#include "search/TypoWords.h"
#include "search/Utf16Text.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

std::string normalized(std::string_view text, bool caseSensitive = false)
{
    return toUtf8(NormalizedText::of(toUtf16(text), caseSensitive).text);
}

TEST(NormalizedText, FoldsAccentsCaseAndSeparators)
{
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"Foo-Bar", "foo bar"},
        {"foo_bar/baz.txt", "foo bar baz txt"},
        {"a - b", "a b"},
        {"  a\r\n\t-b\u2028", " a b "},
        {"Café CAFE\u0301", "cafe cafe"},
        {"Ångström ǅ ﬁ ß İ", "angstrom ǆ fi ss i"},
        {"й Ё ά", "и е α"},
        {"한국어 \u1112\u1161\u11ab", "한국어 한"},
        {"日本語", "日本語"},
        {"👨‍👩‍👧", "👨‍👩‍👧"},
        {"-\u0301", "-"},      // with an accent it is no separator
        {"\u0301", "\u0301"},  // nothing would be left
        {"ａＢ", "ａｂ"},      // widths count
        {"\u00ad", "\u00ad"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(normalized(text), expected) << text;
    EXPECT_EQ(normalized("Café-ÉT", true), "Cafe ET");
}

TEST(NormalizedText, MapsEachUnitToItsCharacter)
{
    const auto origins = [](std::u16string_view text) {
        std::string result;
        for (const NormalizedText::Origin& origin : NormalizedText::of(text, false).origins)
            result += std::to_string(origin.start) + "+" + std::to_string(origin.length) + " ";
        return result;
    };
    EXPECT_EQ(origins(u"a - b"), "0+1 1+3 4+1 ");
    EXPECT_EQ(origins(u"--\r\nﬁe\u0301\u0301😀."), "0+4 4+1 4+1 5+3 8+2 8+2 10+1 ");

    MatcherTexts random(3);
    for (int round = 0; round < 2'000; ++round) {
        const std::u16string text = toUtf16(random.text(random.below(80)));
        const NormalizedText folded = NormalizedText::of(text, random.below(2) == 0);
        ASSERT_EQ(folded.text.size(), folded.origins.size());
        std::size_t end = 0;
        std::size_t start = 0;
        for (const NormalizedText::Origin& origin : folded.origins) {
            // The same character again, or the one that follows it.
            ASSERT_TRUE((origin.start == start && origin.start + origin.length == end) || origin.start == end);
            start = origin.start;
            end = start + origin.length;
        }
        ASSERT_EQ(end, text.size());
        // A blank with an accent is no separator.
        ASSERT_TRUE(text.find(u'\u0301') != std::u16string::npos || folded.text.find(u"  ") == std::u16string::npos);
    }
}

TEST(TextMatcher, FindsNormalizedMatches)
{
    struct Case {
        std::string_view query, text, expected;
    };
    const Case cases[] = {
        {"foo-bar", "Foo-Bar foo_bar foo bar foo/bar foo - bar foobar",
         "Foo-Bar|~foo_bar|~foo bar|~foo/bar|~foo - bar"},
        {"foo bar", "x foo.bar foo bar", "foo bar|~foo.bar"},
        {"café", "cafe CAFÉ cafe\u0301s", "CAFÉ|~cafe|~cafe\u0301"},
        {"cafe", "cafe\u0301 cafe", "cafe|~cafe\u0301"},
        {"s", "ß", "~ß"},  // not twice, and not a half
        {"-", "a - b-c", "-|~ - "},
        {"aa", "áaa", "~áa"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(pieces(c.text, findAll(TextMatcher(ruleOf(c.query, TextMatchMode::normalized)), c.text)), c.expected)
            << c.query;

    TextSearchRule rule = ruleOf("foo-bar", TextMatchMode::normalized);
    rule.caseSensitive = true;
    const std::string_view text = "Foo-Bar foo_bar foo-bar foo-bars fóo/bar";
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text)), "foo-bar|foo-bar|~foo_bar|~fóo/bar");
    rule.wholeWord = true;
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text)), "foo-bar|~foo_bar|~fóo/bar");
    // Exact ones come first even if they stand behind.
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text, 1)), "foo-bar");
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text, 2)), "foo-bar|~foo_bar");
}

// Each place is one and overlaps the one before.
TEST(TextMatcher, RefusesManyPlacesThatAreNoWholeWords)
{
    TextSearchRule rule = ruleOf("aa", TextMatchMode::normalized);
    rule.wholeWord = true;
    // Sanitizers look at all that a search for bytes may read, whenever one begins.
    const std::string text = std::string(PENMARK_SANITIZED ? 100'000 : 1'000'000, 'a') + "é aa";
    const auto before = cpuTime();
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text)), "aa");
    EXPECT_LT((cpuTime() - before).count(), granted(1.0));
}

TEST(TextMatcher, RefusesLargeTextsToNormalize)
{
    const TextMatcher matcher(ruleOf("b", TextMatchMode::normalized));
    std::string text;
    for (std::size_t i = 0; i < TextMatcher::normalizedLimit; ++i)
        text += "é";  // counted as units, not as bytes
    EXPECT_TRUE(findAll(matcher, text).empty());
    try {
        findAll(matcher, text + "b");
        ADD_FAILURE() << "accepted";
    } catch (const TextSearchError& error) {
        EXPECT_STREQ(error.what(), "Normalized matching is limited to 2 MiB per file. Use literal or regex search for "
                                   "larger files.");
    }
}

// Every table that a textbook fills in, where the program only compares beginnings and ends.
std::size_t distance(std::u32string_view a, std::u32string_view b)
{
    std::vector<std::vector<std::size_t>> edits(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0)
                edits[i][j] = i + j;
            else
                edits[i][j] = std::min(
                    {edits[i - 1][j] + 1, edits[i][j - 1] + 1, edits[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
        }
    }
    return edits[a.size()][b.size()];
}

TEST(TypoWords, CountsEdits)
{
    MatcherTexts random(4);
    std::size_t near = 0;
    for (int round = 0; round < 50'000; ++round) {
        std::u32string a(random.below(7), U'a');
        for (char32_t& c : a)
            c += static_cast<char32_t>(random.below(2));
        std::u32string b = a;
        for (std::size_t edits = random.below(3); edits > 0; --edits) {
            const std::size_t at = random.below(b.size() + 1);
            b = b.substr(0, at) + (random.below(2) ? U"b" : U"") + b.substr(std::min(b.size(), at + random.below(2)));
        }
        ASSERT_EQ(isOneEditApart(a, b), distance(a, b) == 1);
        near += isOneEditApart(a, b);
    }
    EXPECT_GT(near, 10'000U);
}

TEST(TextMatcher, FindsTypos)
{
    struct Case {
        std::string_view query, text, expected;
    };
    const std::string longest(64, 'x');
    const std::string tooLong(65, 'x');
    const Case cases[] = {
        {"needle", "needle neeedle nedle Noodle NEEDEL needel meedle needles", "needle|needle|~neeedle|~nedle|~meedle"},
        {" word ", "word wor words ward drow", "word|word|~wor|~ward"},
        {"foo", "foo fo", "foo"},  // too short
        {"two words", "two words two wordz", "two words"},
        {"größe", "Größe grösse GRÖSE größen", "Größe|grösse|größe|~GRÖSE"},
        {"naïve", "naive, naïf", "~naive"},
        {"abcd", "abcde_ abc_ ab-cd ab1d", "abcd|~abc_|~ab1d"},
        {"привет", "превет приветы", "привет|~превет"},
        {longest, "xxxx", ""},
        {tooLong, longest, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(pieces(c.text, findAll(TextMatcher(ruleOf(c.query, TextMatchMode::typoTolerant)), c.text)),
                  c.expected)
            << c.query;
    const std::string near(63, 'X');
    EXPECT_EQ(pieces(near, findAll(TextMatcher(ruleOf(longest, TextMatchMode::typoTolerant)), near)), "~" + near);

    TextSearchRule rule = ruleOf("needle", TextMatchMode::typoTolerant);
    rule.wholeWord = true;
    rule.caseSensitive = true;
    const std::string_view text = "needles needle Needle nEEdle";
    EXPECT_EQ(pieces(text, findAll(TextMatcher(rule), text)), "needle|~needles|~Needle");
}

TEST(TextMatcher, LooksForTyposUntilTheDeadline)
{
    std::string text = "needle nedle ";
    while (text.size() < 4'000'000)
        text += "word ";
    text += std::string(4'000'000, 'x') + " needl";
    const TextMatcher matcher(ruleOf("needle", TextMatchMode::typoTolerant));
    TextMatcher::Scratch scratch;
    std::vector<TextMatch> matches;
    try {
        matcher.find(text, 100, {}, scratch, matches, std::chrono::microseconds(1'500));
        ADD_FAILURE() << "was in time";
    } catch (const TextSearchError& error) {
        EXPECT_EQ(error.which(), TextSearchError::Case::timeBudget);
    }
    EXPECT_EQ(pieces(text, matches).substr(0, 6), "needle");
    matches.clear();
    matcher.find(text, 100, {}, scratch, matches, std::chrono::minutes(10));
    EXPECT_EQ(pieces(text, matches), "needle|~nedle|~needl");
}

}  // namespace
}  // namespace penmark
