// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

/// Indents the selected lines by one step; empty ones stay empty.
EditResult indentLines(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
/// Takes one step of indentation from the selected lines, or what there is of it.
EditResult outdentLines(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// The Tab key: indents a selection of several lines or, in Markdown, list items; otherwise goes to the next tab stop.
EditResult tabKey(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
/// Shift+Tab: outdents the lines or list items.
EditResult backTabKey(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// Writes the indentation of the selected lines, or of all when nothing is selected, in tabs (with blanks for what is
/// left) or in blanks. Its width stays.
EditResult convertIndentation(const TextSnapshot& text, const CaretSet& carets, bool toTabs,
                              const EditOptions& options);

}  // namespace penmark::commands
