// SPDX-License-Identifier: GPL-3.0-or-later
#include "LzvnEncoder.h"

#include "Format.h"
#include "Memory.h"

#include <algorithm>
#include <array>

namespace penmark::lzfse {

namespace {

constexpr std::size_t least_match = 3;
constexpr std::size_t largest_literals = 271;
constexpr std::size_t largest_match = 271;
constexpr std::size_t medium_match = 34;

// Texts are too small for the opcode with a long distance.
static_assert(max_lzvn_text <= 1'536);

class OpcodeWriter {
public:
    explicit OpcodeWriter(char* out) : out_(out) {}

    void put(std::string_view literals, std::size_t distance, std::size_t match)
    {
        if (literals.size() > 3 || match < least_match) {
            putLiterals(literals);
            literals = {};
        }
        if (match >= least_match) {
            const std::size_t run = literals.size();
            const std::size_t fits = std::min(match, 10 - 2 * run);
            const std::size_t code = run << 6 | (fits - least_match) << 3;
            if (distance == distance_ && run == 0) {
                // All of it is what the opcodes below do.
            } else if (distance == distance_) {
                putByte(code | 6);
                putBytes(literals);
                match -= fits;
            } else if (match == fits || match > medium_match) {
                putByte(code | distance >> 8);
                putByte(distance & 0xff);
                putBytes(literals);
                match -= fits;
            } else {
                const std::size_t rest = match - least_match;
                putByte(0xa0 | run << 3 | rest >> 2);
                putByte((distance << 2 | (rest & 3)) & 0xff);
                putByte(distance >> 6);
                putBytes(literals);
                match = 0;
            }
            distance_ = distance;
        }
        while (match != 0) {
            const std::size_t part = std::min(match, largest_match);
            putLength(0xf0, part);
            match -= part;
        }
    }

    char* finish()
    {
        store(out_, std::uint64_t{6});
        return out_ + lzvn_end_size;
    }

private:
    void putLiterals(std::string_view literals)
    {
        while (!literals.empty()) {
            const std::size_t part = std::min(literals.size(), largest_literals);
            putLength(0xe0, part);
            putBytes(literals.substr(0, part));
            literals.remove_prefix(part);
        }
    }

    void putLength(std::size_t opcode, std::size_t length)
    {
        if (length < 16) {
            putByte(opcode | length);
            return;
        }
        putByte(opcode);
        putByte(length - 16);
    }

    void putByte(std::size_t byte) { *out_++ = static_cast<char>(byte); }
    void putBytes(std::string_view bytes) { out_ = std::copy(bytes.begin(), bytes.end(), out_); }

    char* out_;
    std::size_t distance_ = 0;
};

// Chains of the positions that begin with the same three bytes or, rarely, others of the same hash.
class Chains {
public:
    explicit Chains(std::string_view text) : text_(text) { newest_.fill(none); }

    static constexpr std::size_t good_match = 40;  ///< not worth looking for more

    struct Match {
        std::size_t length = 0;
        std::size_t distance = 0;
        std::ptrdiff_t saved = 0;  // bytes
    };

    /// Finds the best match at `at`, then adds `at`.
    Match findAndAdd(std::size_t at, std::size_t lastDistance)
    {
        Match best;
        if (at + least_match > text_.size())
            return best;
        if (lastDistance != 0 && lastDistance <= at)
            consider(at, lastDistance, 1, best);
        int tries = 8;
        for (std::uint16_t other = newest_[hash(at)]; other != none && tries > 0 && best.length < good_match;
             other = before_[other], --tries)
            consider(at, at - other, 2, best);
        add(at);
        return best;
    }

    void add(std::size_t at)
    {
        if (at + least_match > text_.size())
            return;
        std::uint16_t& newest = newest_[hash(at)];
        before_[at] = newest;
        newest = static_cast<std::uint16_t>(at);
    }

private:
    static constexpr std::uint16_t none = 0xffff;

    std::size_t hash(std::size_t at) const
    {
        const auto byte = [&](std::size_t i) {
            return static_cast<std::uint32_t>(static_cast<unsigned char>(text_[i]));
        };
        return (byte(at) | byte(at + 1) << 8 | byte(at + 2) << 16) * 0x9e3779b1U >> 22;
    }

    void consider(std::size_t at, std::size_t distance, std::ptrdiff_t cost, Match& best) const
    {
        std::size_t length = 0;
        while (at + length < text_.size() && text_[at + length] == text_[at + length - distance])
            ++length;
        const std::ptrdiff_t saved = static_cast<std::ptrdiff_t>(length) - cost - (length > 10 ? 1 : 0);
        if (length >= least_match && saved > best.saved)
            best = {length, distance, saved};
    }

    std::string_view text_;
    std::array<std::uint16_t, 1 << 10> newest_{};
    std::array<std::uint16_t, max_lzvn_text> before_{};
};

}  // namespace

std::size_t encodeLzvn(std::string_view text, char* out)
{
    OpcodeWriter writer(out + lzvn_header_size);
    Chains chains(text);
    std::size_t done = 0;
    std::size_t lastDistance = 0;
    for (std::size_t at = 0; at < text.size();) {
        Chains::Match match = chains.findAndAdd(at++, lastDistance);
        if (match.length == 0)
            continue;
        std::size_t begin = at - 1;
        while (at < text.size() && match.length < Chains::good_match) {  // a better one may begin at the next byte
            const Chains::Match next = chains.findAndAdd(at, lastDistance);
            ++at;
            if (next.saved <= match.saved)
                break;
            match = next;
            begin = at - 1;
        }
        writer.put(text.substr(done, begin - done), match.distance, match.length);
        lastDistance = match.distance;
        done = begin + match.length;
        for (; at < done; ++at)
            chains.add(at);
    }
    writer.put(text.substr(done), 0, 0);
    char* const end = writer.finish();

    store(out, lzvn_block);
    store(out + 4, static_cast<std::uint32_t>(text.size()));
    store(out + 8, static_cast<std::uint32_t>(end - out - static_cast<std::ptrdiff_t>(lzvn_header_size)));
    return static_cast<std::size_t>(end - out);
}

}  // namespace penmark::lzfse
