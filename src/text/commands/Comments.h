// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

/// Comments the selected lines out at their smallest common indentation, or removes the comment marks if every line
/// that is not blank has them. A language without line comments gets block comments around each selection or, at a
/// bare caret, around the line; one without either is left alone. An end mark within the commented text is not seen.
EditResult toggleComment(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options);

}  // namespace penmark::commands
