// SPDX-License-Identifier: GPL-3.0-or-later
#include "MatchFinder.h"

#include <algorithm>
#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace penmark::lzfse {

namespace {

// Bit i says whether a[i] == b[i], for 16 bytes.
PENMARK_LZFSE_INLINE std::uint32_t equalBytes(const char* a, const char* b)
{
#ifdef __SSE2__
    const __m128i equal = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(equal));
#else
    const auto equalOfEight = [](std::uint64_t x, std::uint64_t y) {
        constexpr std::uint64_t low = 0x7f7f7f7f7f7f7f7f;
        const std::uint64_t differs = x ^ y;
        const std::uint64_t zeros = ~(((differs & low) + low) | differs | low);
        return static_cast<std::uint32_t>(((zeros >> 7) * 0x0102040810204080) >> 56);
    };
    return equalOfEight(load<std::uint64_t>(a), load<std::uint64_t>(b)) |
           equalOfEight(load<std::uint64_t>(a + 8), load<std::uint64_t>(b + 8)) << 8;
#endif
}

// How many bytes are equal from `a` and `b` on, b being the one nearer to the end.
PENMARK_LZFSE_INLINE std::uint32_t equalLength(const char* a, const char* b, const char* end)
{
    const char* const begin = b;
    for (; end - b >= 8; a += 8, b += 8)
        if (const std::uint64_t differs = load<std::uint64_t>(a) ^ load<std::uint64_t>(b); differs != 0)
            return static_cast<std::uint32_t>(b - begin + (std::countr_zero(differs) >> 3));
    while (b != end && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<std::uint32_t>(b - begin);
}

// What a match is worth, in bits, more or less: what its bytes would cost as literals less what the distance costs.
constexpr std::int32_t worth_of_byte = 6;
constexpr std::int32_t cost_of_waiting = 3;  // for each literal before it
constexpr std::int32_t bonus_of_same_distance = 6;
constexpr std::int32_t least_worth = 12;
constexpr std::uint32_t least_length = 4;

// A match in one number, so that the better of two is the larger: worth, bytes to wait, length, distance.
using Match = std::int64_t;
constexpr std::uint32_t worth_bit = 42;
constexpr std::uint32_t wait_bit = 37;
constexpr std::uint32_t length_bit = 32;

constexpr Match one_worth = Match{1} << worth_bit;
constexpr Match one_byte = worth_of_byte * one_worth + (Match{1} << length_bit);
constexpr Match one_wait = (Match{1} << wait_bit) - cost_of_waiting * one_worth;

PENMARK_LZFSE_INLINE std::int32_t worthOf(Match match)
{
    return static_cast<std::int32_t>(match >> worth_bit);
}
PENMARK_LZFSE_INLINE std::uint32_t waitOf(Match match)
{
    return static_cast<std::uint32_t>(match >> wait_bit) & 31;
}
PENMARK_LZFSE_INLINE std::uint32_t lengthOf(Match match)
{
    return static_cast<std::uint32_t>(match >> length_bit) & 31;
}
PENMARK_LZFSE_INLINE std::uint32_t distanceOf(Match match)
{
    return static_cast<std::uint32_t>(match);
}

// How many bytes are equal at the beginning, of what equalBytes returned.
PENMARK_LZFSE_INLINE std::uint32_t leadingBytes(std::uint32_t equal)
{
    return static_cast<std::uint32_t>(std::countr_zero(equal + 1));
}

}  // namespace

// Branches that depend on the text cost more than work that is done in vain. So the search looks at three positions
// at once, counts 16 bytes of every candidate, and takes the best of all without a branch.
struct MatchFinder::Search {
    static constexpr std::uint32_t window = 3;
    static constexpr std::uint32_t counted = 16;
    static constexpr std::size_t reach = window + counted;  // bytes looked at from a position on

    MatchFinder& finder;
    const char* const text;
    const char* const end;
    const std::uint32_t base;

    PENMARK_LZFSE_INLINE std::uint32_t& eight(std::uint64_t bytes) const
    {
        return finder.eights_[bytes * 0xcf1bbcdcb7a56463 >> (64 - table_bits)];
    }
    PENMARK_LZFSE_INLINE std::uint32_t& five(std::uint64_t bytes) const
    {
        return finder.fives_[(bytes << 24) * 0x9e3779b185ebca87 >> (64 - table_bits)];
    }

    PENMARK_LZFSE_INLINE void remember(std::uint32_t at) const
    {
        const auto bytes = load<std::uint64_t>(text + at);
        eight(bytes) = base + at;
        five(bytes) = base + at;
    }

