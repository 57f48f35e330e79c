// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace penmark::commands {

/// Looks lines up and remembers the last one, which carets in ascending order often share. Lines a little farther on
/// are walked to, which costs less than to look them up.
class LineCursor {
public:
    explicit LineCursor(const TextSnapshot& text) : text_(text), line_(text.line(LineNumber(0))) {}

    const TextLine& containing(Utf8Offset offset);
    const TextLine& line(LineNumber number);

private:
    bool isInLine(Utf8Offset offset) const;
    void goToNext();
    /// What lies in one piece from the offset on, which is not the end of the text.
    std::string_view from(Utf8Offset offset);

    const TextSnapshot& text_;
    TextLine line_;
    Utf8Offset pieceStart_;
    std::string_view piece_;
};

/// Adjoining lines, and the carets on them.
struct LineBlock {
    LineNumber first;
    LineNumber last;  ///< this one too
    std::size_t caretsBegin = 0;
    std::size_t caretsEnd = 0;
};

/// The lines of one caret. A selection that ends where a line starts does not reach into that line.
LineBlock linesOf(LineCursor& lines, const Caret& caret);
/// The lines of all carets; those that overlap or adjoin are one block.
std::vector<LineBlock> selectedBlocks(const TextSnapshot& text, const CaretSet& carets);
/// The selected lines or, when nothing is selected, all lines but the empty one behind the last line end.
std::vector<LineBlock> selectedBlocksOrAll(const TextSnapshot& text, const CaretSet& carets);

constexpr bool isBlank(char32_t character)
{
    return character == U' ' || character == U'\t';
}

/// Where the leading blanks and tabs of the range end.
Utf8Offset skipBlanks(const TextSnapshot& text, Utf8Range range);
/// Where the trailing blanks and tabs of the range begin.
Utf8Offset skipBlanksBackwards(const TextSnapshot& text, Utf8Range range);
/// The blanks and tabs that a line begins with.
std::string leadingBlanks(const TextSnapshot& text, const TextLine& line);
/// What one step of indentation is.
std::string indentStep(const EditOptions& options);

}  // namespace penmark::commands
