// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

struct URegularExpression;

namespace penmark {

/// Fills a replacement in from the expression's current match: "$1" and "${name}" stand for its groups, a backslash
/// takes the next character as it is, or as "\u0041" tells. Throws TextSearchError for a group that is not there.
std::u16string fillTemplate(URegularExpression* regex, std::u16string_view replacement);

}  // namespace penmark
