// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/RegexTemplate.h"

#include "search/TextSearchError.h"
#include "search/Utf16Text.h"

#include <cstddef>
#include <cstdint>

#include <unicode/uregex.h>
#include <unicode/ustring.h>

namespace penmark {

namespace {

[[noreturn]] void failForGroup(std::u16string_view reference)
{
    throw TextSearchError("The replacement refers to a group that the expression does not have: " + toUtf8(reference));
}

char16_t unitAt(std::int32_t offset, void* context)
{
    return (*static_cast<const std::u16string_view*>(context))[static_cast<std::size_t>(offset)];
}

void appendGroup(URegularExpression* regex, std::int32_t group, std::u16string& result)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t start = uregex_start(regex, group, &status);
    const std::int32_t end = uregex_end(regex, group, &status);
    std::int32_t length = 0;
    const char16_t* const text = uregex_getText(regex, &length, &status);
    if (U_SUCCESS(status) && start >= 0)  // below zero: the group took no part in the match
        result.append(text + start, static_cast<std::size_t>(end - start));
}

// Reads behind a backslash.
std::size_t appendEscaped(std::u16string_view replacement, std::size_t at, std::u16string& result)
{
    if (at == replacement.size())
        return at;
    if (replacement[at] == 'u' || replacement[at] == 'U') {
        auto offset = static_cast<std::int32_t>(at);
        const UChar32 c = u_unescapeAt(&unitAt, &offset, static_cast<std::int32_t>(replacement.size()), &replacement);
        if (c >= 0) {
            char32_t character = static_cast<char32_t>(c);
            if (character > 0xffff) {
                result += static_cast<char16_t>(0xd7c0 + (character >> 10U));
                character = 0xdc00 | (character & 0x3ffU);
            }
            result += static_cast<char16_t>(character);
            return static_cast<std::size_t>(offset);
        }
    }
    result += replacement[at];
    return at + 1;
}

// Reads behind a dollar sign.
std::size_t appendReference(URegularExpression* regex, std::u16string_view replacement, std::size_t at,
                            std::u16string& result)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t groups = uregex_groupCount(regex, &status);
    if (at < replacement.size() && replacement[at] == '{') {
        const std::size_t end = replacement.find(u'}', at);
        if (end == std::u16string_view::npos)
            failForGroup(replacement.substr(at - 1));
        const std::u16string_view name = replacement.substr(at + 1, end - at - 1);
        const std::int32_t group =
            uregex_groupNumberFromName(regex, name.data(), static_cast<std::int32_t>(name.size()), &status);
        if (name.empty() || U_FAILURE(status))
            failForGroup(replacement.substr(at - 1, end + 2 - at));
        appendGroup(regex, group, result);
        return end + 1;
    }
    const std::size_t start = at;
    std::int32_t group = 0;
    // As many digits as still name a group: "$12" is group 1 and a "2" if there are fewer than twelve.
    for (; at < replacement.size() && u_isdigit(replacement[at]); ++at) {
        const std::int32_t longer = group * 10 + u_charDigitValue(replacement[at]);
        if (longer > groups) {
            if (at == start)
                failForGroup(replacement.substr(start - 1, 2));
            break;
        }
        group = longer;
    }
    if (at == start)
        failForGroup(replacement.substr(start - 1, 2));
    appendGroup(regex, group, result);
    return at;
}

}  // namespace

std::u16string fillTemplate(URegularExpression* regex, std::u16string_view replacement)
{
    std::u16string result;
    for (std::size_t at = 0; at < replacement.size();) {
        const char16_t c = replacement[at++];
        if (c == '\\')
            at = appendEscaped(replacement, at, result);
        else if (c == '$')
            at = appendReference(regex, replacement, at, result);
        else
            result += c;
    }
    return result;
}

}  // namespace penmark
