// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

namespace penmark::commands {

/// These change the selections, and the words that bare carets touch, by the full case mappings of Unicode without
/// those of a single language: "ß" becomes "SS".
EditResult upperCase(const TextSnapshot& text, const CaretSet& carets);
EditResult lowerCase(const TextSnapshot& text, const CaretSet& carets);
EditResult titleCase(const TextSnapshot& text, const CaretSet& carets);
/// Small letters become capitals and the reverse.
EditResult swapCase(const TextSnapshot& text, const CaretSet& carets);

}  // namespace penmark::commands
