// SPDX-License-Identifier: GPL-3.0-or-later
// Takes any bytes for a rule, a query and a text behind a byte 0xff. Matches must be stretches of whole characters, in
// order and apart, with the same place in both units; those of an expression must be what ICU finds in the whole text.
#include "base/TextSummary.h"
#include "base/Utf8.h"
#include "search/TextMatcher.h"
#include "search/Utf16Text.h"
#include "search/WordBorders.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/regex.h>

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

// Nothing if that takes ICU too long.
std::optional<std::vector<TextMatch>> findPlainly(std::string_view text, const TextSearchRule& rule)
{
    const std::u16string units = toUtf16(text);
    const icu::UnicodeString input(false, units.data(), static_cast<std::int32_t>(units.size()));
    UErrorCode status = U_ZERO_ERROR;
    icu::RegexMatcher matcher(icu::UnicodeString(toUtf16(rule.query).c_str()), input,
                              rule.caseSensitive ? 0 : UREGEX_CASE_INSENSITIVE, status);
    matcher.setTimeLimit(5, status);
    std::vector<TextMatch> matches;
    Utf16Walk walk(text, {});
    while (U_SUCCESS(status) && matches.size() < most && matcher.find(status)) {
        const auto start = static_cast<std::size_t>(matcher.start(status));
        const auto end = static_cast<std::size_t>(matcher.end(status));
        const std::size_t startByte = walk.byteAt(start);
        const std::size_t endByte = walk.byteAt(end);
        if (!rule.wholeWord || isWholeWord(text, startByte, endByte))
            matches.push_back({{Utf16Offset(start), Utf16Offset(end)},
                               {Utf8Offset(startByte), Utf8Offset(endByte)},
                               TextMatchKind::exact});
    }
    if (U_FAILURE(status))
        return std::nullopt;
    return matches;
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
    // The plain search below would end its pattern there.
    if (rule.mode == TextMatchMode::regex && rule.query.find('\0') != std::string::npos)
        return 0;
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
        const auto expected = findPlainly(text, rule);
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
