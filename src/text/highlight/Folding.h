// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/TextSnapshot.h"
#include "text/highlight/EditorLanguage.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace penmark {

/// Lines that can be folded: the first one stays visible, those behind it up to the last are hidden.
struct FoldRegion {
    LineNumber first;
    LineNumber last;

    friend bool operator==(const FoldRegion&, const FoldRegion&) = default;
};

inline constexpr std::string_view nothingToFold = "No foldable block here. Select several lines to fold any text.";

/// Whether a region begins at the line, by a look at it and a few lines around; may rarely be wrong where only a long
/// look would tell.
bool canFoldAt(const TextSnapshot& text, LineNumber line, EditorLanguage language);

/// The region that begins at the line: a section or a fence of Markdown, from an open bracket to the line of the
/// closing one (which stays visible if it begins with it), or lines that are indented further. What has no end within a
/// million lines or 16 MB ends there.
std::optional<FoldRegion> regionStartingAt(const TextSnapshot& text, LineNumber line, EditorLanguage language);

/// The innermost region that contains the line or begins at it; looks at most 20,000 lines up.
std::optional<FoldRegion> regionAround(const TextSnapshot& text, LineNumber line, EditorLanguage language);

/// The regions that lie in level - 1 others, ascending; 1 is the outermost level. Within the first million lines.
std::vector<FoldRegion> regionsOfLevel(const TextSnapshot& text, std::size_t level, EditorLanguage language);

}  // namespace penmark
