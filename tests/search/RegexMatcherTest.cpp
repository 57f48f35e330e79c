// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "base/SystemError.h"
#include "search/CaseFolding.h"
#include "search/MatcherTexts.h"
#include "search/PlainRegex.h"
#include "search/RegexLiterals.h"

#include <chrono>
#include <cstddef>
#include <iterator>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

std::string described(const RegexLiterals& literals)
{
    std::string result = literals.isWhole ? "= " : "";
    for (const std::string& literal : literals.required)
        result += (literal == literals.required.front() ? "" : ",") + literal;
    return result + (literals.staysInLine ? " -" : "");
}

TEST(RegexLiterals, ReadsWhatEveryMatchHolds)
{
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"foo", "= foo -"},
        {"foo|ba\\.r", "= foo,ba.r -"},
        {"(?:foo|(bar))|x", "= foo,bar,x -"},
        {"\\Qa+b\\E", "= a+b -"},
        {"\\Qa+b\\E+c", "a+b -"},
        {"word\\w+", "word -"},
        {"\\bfoo\\b", "foo -"},
        {"colou?r", "colo -"},
        {"ab*cde", "cde -"},
        {"ab{0,3}", "a -"},
        {"ab{2}c", "ab -"},
        {"(abc)+de", "abc -"},
        {"(abc)?de", "de -"},
        {"(foo|bar)baz", "baz -"},
        {"(foo|barium)\\d", "foo,barium -"},
        {"(foo|)x", "x -"},
        {"foo|b*", " -"},
        {"[abc]def", "def -"},
        {"[\\w.-]+@example", "@example -"},
        {"[^a]def", "def"},
        {"[]abc]def", ""},
        {"[:space:]def", ""},
        {"[\\c]]def", ""},
        {"a\\sb", "a"},
        {"a\\nb", "= a\nb"},
        {"^foo$", "foo"},
        {"foo(?=bar)", "foo"},
        {"(?!foo)bar", "bar"},
        {"(?i)foo", ""},
        {"(?#x)foo", ""},
        {"(a)\\1", ""},
        {"\\x41\\u0042C", "= ABC -"},
        {"\\p{L}+foo", "foo"},
        {"x*|y*", " -"},
        {"(?<name>foo)bar", "foo -"},
        {"a|b|(c|d)e", "a,b,e -"},
    };
    for (const auto& [pattern, expected] : cases) {
        std::string text = described(RegexLiterals::of(pattern));
        EXPECT_EQ(text, expected) << pattern;
    }
}

// Of pieces of expressions, most of which have literals that texts need.
std::string randomPattern(MatcherTexts& random, int depth = 0)
{
    static constexpr const char* pieces[] = {"s",         "ss",
                                             "st",        "K",
                                             "fi",        "ſ",
                                             "ß",         "é",
                                             "a",         "F",
                                             "ffi",       "İ",
                                             "д",         "\\w",
                                             "\\d",       ".",
                                             "[sk]",      "[^s]",
                                             "\\b",       "\\s",
                                             "[a-k ]",    "\\Qa-\\E",
                                             "^",         "$",
                                             "\\n",       "-",
                                             "(?=s)",     "\\.",
                                             "(?<!a)",    "\\B",
                                             "\\S",       "\\r",
                                             "k",         "\\x61",
                                             "\\u00df",   "a",
                                             "[\\w.-]",   "[[a-k]&&[^a]]",
                                             "[\\]s]",    "[[:alpha:]]",
                                             "[:space:]", "[\\c]]",
                                             "[^\\n]",    "[-s]"};
    static constexpr const char* quantifiers[] = {"", "", "", "", "", "+", "*", "?", "{2}", "{0,1}", "+?", "*?", "?+"};
    const bool isPlain = depth == 0 && random.below(3) == 0;
    std::string pattern;
    const std::size_t count = 1 + random.below(isPlain && random.below(8) == 0 ? 14 : 3);
    for (std::size_t i = 0; i < count; ++i) {
        if (isPlain) {
            pattern += (i ? "|" : "");
            for (std::size_t length = 1 + random.below(3); length > 0; --length)
                pattern += pieces[random.below(13)];
            continue;
        }
        if (i && random.below(4) == 0)
            pattern += "|";
        if (depth < 2 && random.below(5) == 0)
            pattern += (random.below(2) ? "(" : "(?:") + randomPattern(random, depth + 1) + ")";
        else
            pattern += pieces[random.below(std::size(pieces))];
        pattern += quantifiers[random.below(std::size(quantifiers))];
    }
    return pattern;
}

