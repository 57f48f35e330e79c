// SPDX-License-Identifier: GPL-3.0-or-later
#include "BlockDecoder.h"

#include "Frequencies.h"
#include "Matches.h"
#include "Memory.h"

#include <algorithm>

namespace penmark::lzfse {

namespace {

PENMARK_LZFSE_INLINE std::uint64_t lowBits(std::uint64_t value, std::uint32_t count)
{
    return value & ((std::uint64_t{1} << count) - 1);
}

// Reads bits from the end of a payload towards its beginning. At least eight bytes must stand before the payload.
class BitReader {
public:
    /// `begin` is where the payload begins, `end` where it ends.
    BitReader(const char* begin, const char* end, std::uint32_t unusedBits)
        : begin_(begin), offset_((end - begin) * 8 - static_cast<std::ptrdiff_t>(unusedBits))
    {}

    /// Makes the next 57 bits available to take().
    PENMARK_LZFSE_INLINE void refill()
    {
        const std::ptrdiff_t left = this->left();
        offset_ = ((left + 7) >> 3) - 8;
        word_ = load<std::uint64_t>(begin_ + offset_);
        offset_ *= 8;
        position_ = static_cast<std::uint32_t>(left - offset_);
    }

    PENMARK_LZFSE_INLINE std::uint64_t take(std::uint32_t count)
    {
        position_ -= count;
        return lowBits(word_ >> (position_ & 63), count);
    }

    /// False once more bits were taken than there are; refill() must not be called any more then.
    PENMARK_LZFSE_INLINE bool valid() const { return left() >= 0; }
    bool empty() const { return left() == 0; }

private:
    PENMARK_LZFSE_INLINE std::ptrdiff_t left() const { return offset_ + static_cast<std::ptrdiff_t>(position_); }

    const char* begin_;
    std::ptrdiff_t offset_;  // of the word, in bits of the payload
    std::uint64_t word_ = 0;
    std::uint32_t position_ = 0;  // of the lowest bit taken so far, in the word
};

// The bits above those in use are 0.
bool endsClean(const char* begin, const char* end, std::uint32_t unusedBits)
{
    if (unusedBits == 0)
        return true;
    return begin != end && (static_cast<unsigned char>(end[-1]) >> (8 - unusedBits)) == 0;
}

}  // namespace

// The loops over the bits. No state leads out of its table, whatever the bits are.
struct BlockDecoder::Loops {
    PENMARK_LZFSE_INLINE static bool readLiterals(const Tables& tables, const BlockHeader& header, const char* begin,
                                                  char* out)
    {
        BitReader bits(begin, begin + header.literalBytes, header.literalUnusedBits);
        std::uint32_t a = header.literalStates[0];
        std::uint32_t b = header.literalStates[1];
        std::uint32_t c = header.literalStates[2];
        std::uint32_t d = header.literalStates[3];
        const LiteralState* const table = tables.literals.data();
        const auto next = [&](std::uint32_t& state) PENMARK_LZFSE_INLINE_LAMBDA {
            const LiteralState entry = table[state];
            state = entry.next + static_cast<std::uint32_t>(bits.take(entry.bits));
            return static_cast<char>(entry.letter);
        };
        for (char* const end = out + header.literals; out != end; out += 4) {
            bits.refill();
            out[0] = next(a);
            out[1] = next(b);
            out[2] = next(c);
            out[3] = next(d);
            if (!bits.valid())
                return false;
        }
        return bits.empty() && (a | b | c | d) == 0;
    }

