// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <functional>
#include <string>
#include <string_view>

namespace penmark::test {

/// A text with its carets written into it: "|" is a bare caret, "«word|" a selection with the caret behind it and
/// "|word»" one with the caret before it. The last one is the main caret; without any there is one at the start.
struct MarkedText {
    TextSnapshot text;
    CaretSet carets;
};

MarkedText readMarks(std::string_view marked);
std::string writeMarks(const TextSnapshot& text, const CaretSet& carets);

/// Fails the test unless the edit can be applied and taken back, and leaves the carets between characters.
void checkResult(const TextSnapshot& text, const EditResult& result);

using Command = std::function<EditResult(const TextSnapshot&, const CaretSet&)>;
/// What a checked run makes of a marked text.
std::string run(const Command& command, std::string_view marked);

}  // namespace penmark::test
