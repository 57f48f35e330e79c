// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

struct SortOrder {
    bool descending = false;
    bool caseSensitive = false;
    bool numeric = false;  ///< runs of digits compare as numbers
};

/// These work on the lines of every selection, which is left selected, or on the whole text when nothing is selected;
/// then the carets stay with their lines. Line ends stay where they are.

/// By case-folded characters, then by the characters themselves; equal lines keep their order.
EditResult sortLines(const TextSnapshot& text, const CaretSet& carets, const SortOrder& order = {});
EditResult reverseLines(const TextSnapshot& text, const CaretSet& carets);
/// Keeps the first of lines that are the same.
EditResult uniqueLines(const TextSnapshot& text, const CaretSet& carets);

}  // namespace penmark::commands
