// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/WordBorders.h"

#include "search/CaseFolding.h"

#include <unicode/uchar.h>

namespace penmark {

namespace {

enum class Kind { word, katakana, attached, other };

Kind kindOf(char32_t c)
{
    if (c < 0x80) {
        const char32_t letter = c | 0x20U;
        return (letter >= 'a' && letter <= 'z') || (c >= '0' && c <= '9') || c == '_' ? Kind::word : Kind::other;
    }
    switch (u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_WORD_BREAK)) {
    case U_WB_ALETTER:
    case U_WB_HEBREW_LETTER:
    case U_WB_NUMERIC:
    case U_WB_EXTENDNUMLET:
        return Kind::word;
    case U_WB_KATAKANA:
        return Kind::katakana;
    case U_WB_EXTEND:
    case U_WB_FORMAT:
    case U_WB_ZWJ:
        return Kind::attached;
    default:
        return Kind::other;
    }
}

std::size_t lengthOf(char32_t c)
{
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

bool isBorder(std::string_view text, std::size_t at)
{
    if (at == 0 || at >= text.size())
        return true;
    std::size_t behind = at;
    const Kind after = kindOf(nextCharacter(text, behind));
    if (after == Kind::other)
        return true;
    char32_t c = characterBefore(text, at);
    if (after == Kind::attached)
        return c == '\n' || c == '\r';
    // The character that the marks before belong to; more of them than this is no text.
    std::size_t start = at - lengthOf(c);
    Kind before = kindOf(c);
    for (int marks = 0; before == Kind::attached && start > 0 && marks < 32; ++marks) {
        c = characterBefore(text, start);
        start -= lengthOf(c);
        before = kindOf(c);
    }
    return before != after;
}

}  // namespace

bool isWholeWord(std::string_view text, std::size_t start, std::size_t end)
{
    return isBorder(text, start) && isBorder(text, end);
}

}  // namespace penmark
