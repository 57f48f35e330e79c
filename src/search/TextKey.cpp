// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextKey.h"

namespace penmark {

namespace {

constexpr std::string_view digits = "0123456789abcdef";
constexpr std::uint8_t noDigit = 0x10;

constexpr auto valueOf = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(noDigit);
    for (std::size_t value = 0; value < digits.size(); ++value)
        table[static_cast<unsigned char>(digits[value])] = static_cast<std::uint8_t>(value);
    return table;
}();

}  // namespace

TextKey::TextKey(std::string_view text)
{
    constexpr std::size_t digitsOfWord = 16;
    if (text.size() != digitsOfWord * words_.size())
        return;
    std::uint8_t all = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::uint8_t value = valueOf[static_cast<unsigned char>(text[i])];
        all |= value;
        words_[i / digitsOfWord] = words_[i / digitsOfWord] << 4U | value;
    }
    if (all >= noDigit)
        words_ = {};
}

std::string TextKey::text() const
{
    std::string text;
    for (const std::uint64_t word : words_) {
        for (std::size_t shift = 64; shift > 0; shift -= 4)
            text += digits[word >> (shift - 4) & 0x0fU];
    }
    return text;
}

}  // namespace penmark
