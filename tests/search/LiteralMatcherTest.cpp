// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SystemError.h"
#include "search/CaseFolding.h"
#include "search/LiteralScanner.h"
#include "search/MatcherTexts.h"
#include "search/TypoWords.h"
#include "search/Utf16Text.h"
#include "search/WordBorders.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace penmark {
namespace {

std::string messageFor(const TextSearchRule& rule)
{
    try {
        const TextMatcher matcher(rule);
        return {};
    } catch (const TextSearchError& error) {
        return error.what();
    }
}

TEST(TextMatcher, RefusesQueriesInOrder)
{
    const std::string spaces(5'000, ' ');
    for (const TextMatchMode mode :
         {TextMatchMode::literal, TextMatchMode::regex, TextMatchMode::normalized, TextMatchMode::typoTolerant}) {
        SCOPED_TRACE(static_cast<int>(mode));
        for (const std::string& query : {std::string(), spaces, std::string(" \t\u00a0\u2028\u3000\n")})
            EXPECT_EQ(messageFor(ruleOf(query, mode)), "Enter text to search for.");
        EXPECT_EQ(messageFor(ruleOf(std::string(4'096, 'x'), mode)), "");
        EXPECT_EQ(messageFor(ruleOf(std::string(4'096, '('), mode)).empty(), mode != TextMatchMode::regex);
        std::string pairs;  // two units each
        for (int i = 0; i < 2'048; ++i)
            pairs += "😀";
        EXPECT_EQ(messageFor(ruleOf(pairs, mode)), "");
        for (const std::string& query : {std::string(4'097, '('), pairs + "x", "x" + spaces})
            EXPECT_EQ(messageFor(ruleOf(query, mode)), "Keep a query below 4,096 characters.");
    }
    const std::string invalid = messageFor(ruleOf("a(b", TextMatchMode::regex));
    EXPECT_TRUE(invalid.starts_with("Invalid ICU regular expression: U_REGEX_MISMATCHED_PAREN")) << invalid;
    EXPECT_EQ(invalid.find('\n'), std::string::npos);
}

TEST(TextMatcher, FindsLiterals)
{
    struct Case {
        std::string query;
        std::string text;
        std::string insensitive;
        std::string sensitive;
        std::string wholeWord;  // insensitive
    };
    const Case cases[] = {
        {"foo", "foobar foo-bar (Foo) _foo fOO", "foo|foo|Foo|foo|fOO", "foo|foo|foo", "foo|Foo|fOO"},
        {"(x)", "a(x)b (x) f(X)", "(x)|(x)|(X)", "(x)|(x)", "(x)|(x)|(X)"},
        {"aa", "aaaaa", "aa|aa", "aa|aa", ""},
        {" a ", "a a a a a", " a | a ", " a | a ", " a | a "},
        {"k", "k K \u212a", "k|K|\u212a", "k", "k|K|\u212a"},
        {"s", "ß s ſ ẞ", "s|ſ", "s", "s|ſ"},
        {"ss", "ß ſS sß", "ß|ſS|ß", "", "ß|ſS"},
        {"STRASSE", "Straße straẞe STRASSEN", "Straße|straẞe|STRASSE", "STRASSE", "Straße|straẞe"},
        {"office", "oﬃce OFFICE o\ufb03ces", "oﬃce|OFFICE|oﬃce", "", "oﬃce|OFFICE"},
        {"привет", "Привет, ПРИВЕТЫ", "Привет|ПРИВЕТ", "", "Привет"},
        {"é", "É e\u0301 é", "É|é", "é", "É|é"},
        {"e", "e\u0301 e", "e|e", "e|e", "e"},
        {"中", "中文 中", "中|中", "中|中", "中|中"},
        {"ΣΑΣ", "σας Σασ", "σας|Σασ", "", "σας|Σασ"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.query);
        TextSearchRule rule = ruleOf(c.query);
        EXPECT_EQ(pieces(c.text, findAll(TextMatcher(rule), c.text)), c.insensitive);
        rule.wholeWord = true;
        EXPECT_EQ(pieces(c.text, findAll(TextMatcher(rule), c.text)), c.wholeWord);
        rule.wholeWord = false;
        rule.caseSensitive = true;
        EXPECT_EQ(pieces(c.text, findAll(TextMatcher(rule), c.text)), c.sensitive);
    }
}

std::size_t unitsBefore(std::string_view text, std::size_t byte)
{
    return static_cast<std::size_t>(
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(byte))).length());
}

icu::UnicodeString folded(std::string_view text)
{
    icu::UnicodeString result =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    return result.foldCase();
}

// Tries every stretch from every character.
std::vector<TextMatch> findSlowly(std::string_view text, const TextSearchRule& rule)
{
    std::vector<TextMatch> matches;
    const icu::UnicodeString query = folded(rule.query);
    for (std::size_t start = 0; start < text.size();) {
        std::size_t behind = start;
        nextCharacter(text, behind);
        std::size_t found = noMatch;
        for (std::size_t end = start; end < text.size() && end < start + 4 * rule.query.size() && found == noMatch;) {
            nextCharacter(text, end);
            const std::string_view piece = text.substr(start, end - start);
            const bool isEqual = rule.caseSensitive ? piece == rule.query : folded(piece) == query;
            if (isEqual && (!rule.wholeWord || isWholeWord(text, start, end)))
                found = end;
        }
        if (found != noMatch)
            matches.push_back({{Utf16Offset(unitsBefore(text, start)), Utf16Offset(unitsBefore(text, found))},
                               {Utf8Offset(start), Utf8Offset(found)},
                               TextMatchKind::exact});
        start = found != noMatch ? found : behind;
    }
    return matches;
}

TEST(TextMatcher, FindsWhatASlowSearchFinds)
{
    MatcherTexts random(1);
    std::size_t found = 0;
    for (int round = 0; round < 6'000; ++round) {
        const std::string text = random.text(1 + random.below(150));
        TextSearchRule rule = ruleOf(random.text(1 + random.below(3)));
        rule.caseSensitive = random.below(3) == 0;
        rule.wholeWord = random.below(3) == 0;
        if (!messageFor(rule).empty())
            continue;
        const std::vector<TextMatch> matches = findAll(TextMatcher(rule), text);
        ASSERT_EQ(pieces(text, matches), pieces(text, findSlowly(text, rule)))
            << "\"" << rule.query << "\" in \"" << text << "\" case " << rule.caseSensitive << " word "
            << rule.wholeWord;
        ASSERT_EQ(matches, findSlowly(text, rule));
        found += matches.size();
    }
    EXPECT_GT(found, 4'000U);
}

TEST(LiteralScanner, FindsTheSameWithoutVectors)
{
    MatcherTexts texts(77);
    for (int round = 0; round < 3'000; ++round) {
        std::vector<std::string> literals;
        for (std::size_t count = 1 + texts.below(4); count > 0; --count)
            literals.push_back(texts.text(1 + texts.below(5)));
        const std::string text = texts.text(texts.below(300));
        for (const bool caseSensitive : {true, false}) {
            const LiteralScanner fast(literals, caseSensitive);
            const LiteralScanner plain(literals, caseSensitive, false);
            std::optional<LiteralScanner::Found> found;
            std::size_t from = 0;
            do {
                found = plain.find(text, from, {});
                const auto other = fast.find(text, from, {});
                ASSERT_EQ(other.has_value(), found.has_value()) << text;
                ASSERT_TRUE(!found || (other->start == found->start && other->end == found->end)) << text;
                from = found ? found->start + 1 : text.size();
            } while (found);
        }
    }
}

// Wherever it stands against the vectors' borders, and with what is nearly it all around.
TEST(TextMatcher, FindsALiteralAtEveryPlace)
{
    for (const bool caseSensitive : {true, false}) {
        for (const std::string query : {"q", "qz", "needle", "a much longer one than that, by far"}) {
            TextSearchRule rule = ruleOf(query);
            rule.caseSensitive = caseSensitive;
            const TextMatcher matcher(rule);
            for (std::size_t at = 0; at < 150; ++at) {
                std::string text = std::string(at, 'x') + query + std::string(150 - at, 'x');
                const std::vector<TextMatch> matches = findAll(matcher, text);
                ASSERT_EQ(matches.size(), 1U) << query << " at " << at;
                EXPECT_EQ(matches[0].bytes.start.value, at);
                text.resize(at + query.size() - 1);  // cut short
                EXPECT_TRUE(findAll(matcher, text).empty());
                text += query.back();
                EXPECT_EQ(findAll(matcher, text).size(), 1U);
            }
        }
    }
}

TEST(TextMatcher, CollectsAtMostWhatIsAskedFor)
{
    const std::string text = "one one one";
    const TextMatcher matcher(ruleOf("one"));
    EXPECT_EQ(findAll(matcher, text, 2).size(), 2U);
    EXPECT_EQ(findAll(matcher, text, 0).size(), 1U);
    TextMatcher::Scratch scratch;
    std::vector<TextMatch> matches(5);
    matcher.find(text, 2, {}, scratch, matches);
    EXPECT_EQ(matches.size(), 7U);  // appended
}

TEST(TextMatcher, WholeWordsEndWhereWordsEnd)
{
    struct Case {
        std::string_view before, word, after;
        bool isWhole;
    };
    const Case cases[] = {
        {"", "foo", "", true},         {"(", "foo", ")", true},     {"x", "foo", "", false}, {"", "foo", "_x", false},
        {"", "foo", "1", false},       {"-", "foo", "-", true},     {"é", "foo", "", false}, {"", "foo", "é", false},
        {"", "foo", "\u0301", false},  {"“", "foo", "”", true},     {"д", "и", "", false},   {"中", "文", "字", true},
        {"e\u0301", "foo", "", false}, {" ", "\u0301a", "", false}, {"😀", "foo", "", true},  {"ア", "イ", "", false},
        {"ア", "foo", "ア", true},     {"x", "(", "x", true},       {"ไ", "ท", "ย", true},   {"한", "국", "", false},
    };
    for (const Case& c : cases) {
        const std::string text = std::string(c.before) + std::string(c.word) + std::string(c.after);
        EXPECT_EQ(isWholeWord(text, c.before.size(), c.before.size() + c.word.size()), c.isWhole) << text;
    }
}

// The tables behind the searches, against the library that they are made from, for every character there is.
TEST(CaseFolding, AgreesWithIcuForAllCharacters)
{
    std::size_t asciiFolders = 0;
    for (UChar32 c = 0; c <= 0x10ffff; ++c) {
        if (c >= 0xd800 && c <= 0xdfff)
            continue;
        icu::UnicodeString expected(c);
        expected.foldCase();
        const CaseFolding folding = caseFolding(static_cast<char32_t>(c));
        icu::UnicodeString actual;
        bool holdsAscii = false;
        for (std::size_t i = 0; i < folding.count; ++i) {
            actual.append(static_cast<UChar32>(folding.to[i]));
            holdsAscii = holdsAscii || folding.to[i] < 0x80;
        }
        ASSERT_EQ(actual, expected) << std::hex << c;
        if (c < 0x80)
            continue;
        for (const UChar32 variant : {u_tolower(c), u_toupper(c), u_totitle(c), u_foldCase(c, U_FOLD_CASE_DEFAULT)})
            holdsAscii = holdsAscii || variant < 0x80;
        asciiFolders += holdsAscii;
        std::string text(70, 'x');
        appendUtf8(text, static_cast<char32_t>(c));
        ASSERT_EQ(foldsToAscii(text), holdsAscii) << std::hex << c;
        if (!holdsAscii)
            continue;
        for (std::size_t before = 0; before < 70; ++before)
            ASSERT_TRUE(foldsToAscii(std::string(text.substr(before)) + std::string(before, 'y')));
    }
    EXPECT_EQ(asciiFolders, 20U);
}

TEST(TextMatcher, StopsWhenAsked)
{
    std::stop_source source;
    source.request_stop();
    const std::string text(100, 'x');
    for (const TextMatchMode mode :
         {TextMatchMode::literal, TextMatchMode::regex, TextMatchMode::normalized, TextMatchMode::typoTolerant}) {
        TextMatcher::Scratch scratch;
        std::vector<TextMatch> matches;
        EXPECT_THROW(TextMatcher(ruleOf("xxxx", mode)).find(text, 10, source.get_token(), scratch, matches), Cancelled);
        EXPECT_TRUE(matches.empty());
    }
    // Also in the middle of each of the long ways through a text.
    const std::string large(3U << 20U, 'x');
    Utf16Text units;
    for (const bool caseSensitive : {true, false})
        EXPECT_THROW(LiteralScanner({"needle"}, caseSensitive).find(large, 5, source.get_token()), Cancelled);
    EXPECT_THROW(units.assign(large, source.get_token()), Cancelled);
    EXPECT_THROW(Utf16Walk(large, source.get_token()).unitAt(large.size()), Cancelled);
    EXPECT_THROW(NormalizedText::of(u"x", false, source.get_token()), Cancelled);
    EXPECT_THROW(TypoWords("needle", false)
                     .find(large, std::chrono::steady_clock::time_point::max(), source.get_token(),
                           [](std::size_t, std::size_t) { return true; }),
                 Cancelled);
}

}  // namespace
}  // namespace penmark
