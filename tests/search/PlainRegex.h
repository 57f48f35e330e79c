// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Utf8.h"
#include "search/TextMatcher.h"
#include "search/Utf16Text.h"
#include "search/WordBorders.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <unicode/regex.h>

namespace penmark {

/// What ICU finds in the text within a range, without any of our shortcuts. Nothing for an expression that ICU does not
/// come to an end with.
inline std::optional<std::vector<TextMatch>> findPlainly(std::string_view text, const TextSearchRule& rule,
                                                         std::size_t most = SIZE_MAX,
                                                         Utf8Range within = TextMatcher::everywhere)
{
    const auto unicode = [](std::string_view utf8) {
        return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    };
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString units = unicode(text);
    icu::RegexMatcher matcher(unicode(rule.query), units, rule.caseSensitive ? 0 : UREGEX_CASE_INSENSITIVE, status);
    matcher.setTimeLimit(2, status);
    const std::int32_t from = unicode(text.substr(0, within.start.value)).length();
    const std::int32_t limit = unicode(text.substr(0, within.end.value)).length();
    matcher.region(from, limit, status);
    matcher.useTransparentBounds(true);
    matcher.useAnchoringBounds(false);
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

}  // namespace penmark