    PENMARK_LZFSE_INLINE static bool readTriples(const Tables& tables, const BlockHeader& header, const char* begin,
                                                 const char* literals, Output& output)
    {
        BitReader bits(begin + triple_padding, begin + header.tripleBytes, header.tripleUnusedBits);
        std::uint32_t runState = header.runState;
        std::uint32_t matchState = header.matchState;
        std::uint32_t distanceState = header.distanceState;
        const auto next = [&](const auto& table, std::uint32_t& state) PENMARK_LZFSE_INLINE_LAMBDA {
            const ValueState entry = table[state];
            const std::uint64_t taken = bits.take(entry.bits);
            state = entry.next + static_cast<std::uint32_t>(taken >> (entry.extraBits & 63U));
            return entry.base + static_cast<std::uint32_t>(lowBits(taken, entry.extraBits));
        };

        const char* const literalsEnd = literals + header.literals;
        char* at = output.at;
        char* const end = at + header.rawSize;
        // Up to here copies may write more than asked for, as an address: where there is no room for that at all it
        // lies before the output, so that not even a triple of nothing is copied widely.
        const auto address = [](const char* byte) { return reinterpret_cast<std::intptr_t>(byte); };
        const std::intptr_t wideEnd = output.end - end >= wide_margin  ? address(end)
                                      : output.end - at >= wide_margin ? address(output.end - wide_margin)
                                                                       : address(at) - 1;
        std::uint32_t distance = 0;
        for (std::uint32_t i = 0; i < header.triples; ++i) {
            bits.refill();
            const std::uint32_t run = next(tables.runs, runState);
            const std::uint32_t match = next(tables.matches, matchState);
            const std::uint32_t newDistance = next(tables.distances, distanceState);
            if (!bits.valid())
                return false;
            distance = newDistance != 0 ? newDistance : distance;
            const char* const run_begin = literals;
            literals += run;
            if (literals > literalsEnd)
                return false;

            if (static_cast<std::ptrdiff_t>(run) + static_cast<std::ptrdiff_t>(match) <= wideEnd - address(at))
                [[likely]] {
                copy16(at, run_begin);
                if (run > 16) [[unlikely]]
                    copyWide(at + 16, run_begin + 16, run - 16);
                at += run;
                if (static_cast<std::size_t>(distance) - 1 >= static_cast<std::size_t>(at - output.begin))
                    [[unlikely]] {
                    if (match != 0)
                        return false;
                    continue;
                }
                copyMatchWide(at, distance, match);
                at += match;
            } else {
                if (static_cast<std::ptrdiff_t>(run) + static_cast<std::ptrdiff_t>(match) > end - at)
                    return false;
                std::copy_n(run_begin, run, at);
                at += run;
                if (match != 0 && static_cast<std::size_t>(distance) - 1 >= static_cast<std::size_t>(at - output.begin))
                    return false;
                copyMatchExactly(at, distance, match);
                at += match;
            }
        }
        output.at = at;
        return at == end && literalsEnd - literals < 4 && bits.empty() && (runState | matchState | distanceState) == 0;
    }

    PENMARK_LZFSE_FAST_SHIFTS static bool readLiteralsFast(const Tables& tables, const BlockHeader& header,
                                                           const char* begin, char* out)
    {
        return readLiterals(tables, header, begin, out);
    }

