// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// What blocks look like. A stream is a row of blocks and an end marker; a block that refers to text refers to anything
/// decoded before it in the same stream. Compressed blocks of the main kind hold literals and triples: copy some
/// literals, then copy a match from some distance back.
namespace penmark::lzfse {

constexpr std::uint32_t magic(char kind)
{
    return 0x00'78'76'62 | static_cast<std::uint32_t>(kind) << 24;  // "bvx" and the kind
}

constexpr std::uint32_t stored_block = magic('-');
constexpr std::uint32_t lzvn_block = magic('n');
constexpr std::uint32_t unpacked_header_block = magic('1');
constexpr std::uint32_t packed_header_block = magic('2');
constexpr std::uint32_t end_of_stream = magic('$');

constexpr std::size_t magic_size = 4;
constexpr std::size_t stored_header_size = 8;
constexpr std::size_t lzvn_header_size = 12;
constexpr std::size_t lzvn_end_size = 8;
constexpr std::size_t unpacked_header_size = 772;
constexpr std::size_t packed_header_size = 32;  ///< without the frequency table that follows it
constexpr std::size_t max_frequency_bytes = 630;
constexpr std::size_t triple_padding = 8;  ///< zero bytes before the bits of the triples, for readers of whole words

constexpr std::size_t max_literals = 40'000;
constexpr std::size_t max_triples = 10'000;
constexpr std::uint32_t max_literal_run = 315;
constexpr std::uint32_t max_match = 2'359;
constexpr std::uint32_t max_distance = 262'139;

/// The alphabets, each with a state machine of its own. The number of states is a power of two.
struct Alphabet {
    std::size_t symbols;
    std::size_t states;
    std::size_t first;  ///< index of its first symbol among the frequencies of all
};
constexpr Alphabet run_alphabet{20, 64, 0};
constexpr Alphabet match_alphabet{20, 64, 20};
constexpr Alphabet distance_alphabet{64, 256, 40};
constexpr Alphabet literal_alphabet{256, 1'024, 104};
constexpr std::size_t all_symbols = 360;

using Frequencies = std::array<std::uint16_t, all_symbols>;

/// A value is the base of its symbol plus as many extra bits.
struct Symbol {
    std::uint32_t base;
    std::uint32_t extraBits;
};

template <std::size_t Count>
constexpr std::array<Symbol, Count> symbolsWithExtraBits(std::array<std::uint32_t, 4> lastFour)
{
    std::array<Symbol, Count> symbols{};
    std::uint32_t base = 0;
    for (std::size_t i = 0; i < Count; ++i) {
        symbols[i] = {base, i < Count - 4 ? 0 : lastFour[i - (Count - 4)]};
        base += 1U << symbols[i].extraBits;
    }
    return symbols;
}

constexpr auto run_symbols = symbolsWithExtraBits<run_alphabet.symbols>({2, 3, 5, 8});
constexpr auto match_symbols = symbolsWithExtraBits<match_alphabet.symbols>({3, 5, 8, 11});
constexpr auto distance_symbols = [] {
    std::array<Symbol, distance_alphabet.symbols> symbols{};
    std::uint32_t base = 0;
    for (std::uint32_t i = 0; i < symbols.size(); ++i) {
        symbols[i] = {base, i / 4};
        base += 1U << (i / 4);
    }
    return symbols;
}();

static_assert(run_symbols.back().base == 60 && match_symbols.back().base == 312);
static_assert(distance_symbols.back().base == 229'372);

constexpr std::uint32_t distanceSymbol(std::uint32_t distance)
{
    const std::uint32_t shifted = distance + 4;
    const auto extraBits = static_cast<std::uint32_t>(std::bit_width(shifted)) - 3;
    return 4 * extraBits + (shifted >> (extraBits & 31)) - 4;
}

/// What the header of a block with triples says, in either form.
struct BlockHeader {
    std::uint32_t rawSize = 0;
    std::uint32_t literals = 0;  ///< with the padding to a multiple of four
    std::uint32_t triples = 0;
    std::uint32_t literalBytes = 0;
    std::uint32_t tripleBytes = 0;        ///< with the padding before the bits
    std::uint32_t literalUnusedBits = 0;  ///< at the top of the last byte
    std::uint32_t tripleUnusedBits = 0;
    std::array<std::uint32_t, 4> literalStates{};
    std::uint32_t runState = 0;
    std::uint32_t matchState = 0;
    std::uint32_t distanceState = 0;
};

/// Copy `run` literals, then `match` bytes that begin `distance` bytes back. Distance 0 means the one before.
struct Triple {
    std::uint32_t distance;
    std::uint16_t run;
    std::uint16_t match;
};

}  // namespace penmark::lzfse
