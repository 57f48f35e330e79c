// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextSnapshot.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace penmark {

/// Reads the lines of a text one after the other; lines within one piece are not copied. The text must outlive it.
class LineReader {
public:
    static constexpr std::size_t longestInUnits = 20'000;  ///< UTF-16; longer lines are not coloured

    LineReader(const TextSnapshot& text, LineNumber first);

    bool atEnd() const { return number_.value >= text_->lineCount(); }
    LineNumber number() const { return number_; }  ///< of the line that next() reads
    /// The line without its end; empty if it is too long. Valid until the next call. Not at the end of the text.
    std::string_view next();
    /// Whether the line read last is longer than can be coloured.
    bool wasTooLong() const { return tooLong_; }

private:
    static constexpr std::size_t none = std::string_view::npos;
    void load(Utf8Offset position);

    const TextSnapshot* text_;
    LineNumber number_;
    std::string_view piece_;
    std::size_t at_ = 0;           // in the piece
    std::size_t lineFeed_ = none;  // in the piece: the first one behind the last line end, if it is near
    std::string assembled_;
    bool tooLong_ = false;
};

}  // namespace penmark
