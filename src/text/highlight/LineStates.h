// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/Token.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace penmark {

/// The states before the lines of a text: 16 bits a line and an eighth to grow. Changes near one another are cheap: a
/// gap is kept where the last one was.
class LineStates {
public:
    std::size_t size() const { return cells_.size() - gapSize_; }
    LineState operator[](std::size_t line) const { return cells_[cellOf(line)]; }
    void set(std::size_t line, LineState state) { cells_[cellOf(line)] = state; }
    void append(LineState state) { replace(size(), 0, 1, state); }

    /// `removed` states from the line on give way to `inserted` ones, all equal to `state`.
    void replace(std::size_t line, std::size_t removed, std::size_t inserted, LineState state)
    {
        moveGap(line);
        gapSize_ += removed;
        if (gapSize_ < inserted)
            grow(inserted);
        std::fill_n(cells_.begin() + static_cast<std::ptrdiff_t>(gap_), inserted, state);
        gap_ += inserted;
        gapSize_ -= inserted;
    }
    void truncate(std::size_t lines)
    {
        if (lines < size())
            replace(lines, size() - lines, 0, {});
    }
    std::size_t bytes() const { return cells_.capacity() * sizeof(LineState); }

private:
    std::size_t cellOf(std::size_t line) const { return line < gap_ ? line : line + gapSize_; }
    void moveGap(std::size_t line)
    {
        const auto cell = [&](std::size_t index) { return cells_.begin() + static_cast<std::ptrdiff_t>(index); };
        if (line < gap_)
            std::move_backward(cell(line), cell(gap_), cell(gap_ + gapSize_));
        else
            std::move(cell(gap_ + gapSize_), cell(line + gapSize_), cell(gap_));
        gap_ = line;
    }
    void grow(std::size_t needed)
    {
        constexpr std::size_t least = 256;
        const std::size_t added = needed - gapSize_ + std::max(least, cells_.size() / 8);
        cells_.reserve(cells_.size() + added);  // exactly, where the vector itself would double
        cells_.insert(cells_.begin() + static_cast<std::ptrdiff_t>(gap_), added, LineState());
        gapSize_ += added;
    }

    std::vector<LineState> cells_;
    std::size_t gap_ = 0;
    std::size_t gapSize_ = 0;
};

}  // namespace penmark
