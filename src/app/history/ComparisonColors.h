// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/ColorScheme.h"

namespace penmark {

/// The colours of a comparison. Text, line numbers and signs can be read on each of them (4.5 : 1).
struct ComparisonColors {
    Rgb text;
    Rgb number;  ///< line numbers, notes and folded runs
    Rgb background;
    Rgb removed;  ///< behind a line
    Rgb removedWord;
    Rgb removedSign;
    Rgb added;
    Rgb addedWord;
    Rgb addedSign;
    Rgb run;  ///< behind unchanged lines that are folded
    Rgb selection;
    Rgb current;  ///< at the line that keys move

    /// Those that go with the colours of an editor.
    static const ComparisonColors& of(const ColorScheme& colors);
};

}  // namespace penmark
