// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/CaseFolding.h"
#include "search/TextMatcher.h"

#include <cstdint>
#include <cstring>

namespace penmark {

namespace {

using Vector = std::uint8_t __attribute__((vector_size(16)));
constexpr std::size_t width = sizeof(Vector);

bool foldsToAscii(char32_t c)
{
    switch (c) {
    case 0xdf:    // sharp s
    case 0x130:   // I with dot
    case 0x131:   // i without dot
    case 0x149:   // n after an apostrophe
    case 0x17f:   // long s
    case 0x1f0:   // j with caron
    case 0x1e9e:  // capital sharp s
    case 0x212a:  // Kelvin sign
        return true;
    default:
        return (c >= 0x1e96 && c <= 0x1e9a) || (c >= 0xfb00 && c <= 0xfb06);
    }
}

// Whether one of these characters may begin with the byte.
bool mayBegin(std::uint8_t byte)
{
    return byte == 0xc3 || byte == 0xc4 || byte == 0xc5 || byte == 0xc7 || byte == 0xe1 || byte == 0xe2 || byte == 0xef;
}

bool anyOf(Vector lanes)
{
    std::uint64_t halves[2];
    std::memcpy(halves, &lanes, width);
    return (halves[0] | halves[1]) != 0;
}

bool holdsOne(std::string_view text, std::size_t from, std::size_t to)
{
    for (std::size_t i = from; i < to; ++i) {
        std::size_t at = i;
        if (mayBegin(static_cast<std::uint8_t>(text[i])) && foldsToAscii(nextCharacter(text, at)))
            return true;
    }
    return false;
}

}  // namespace

bool foldsToAscii(std::string_view text) noexcept
{
    std::size_t at = 0;
    for (; text.size() - at >= 4 * width; at += 4 * width) {
        Vector v[4];
        std::memcpy(v, text.data() + at, sizeof v);
        if (!anyOf((v[0] | v[1] | v[2] | v[3]) & 0x80))
            continue;
        for (std::size_t i = 0; i < 4; ++i) {
            const auto begins = (v[i] == 0xc3) | (v[i] == 0xc4) | (v[i] == 0xc5) | (v[i] == 0xc7) | (v[i] == 0xe1) |
                                (v[i] == 0xe2) | (v[i] == 0xef);
            if (anyOf(reinterpret_cast<Vector>(begins)) && holdsOne(text, at + i * width, at + (i + 1) * width))
                return true;
        }
    }
    return holdsOne(text, at, text.size());
}

}  // namespace penmark
