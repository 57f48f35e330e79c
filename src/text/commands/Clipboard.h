// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <cstddef>
#include <string>
#include <vector>

namespace penmark::commands {

/// What was copied. Text from elsewhere has neither parts nor whole lines.
struct ClipboardText {
    std::string text;
    std::vector<Utf8Range> parts;  ///< where the text of each selection or line stands in it
    bool wholeLines = false;       ///< nothing was selected: each part is a line with its line end
};

/// The selections, joined by line ends. Without any selection, the lines of the carets.
ClipboardText copy(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
/// Deletes what `copy` copies.
EditResult cut(const TextSnapshot& text, const CaretSet& carets);

/// Gives each caret its part if there are as many, or its line if the text has as many lines; otherwise the whole
/// text. Whole lines go above the lines of the carets if nothing is selected. Pasted line ends become those of the
/// document unless they are to be kept.
EditResult paste(const TextSnapshot& text, const CaretSet& carets, const ClipboardText& pasted,
                 const EditOptions& options, bool keepLineEnds = false);

/// A place by its display column, which may be behind the end of the line.
struct LineColumn {
    LineNumber line;
    std::size_t column = 0;
};

/// The carets of a column selection between two corners. Lines that end left of it are left out, except the one where
/// the head is, which has the main caret.
CaretSet columnSelection(const TextSnapshot& text, LineColumn anchor, LineColumn head, const EditOptions& options);

}  // namespace penmark::commands
