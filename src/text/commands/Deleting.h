// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

/// All of these delete the selection of a caret that has one, and otherwise what their name says.

/// The Backspace key: the character before; of a letter with combining marks only the last mark. In leading blanks,
/// back to the previous step of indentation.
EditResult deleteBackward(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
EditResult deleteForward(const TextSnapshot& text, const CaretSet& carets);

/// Within the line; at its start or end, the line end there.
EditResult deleteWordLeft(const TextSnapshot& text, const CaretSet& carets);
EditResult deleteWordRight(const TextSnapshot& text, const CaretSet& carets);
EditResult deleteToLineStart(const TextSnapshot& text, const CaretSet& carets);
EditResult deleteToLineEnd(const TextSnapshot& text, const CaretSet& carets);

/// Deletes the lines of all carets. Each caret keeps its place within the line, in the line that follows.
EditResult deleteLines(const TextSnapshot& text, const CaretSet& carets);

/// Deletes the selections only.
EditResult deleteSelections(const TextSnapshot& text, const CaretSet& carets);

}  // namespace penmark::commands
