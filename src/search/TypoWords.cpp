// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TypoWords.h"

#include "base/SystemError.h"
#include "search/CaseFolding.h"
#include "search/TextSearchError.h"
#include "search/Utf16Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

namespace penmark {

namespace {

constexpr std::size_t stride = 8'192;  // bytes between looks at the clock

bool isAsciiWord(unsigned char c)
{
    const unsigned letter = c | 0x20U;
    return (letter >= 'a' && letter <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool isWordCharacter(char32_t c)
{
    if (c < 0x80)
        return isAsciiWord(static_cast<unsigned char>(c));
    return (U_GET_GC_MASK(static_cast<UChar32>(c)) & (U_GC_L_MASK | U_GC_N_MASK)) != 0;
}

std::u32string charactersOf(std::string_view text)
{
    std::u32string characters;
    for (std::size_t at = 0; at < text.size();)
        characters += nextCharacter(text, at);
    return characters;
}

std::string lowerCased(std::string_view text)
{
    const std::u16string source = toUtf16(text);
    std::u16string target(source.size() * 3 + 1, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = u_strToLower(target.data(), static_cast<std::int32_t>(target.size()), source.data(),
                                             static_cast<std::int32_t>(source.size()), "", &status);
    target.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return toUtf8(target);
}

std::size_t userCharacters(std::string_view text)
{
    const std::u16string units = toUtf16(text);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> characters(
        ubrk_open(UBRK_CHARACTER, "en_US_POSIX", units.data(), static_cast<std::int32_t>(units.size()), &status),
        &ubrk_close);
    std::size_t count = 0;
    while (U_SUCCESS(status) && ubrk_next(characters.get()) != UBRK_DONE)
        ++count;
    return count;
}

bool holdsBlank(std::u32string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)); });
}

}  // namespace

bool isOneEditApart(std::u32string_view a, std::u32string_view b)
{
    if (a.size() > b.size())
        std::swap(a, b);
    if (b.size() - a.size() > 1)
        return false;
    const auto same = static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
    if (same == b.size())
        return false;  // they are equal
    return a.size() == b.size() ? a.substr(same + 1) == b.substr(same + 1) : a.substr(same) == b.substr(same + 1);
}

TypoWords::TypoWords(std::string_view query, bool caseSensitive) : caseSensitive_(caseSensitive)
{
    const std::size_t length = userCharacters(query);
    const std::u32string word = charactersOf(caseSensitive ? std::string(query) : lowerCased(query));
    if (length >= shortest && length <= longest && !holdsBlank(word))
        word_ = word;
}

bool TypoWords::isTypo(std::string_view word, bool isAscii) const
{
    if (isAscii) {
        if (word.size() + 1 < word_.size() || word.size() > word_.size() + 1)
            return false;
        std::array<char32_t, 4 * longest> characters;
        if (word.size() > characters.size())
            return isOneEditApart(charactersOf(caseSensitive_ ? std::string(word) : lowerCased(word)), word_);
        for (std::size_t i = 0; i < word.size(); ++i) {
            const auto c = static_cast<unsigned char>(word[i]);
            characters[i] = !caseSensitive_ && c >= 'A' && c <= 'Z' ? c + 0x20U : c;
        }
        return isOneEditApart({characters.data(), word.size()}, word_);
    }
    // Lower-casing makes two characters of one at most, and a character has four bytes at most.
    if (word.size() > 4 * (word_.size() + 1) || 2 * word.size() + 1 < word_.size())
        return false;
    return isOneEditApart(charactersOf(caseSensitive_ ? std::string(word) : lowerCased(word)), word_);
}

void TypoWords::find(std::string_view text, std::chrono::steady_clock::time_point deadline, const std::stop_token& stop,
                     FunctionRef<bool(std::size_t start, std::size_t end)> use) const
{
    if (word_.empty())
        return;
    std::size_t nextLook = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (at >= nextLook) {
            if (stop.stop_requested())
                throw Cancelled();
            if (std::chrono::steady_clock::now() >= deadline)
                throw TextSearchError::timeBudget();
            nextLook = at + stride;
        }
        const std::size_t start = at;
        std::size_t end = at;
        bool isAscii = true;
        // A run without end is looked at too: it is cut where the clock is due, which is far longer than any query.
        while (end < text.size() && end - start < stride) {
            const auto byte = static_cast<unsigned char>(text[end]);
            std::size_t behind = end + 1;
            if (byte >= 0x80) {
                behind = end;
                if (!isWordCharacter(nextCharacter(text, behind)))
                    break;
                isAscii = false;
            } else if (!isAsciiWord(byte)) {
                break;
            }
            end = behind;
        }
        if (end == start) {
            nextCharacter(text, at);
            continue;
        }
        at = end;
        if (end - start >= stride) {
            // The rest of this run belongs to it.
            while (at < text.size()) {
                std::size_t behind = at;
                if (!isWordCharacter(nextCharacter(text, behind)))
                    break;
                at = behind;
                if (at >= nextLook) {
                    if (stop.stop_requested())
                        throw Cancelled();
                    if (std::chrono::steady_clock::now() >= deadline)
                        throw TextSearchError::timeBudget();
                    nextLook = at + stride;
                }
            }
            continue;
        }
        if (isTypo(text.substr(start, end - start), isAscii) && !use(start, end))
            return;
    }
}

}  // namespace penmark