    // The better of both candidates. One from before `oldest` becomes that: a match there is as good as any.
    PENMARK_LZFSE_INLINE Match bestAt(std::uint32_t at, std::uint32_t wait, std::uint32_t oldest) const
    {
        const char* const here = text + at + wait;
        const auto bytes = load<std::uint64_t>(here);
        const std::uint32_t position = base + at + wait;
        const auto exchange = [&](std::uint32_t& entry) PENMARK_LZFSE_INLINE_LAMBDA {
            const std::uint32_t distance = position - std::max(entry, oldest);
            entry = position;
            return distance;
        };
        const auto candidate = [&](std::uint32_t distance) PENMARK_LZFSE_INLINE_LAMBDA {
            return leadingBytes(equalBytes(here - distance, here)) * one_byte + std::countl_zero(distance) * one_worth +
                   distance;
        };
        const std::uint32_t near = exchange(five(bytes));
        const std::uint32_t sure = exchange(eight(bytes));
        return std::max(candidate(near), candidate(sure)) + wait * one_wait - 32 * one_worth;
    }

    // Text often goes on at the distance before after a few bytes that differ.
    PENMARK_LZFSE_INLINE Match bestAtSameDistance(std::uint32_t at, std::uint32_t distance) const
    {
        const std::uint32_t equal = equalBytes(text + at - distance, text + at);
        const std::uint32_t pairs = equal & equal >> 1;
        const std::uint32_t fours = pairs & pairs >> 2;
        const auto wait = static_cast<std::uint32_t>(std::countr_zero(fours | 1U << window));
        return leadingBytes(equal >> wait) * one_byte + wait * one_wait + bonus_of_same_distance * one_worth + distance;
    }

    // Returns how much of the text was handed over.
    PENMARK_LZFSE_INLINE std::size_t run(BlockBuilder& blocks) const
    {
        const auto size = static_cast<std::size_t>(end - text);
        if (size <= reach)
            return 0;
        const auto last = static_cast<std::uint32_t>(size - reach);
        std::uint32_t at = 1;
        std::uint32_t done = 0;
        std::uint32_t lastDistance = 1;
        remember(0);
        while (at < last) {
            const std::uint32_t oldest = base + std::max(at + window, max_distance) - max_distance;
            const std::array<Match, window + 1> found{bestAt(at, 0, oldest), bestAt(at, 1, oldest),
                                                      bestAt(at, 2, oldest), bestAtSameDistance(at, lastDistance)};
            Match best = std::max(std::max(found[0], found[1]), std::max(found[2], found[3]));
            if (worthOf(best) < least_worth || lengthOf(best) < least_length) {
                at += window + std::min((at - done) >> 6, 16U);  // hurry through what cannot be compressed
                continue;
            }
            std::uint32_t begin = at + waitOf(best);
            std::uint32_t length = lengthOf(best);
            std::uint32_t distance = distanceOf(best);
            if (isOpen(best)) {
                best = longest(found, at, length);
                begin = at + waitOf(best);
                distance = distanceOf(best);
            }
            const std::uint32_t next = begin + length;

            // The beginning may have been missed.
            if (begin >= distance + 8) [[likely]] {
                const std::uint64_t differs =
                    load<std::uint64_t>(text + begin - 8) ^ load<std::uint64_t>(text + begin - 8 - distance);
                begin -= std::min(static_cast<std::uint32_t>(std::countl_zero(differs | 1)) >> 3, begin - done);
            }
            blocks.add(text + done, begin - done, distance, next - begin);
            lastDistance = distance;
            // Every third place in a match will do: what is found late is extended backwards.
            for (std::uint32_t i = at + window + 1, stop = std::min(next, last); i < stop; i += 3)
                remember(i);
            at = done = next;
        }
        return done;
    }

    // The match reaches to the end of what was counted.
    PENMARK_LZFSE_INLINE static bool isOpen(Match match)
    {
        return lengthOf(match) == counted || waitOf(match) + lengthOf(match) == counted;
    }

    // The best of those that are open, with their full lengths.
    PENMARK_LZFSE_INLINE Match longest(const std::array<Match, window + 1>& found, std::uint32_t at,
                                       std::uint32_t& length) const
    {
        Match best = 0;
        std::int32_t bestWorth = std::numeric_limits<std::int32_t>::min();
        for (const Match match : found) {
            if (!isOpen(match))
                continue;
            const char* const from = text + at + waitOf(match) + lengthOf(match);
            const std::uint32_t more = equalLength(from - distanceOf(match), from, end);
            const std::int32_t worth = worthOf(match) + static_cast<std::int32_t>(more) * worth_of_byte;
            if (worth > bestWorth) {
                bestWorth = worth;
                best = match;
                length = lengthOf(match) + more;
            }
        }
        return best;
    }
};

std::size_t MatchFinder::searchFast(MatchFinder& self, std::string_view text, BlockBuilder& blocks)
{
    return Search{self, text.data(), text.data() + text.size(), self.base_}.run(blocks);
}

void MatchFinder::find(std::string_view text, BlockBuilder& blocks)
{
    const auto size = static_cast<std::uint32_t>(text.size());
    if (size > std::numeric_limits<std::uint32_t>::max() - base_) {
        eights_.fill(0);
        fives_.fill(0);
        base_ = 0;
    }
    const std::size_t done = fastShifts_ ? searchFast(*this, text, blocks)
                                         : Search{*this, text.data(), text.data() + text.size(), base_}.run(blocks);
    blocks.addInParts(text.data() + done, text.size() - done, 1, 0);
    base_ += size;
}

}  // namespace penmark::lzfse
