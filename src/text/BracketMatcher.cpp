// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/BracketMatcher.h"

#include "text/PieceWalk.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

namespace penmark {

namespace {

std::string encoded(char32_t c)
{
    const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    if (c < 0x80)
        return {byte(c)};
    if (c < 0x800)
        return {byte(0xc0 | c >> 6), byte(0x80 | (c & 0x3f))};
    if (c < 0x10000)
        return {byte(0xe0 | c >> 12), byte(0x80 | (c >> 6 & 0x3f)), byte(0x80 | (c & 0x3f))};
    return {byte(0xf0 | c >> 18), byte(0x80 | (c >> 12 & 0x3f)), byte(0x80 | (c >> 6 & 0x3f)), byte(0x80 | (c & 0x3f))};
}

// Finds given brackets in pieces of text, most of which it passes with one table look-up a byte.
class BracketFinder {
public:
    explicit BracketFinder(std::span<const BracketPair> pairs)
    {
        for (const BracketPair& pair : pairs) {
            add(pair.open);
            add(pair.close);
        }
    }

    // The index among the brackets (opening ones are even) of the one that begins at the byte; absent if none does.
    std::optional<std::size_t> at(std::string_view piece, std::size_t byte) const
    {
        if (!begins_[static_cast<unsigned char>(piece[byte])])
            return std::nullopt;
        for (std::size_t i = 0; i < brackets_.size(); ++i)
            if (piece.substr(byte).starts_with(brackets_[i]))
                return i;
        return std::nullopt;
    }

    std::size_t bytes(std::size_t index) const { return brackets_[index].size(); }

private:
    void add(char32_t bracket)
    {
        brackets_.push_back(encoded(bracket));
        begins_[static_cast<unsigned char>(brackets_.back()[0])] = true;
    }

    std::array<bool, 256> begins_{};
    std::vector<std::string> brackets_;
};

Utf8Range bracketRange(char32_t bracket, Utf8Offset at)
{
    return {at, at + encoded(bracket).size()};
}

// The characters before a byte that may be in the middle of one.
Utf8Offset before(const TextSnapshot& text, Utf8Offset position, std::size_t bytes)
{
    return text.characterStart(Utf8Offset(position.value - std::min(position.value, bytes)));
}

Utf8Offset behind(const TextSnapshot& text, Utf8Offset position, std::size_t bytes)
{
    return text.characterStart(position + std::min(bytes, text.end() - position));
}

}  // namespace

std::optional<BracketMatch> BracketMatcher::at(Utf8Offset position) const
{
    position = std::min(position, text_.end());
    if (position < text_.end())
        if (const auto match = matchOf(text_.characterAt(position), position))
            return match;
    if (position.value == 0)
        return std::nullopt;
    const Utf8Offset previous = text_.characterStart(position - 1);
    return matchOf(text_.characterAt(previous), previous);
}

std::optional<BracketMatch> BracketMatcher::matchOf(char32_t bracket, Utf8Offset at) const
{
    for (const BracketPair& pair : rules_.pairs) {
        if (bracket == pair.open) {
            const Utf8Range open = bracketRange(bracket, at);
            const auto close = closeOf(pair, open.end, behind(text_, open.end, rules_.limit), isSkipped(at));
            return close ? std::optional(BracketMatch{open, bracketRange(pair.close, *close)}) : std::nullopt;
        }
        if (bracket == pair.close) {
            const auto open = openOf(pair, at, before(text_, at, rules_.limit), isSkipped(at));
            return open ? std::optional(BracketMatch{bracketRange(pair.open, *open), bracketRange(bracket, at)})
                        : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<Utf8Offset> BracketMatcher::closeOf(const BracketPair& pair, Utf8Offset from, Utf8Offset limit,
                                                  bool skipped) const
{
    const BracketFinder finder({&pair, 1});
    std::optional<Utf8Offset> found;
    std::size_t depth = 0;
    text_.forEachPiece({from, limit}, [&](std::string_view piece) {
        for (std::size_t i = 0; i < piece.size(); ++i) {
            const auto bracket = finder.at(piece, i);
            if (!bracket || isSkipped(from + i) != skipped)
                continue;
            if (*bracket == 0) {
                ++depth;
            } else if (depth-- == 0) {
                found = from + i;
                return false;
            }
        }
        from += piece.size();
        return true;
    });
    return found;
}

std::optional<Utf8Offset> BracketMatcher::openOf(const BracketPair& pair, Utf8Offset from, Utf8Offset limit,
                                                 bool skipped) const
{
    const BracketFinder finder({&pair, 1});
    std::optional<Utf8Offset> found;
    std::size_t depth = 0;
    forEachPieceBackward(text_, {limit, from}, [&](Utf8Offset start, std::string_view piece) {
        for (std::size_t i = piece.size(); i-- > 0;) {
            const auto bracket = finder.at(piece, i);
            if (!bracket || isSkipped(start + i) != skipped)
                continue;
            if (*bracket == 1) {
                ++depth;
            } else if (depth-- == 0) {
                found = start + i;
                return false;
            }
        }
        return true;
    });
    return found;
}

// Walks outwards over the opening brackets that are still open at the start of the range, and takes the first whose
// closing bracket comes behind the range. For each kind of pair one forward search is enough: it goes on where the
// last one ended.
std::optional<BracketMatch> BracketMatcher::enclosing(Utf8Range range) const
{
    struct Side {
        std::size_t depth = 0;  // closing brackets without their opening one on the way back
        Utf8Offset at;          // where the search for the next closing one goes on
        bool exhausted = false;
    };
    range.end = std::min(range.end, text_.end());
    range.start = std::min(range.start, range.end);
    const bool skipped = isSkipped(range.start);
    const Utf8Offset limit = behind(text_, range.end, rules_.limit);
    const BracketFinder finder(rules_.pairs);
    std::vector<Side> sides(rules_.pairs.size());
    for (Side& side : sides)
        side.at = range.start;

    std::optional<BracketMatch> match;
    const Utf8Offset first = before(text_, range.start, rules_.limit);
    forEachPieceBackward(text_, {first, range.start}, [&](Utf8Offset start, std::string_view piece) {
        for (std::size_t i = piece.size(); i-- > 0;) {
            const auto bracket = finder.at(piece, i);
            if (!bracket || isSkipped(start + i) != skipped)
                continue;
            Side& side = sides[*bracket / 2];
            if (*bracket % 2 == 1) {
                ++side.depth;
                continue;
            }
            if (side.depth > 0) {
                --side.depth;
                continue;
            }
            if (side.exhausted)
                continue;
            const BracketPair& pair = rules_.pairs[*bracket / 2];
            const auto close = closeOf(pair, side.at, limit, skipped);
            if (!close) {
                side.exhausted = true;
            } else if (*close >= range.end) {
                match = {bracketRange(pair.open, start + i), bracketRange(pair.close, *close)};
                return false;
            } else {
                side.at = bracketRange(pair.close, *close).end;
            }
        }
        return true;
    });
    return match;
}

}  // namespace penmark
