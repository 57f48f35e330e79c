// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "search/TextSearchRule.h"
#include "text/TextSnapshot.h"
#include "text/commands/EditCommand.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

namespace penmark {

/// What is looked for, and where: in all of the text, or in a range that no match leaves. What stands around the range
/// counts as it does in the text; a match of nothing on the line behind its last one is none.
struct FindQuery {
    TextSearchRule rule;
    std::optional<Utf8Range> within;
};

/// The matches of a text come in parts of so many, counted from its start; all parts but the last are full.
struct FindPart {
    std::vector<Utf8Range> matches;  ///< ascending, without overlap
    std::size_t first = 0;           ///< how many there are before these
    Utf8Offset start;                ///< those before these start before it
    bool isLast = true;              ///< there are none behind them
    std::string problem;             ///< the sentence why there are none, or not all; empty if they are complete
    bool cancelled = false;
};

/// The part that is wanted: with the first match at or behind a place, or with the match of that number; the last part
/// if there is no such match.
using FindTarget = std::variant<Utf8Offset, std::size_t>;
constexpr std::size_t lastMatch = std::numeric_limits<std::size_t>::max();

/// What these functions do takes as long as the text is: they are for a thread of their own. They throw nothing.
///
/// The time that an expression may take grows with the text: a quarter of a second for each MiB begun. In it "^" and
/// "$" stand at each line. A literal query of nothing but blanks is looked for as it stands.
FindPart findPart(const TextSnapshot& text, const FindQuery& query, FindTarget target, std::size_t partSize,
                  const std::stop_token& stop);

struct FindReplacement {
    EditResult result;
    std::size_t count = 0;  ///< of the places replaced
    bool isStale = false;   ///< there is no match at this place any more; nothing is replaced
    std::string problem;    ///< the sentence why nothing is replaced
    bool cancelled = false;
};

/// Replaces one match. A regular expression's replacement is a template, any other stands for itself.
FindReplacement replaceMatch(const TextSnapshot& text, const FindQuery& query, Utf8Range match, const std::string& with,
                             const std::stop_token& stop);

/// Replaces all matches, or none if they cannot all be found.
FindReplacement replaceAllMatches(const TextSnapshot& text, const CaretSet& carets, const FindQuery& query,
                                  const std::string& with, const std::stop_token& stop);

}  // namespace penmark
