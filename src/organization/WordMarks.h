// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <span>
#include <stop_token>
#include <string_view>
#include <vector>

namespace penmark {

/// A removed line and the added one that it has become, by their places among those they were looked for in.
struct MarkedPair {
    std::size_t removed = 0;
    std::size_t added = 0;
    std::vector<Utf16Range> removedMarks;  ///< what is not in the added line; ascending, apart from each other
    std::vector<Utf16Range> addedMarks;    ///< what is not in the removed line; both are empty for equal lines
};

/// Finds in changed lines which words have changed. A word is a run of letters and digits; in scripts written without
/// blanks, and outside words, each character with its marks stands for itself. Blanks between two changed words count
/// as changed.
///
/// One object serves one comparison and ends its work after a fixed number of steps, whatever the lines: lines that it
/// has no steps left for stay without marks. Threads: any, one at a time.
class WordMarks {
public:
    /// Pairs lines that resemble each other, in their order. Lines with less than a third of their letters in common
    /// are not paired. Throws Cancelled when stopped.
    std::vector<MarkedPair> mark(std::span<const std::string_view> removed, std::span<const std::string_view> added,
                                 const std::stop_token& stop = {});

private:
    // Steps of comparing words; all of them take some 50 ms where nothing is in common.
    std::size_t stepsLeft_ = 5'000'000;
};

}  // namespace penmark
