// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <span>
#include <string_view>
#include <vector>

namespace penmark::commands {

/// The word that contains the position or ends at it; empty at the position if none does.
Utf8Range wordTouching(const TextSnapshot& text, Utf8Offset position);

/// Where the text is found, in ascending order without overlap. Not where a match would begin or end inside of a
/// grapheme cluster: "e" is not found in "é". At most `limit` of them; a GB takes a fraction of a second.
std::vector<Utf8Range> findAll(const TextSnapshot& text, std::string_view literal, Utf8Range within,
                               std::size_t limit = static_cast<std::size_t>(-1));

/// Ctrl+D: bare carets select their words. When all have selections, the next place with the text of the main one is
/// selected too and becomes main; the search goes on at the start of the text and leaves out what is selected.
CaretSet selectNextOccurrence(const TextSnapshot& text, const CaretSet& carets);

/// Ctrl+Shift+L: all places with the text of the main selection, or with the word of the main caret.
CaretSet selectAllOccurrences(const TextSnapshot& text, const CaretSet& carets);

/// Replaces the ranges, which ascend and do not overlap.
EditResult replaceAll(const TextSnapshot& text, const CaretSet& carets, std::span<const Utf8Range> ranges,
                      std::string_view replacement);
EditResult replaceAll(const TextSnapshot& text, const CaretSet& carets, std::string_view literal,
                      std::string_view replacement);

}  // namespace penmark::commands
