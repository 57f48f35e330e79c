// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/WordMarks.h"

#include "base/SystemError.h"
#include "organization/LineDiff.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace penmark {

namespace {

enum class Kind : std::uint8_t { word, blank, single };

bool isAsciiWord(char32_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

Kind kindOf(UChar32 c)
{
    if (c < 0x80)
        return isAsciiWord(static_cast<char32_t>(c))             ? Kind::word
               : c == ' ' || c == '\t' || c == '\v' || c == '\f' ? Kind::blank
                                                                 : Kind::single;
    if (u_isUWhiteSpace(c))
        return Kind::blank;
    if (!u_isalnum(c))
        return Kind::single;
    switch (u_getIntPropertyValue(c, UCHAR_LINE_BREAK)) {
    case U_LB_IDEOGRAPHIC:
    case U_LB_CONDITIONAL_JAPANESE_STARTER:
    case U_LB_COMPLEX_CONTEXT:
        return Kind::single;  // no blanks show where its words end
    default:
        return Kind::word;
    }
}

// Whether the character is drawn together with the one before it.
bool attaches(UChar32 c, UChar32 before, bool isBeforeInFlag)
{
    if (c < 0x300)
        return false;
    switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_EXTEND:
    case U_GCB_SPACING_MARK:
    case U_GCB_ZWJ:
        return true;
    case U_GCB_REGIONAL_INDICATOR:
        return isBeforeInFlag;
    default:
        return before == 0x200d && u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC);
    }
}

struct Token {
    std::string_view bytes;
    std::size_t units = 0;  // UTF-16
    Kind kind = Kind::single;
};

std::vector<Token> tokensOf(std::string_view line)
{
    std::vector<Token> tokens;
    UChar32 before = 0;
    bool opensFlag = false;  // whether the character before is the first half of one
    for (std::size_t i = 0; i < line.size();) {
        const std::size_t start = i;
        UChar32 c = 0;
        U8_NEXT_UNSAFE(line.data(), i, c);
        const Kind kind = kindOf(c);
        const bool isAttached = !tokens.empty() && attaches(c, before, opensFlag);
        if (!isAttached && (tokens.empty() || kind == Kind::single || tokens.back().kind != kind))
            tokens.push_back({line.substr(start, 0), 0, kind});
        Token& token = tokens.back();
        token.bytes = {token.bytes.data(), token.bytes.size() + (i - start)};
        token.units += c < 0x10000 ? 1 : 2;
        opensFlag = !isAttached && c >= 0x1f1e6 && c <= 0x1f1ff;
        before = c;
    }
    return tokens;
}

// A line as it is compared.
struct TokenLine {
    TokenLine(std::string_view line, PieceNumbers& pieces) : tokens(tokensOf(line))
    {
        numbers.reserve(tokens.size());
        for (const Token& token : tokens) {
            numbers.push_back(pieces.numberOf(token.bytes));
            if (token.kind == Kind::blank)
                continue;
            weight += token.units;
            letters.emplace_back(numbers.back(), token.units);
        }
        std::sort(letters.begin(), letters.end());
    }

    std::vector<Token> tokens;
    std::vector<std::uint32_t> numbers;
    std::vector<std::pair<std::uint32_t, std::size_t>> letters;  // the tokens that are not blank, sorted, with lengths
    std::size_t weight = 0;                                      // UTF-16 units of them
};

// UTF-16 units that both lines have, wherever they stand: at least as many as can be in common in order.
std::size_t unitsInBoth(const TokenLine& a, const TokenLine& b)
{
    std::size_t units = 0;
    auto i = a.letters.begin();
    auto j = b.letters.begin();
    while (i != a.letters.end() && j != b.letters.end()) {
        if (i->first == j->first) {
            units += i->second;
            ++i;
            ++j;
        } else if (i->first < j->first) {
            ++i;
        } else {
            ++j;
        }
    }
    return units;
}

bool isEnough(std::size_t unitsInCommon, const TokenLine& a, const TokenLine& b)
{
    return 6 * unitsInCommon >= a.weight + b.weight;
}

using Place = std::pair<std::size_t, std::size_t>;
using TokenLines = std::vector<TokenLine>;

// The pairs, in order, that have the most in common together.
std::vector<Place> bestPairs(const TokenLines& removed, const TokenLines& added, const std::stop_token& stop)
{
    const std::size_t width = added.size() + 1;
    std::vector<std::uint32_t> best((removed.size() + 1) * width, 0);
    for (std::size_t i = 0; i < removed.size(); ++i) {
        if (stop.stop_requested())
            throw Cancelled();
        for (std::size_t j = 0; j < added.size(); ++j) {
            const std::size_t units = unitsInBoth(removed[i], added[j]);
            std::uint32_t& here = best[(i + 1) * width + j + 1];
            here = std::max(best[i * width + j + 1], best[(i + 1) * width + j]);
            if (isEnough(units, removed[i], added[j]))
                here = std::max(here, best[i * width + j] + static_cast<std::uint32_t>(units) + 1);
        }
    }
    std::vector<Place> pairs;
    for (std::size_t i = removed.size(), j = added.size(); i > 0 && j > 0;) {
        if (best[i * width + j] == best[(i - 1) * width + j])
            --i;
        else if (best[i * width + j] == best[i * width + j - 1])
            --j;
        else
            pairs.emplace_back(--i, --j);
    }
    std::reverse(pairs.begin(), pairs.end());
    return pairs;
}

