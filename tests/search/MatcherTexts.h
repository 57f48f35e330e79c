// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextMatcher.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

inline TextSearchRule ruleOf(std::string_view query, TextMatchMode mode = TextMatchMode::literal)
{
    TextSearchRule rule;
    rule.query = query;
    rule.mode = mode;
    return rule;
}

inline std::vector<TextMatch> findAll(const TextMatcher& matcher, std::string_view text, std::size_t most = 1'000'000,
                                      Utf8Range within = TextMatcher::everywhere)
{
    std::vector<TextMatch> matches;
    TextMatcher::Scratch scratch;
    matcher.find(text, most, {}, scratch, matches, std::chrono::minutes(1), within);
    return matches;
}

/// The matched pieces, "|" between them; "~" stands before normalized ones and typos.
inline std::string pieces(std::string_view text, const std::vector<TextMatch>& matches)
{
    std::string result;
    for (const TextMatch& match : matches) {
        result += result.empty() ? "" : "|";
        result += match.kind == TextMatchKind::exact ? "" : "~";
        result += text.substr(match.bytes.start.value, match.bytes.size());
    }
    return result;
}

/// Texts of few characters, so that much of one occurs in another, among them those that fold in unusual ways.
class MatcherTexts {
public:
    explicit MatcherTexts(unsigned seed) : engine_(seed) {}

    std::size_t below(std::size_t count) { return engine_() % count; }

    std::string text(std::size_t characters)
    {
        static constexpr const char* parts[] = {
            "s",  "S",  "s", "k", "K",    "f",  "F",       "i",  "I",    "a",      "A",      "t",      "st",
            "ss", "fi", " ", " ", "-",    "_",  "1",       "\n", "\r\n", "ſ",      "\u212a", "ß",      "ẞ",
            "ﬁ",  "ﬃ",  "ﬆ", "ﬀ", "é",    "É",  "e\u0301", "İ",  "ı",    "ŉ",      "ǰ",      "\u0390", "ς",
            "σ",  "Σ",  "д", "Д", "中文", "ア", "😀",       "𐐀",  "𐐨",    "\u0301", "(",      "."};
        // Some texts are ASCII for a long stretch, as most are.
        const std::size_t choice = below(3) ? std::size(parts) : 22;
        std::string result;
        for (std::size_t i = 0; i < characters; ++i)
            result += parts[below(choice)];
        return result;
    }

    /// With borders of characters as its ends.
    Utf8Range range(std::string_view text)
    {
        std::size_t places[] = {below(text.size() + 1), below(text.size() + 1)};
        for (std::size_t& place : places) {
            while (place < text.size() && (static_cast<unsigned char>(text[place]) & 0xC0U) == 0x80)
                ++place;
        }
        return {Utf8Offset(std::min(places[0], places[1])), Utf8Offset(std::max(places[0], places[1]))};
    }

private:
    std::mt19937 engine_;
};

}  // namespace penmark
