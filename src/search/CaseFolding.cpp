// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/CaseFolding.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace penmark {

namespace {

CaseFolding folded(UChar32 character)
{
    char16_t source[2];
    std::int32_t length = 0;
    U16_APPEND_UNSAFE(source, length, character);
    char16_t target[8];
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t units = u_strFoldCase(target, 8, source, length, U_FOLD_CASE_DEFAULT, &status);
    CaseFolding folding;
    for (std::int32_t i = 0; i < units && folding.count < folding.to.size();) {
        UChar32 c = 0;
        U16_NEXT(target, i, units, c);
        folding.to[folding.count++] = static_cast<char32_t>(c);
    }
    return folding;
}

/// The few characters that fold to several, and who folds to what.
class FoldingTable {
public:
    static const FoldingTable& instance()
    {
        static const FoldingTable table;
        return table;
    }

    const CaseFolding* expansion(char32_t character) const
    {
        const auto found = std::lower_bound(expansions_.begin(), expansions_.end(), character,
                                            [](const Entry& entry, char32_t c) { return entry.character < c; });
        return found != expansions_.end() && found->character == character ? &found->folding : nullptr;
    }

    template <class Use>
    void forCharactersThatBeginWith(char32_t first, Use use) const
    {
        auto entry = std::lower_bound(byFirst_.begin(), byFirst_.end(), first,
                                      [](const Entry& e, char32_t c) { return e.folding.to[0] < c; });
        for (; entry != byFirst_.end() && entry->folding.to[0] == first; ++entry)
            use(*entry);
    }

private:
    struct Entry {
        char32_t character = 0;
        CaseFolding folding;
    };

    FoldingTable()
    {
        add('A', 'Z');
        // Between these lie the scripts of East Asia, which know no case.
        add(0x80, 0x2e7f);
        add(0xa640, 0xabff);
        add(0xfb00, 0x1ffff);
        std::stable_sort(byFirst_.begin(), byFirst_.end(),
                         [](const Entry& a, const Entry& b) { return a.folding.to[0] < b.folding.to[0]; });
    }

    void add(UChar32 first, UChar32 last)
    {
        for (UChar32 c = first; c <= last; ++c) {
            if (!u_hasBinaryProperty(c, UCHAR_CASE_SENSITIVE))
                continue;
            const Entry entry{static_cast<char32_t>(c), folded(c)};
            if (entry.folding.count == 1 && entry.folding.to[0] == entry.character)
                continue;
            byFirst_.push_back(entry);
            if (entry.folding.count > 1)
                expansions_.push_back(entry);
        }
    }

    std::vector<Entry> expansions_;  // by character
    std::vector<Entry> byFirst_;     // all that folding changes, by what they begin with when folded
};

constexpr bool mayExpand(char32_t c)
{
    return c < 0x588 || (c >= 0x1e96 && c <= 0x1fff) || (c >= 0xfb00 && c <= 0xfb17);
}

}  // namespace

CaseFolding caseFolding(char32_t character)
{
    if (character < 0x80)
        return {{character >= 'A' && character <= 'Z' ? character + 0x20 : character}, 1};
    if (mayExpand(character)) {
        if (const CaseFolding* expansion = FoldingTable::instance().expansion(character))
            return *expansion;
    }
    const UChar32 simple = u_foldCase(static_cast<UChar32>(character), U_FOLD_CASE_DEFAULT);
    return {{static_cast<char32_t>(simple)}, 1};
}

std::u32string foldCase(std::string_view utf8)
{
    std::u32string folded;
    for (std::size_t at = 0; at < utf8.size();) {
        const CaseFolding folding = caseFolding(nextCharacter(utf8, at));
        folded.append(folding.to.data(), folding.count);
    }
    return folded;
}

std::vector<char32_t> charactersThatBegin(std::u32string_view folded)
{
    std::vector<char32_t> characters;
    const CaseFolding own = caseFolding(folded[0]);
    if (own.count == 1 && own.to[0] == folded[0])
        characters.push_back(folded[0]);
    FoldingTable::instance().forCharactersThatBeginWith(folded[0], [&](const auto& entry) {
        if (folded.starts_with(std::u32string_view(entry.folding.to.data(), entry.folding.count)))
            characters.push_back(entry.character);
    });
    return characters;
}

std::size_t foldedEnd(std::string_view text, std::size_t at, std::u32string_view folded)
{
    for (std::size_t i = 0; i < folded.size();) {
        if (at >= text.size())
            return noMatch;
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < 0x80) {
            const unsigned lower = byte >= 'A' && byte <= 'Z' ? byte + 0x20U : byte;
            if (folded[i] != lower)
                return noMatch;
            ++at;
            ++i;
            continue;
        }
        const CaseFolding folding = caseFolding(nextCharacter(text, at));
        if (!folded.substr(i).starts_with(std::u32string_view(folding.to.data(), folding.count)))
            return noMatch;
        i += folding.count;
    }
    return at;
}

char32_t nextCharacter(std::string_view text, std::size_t& at)
{
    UChar32 c = 0;
    U8_NEXT_UNSAFE(text.data(), at, c);
    return static_cast<char32_t>(c);
}

char32_t characterBefore(std::string_view text, std::size_t at)
{
    do
        --at;
    while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xc0U) == 0x80);
    return nextCharacter(text, at);
}

void appendUtf8(std::string& text, char32_t character)
{
    const auto tail = [&](unsigned shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3fU)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xc0 | (character >> 6U));
        text += tail(0);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xe0 | (character >> 12U));
        text += tail(6);
        text += tail(0);
    } else {
        text += static_cast<char>(0xf0 | (character >> 18U));
        text += tail(12);
        text += tail(6);
        text += tail(0);
    }
}

}  // namespace penmark
