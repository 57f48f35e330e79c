// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

namespace penmark {

class DocumentWindow;
class Program;

/// Shows the beginning of a document over a window, to be looked at: no tab, no change. Any key closes it.
void openPeek(DocumentWindow& window, Program& program, const Uuid& document);

}  // namespace penmark
