// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace penmark::commands {

/// What a line of Markdown begins with. Offsets are bytes from the start of the line, columns those behind the quote.
struct ListPrefix {
    std::size_t quoteDepth = 0;
    std::size_t quoteEnd = 0;
    std::size_t blanksEnd = 0;  ///< where the marker, or else the text, begins
    std::size_t column = 0;     ///< of that
    bool isEmpty = true;        ///< nothing but blanks behind the quote, and no marker

    char marker = 0;           ///< '-', '*', '+', or '.' and ')' of numbered items; 0 if this is no item
    std::uint32_t number = 0;  ///< of a numbered item
    std::size_t markerEnd = 0;
    std::size_t contentStart = 0;   ///< behind the marker and its blanks
    std::size_t contentColumn = 0;  ///< where children of the item begin
    bool isTask = false;
    std::size_t taskEnd = 0;  ///< behind "[ ] " if it is one; `contentStart` if not

    bool isItem() const { return marker != 0; }
    bool isNumbered() const { return marker == '.' || marker == ')'; }
};

/// Looks at the first few hundred bytes of the line only.
ListPrefix listPrefix(const TextSnapshot& text, const TextLine& line, std::size_t tabWidth);

/// A list that a line is in: its last item so far.
struct ListLevel {
    std::size_t column = 0;
    std::size_t contentColumn = 0;
    char marker = 0;
    std::uint32_t number = 0;
    bool changes = false;  ///< what follows may have to be renumbered
};

/// The lists that are open before the line, from the outermost to the innermost. Goes some hundred lines back at most.
std::vector<ListLevel> listsBefore(const TextSnapshot& text, LineNumber line, std::size_t quoteDepth,
                                   std::size_t tabWidth);

/// Numbers the items again that follow new ones, or ones that have come from another list (`areMoved`). The lines
/// ascend. Stops where the numbers are right.
TextEdit renumberLists(const TextSnapshot& text, std::span<const LineNumber> items, bool areMoved,
                       std::size_t tabWidth);

}  // namespace penmark::commands
