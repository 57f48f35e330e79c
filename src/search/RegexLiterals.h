// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// What can be read from a regular expression without running it. Reads less than there is rather than too much.
struct RegexLiterals {
    static constexpr std::size_t limit = 64;

    /// One of these stands in every match; none if nothing can be said.
    std::vector<std::string> required;
    /// Whether the expression is just these, one or the other in this order.
    bool isWhole = false;
    /// Whether a match lies within one line and is the same if there are no other lines.
    bool staysInLine = false;

    /// The pattern, valid UTF-8, is one that ICU takes without any flags but case.
    static RegexLiterals of(std::string_view pattern);
};

}  // namespace penmark
