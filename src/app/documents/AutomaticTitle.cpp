// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/AutomaticTitle.h"

#include "text/TextSnapshot.h"

#include <algorithm>
#include <string_view>

namespace penmark {

namespace {

constexpr std::size_t readBytes = 4'000;
constexpr std::size_t titleCharacters = 60;

std::string_view trimmed(std::string_view line)
{
    constexpr std::string_view blanks = " \t\f\v\r\n";
    const std::size_t start = line.find_first_not_of(blanks);
    if (start == std::string_view::npos)
        return {};
    return line.substr(start, line.find_last_not_of(blanks) - start + 1);
}

// "## Title" and "- item" are told by the blank behind the mark, so that "#include" and "-1" stay what they are.
std::string_view withoutMarks(std::string_view line)
{
    const std::size_t marks = line.find_first_not_of("#>-*+=/");
    if (marks != 0 && marks != std::string_view::npos && line[marks] == ' ')
        return trimmed(line.substr(marks));
    if (marks == std::string_view::npos)
        return {};  // a rule
    return line;
}

bool saysSomething(std::string_view line)
{
    return std::any_of(line.begin(), line.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= 'a' && byte <= 'z');
    });
}

bool startsCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

// By code points; what joins the last one kept stays with it.
std::string shortened(std::string_view line)
{
    std::size_t characters = 0;
    std::size_t end = 0;
    for (; end < line.size(); ++end) {
        if (startsCharacter(line[end]) && characters++ == titleCharacters)
            break;
    }
    if (end == line.size())
        return std::string(line);
    // Not inside of a word if there is a blank not too far before.
    const std::size_t blank = line.rfind(' ', end);
    if (blank != std::string_view::npos && blank > end / 2)
        end = blank;
    return std::string(trimmed(line.substr(0, end))) + "…";
}

}  // namespace

std::string automaticTitle(const TextSnapshot& text)
{
    const Utf8Offset end = text.characterStart(std::min(text.end(), Utf8Offset(readBytes)));
    std::string start = text.text({Utf8Offset(0), end});
    // Controls would make a list or a window's title unreadable.
    std::replace_if(
        start.begin(), start.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\r'; }, ' ');
    std::string_view rest = start;
    while (!rest.empty()) {
        const std::size_t lineEnd = std::min(rest.find_first_of("\r\n"), rest.size());
        const std::string_view line = withoutMarks(trimmed(rest.substr(0, lineEnd)));
        if (saysSomething(line))
            return shortened(line);
        rest.remove_prefix(std::min(lineEnd + 1, rest.size()));
    }
    return {};
}

}  // namespace penmark
