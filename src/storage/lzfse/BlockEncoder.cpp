// SPDX-License-Identifier: GPL-3.0-or-later
#include "BlockEncoder.h"

#include "Frequencies.h"
#include "Memory.h"

#include <algorithm>

namespace penmark::lzfse {

namespace {

template <std::size_t Values, std::size_t Count>
constexpr std::array<std::uint8_t, Values> symbolsOfValues(const std::array<Symbol, Count>& symbols)
{
    std::array<std::uint8_t, Values> table{};
    for (std::size_t symbol = 0; symbol < Count; ++symbol)
        for (std::size_t value = symbols[symbol].base; value < Values; ++value)
            table[value] = static_cast<std::uint8_t>(symbol);
    return table;
}

constexpr auto symbol_of_run = symbolsOfValues<max_literal_run + 1>(run_symbols);
constexpr auto symbol_of_match = symbolsOfValues<max_match + 1>(match_symbols);

// How a symbol moves the state. A state here is its number plus the number of states, so that the bits to write are
// its lowest ones; (state + bits) >> 16 is how many.
struct Transition {
    std::uint32_t bits;
    std::uint32_t next;
};

struct ValueTransition {
    Transition transition;
    std::uint32_t base;
    std::uint32_t extraBits;
};

template <typename Set>
void makeTransitions(const std::uint16_t* frequencies, Alphabet alphabet, Set set)
{
    std::uint32_t start = 0;
    const auto states = static_cast<std::uint32_t>(alphabet.states);
    for (std::size_t i = 0; i < alphabet.symbols; ++i) {
        const std::uint32_t frequency = frequencies[i];
        if (frequency == 0)
            continue;
        const auto shift = static_cast<std::uint32_t>(std::bit_width(states) - std::bit_width(frequency));
        set(i, Transition{(shift << 16) - (frequency << shift), states + start - frequency});
        start += frequency;
    }
}

struct BitWriter {
    char* out;
    std::uint64_t bits = 0;
    std::uint32_t count = 0;

    PENMARK_LZFSE_INLINE void put(std::uint64_t value, std::uint32_t length)
    {
        bits |= value << count;
        count += length;
    }

    // At most 7 bits stay behind, so up to 57 can be put before the next call.
    PENMARK_LZFSE_INLINE void flush()
    {
        store(out, bits);
        out += count / 8;
        bits >>= count & ~7U;
        count %= 8;
    }

