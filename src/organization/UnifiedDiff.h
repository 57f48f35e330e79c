// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>

namespace penmark {

/// What a line of a unified diff is, for who shows it in colours.
enum class UnifiedDiffLine : std::uint8_t {
    earlierLabel,  ///< "--- LABEL"
    currentLabel,  ///< "+++ LABEL"
    place,         ///< "@@ -12,7 +12,8 @@"
    unchanged,     ///< begins with a blank
    removed,       ///< begins with "-"
    added,         ///< begins with "+"
    noLineFeed,    ///< "\ No newline at end of file": the line before it is the last, and nothing ends it
};

struct UnifiedDiffLabels {
    std::string_view earlier;
    std::string_view current;
};

enum class UnifiedDiffResult : std::uint8_t {
    same,       ///< nothing was written
    different,  ///< the fewest removed and added lines
    block,      ///< too many of them: what is not common to both ends is removed and added as a whole
};

/// Removed and added lines, besides those that occur in one text only, beyond which finding the fewest is given up.
/// That takes about a second for texts of usual lines.
constexpr std::size_t mostUnifiedDiffEdits = 30'000;

/// Writes the difference of two whole texts, whatever their size, with three unchanged lines around each change, in the
/// form that `patch` applies. A line is what a line feed ends, and carriage returns belong to it. `write` is given each
/// line without the line feed that has to follow it; the view is good during the call. Labels are written as they
/// stand. Threads: any. Throws Cancelled when stopped, and what `write` throws.
UnifiedDiffResult writeUnifiedDiff(std::string_view earlier, std::string_view current, const UnifiedDiffLabels& labels,
                                   FunctionRef<void(UnifiedDiffLine, std::string_view)> write,
                                   const std::stop_token& stop = {}, std::size_t mostEdits = mostUnifiedDiffEdits);

/// The same as one text, empty for equal texts.
std::string unifiedDiff(std::string_view earlier, std::string_view current, const UnifiedDiffLabels& labels,
                        const std::stop_token& stop = {});

}  // namespace penmark
