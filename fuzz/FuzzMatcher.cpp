// SPDX-License-Identifier: GPL-3.0-or-later
// Takes any bytes for a rule, a query and a text behind a byte 0xff. Matches must be stretches of whole characters, in
// order and apart, with the same place in both units; those of an expression must be what ICU finds in the whole text.
#include "base/TextSummary.h"
#include "base/Utf8.h"
#include "search/PlainRegex.h"
#include "search/TextMatcher.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace penmark;

constexpr std::size_t most = 10'000;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

bool isCharacterBorder(std::string_view text, std::size_t at)
{
    return at == text.size() || (static_cast<unsigned char>(text[at]) & 0xc0U) != 0x80;
}

void checkMatches(std::string_view text, const std::vector<TextMatch>& matches)
{
    std::size_t end = 0;
    std::size_t endUnit = 0;
    TextMatchKind kind = TextMatchKind::exact;
    for (const TextMatch& match : matches) {
        if (match.kind != kind) {
            require(kind == TextMatchKind::exact);  // exact ones come first
            kind = match.kind;
            end = endUnit = 0;
        }
        const std::size_t start = match.bytes.start.value;
        require(start >= end && match.bytes.end.value >= start && match.bytes.end.value <= text.size());
        require(isCharacterBorder(text, start) && isCharacterBorder(text, match.bytes.end.value));
        require(match.range.start.value == endUnit + utf16Length(text.substr(end, start - end)));
        require(match.range.size() == utf16Length(text.substr(start, match.bytes.size())));
        end = match.bytes.end.value;
        endUnit = match.range.end.value;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t cut = std::min(bytes.find('\xff'), bytes.size());
    const std::string text = repairUtf8(bytes.substr(std::min(cut + 1, bytes.size())));
    TextSearchRule rule;
    rule.query = repairUtf8(bytes.substr(0, cut));
    rule.mode = static_cast<TextMatchMode>(data[0] & 3U);
    rule.caseSensitive = (data[0] & 4U) != 0;
    rule.wholeWord = (data[0] & 8U) != 0;
    try {
        const TextMatcher matcher(rule);
        TextMatcher::Scratch scratch;
        std::vector<TextMatch> matches;
        bool isComplete = true;
        try {
            matcher.find(text, most, {}, scratch, matches, std::chrono::milliseconds(20));
        } catch (const TextSearchError&) {
            isComplete = false;
        }
        checkMatches(text, matches);
        if (rule.mode != TextMatchMode::regex)
            return 0;
        const auto expected = findPlainly(text, rule, most);
        require(!expected || !isComplete || *expected == matches);
        if (!matches.empty() && expected) {
            try {
                matcher.replacementFor(text, matches.front(), text, scratch);
            } catch (const TextSearchError& error) {
                require(error.which() != TextSearchError::Case::staleResult);
            }
        }
    } catch (const TextSearchError&) {}
    return 0;
}
