// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string_view>

namespace penmark {

/// A Bloom filter of 16,384 bits over the trigrams of a text, ASCII letters lower-cased: says that a word is not in a
/// text, or that it may be. The hashes are a stored format: of the trigram t = b0 * 65,536 + b1 * 256 + b2 the first is
/// the low 14 bits of h ^ (h >> 16) with h = t * 0x9E3779B1, the second the high 14 bits of t * 0x91B086FB, both in 32
/// bits. Bit n is bit n % 8 of byte n / 8, the lowest first. A value; 2 KiB.
class TextFilter {
public:
    static constexpr std::size_t bytes = 2'048;

    /// Adds an ASCII text; false if it goes on beyond ASCII, with the filter as far as it came. Texts that are added
    /// one after the other have no trigrams in common. Looks at `stop` every 16,384 bytes and throws Cancelled.
    bool addAscii(std::string_view text, const std::stop_token& stop);

    /// The same of any text: trigrams with a byte beyond ASCII are left out. For lookups of ASCII words this says as
    /// much, unless the text holds characters that fold to ASCII.
    void addAsciiOf(std::string_view text, const std::stop_token& stop);

    /// Whether all trigrams of an ASCII word, in any case, are there; true for one of fewer than three bytes.
    bool mayHold(std::string_view word) const noexcept;

    std::array<std::uint8_t, bytes>& bits() { return bits_; }
    const std::array<std::uint8_t, bytes>& bits() const { return bits_; }

private:
    std::array<std::uint8_t, bytes> bits_{};
};

}  // namespace penmark
