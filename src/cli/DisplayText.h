// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace penmark::cli {

/// Text as a message may show it, whatever it holds: control characters, the ones that change the direction of writing
/// and bytes that are not UTF-8 appear as "\xHH". So no title or file name can steer a terminal or forge a line.
std::string printable(std::string_view text);

/// The same with tabs as they are: a line of a text.
std::string printableLine(std::string_view text);

/// The same for a field of a table: also "\t" and "\n" by these names, and a backslash doubled, so that a script can
/// get the text back.
std::string escapedField(std::string_view text);

/// A JSON text for a terminal: control characters that JSON lets stand in a string become \u escapes, which mean the
/// same.
std::string printableJson(std::string_view json);

/// The columns that a text without control characters takes on a terminal.
std::size_t displayWidth(std::string_view text);

/// The longest beginning that fits the columns, with "…" in the last one if something had to go. Never cuts within a
/// character, nor between a character and the marks that combine with it.
std::string shortened(std::string_view text, std::size_t columns);

}  // namespace penmark::cli
