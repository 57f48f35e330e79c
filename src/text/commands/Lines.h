// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <string_view>

namespace penmark::commands {

/// Moves the lines of all carets over the line above or below. Line ends stay where they are: a last line without one
/// that moves up leaves another last line without one.
EditResult moveLinesUp(const TextSnapshot& text, const CaretSet& carets);
EditResult moveLinesDown(const TextSnapshot& text, const CaretSet& carets);

/// Puts a copy of every selection behind it, and of the line of every bare caret below it; the carets go to the copies.
EditResult duplicate(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// Makes one line of the lines of each selection; a selection within a line, or a bare caret, joins the next line to
/// its own. One blank stands between the parts.
EditResult joinLines(const TextSnapshot& text, const CaretSet& carets);

/// An empty line, indented as its neighbour, below or above the line of every caret, which goes there.
EditResult insertLineBelow(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
EditResult insertLineAbove(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// Of the lines of every selection, or of the whole text when nothing is selected.
EditResult trimTrailingBlanks(const TextSnapshot& text, const CaretSet& carets);

/// Makes every line end of the text this one.
EditResult convertLineEnds(const TextSnapshot& text, const CaretSet& carets, std::string_view lineEnd);

}  // namespace penmark::commands