    /// Writes the last bits and returns how many bits of the last byte are unused.
    std::uint32_t finish()
    {
        flush();
        if (count == 0)
            return 0;
        ++out;
        return 8 - count;
    }
};

PENMARK_LZFSE_INLINE std::uint64_t lowBits(std::uint64_t value, std::uint32_t count)
{
    return value & ((std::uint64_t{1} << count) - 1);
}

PENMARK_LZFSE_INLINE void putSymbol(BitWriter& writer, const Transition& transition, std::uint32_t& state)
{
    const std::uint32_t count = (state + transition.bits) >> 16;
    writer.put(lowBits(state, count), count);
    state = (state >> count) + transition.next;
}

using LiteralTransitions = std::array<Transition, literal_alphabet.symbols>;

// Everything is written in reverse, since it is read from the end.
PENMARK_LZFSE_INLINE char* putLiterals(const LiteralTransitions& transitions, std::span<const char> literals,
                                       BlockHeader& header, char* out)
{
    BitWriter writer{out};
    constexpr std::uint32_t states = literal_alphabet.states;
    std::array<std::uint32_t, 4> state{states, states, states, states};
    const auto* const begin = reinterpret_cast<const unsigned char*>(literals.data());
    for (const auto* at = begin + literals.size(); at != begin;) {
        at -= 4;
        putSymbol(writer, transitions[at[3]], state[3]);
        putSymbol(writer, transitions[at[2]], state[2]);
        putSymbol(writer, transitions[at[1]], state[1]);
        putSymbol(writer, transitions[at[0]], state[0]);
        writer.flush();
    }
    for (std::size_t i = 0; i < 4; ++i)
        header.literalStates[i] = state[i] - states;
    header.literalUnusedBits = writer.finish();
    return writer.out;
}

struct TripleTransitions {
    std::array<ValueTransition, run_alphabet.symbols> runs;
    std::array<ValueTransition, match_alphabet.symbols> matches;
    std::array<ValueTransition, distance_alphabet.symbols> distances;
};

PENMARK_LZFSE_INLINE void putValue(BitWriter& writer, const ValueTransition& value, std::uint32_t number,
                                   std::uint32_t& state)
{
    const std::uint32_t count = (state + value.transition.bits) >> 16;
    writer.put(lowBits(state, count) << value.extraBits | (number - value.base), count + value.extraBits);
    state = (state >> count) + value.transition.next;
}

PENMARK_LZFSE_INLINE char* putTriples(const TripleTransitions& transitions, std::span<const Triple> triples,
                                      const std::uint32_t* symbols, BlockHeader& header, char* out)
{
    BitWriter writer{out};
    std::uint32_t runState = run_alphabet.states;
    std::uint32_t matchState = match_alphabet.states;
    std::uint32_t distanceState = distance_alphabet.states;
    for (std::size_t i = triples.size(); i-- > 0;) {
        const Triple triple = triples[i];
        const std::uint32_t symbol = symbols[i];
        putValue(writer, transitions.distances[symbol >> 16], triple.distance, distanceState);
        putValue(writer, transitions.matches[symbol >> 8 & 0xff], triple.match, matchState);
        putValue(writer, transitions.runs[symbol & 0xff], triple.run, runState);
        writer.flush();
    }
    header.runState = runState - static_cast<std::uint32_t>(run_alphabet.states);
    header.matchState = matchState - static_cast<std::uint32_t>(match_alphabet.states);
    header.distanceState = distanceState - static_cast<std::uint32_t>(distance_alphabet.states);
    header.tripleUnusedBits = writer.finish();
    return writer.out;
}

PENMARK_LZFSE_FAST_SHIFTS char* putLiteralsFast(const LiteralTransitions& transitions, std::span<const char> literals,
                                                BlockHeader& header, char* out)
{
    return putLiterals(transitions, literals, header, out);
}

PENMARK_LZFSE_FAST_SHIFTS char* putTriplesFast(const TripleTransitions& transitions, std::span<const Triple> triples,
                                               const std::uint32_t* symbols, BlockHeader& header, char* out)
{
    return putTriples(transitions, triples, symbols, header, out);
}

std::uint64_t field(std::uint64_t value, std::uint32_t position)
{
    return value << position;
}

void writeHeader(const BlockHeader& header, std::size_t headerSize, char* out)
{
    store(out, packed_header_block);
    store(out + 4, header.rawSize);
    store(out + 8, field(header.literals, 0) | field(header.literalBytes, 20) | field(header.triples, 40) |
                       field(7 - header.literalUnusedBits, 60));
    store(out + 16, field(header.literalStates[0], 0) | field(header.literalStates[1], 10) |
                        field(header.literalStates[2], 20) | field(header.literalStates[3], 30) |
                        field(header.tripleBytes, 40) | field(7 - header.tripleUnusedBits, 60));
    store(out + 24, field(headerSize, 0) | field(header.runState, 32) | field(header.matchState, 42) |
                        field(header.distanceState, 52));
}

}  // namespace

void BlockEncoder::countSymbols(std::span<const char> literals, std::span<Triple> triples)
{
    counts_.fill(0);

    // Two tables by turns: the same letter twice in a row would wait for its own count.
    std::array<std::uint32_t, literal_alphabet.symbols> others{};
    std::uint32_t* const counts = &counts_[literal_alphabet.first];
    const auto* const bytes = reinterpret_cast<const unsigned char*>(literals.data());
    std::size_t i = 0;
    for (; i + 2 <= literals.size(); i += 2) {
        ++counts[bytes[i]];
        ++others[bytes[i + 1]];
    }
    if (i < literals.size())
        ++counts[bytes[i]];
    for (std::size_t symbol = 0; symbol < others.size(); ++symbol)
        counts[symbol] += others[symbol];

    std::uint32_t previous = 0;
    for (std::size_t at = 0; at < triples.size(); ++at) {
        Triple& triple = triples[at];
        const std::uint32_t distance = triple.distance == previous ? 0 : triple.distance;
        previous = triple.distance;
        triple.distance = distance;
        const std::uint32_t run = symbol_of_run[triple.run];
        const std::uint32_t match = symbol_of_match[triple.match];
        const std::uint32_t symbol = distanceSymbol(distance);
        ++counts_[run_alphabet.first + run];
        ++counts_[match_alphabet.first + match];
        ++counts_[distance_alphabet.first + symbol];
        symbols_[at] = run | match << 8 | symbol << 16;
    }
}

std::size_t BlockEncoder::encode(std::span<char> literals, std::span<Triple> triples, std::uint32_t rawSize, char* out)
{
    countSymbols(literals, triples);
    for (const Alphabet& alphabet : {run_alphabet, match_alphabet, distance_alphabet, literal_alphabet})
        normalize({&counts_[alphabet.first], alphabet.symbols}, alphabet.states, &frequencies_[alphabet.first]);

    BlockHeader header;
    header.rawSize = rawSize;
    header.triples = static_cast<std::uint32_t>(triples.size());

    char* const payload = out + packed_header_size + packFrequencies(frequencies_, out + packed_header_size);

    // The commonest letter costs least as padding.
    const auto* const letters = &frequencies_[literal_alphabet.first];
    const auto padding = static_cast<char>(std::max_element(letters, letters + literal_alphabet.symbols) - letters);
    std::size_t padded = literals.size();
    for (; padded % 4 != 0; ++padded)
        literals.data()[padded] = padding;
    header.literals = static_cast<std::uint32_t>(padded);

    LiteralTransitions letterTransitions;  // NOLINT(*-member-init): only those of symbols that occur are used
    makeTransitions(letters, literal_alphabet, [&](std::size_t i, Transition t) { letterTransitions[i] = t; });
    TripleTransitions valueTransitions;  // NOLINT(*-member-init)
    const auto makeValueTransitions = [&](Alphabet alphabet, auto& into, const auto& symbols) {
        makeTransitions(&frequencies_[alphabet.first], alphabet, [&](std::size_t i, Transition t) {
            into[i] = {t, symbols[i].base, symbols[i].extraBits};
        });
    };
    makeValueTransitions(run_alphabet, valueTransitions.runs, run_symbols);
    makeValueTransitions(match_alphabet, valueTransitions.matches, match_symbols);
    makeValueTransitions(distance_alphabet, valueTransitions.distances, distance_symbols);

    char* const tripleBytes =
        (fastShifts_ ? putLiteralsFast : putLiterals)(letterTransitions, {literals.data(), padded}, header, payload);
    store(tripleBytes, std::uint64_t{0});
    char* const end = (fastShifts_ ? putTriplesFast : putTriples)(valueTransitions, triples, symbols_.data(), header,
                                                                  tripleBytes + triple_padding);
    header.literalBytes = static_cast<std::uint32_t>(tripleBytes - payload);
    header.tripleBytes = static_cast<std::uint32_t>(end - tripleBytes);
    writeHeader(header, static_cast<std::size_t>(payload - out), out);
    return static_cast<std::size_t>(end - out);
}

}  // namespace penmark::lzfse
