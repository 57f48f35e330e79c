// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <optional>

namespace penmark {

class TextSnapshot;
struct TextLine;

struct IndentationStyle {
    bool tabs = false;
    std::optional<std::size_t> width;  ///< columns of one step; tabs do not tell

    friend bool operator==(const IndentationStyle&, const IndentationStyle&) = default;
};

/// How the lines of a text are indented, told by how much deeper lines stand than the one before. Reads 10,000 lines or
/// 1 MB at most. Lines that are aligned rather than indented do not count: continued statements, the asterisks of
/// comments, items of lists. Absent if no line is indented.
std::optional<IndentationStyle> detectIndentation(const TextSnapshot& text);

/// The tabs and spaces that a line begins with; the whole line if there is nothing else.
Utf8Range indentationOf(const TextSnapshot& text, Utf8Offset lineStart);

/// Columns in a font of fixed width: 2 for East Asian wide characters and emoji, 0 for marks and invisible ones.
/// A tab is 1 here.
std::size_t columnsOf(char32_t character);

/// The column behind a range of a line whose first character stands in `column`; a tab goes to the next multiple of
/// `tabWidth`, which is at least 1. Linear in the range.
std::size_t columnAfter(const TextSnapshot& text, Utf8Range range, std::size_t tabWidth, std::size_t column = 0);

struct ColumnPlace {
    Utf8Offset offset;
    std::size_t column = 0;

    friend bool operator==(const ColumnPlace&, const ColumnPlace&) = default;
};

/// The last place of a line that is not behind the column: before the tab or wide character that contains it, behind
/// the marks of the character before it, or the end of the line.
ColumnPlace placeAtColumn(const TextSnapshot& text, const TextLine& line, std::size_t column, std::size_t tabWidth);

}  // namespace penmark
