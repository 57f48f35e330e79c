// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <string_view>

namespace penmark::commands {

/// Types the text at every caret, in place of its selection. An opening bracket or quote surrounds a selection if the
/// options say so. Overtyping replaces as many characters as are typed, but no line end.
EditResult typeText(const TextSnapshot& text, const CaretSet& carets, std::string_view typed,
                    const EditOptions& options);

/// The Enter key: a line end and the indentation of the line, one step more after an opening bracket; a closing
/// bracket right behind the caret goes to a line of its own. In Markdown, lists and quotes go on.
EditResult insertNewline(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

/// Puts the pair around every selection, which keeps its text; a bare caret is left between both.
EditResult surround(const TextSnapshot& text, const CaretSet& carets, std::string_view open, std::string_view close);

/// Exchanges the characters before and behind every bare caret, at the end of a line the two before it.
EditResult transpose(const TextSnapshot& text, const CaretSet& carets);

}  // namespace penmark::commands
