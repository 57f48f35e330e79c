// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/LineReader.h"

#include "base/TextSummary.h"

#include <algorithm>

namespace penmark {

LineReader::LineReader(const TextSnapshot& text, LineNumber first) : text_(&text), number_(first)
{
    load(text.lineStart(first));
}

void LineReader::load(Utf8Offset position)
{
    const auto [start, piece] = text_->pieceAt(position);
    piece_ = piece;
    at_ = position - start;
    lineFeed_ = none;
}

std::string_view LineReader::next()
{
    constexpr std::size_t mostBytes = 3 * longestInUnits;
    const std::size_t windowEnd = std::min(piece_.size(), at_ + mostBytes + 1);
    if (lineFeed_ == none || lineFeed_ < at_)
        lineFeed_ = piece_.substr(0, windowEnd).find('\n', at_);
    std::size_t end = piece_.substr(0, std::min(lineFeed_, windowEnd)).find('\r', at_);
    end = std::min(end, lineFeed_);
    // A CR at the end of the piece may have its LF in the next one.
    const bool inPiece = end < windowEnd && (end == lineFeed_ || end + 1 < piece_.size());
    std::string_view line;
    if (inPiece) {
        line = piece_.substr(at_, end - at_);
        tooLong_ = false;
        at_ = end + (piece_[end] == '\r' && piece_[end + 1] == '\n' ? 2 : 1);
    } else {
        const TextLine whole = text_->line(number_);
        tooLong_ = whole.content().size() > mostBytes;
        assembled_.clear();
        if (!tooLong_)
            text_->append(assembled_, whole.content());
        line = assembled_;
        load(whole.next);
    }
    ++number_;
    tooLong_ = tooLong_ || (line.size() > longestInUnits && utf16Length(line) > longestInUnits);
    return tooLong_ ? std::string_view() : line;
}

}  // namespace penmark
