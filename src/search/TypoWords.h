// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <chrono>
#include <cstddef>
#include <stop_token>
#include <string>
#include <string_view>

namespace penmark {

/// Whether one inserted, removed or substituted character makes one text the other; a swap is two.
bool isOneEditApart(std::u32string_view a, std::u32string_view b);

/// Finds words that somebody may have mistyped. Immutable; any thread.
class TypoWords {
public:
    static constexpr std::size_t shortest = 4;  ///< user-perceived characters of a query
    static constexpr std::size_t longest = 64;

    /// Of a query that is no single word of such a length nothing is found. Valid UTF-8.
    TypoWords(std::string_view query, bool caseSensitive);

    /// Calls `use` for each run of letters, digits and "_" that is one edit away, in order, until that returns false.
    /// Throws TextSearchError::timeBudget at the deadline, Cancelled.
    void find(std::string_view text, std::chrono::steady_clock::time_point deadline, const std::stop_token& stop,
              FunctionRef<bool(std::size_t start, std::size_t end)> use) const;

private:
    bool isTypo(std::string_view word, bool isAscii) const;

    std::u32string word_;  // empty: nothing to look for
    bool caseSensitive_;
};

}  // namespace penmark
