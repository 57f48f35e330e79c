// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// A copy of the beginning of a text, cut into lines, as two texts are compared for somebody to look at. Lines are what
/// stands between line feeds, so a carriage return is part of its line and there is always one line.
///
/// Threads: any; it never changes.
class ComparedText {
public:
    static constexpr std::size_t mostUnits = 200'000;    ///< UTF-16 units that are compared line by line
    static constexpr std::size_t mostLines = 2'000;      ///< the same for lines
    static constexpr std::size_t mostLineUnits = 1'000;  ///< UTF-16 units of a line, which may also be shown

    /// Takes one unit more than are compared line by line, or none of the character that this unit would be in.
    explicit ComparedText(std::string_view utf8);
    ComparedText(const ComparedText&) = delete;
    ComparedText& operator=(const ComparedText&) = delete;

    std::span<const std::string_view> lines() const { return lines_; }

    /// Whether text, lines and line lengths are within the three limits.
    bool canBeComparedByLine() const { return canBeComparedByLine_; }

    /// Whether the text goes on behind what was taken.
    bool isCut() const { return isCut_; }

private:
    std::string text_;
    std::vector<std::string_view> lines_;
    bool canBeComparedByLine_ = true;
    bool isCut_ = false;
};

/// A line as it is shown: without the carriage return at its end, and with an ellipsis behind the first 1,000 UTF-16
/// units if it has more. No character is cut in two.
std::string shownLine(std::string_view line);

/// Without the carriage return at its end.
inline std::string_view withoutLineEnd(std::string_view line)
{
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

}  // namespace penmark
