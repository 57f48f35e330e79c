// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/LineOrder.h"

#include "base/FunctionRef.h"
#include "text/commands/CommandResult.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

namespace penmark::commands {

namespace {

/// The lines of a block, in a text of their own.
struct BlockText {
    struct Line {
        std::string_view content;
        std::string_view end;
    };

    std::string text;
    std::vector<Line> lines;
};

BlockText readBlock(const TextSnapshot& text, Utf8Range range, std::size_t count)
{
    BlockText block;
    block.text = text.text(range);
    const std::string_view all = block.text;
    std::size_t start = 0;
    while (block.lines.size() < count) {
        const std::size_t end = std::min(all.find_first_of("\r\n", start), all.size());
        std::size_t next = std::min(end + 1, all.size());
        if (end + 1 < all.size() && all[end] == '\r' && all[end + 1] == '\n')
            ++next;
        block.lines.push_back({all.substr(start, end - start), all.substr(end, next - end)});
        start = next;
    }
    return block;
}

/// Which lines of a block come out, and in which order. `rank` is where the text of each line is found again.
struct Arrangement {
    std::vector<std::size_t> order;
    std::vector<std::size_t> rank;
};

Arrangement arrangementOf(std::vector<std::size_t> order)
{
    std::vector<std::size_t> rank(order.size());
    for (std::size_t place = 0; place < order.size(); ++place)
        rank[order[place]] = place;
    return {std::move(order), std::move(rank)};
}

using Arrange = FunctionRef<Arrangement(const std::vector<BlockText::Line>&)>;

/// The arranged text. `starts` becomes where each line of it begins; the last entry is the end of the last content.
std::string arrangedText(const BlockText& block, const std::vector<std::size_t>& order,
                         std::vector<std::size_t>& starts)
{
    const bool allKept = order.size() == block.lines.size();
    std::string text;
    text.reserve(block.text.size());
    for (std::size_t place = 0; place < order.size(); ++place) {
        const BlockText::Line& line = block.lines[order[place]];
        const bool isLast = place + 1 == order.size();
        const std::string_view end = isLast ? block.lines.back().end : allKept ? block.lines[place].end : line.end;
        starts.push_back(text.size());
        text += line.content;
        if (isLast)
            starts.push_back(text.size());
        if (line.content.empty() && !text.empty() && text.back() == '\r' && end.starts_with('\n'))
            text += '\r';
        text += end;
    }
    return text;
}

void placeCarets(CommandResult& result, const CaretSet& carets, const LineBlock& block, LineCursor& lines,
                 const Arrangement& arranged, const std::vector<std::size_t>& starts, Utf8Offset newStart)
{
    for (std::size_t i = block.caretsBegin; i < block.caretsEnd; ++i) {
        const Caret& caret = carets[i];
        if (caret.hasSelection()) {
            const Utf8Offset first = newStart;
            const Utf8Offset end = newStart + starts.back();
            result.place(i, caret.isForward() ? Caret(first, end) : Caret(end, first));
            continue;
        }
        const TextLine& line = lines.containing(caret.head);
        if (line.number > block.last) {
            result.place(i, result.moved(caret.head));
            continue;
        }
        const std::size_t place = arranged.rank[line.number - block.first];
        result.place(i, newStart + starts[place] + (caret.head - line.start));
    }
}

EditResult rearrange(const TextSnapshot& text, const CaretSet& carets, Arrange arrange)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    result.placesInsideInserted();
    for (const LineBlock& block : selectedBlocksOrAll(text, carets)) {
        const Utf8Range range{lines.line(block.first).start, lines.line(block.last).next};
        const BlockText before = readBlock(text, range, block.last - block.first + 1);
        const Arrangement arranged = arrange(before.lines);
        std::vector<std::size_t> starts;
        const std::string after = arrangedText(before, arranged.order, starts);
        const Utf8Offset newStart = result.moved(range.start);
        if (after != before.text)
            result.replace(range, after);
        placeCarets(result, carets, block, lines, arranged, starts, newStart);
    }
    return std::move(result).build();
}

std::string folded(std::string_view text)
{
    std::string key;
    icu::StringByteSink<std::string> sink(&key, static_cast<int32_t>(text.size()));
    UErrorCode error = U_ZERO_ERROR;
    icu::CaseMap::utf8Fold(0, icu::StringPiece(text), sink, nullptr, error);
    return key;
}

constexpr bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

/// The run of digits that the text begins with, without leading zeros; the text goes on behind it.
std::string_view takeNumber(std::string_view& text)
{
    const auto* end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view number = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(number.size());
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

int compareNumeric(std::string_view left, std::string_view right)
{
    while (!left.empty() && !right.empty()) {
        if (isDigit(left.front()) && isDigit(right.front())) {
            const std::string_view first = takeNumber(left);
            const std::string_view second = takeNumber(right);
            if (first.size() != second.size())
                return first.size() < second.size() ? -1 : 1;
            if (const int order = first.compare(second); order != 0)
                return order;
            continue;
        }
        if (left.front() != right.front())
            return static_cast<unsigned char>(left.front()) < static_cast<unsigned char>(right.front()) ? -1 : 1;
        left.remove_prefix(1);
        right.remove_prefix(1);
    }
    return (left.empty() ? 0 : 1) - (right.empty() ? 0 : 1);
}

}  // namespace

EditResult sortLines(const TextSnapshot& text, const CaretSet& carets, const SortOrder& order)
{
    return rearrange(text, carets, [&](const std::vector<BlockText::Line>& lines) {
        std::vector<std::string> keys;
        if (!order.caseSensitive) {
            keys.reserve(lines.size());
            for (const BlockText::Line& line : lines)
                keys.push_back(folded(line.content));
        }
        // The order of UTF-8 bytes is the order of code points.
        const auto compare = [&](std::string_view left, std::string_view right) {
            const int numeric = order.numeric ? compareNumeric(left, right) : 0;
            return numeric != 0 ? numeric : left.compare(right);
        };
        const auto isBefore = [&](std::size_t left, std::size_t right) {
            int compared = keys.empty() ? 0 : compare(keys[left], keys[right]);
            if (compared == 0)
                compared = compare(lines[left].content, lines[right].content);
            return order.descending ? compared > 0 : compared < 0;
        };
        std::vector<std::size_t> sorted(lines.size());
        std::iota(sorted.begin(), sorted.end(), std::size_t(0));
        std::stable_sort(sorted.begin(), sorted.end(), isBefore);
        return arrangementOf(std::move(sorted));
    });
}

EditResult reverseLines(const TextSnapshot& text, const CaretSet& carets)
{
    return rearrange(text, carets, [](const std::vector<BlockText::Line>& lines) {
        std::vector<std::size_t> reversed(lines.size());
        std::iota(reversed.rbegin(), reversed.rend(), std::size_t(0));
        return arrangementOf(std::move(reversed));
    });
}

EditResult uniqueLines(const TextSnapshot& text, const CaretSet& carets)
{
    return rearrange(text, carets, [](const std::vector<BlockText::Line>& lines) {
        Arrangement arranged;
        std::unordered_map<std::string_view, std::size_t> found;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const auto [place, isNew] = found.try_emplace(lines[i].content, arranged.order.size());
            if (isNew)
                arranged.order.push_back(i);
            arranged.rank.push_back(place->second);
        }
        return arranged;
    });
}

}  // namespace penmark::commands
