// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchHits.h"

#include "base/SystemError.h"
#include "base/TextSummary.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

namespace penmark {

namespace {

constexpr std::size_t before = 200;  // characters before a match that lies far behind its line's start

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// As many whole characters from `from` on as there are, `most` at most; returns the byte behind them.
std::size_t forward(std::string_view text, std::size_t from, std::size_t most)
{
    for (; most && from < text.size(); --most) {
        ++from;
        while (from < text.size() && isContinuation(text[from]))
            ++from;
    }
    return from;
}

/// The same backwards, not beyond `start`.
std::size_t backward(std::string_view text, std::size_t from, std::size_t start, std::size_t most)
{
    for (; most && from > start; --most) {
        --from;
        while (from > start && isContinuation(text[from]))
            --from;
    }
    return from;
}

std::size_t lastLineEnd(std::string_view text)
{
    const auto last = [text](char byte) {
        const void* const found = ::memrchr(text.data(), byte, text.size());
        return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) + 1 : 0;
    };
    return text.empty() ? 0 : std::max(last('\n'), last('\r'));
}

/// Up to the first line end.
std::size_t lineLength(std::string_view text)
{
    const std::string_view upToLineFeed = text.substr(0, text.find('\n'));
    return std::min(upToLineFeed.size(), upToLineFeed.find('\r'));
}

/// Goes forwards through a text and knows on which line it is.
class LineWalk {
public:
    explicit LineWalk(std::string_view text) : text_(text) {}

    void goTo(const TextMatch& match)
    {
        const std::size_t to = match.bytes.start.value;
        const std::string_view gap = text_.substr(at_, to - at_);
        lines_ += summarize(gap);
        at_ = to;
        const std::string_view lines = gap.substr(0, gap.size() - (isInsideLineEnd() && !gap.empty() ? 1 : 0));
        if (const std::size_t behind = lastLineEnd(lines)) {
            lineStart_ = to - gap.size() + behind;
            lineUnits_ = match.range.start.value - utf16Length(gap.substr(behind));
        }
    }

    /// From 1.
    std::size_t line() const { return lines_.lineEnds() + (isInsideLineEnd() ? 0 : 1); }
    std::size_t lineStart() const { return lineStart_; }
    std::size_t lineUnits() const { return lineUnits_; }  ///< UTF-16 units before the line

private:
    /// What lies between the CR and the LF of one line end is on the line that they end.
    bool isInsideLineEnd() const { return lines_.endsWithCarriageReturn && at_ < text_.size() && text_[at_] == '\n'; }

    std::string_view text_;
    std::size_t at_ = 0;
    TextSummary lines_;
    std::size_t lineStart_ = 0;
    std::size_t lineUnits_ = 0;
};

void takeLine(std::string_view text, const LineWalk& walk, TextSearchHit& hit)
{
    const std::size_t matchStart = hit.match.bytes.start.value;
    const std::size_t matchEnd = hit.match.bytes.end.value;
    hit.line = walk.line();
    hit.column = hit.match.range.start.value - walk.lineUnits() + 1;

    std::size_t start = walk.lineStart();
    std::size_t end = start + lineLength(text.substr(start, TextSearchHit::textLimit));
    if (end == start + TextSearchHit::textLimit) {  // bytes; what is to be shown of a long line are characters
        end = forward(text, start, TextSearchHit::textLimit);
        if (end < matchEnd && matchStart > start) {
            start = backward(text, matchStart, start, before);
            end = forward(text, start, TextSearchHit::textLimit);
        }
        end = start + lineLength(text.substr(start, end - start));
    }
    hit.textStart = hit.column - 1 - utf16Length(text.substr(start, matchStart - start));
    hit.text = text.substr(start, end - start);
    const auto within = [&](std::size_t offset) { return Utf8Offset(std::clamp(offset, start, end) - start); };
    hit.mark = {within(matchStart), within(matchEnd)};
    if (hit.mark.size() < matchEnd - matchStart)
        hit.matchHash = std::hash<std::string_view>()(text.substr(matchStart, matchEnd - matchStart));
}

}  // namespace

void appendHits(std::string_view text, std::span<const TextMatch> matches, const std::stop_token& stop,
                std::vector<TextSearchHit>& hits)
{
    std::vector<std::size_t> order(matches.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // The ranks of matches are their order in the report, while lines are counted through the text.
    std::ranges::stable_sort(order, {}, [&](std::size_t index) { return matches[index].bytes.start; });
    const std::size_t first = hits.size();
    hits.resize(first + matches.size());
    LineWalk walk(text);
    for (std::size_t done = 0; done < order.size(); ++done) {
        if (done % 256 == 0 && stop.stop_requested())
            throw Cancelled();
        TextSearchHit& hit = hits[first + order[done]];
        hit.match = matches[order[done]];
        walk.goTo(hit.match);
        takeLine(text, walk, hit);
    }
}

void appendNameHits(std::string_view name, std::span<const TextMatch> matches, std::vector<TextSearchHit>& hits)
{
    for (const TextMatch& match : matches) {
        TextSearchHit& hit = hits.emplace_back();
        hit.match = match;
        hit.isInName = true;
        hit.column = match.range.start.value + 1;
        hit.text = name;
        hit.mark = match.bytes;
    }
}

}  // namespace penmark
