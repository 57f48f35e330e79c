// SPDX-License-Identifier: GPL-3.0-or-later
#include "Frequencies.h"

#include "Memory.h"

#include <algorithm>

namespace penmark::lzfse {

namespace {

struct Code {
    std::uint16_t bits;
    std::uint8_t length;
};

constexpr std::array<Code, 8> small_codes{
    {{0b0, 2}, {0b10, 2}, {0b001, 3}, {0b101, 3}, {0b00011, 5}, {0b01011, 5}, {0b10011, 5}, {0b11011, 5}}};
constexpr std::uint32_t middle = 8;  // from here 8 bits: 0111 and 4 bits of the frequency
constexpr std::uint32_t large = 24;  // from here 14 bits: 1111 and 10 bits

constexpr Code codeFor(std::uint32_t frequency)
{
    if (frequency < middle)
        return small_codes[frequency];
    if (frequency < large)
        return {static_cast<std::uint16_t>(0b0111 | (frequency - middle) << 4), 8};
    return {static_cast<std::uint16_t>(0b1111 | (frequency - large) << 4), 14};
}

struct Prefix {
    std::uint8_t length;
    std::uint8_t frequency;  // of the short codes
};

// By the lowest five bits, which always decide the length.
constexpr auto prefixes = [] {
    std::array<Prefix, 32> table{};
    for (std::uint32_t bits = 0; bits < table.size(); ++bits) {
        if ((bits & 0b1111) == 0b0111)
            table[bits] = {8, 0};
        else if ((bits & 0b1111) == 0b1111)
            table[bits] = {14, 0};
        else
            for (std::uint32_t frequency = 0; frequency < small_codes.size(); ++frequency) {
                const Code code = small_codes[frequency];
                if ((bits & ((1U << code.length) - 1)) == code.bits)
                    table[bits] = {code.length, static_cast<std::uint8_t>(frequency)};
            }
    }
    return table;
}();

}  // namespace

std::size_t packFrequencies(const Frequencies& frequencies, char* out)
{
    char* const begin = out;
    std::uint64_t bits = 0;
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < all_symbols; i += 4) {  // four codes are at most 56 bits
        for (std::size_t j = i; j < i + 4; ++j) {
            const Code code = codeFor(frequencies[j]);
            bits |= static_cast<std::uint64_t>(code.bits) << count;
            count += code.length;
        }
        store(out, bits);
        out += count / 8;
        bits >>= count & ~7U;
        count %= 8;
    }
    return static_cast<std::size_t>(out - begin) + (count != 0 ? 1 : 0);
}

bool unpackFrequencies(std::string_view packed, Frequencies& frequencies)
{
    // A copy with zeros behind it, so that words can be read past the end; one that needs the zeros was cut off.
    std::array<char, max_frequency_bytes + 8> bytes{};
    if (packed.size() > max_frequency_bytes)
        return false;
    std::copy(packed.begin(), packed.end(), bytes.begin());

    std::size_t position = 0;  // in bits
    const std::size_t end = packed.size() * 8;
    for (std::size_t i = 0; i < all_symbols; i += 4) {
        if (position > end)
            return false;
        std::uint64_t bits = load<std::uint64_t>(&bytes[position / 8]) >> position % 8;
        if ((bits & 0xff) == 0) {  // most letters do not occur in a text
            std::fill_n(&frequencies[i], 4, std::uint16_t{0});
            position += 8;
            continue;
        }
        for (std::size_t j = i; j < i + 4; ++j) {
            const Prefix prefix = prefixes[bits & 31];
            std::uint32_t frequency = prefix.frequency;
            if (prefix.length == 8)
                frequency = middle + (bits >> 4 & 0xf);
            else if (prefix.length == 14)
                frequency = large + (bits >> 4 & 0x3ff);
            frequencies[j] = static_cast<std::uint16_t>(frequency);
            bits >>= prefix.length;
            position += prefix.length;
        }
    }
    if (position > end || end - position >= 8)
        return false;
    return position == end || (static_cast<unsigned char>(packed.back()) >> position % 8) == 0;
}

void normalize(std::span<const std::uint32_t> counts, std::size_t states, std::uint16_t* frequencies)
{
    struct Share {
        float count;
        std::uint16_t index;
        std::uint16_t frequency;
        float value;  // bits that the next state more would save, or that one state less would cost
    };
    std::array<Share, literal_alphabet.symbols> shares;  // NOLINT: only those that occur are filled
    std::size_t used = 0;

    std::uint64_t total = 0;
    for (const std::uint32_t count : counts)
        total += count;
    std::fill_n(frequencies, counts.size(), std::uint16_t{0});
    if (total == 0) {
        frequencies[0] = static_cast<std::uint16_t>(states);
        return;
    }

    const float scale = static_cast<float>(states) / static_cast<float>(total);
    auto missing = static_cast<std::int32_t>(states);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] == 0)
            continue;
        const auto count = static_cast<float>(counts[i]);
        const float rounded = 0.5F + count * scale;  // cut off below; never negative, and exact enough for shares
        const auto frequency = std::max<std::int32_t>(1, static_cast<std::int32_t>(rounded));
        missing -= frequency;
        shares[used++] = {count, static_cast<std::uint16_t>(i), static_cast<std::uint16_t>(frequency), 0};
    }

    // A state more or less changes the cost of a symbol by count * log2((f + 1) / f), near count / (f + 1/2).
    const std::span<Share> all(shares.data(), used);
    const auto byValue = [](const Share& a, const Share& b) { return a.value < b.value; };
    const float side = missing > 0 ? 0.5F : -0.5F;
    const auto evaluate = [&](Share& share) {
        const bool fixed = missing < 0 && share.frequency == 1;
        share.value = fixed ? 1e30F : share.count / (static_cast<float>(share.frequency) + side);
    };
    if (missing != 0)
        std::for_each(all.begin(), all.end(), evaluate);
    for (; missing > 0; --missing) {
        Share& best = *std::max_element(all.begin(), all.end(), byValue);
        ++best.frequency;
        evaluate(best);
    }
    for (; missing < 0; ++missing) {
        Share& best = *std::min_element(all.begin(), all.end(), byValue);
        --best.frequency;
        evaluate(best);
    }
    for (const Share& share : all)
        frequencies[share.index] = share.frequency;
}

}  // namespace penmark::lzfse
