// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/ComparedText.h"

#include <algorithm>

namespace penmark {

namespace {

// UTF-16 units of the character, if a character begins with the byte.
std::size_t unitsFrom(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return (value & 0xc0) == 0x80 ? 0 : value < 0xf0 ? 1 : 2;
}

// The bytes of as many whole characters as have no more than `most` UTF-16 units together.
std::string_view firstUnits(std::string_view text, std::size_t most)
{
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        units += unitsFrom(text[i]);
        if (units > most)
            return text.substr(0, i);
    }
    return text;
}

bool hasMoreUnits(std::string_view text, std::size_t most)
{
    return text.size() > most && firstUnits(text, most).size() < text.size();
}

}  // namespace

ComparedText::ComparedText(std::string_view utf8)
    : text_(firstUnits(utf8, mostUnits + 1)), isCut_(text_.size() < utf8.size())
{
    const std::string_view text = text_;
    lines_.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    for (std::size_t start = 0; start <= text.size(); start += lines_.back().size() + 1)
        lines_.push_back(text.substr(start, text.find('\n', start) - start));
    const auto isTooLong = [](std::string_view line) { return hasMoreUnits(line, mostLineUnits); };
    canBeComparedByLine_ = !isCut_ && !hasMoreUnits(text, mostUnits) && lines_.size() <= mostLines &&
                           std::none_of(lines_.begin(), lines_.end(), isTooLong);
}

std::string shownLine(std::string_view line)
{
    line = withoutLineEnd(line);
    const std::string_view shown =
        line.size() > ComparedText::mostLineUnits ? firstUnits(line, ComparedText::mostLineUnits) : line;
    std::string text(shown);
    if (shown.size() < line.size())
        text += " …";
    return text;
}

}  // namespace penmark