std::vector<Place> pairsInPlace(std::size_t count)
{
    std::vector<Place> pairs;
    for (std::size_t i = 0; i < count; ++i)
        pairs.emplace_back(i, i);
    return pairs;
}

// Collects the changed tokens of one side.
class MarkedSide {
public:
    explicit MarkedSide(const TokenLine& line) : line_(line) {}

    void pass(std::size_t count, bool isChanged)
    {
        for (; count > 0; --count, ++next_) {
            const Token& token = line_.tokens[next_];
            const Utf16Offset start = end_;
            end_ += token.units;
            if (isChanged)
                mark({start, end_});
            else if (token.kind != Kind::blank)
                unmarked_ = end_;
        }
    }

    std::vector<Utf16Range> take() { return std::move(marks_); }

private:
    void mark(Utf16Range range)
    {
        if (!marks_.empty() && unmarked_ <= marks_.back().end)
            marks_.back().end = range.end;
        else
            marks_.push_back(range);
    }

    const TokenLine& line_;
    std::size_t next_ = 0;
    Utf16Offset end_;
    Utf16Offset unmarked_;  // where the last token ends that is neither changed nor blank
    std::vector<Utf16Range> marks_;
};

// With more changes in a line than this, marks would say less than the whole line.
constexpr std::size_t most_edits_in_line = 1'000;

// Absent if there are too many changes, in this line or by now. A script costs at most the square of its edits.
std::optional<EditScript> affordableScript(std::span<const std::uint32_t> a, std::span<const std::uint32_t> b,
                                           std::size_t& stepsLeft, const std::stop_token& stop)
{
    const auto most = std::min(most_edits_in_line, static_cast<std::size_t>(std::sqrt(stepsLeft)));
    auto script = shortestEditScript(a, b, most, stop);
    std::size_t edits = script ? 0 : most;
    if (script)
        for (const Edit& edit : *script)
            edits += edit.kind == Edit::Kind::keep ? 0 : edit.count;
    stepsLeft -= std::min(stepsLeft, edits * edits);
    return script;
}

std::optional<MarkedPair> markedPair(const TokenLine& removed, const TokenLine& added, std::size_t& stepsLeft,
                                     const std::stop_token& stop)
{
    if (!isEnough(unitsInBoth(removed, added), removed, added))
        return std::nullopt;
    const CommonEnds ends = commonEnds(removed.numbers, added.numbers);
    const auto middle = [&](const TokenLine& line) {
        return std::span(line.numbers).subspan(ends.start, line.numbers.size() - ends.start - ends.end);
    };
    const auto a = middle(removed);
    const auto b = middle(added);
    const std::optional<EditScript> script = affordableScript(a, b, stepsLeft, stop);
    if (!script)
        return std::nullopt;
    MarkedSide removedSide(removed);
    MarkedSide addedSide(added);
    std::size_t inCommon = 0;
    std::size_t at = 0;  // tokens of the removed line
    const auto keep = [&](std::size_t count) {
        removedSide.pass(count, false);
        addedSide.pass(count, false);
        for (; count > 0; --count, ++at)
            inCommon += removed.tokens[at].kind == Kind::blank ? 0 : removed.tokens[at].units;
    };
    keep(ends.start);
    for (const Edit& edit : *script) {
        if (edit.kind == Edit::Kind::keep) {
            keep(edit.count);
        } else if (edit.kind == Edit::Kind::remove) {
            removedSide.pass(edit.count, true);
            at += edit.count;
        } else {
            addedSide.pass(edit.count, true);
        }
    }
    keep(ends.end);
    if (!isEnough(inCommon, removed, added))
        return std::nullopt;
    return MarkedPair{0, 0, removedSide.take(), addedSide.take()};
}

TokenLines tokenLines(std::span<const std::string_view> lines, PieceNumbers& pieces)
{
    TokenLines result;
    result.reserve(lines.size());
    for (const std::string_view line : lines)
        result.emplace_back(line, pieces);
    return result;
}

std::size_t letterCount(const TokenLines& lines)
{
    std::size_t count = 0;
    for (const TokenLine& line : lines)
        count += line.letters.size() + 1;
    return count;
}

// What looking for the best pairs may cost in one group of lines.
constexpr std::size_t most_pairing_steps = 2'000'000;

}  // namespace

std::vector<MarkedPair> WordMarks::mark(std::span<const std::string_view> removed,
                                        std::span<const std::string_view> added, const std::stop_token& stop)
{
    if (removed.empty() || added.empty())
        return {};
    PieceNumbers pieces;
    const TokenLines a = tokenLines(removed, pieces);
    const TokenLines b = tokenLines(added, pieces);
    const std::size_t pairingSteps = a.size() * letterCount(b) + b.size() * letterCount(a);
    const bool isSmall = pairingSteps <= std::min(most_pairing_steps, stepsLeft_);
    if (isSmall)
        stepsLeft_ -= pairingSteps;
    std::vector<MarkedPair> marked;
    for (const auto& [i, j] : isSmall ? bestPairs(a, b, stop) : pairsInPlace(std::min(a.size(), b.size()))) {
        if (auto pair = markedPair(a[i], b[j], stepsLeft_, stop)) {
            pair->removed = i;
            pair->added = j;
            marked.push_back(std::move(*pair));
        }
    }
    return marked;
}

}  // namespace penmark