TEST(TextMatcher, FindsByRegexWhatIcuFinds)
{
    MatcherTexts random(2);
    std::size_t found = 0;
    std::size_t plain = 0;
    std::size_t inLines = 0;
    for (int round = 0; round < 12'000; ++round) {
        TextSearchRule rule = ruleOf(randomPattern(random), TextMatchMode::regex);
        rule.caseSensitive = random.below(3) == 0;
        rule.wholeWord = random.below(4) == 0;
        const std::string text = random.text(random.below(60));
        std::optional<TextMatcher> matcher;
        try {
            matcher.emplace(rule);
        } catch (const TextSearchError&) {
            continue;
        }
        const RegexLiterals literals = RegexLiterals::of(rule.query);
        plain += literals.isWhole;
        inLines += !literals.isWhole && !literals.required.empty() && literals.staysInLine;
        const Utf8Range within = random.below(2) ? random.range(text) : Utf8Range{{}, Utf8Offset(text.size())};
        const std::optional<std::vector<TextMatch>> expected = findPlainly(text, rule, SIZE_MAX, within);
        if (!expected)
            continue;
        const std::vector<TextMatch> matches = findAll(*matcher, text, 1'000'000, within);
        ASSERT_EQ(pieces(text, matches), pieces(text, *expected))
            << rule.query << " in \"" << text << "\" case " << rule.caseSensitive << " word " << rule.wholeWord
            << " from " << within.start.value << " to " << within.end.value;
        ASSERT_EQ(matches, *expected) << rule.query;
        found += matches.size();
    }
    EXPECT_GT(found, 10'000U);
    EXPECT_GT(plain, 2'500U);
    EXPECT_GT(inLines, 1'000U);
}

// Empty matches count once at each place; lines and their ends are those of the whole text.
TEST(TextMatcher, FindsEmptyMatchesAndLineEnds)
{
    const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
        {"x*", "axb", "|x||"},       {"(?=b)", "abab", "|"},
        {"^", "a\nb", ""},           {"(?m)^b?", "a\nb\r\nb", "|b|b"},
        {"b$", "b\nb", "b"},         {".+", "ab\ncd\r\nef", "ab|cd|ef"},
        {"é\\w", "éa 😀éb", "éa|éb"},
    };
    for (const auto& [pattern, text, expected] : cases) {
        const std::vector<TextMatch> matches = findAll(TextMatcher(ruleOf(pattern, TextMatchMode::regex)), text);
        std::string found;
        for (const TextMatch& match : matches)
            found += (&match == matches.data() ? "" : "|") + pieces(text, {match});
        EXPECT_EQ(found, expected) << pattern;
        EXPECT_FALSE(matches.empty()) << pattern;
    }
}

// Backtracking without end, a loop that never moves on, and one that keeps a place for each character.
TEST(TextMatcher, EndsExpressionsThatTakeTooLong)
{
    const std::string text = "found " + std::string(100'000, 'a');
    for (const std::string_view pattern : {"(a+)+$|found", "(a|aa)+$|found", "(?:x?)+?b|found"}) {
        SCOPED_TRACE(pattern);
        const TextMatcher matcher(ruleOf(std::string(pattern) + "|(found)", TextMatchMode::regex));
        TextMatcher::Scratch scratch;
        std::vector<TextMatch> matches;
        const std::string ended = text + "!";
        const auto before = cpuTime();
        try {
            matcher.find(ended, 1'000, {}, scratch, matches);
            ADD_FAILURE() << "came to an end";
        } catch (const TextSearchError& error) {
            EXPECT_EQ(error.which(), TextSearchError::Case::timeBudget);
        }
        EXPECT_LT((cpuTime() - before).count(), granted(0.5));
        EXPECT_EQ(pieces(ended, matches), pattern.starts_with("(?:x") ? "" : "found");
        // The same scratch goes on with other texts.
        matches.clear();
        matcher.find(pattern.starts_with("(?:x") ? "xb" : "found", 1'000, {}, scratch, matches);
        EXPECT_EQ(matches.size(), 1U);
    }
}

// Nearly everything that an expression requires stands at each place: looking for that takes time too.
TEST(TextMatcher, LooksForWhatIsRequiredUntilTheDeadline)
{
    const std::string text(8'000'000, '0');
    for (const std::string_view rest : {"[a-z]", ""}) {
        const TextMatcher matcher(ruleOf(std::string(2'000, '0') + "1" + std::string(rest), TextMatchMode::regex));
        TextMatcher::Scratch scratch;
        std::vector<TextMatch> matches;
        const auto before = cpuTime();
        try {
            matcher.find(text, 10, {}, scratch, matches);
            ADD_FAILURE() << "came to an end";
        } catch (const TextSearchError& error) {
            EXPECT_EQ(error.which(), TextSearchError::Case::timeBudget);
        }
        EXPECT_LT((cpuTime() - before).count(), granted(0.5));
    }
}

TEST(TextMatcher, StopsWithinAnExpression)
{
    const std::string text(100'000, 'a');
    const TextMatcher matcher(ruleOf("(a+)+$", TextMatchMode::regex));
    std::stop_source source;
    std::jthread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        source.request_stop();
    });
    TextMatcher::Scratch scratch;
    std::vector<TextMatch> matches;
    EXPECT_THROW(matcher.find(text + "!", 10, source.get_token(), scratch, matches, std::chrono::minutes(10)),
                 Cancelled);
}

TEST(TextMatcher, NamesWhatATextMustHold)
{
    const std::tuple<TextMatchMode, std::string_view, std::vector<std::string>> cases[] = {
        {TextMatchMode::literal, " Foo bar ", {"foo bar"}},
        {TextMatchMode::literal, "é", {}},
        {TextMatchMode::literal, "fo", {}},
        {TextMatchMode::regex, "Foo\\w+", {"foo"}},
        {TextMatchMode::regex, "Foo|bar", {"foo", "bar"}},
        {TextMatchMode::regex, "foo|ba", {}},
        {TextMatchMode::regex, "foo|été", {}},
        {TextMatchMode::regex, "\\w+", {}},
        {TextMatchMode::normalized, "foo", {}},
        {TextMatchMode::typoTolerant, "foobar", {}},
    };
    for (const auto& [mode, query, expected] : cases)
        EXPECT_EQ(TextMatcher(ruleOf(query, mode)).requiredAscii(), expected) << query;
}

TEST(TextMatcher, FillsReplacementsIn)
{
    struct Case {
        std::string_view pattern, text, replacement, expected;
    };
    const Case cases[] = {
        {"(\\w+)@(?<host>\\w+)", "me@home", "${host}: $1", "home: me"},
        {"(\\w+)@(?<host>\\w+)", "me@home", "$0 $12 \\$1\\\\", "me@home me2 $1\\"},
        {"(a)|(é)", "é", "<$1$2>\\u00e9\\U0001f600", "<é>é😀"},
        {"(?<=x)b(?=c)", "xbc", "[$0]", "[b]"},
        {"a", "a", "b\\", "b"},
    };
    TextMatcher::Scratch scratch;
    for (const Case& c : cases) {
        const TextMatcher matcher(ruleOf(c.pattern, TextMatchMode::regex));
        const std::vector<TextMatch> matches = findAll(matcher, c.text);
        ASSERT_EQ(matches.size(), 1U) << c.pattern;
        EXPECT_EQ(matcher.replacementFor(c.text, matches[0], c.replacement, scratch), c.expected);
    }
    const TextMatcher digits(ruleOf("(\\d)(\\d)\\b", TextMatchMode::regex));
    const std::string_view numbers = "12 345é 67";
    const std::vector<TextMatch> pairs = findAll(digits, numbers);
    std::vector<std::string> replaced;
    digits.replaceEach(numbers, pairs, "$2$1", {}, scratch,
                       [&](const TextMatch&, std::string_view with) { replaced.emplace_back(with); });
    EXPECT_EQ(replaced, (std::vector<std::string>{"21", "76"}));
    const TextMatcher matcher(ruleOf("(a)b", TextMatchMode::regex));
    const std::vector<TextMatch> matches = findAll(matcher, "xab");
    for (const std::string_view missing : {"$2", "${name}", "$", "$x", "${1", "${}"})
        EXPECT_THROW(matcher.replacementFor("xab", matches[0], missing, scratch), TextSearchError) << missing;
    for (const std::string_view other : {"ab", "xxab", "xa", "", "xaxb"}) {
        try {
            matcher.replacementFor(other, matches[0], "", scratch);
            ADD_FAILURE() << other;
        } catch (const TextSearchError& error) {
            EXPECT_EQ(error.which(), TextSearchError::Case::staleResult);
        }
    }
    EXPECT_EQ(TextMatcher(ruleOf("ab")).replacementFor("xab", matches[0], "$1\\", scratch), "$1\\");
}

}  // namespace
}  // namespace penmark