    PENMARK_LZFSE_FAST_SHIFTS static bool readTriplesFast(const Tables& tables, const BlockHeader& header,
                                                          const char* begin, const char* literals, Output& output)
    {
        return readTriples(tables, header, begin, literals, output);
    }
};

namespace {

std::uint32_t field(std::uint64_t word, std::uint32_t position, std::uint32_t size)
{
    return static_cast<std::uint32_t>(lowBits(word >> position, size));
}

bool readPackedHeader(std::string_view block, BlockHeader& header, Frequencies& frequencies)
{
    const auto word0 = load<std::uint64_t>(block.data() + 8);
    const auto word1 = load<std::uint64_t>(block.data() + 16);
    const auto word2 = load<std::uint64_t>(block.data() + 24);
    header.literals = field(word0, 0, 20);
    header.literalBytes = field(word0, 20, 20);
    header.triples = field(word0, 40, 20);
    header.literalUnusedBits = 7 - field(word0, 60, 3);
    for (std::uint32_t i = 0; i < 4; ++i)
        header.literalStates[i] = field(word1, 10 * i, 10);
    header.tripleBytes = field(word1, 40, 20);
    header.tripleUnusedBits = 7 - field(word1, 60, 3);
    const std::uint32_t size = field(word2, 0, 32);
    header.runState = field(word2, 32, 10);
    header.matchState = field(word2, 42, 10);
    header.distanceState = field(word2, 52, 10);
    if ((word0 >> 63 | word1 >> 63 | word2 >> 62) != 0)
        return false;
    return unpackFrequencies(block.substr(packed_header_size, size - packed_header_size), frequencies);
}

bool readUnpackedHeader(std::string_view block, BlockHeader& header, Frequencies& frequencies)
{
    const auto number = [&](std::size_t at) { return load<std::uint32_t>(block.data() + at); };
    const auto shortNumber = [&](std::size_t at) { return load<std::uint16_t>(block.data() + at); };
    header.literals = number(12);
    header.triples = number(16);
    header.literalBytes = number(20);
    header.tripleBytes = number(24);
    header.literalUnusedBits = 0 - number(28);
    header.tripleUnusedBits = 0 - number(40);
    for (std::size_t i = 0; i < 4; ++i)
        header.literalStates[i] = shortNumber(32 + 2 * i);
    header.runState = shortNumber(44);
    header.matchState = shortNumber(46);
    header.distanceState = shortNumber(48);
    for (std::size_t i = 0; i < all_symbols; ++i)
        frequencies[i] = shortNumber(50 + 2 * i);
    return shortNumber(770) == 0;
}

bool plausible(const BlockHeader& header)
{
    if (header.literals > max_literals || header.literals % 4 != 0 || header.triples > max_triples)
        return false;
    if (header.literalUnusedBits > 7 || header.tripleUnusedBits > 7 || header.tripleBytes < triple_padding)
        return false;
    for (const std::uint32_t state : header.literalStates)
        if (state >= literal_alphabet.states)
            return false;
    return header.runState < run_alphabet.states && header.matchState < match_alphabet.states &&
           header.distanceState < distance_alphabet.states &&
           header.rawSize <= header.literals + std::uint64_t{max_match} * header.triples;
}

// Calls set(state, symbol, bits, next) for each state. False: the frequencies do not add up to the number of states,
// which is an error in a table that is used.
template <typename Set>
bool fillStates(const Frequencies& frequencies, Alphabet alphabet, bool used, Set set)
{
    const std::uint16_t* const own = &frequencies[alphabet.first];
    std::uint32_t sum = 0;
    for (std::size_t symbol = 0; symbol < alphabet.symbols; ++symbol)
        sum += own[symbol];
    const auto states = static_cast<std::uint32_t>(alphabet.states);
    if (!used)
        return sum <= states;
    if (sum != states)
        return false;

    std::uint32_t state = 0;
    for (std::size_t symbol = 0; symbol < alphabet.symbols; ++symbol) {
        const std::uint32_t frequency = own[symbol];
        if (frequency == 0)
            continue;
        const auto bits = static_cast<std::uint32_t>(std::bit_width(states) - std::bit_width(frequency));
        const std::uint32_t longer = (2 * states >> bits) - frequency;
        for (std::uint32_t i = 0; i < longer; ++i)
            set(state++, symbol, bits, ((frequency + i) << bits) - states);
        for (std::uint32_t i = longer; i < frequency; ++i)
            set(state++, symbol, bits - 1, (i - longer) << (bits - 1));
    }
    return true;
}

}  // namespace

std::optional<std::size_t> BlockDecoder::blockSize(std::string_view stream, std::uint32_t magic)
{
    std::uint64_t size = 0;
    if (magic == packed_header_block) {
        if (stream.size() < packed_header_size)
            return std::nullopt;
        const auto headerSize = load<std::uint32_t>(stream.data() + 24);
        if (headerSize < packed_header_size || headerSize > packed_header_size + max_frequency_bytes)
            return std::nullopt;
        size = std::uint64_t{headerSize} + field(load<std::uint64_t>(stream.data() + 8), 20, 20) +
               field(load<std::uint64_t>(stream.data() + 16), 40, 20);
    } else {
        if (stream.size() < unpacked_header_size)
            return std::nullopt;
        const std::uint64_t payload =
            std::uint64_t{load<std::uint32_t>(stream.data() + 20)} + load<std::uint32_t>(stream.data() + 24);
        if (payload != load<std::uint32_t>(stream.data() + 8))
            return std::nullopt;
        size = unpacked_header_size + payload;
    }
    if (size > stream.size())
        return std::nullopt;
    return static_cast<std::size_t>(size);
}

bool BlockDecoder::makeTables(const BlockHeader& header)
{
    const auto fillValues = [&](Alphabet alphabet, auto& table, const auto& symbols) {
        return fillStates(frequencies_, alphabet, header.triples != 0,
                          [&](std::uint32_t state, std::size_t symbol, std::uint32_t bits, std::uint32_t next) {
                              const auto [base, extraBits] = symbols[symbol];
                              table[state] = {static_cast<std::uint8_t>(extraBits),
                                              static_cast<std::uint8_t>(bits + extraBits),
                                              static_cast<std::uint16_t>(next), base};
                          });
    };
    return fillValues(run_alphabet, tables_.runs, run_symbols) &&
           fillValues(match_alphabet, tables_.matches, match_symbols) &&
           fillValues(distance_alphabet, tables_.distances, distance_symbols) &&
           fillStates(frequencies_, literal_alphabet, header.literals != 0,
                      [&](std::uint32_t state, std::size_t symbol, std::uint32_t bits, std::uint32_t next) {
                          tables_.literals[state] = {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(symbol),
                                                     static_cast<std::uint16_t>(next)};
                      });
}

bool BlockDecoder::decode(std::string_view block, std::uint32_t magic, Output& output)
{
    header_.rawSize = load<std::uint32_t>(block.data() + 4);
    const bool read = magic == packed_header_block ? readPackedHeader(block, header_, frequencies_)
                                                   : readUnpackedHeader(block, header_, frequencies_);
    if (!read || !plausible(header_) || header_.rawSize > static_cast<std::size_t>(output.end - output.at) ||
        !makeTables(header_))
        return false;

    const char* const triples = block.data() + block.size() - header_.tripleBytes;
    const char* const literals = triples - header_.literalBytes;
    if (!endsClean(literals, triples, header_.literalUnusedBits) ||
        !endsClean(triples + triple_padding, block.data() + block.size(), header_.tripleUnusedBits) ||
        load<std::uint64_t>(triples) != 0)
        return false;
    return (fastShifts_ ? Loops::readLiteralsFast : Loops::readLiterals)(tables_, header_, literals,
                                                                         literals_.data()) &&
           (fastShifts_ ? Loops::readTriplesFast : Loops::readTriples)(tables_, header_, triples, literals_.data(),
                                                                       output);
}

}  // namespace penmark::lzfse
