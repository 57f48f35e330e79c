// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/Caret.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <string>

namespace penmark {

/// How a document is indented and what its language needs; the same for every command.
struct EditOptions {
    bool indentWithTabs = false;
    std::size_t indentWidth = 4;  ///< columns of one step of indentation
    std::size_t tabWidth = 4;     ///< columns from one tab stop to the next
    std::string lineEnd = "\n";   ///< of lines that are made
    std::string lineComment;      ///< such as "//"; empty if the language has none
    std::string blockCommentStart;
    std::string blockCommentEnd;
    bool markdown = false;      ///< lists continue and renumber
    bool closeBrackets = true;  ///< typing an opening bracket or quote surrounds a selection
    bool overtype = false;
    bool indentAfterColon = false;  ///< a line that ends in ':' opens a block
};

/// What a command proposes: nothing has happened yet. The carets are those after the edit. A command that finds
/// nothing to do returns an empty edit and the carets as they were.
struct EditResult {
    TextEdit edit;
    CaretSet carets;
};

}  // namespace penmark
