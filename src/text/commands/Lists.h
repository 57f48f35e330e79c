// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

/// Lists in Markdown. An item begins with "-", "*" or "+", or with a number and "." or ")"; a task has "[ ]" or "[x]"
/// behind that; ">" before it quotes.

/// The Enter key: the new line is an item of the same list, or goes on with the quote, and the numbers behind it move
/// up. An item without text is taken away instead, which ends the list. Elsewhere the indentation is kept.
EditResult continueLists(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// Whether the selection of every caret begins on a line with an item.
bool areListItems(const TextSnapshot& text, const CaretSet& carets);

/// Makes the selected items children of the item above them, or children of their parent's parent, with the numbers
/// that they have there; the numbers of the lists that they leave close up.
EditResult indentListItems(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);
EditResult outdentListItems(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

}  // namespace penmark::commands
