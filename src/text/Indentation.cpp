// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/Indentation.h"

#include "text/TextSnapshot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <unicode/uchar.h>

namespace penmark {

namespace {

constexpr std::size_t detected_lines = 10'000;
constexpr std::size_t detected_bytes = 1'000'000;
constexpr std::size_t widest_step = 8;

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

// "- ", "* ", "+ ", "1. ", "1) ": what stands below it is aligned with its text.
bool isListItem(std::string_view content)
{
    const auto digits =
        static_cast<std::size_t>(std::find_if_not(content.begin(), content.end(), isDigit) - content.begin());
    if (digits > 0 && digits < content.size())
        return (content[digits] == '.' || content[digits] == ')') && content.substr(digits + 1).starts_with(' ');
    return content.size() > 1 && (content[0] == '-' || content[0] == '+' || content[0] == '*') && content[1] == ' ';
}

// Whether a statement goes on behind this line, so that the next one may be aligned with anything.
bool isContinued(std::string_view content)
{
    constexpr std::string_view goOn = ",=+*&|?\\.<";
    const auto last = content.find_last_not_of(" \t");
    if (last == std::string_view::npos || goOn.find(content[last]) != std::string_view::npos)
        return last != std::string_view::npos;
    // A round bracket that is open with something behind it aligns what follows.
    std::size_t open = 0;
    for (const char byte : content) {
        if (byte == '(')
            ++open;
        else if (byte == ')' && open > 0)
            --open;
    }
    return open > 0 && content[last] != '(' && content[last] != '{';
}

class IndentationVotes {
public:
    void addLine(std::string_view line)
    {
        const std::size_t blanks = std::min(line.find_first_not_of(" \t"), line.size());
        const std::string_view content = line.substr(blanks);
        if (content.empty())
            return;
        if (content[0] == '*')  // within a comment
            return;
        if (isListItem(content)) {
            listColumn_ = blanks;
            inList_ = true;
            return;
        }
        if (inList_ && blanks > listColumn_)
            return;
        inList_ = false;
        if (line[0] == '\t') {
            ++tabbed_;
        } else {
            vote(blanks);
        }
        continued_ = isContinued(content);
    }

    std::optional<IndentationStyle> result() const
    {
        if (tabbed_ > 0 && tabbed_ >= spaced_)
            return IndentationStyle{true, std::nullopt};
        const auto most = std::max_element(votes_.begin(), votes_.end());
        if (*most == 0)
            return std::nullopt;
        return IndentationStyle{false, static_cast<std::size_t>(most - votes_.begin())};
    }

private:
    void vote(std::size_t blanks)
    {
        const bool deeper = blanks > blanks_;
        if (deeper && continued_)
            return;
        if (blanks > 1)
            ++spaced_;
        if (deeper && blanks - blanks_ > 1 && blanks - blanks_ <= widest_step)
            ++votes_[blanks - blanks_];
        blanks_ = blanks;
    }

    std::array<std::size_t, widest_step + 1> votes_{};  // by the columns that a line stands deeper
    std::size_t tabbed_ = 0;
    std::size_t spaced_ = 0;
    std::size_t blanks_ = 0;  // of the last line that is indented rather than aligned
    bool continued_ = false;
    bool inList_ = false;
    std::size_t listColumn_ = 0;
};

}  // namespace

std::optional<IndentationStyle> detectIndentation(const TextSnapshot& text)
{
    const Utf8Offset end =
        std::min(text.characterStart(Utf8Offset(detected_bytes)), text.lineStart(LineNumber(detected_lines)));
    const std::string beginning = text.text({Utf8Offset(), end});
    IndentationVotes votes;
    std::string_view rest = beginning;
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find_first_of("\n\r"), rest.size());
        votes.addLine(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return votes.result();
}

Utf8Range indentationOf(const TextSnapshot& text, Utf8Offset lineStart)
{
    Utf8Offset at = lineStart;
    text.forEachPiece({lineStart, text.end()}, [&](std::string_view piece) {
        const std::size_t blanks = std::min(piece.find_first_not_of(" \t"), piece.size());
        at += blanks;
        return blanks == piece.size();
    });
    return {lineStart, at};
}

std::size_t columnsOf(char32_t character)
{
    if (character < 0x300)
        return character == 0xad ? 0 : 1;
    const auto c = static_cast<UChar32>(character);
    constexpr std::uint32_t invisible = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
    if ((U_GET_GC_MASK(c) & invisible) != 0)
        return 0;
    switch (u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE)) {
    case U_HST_VOWEL_JAMO:
    case U_HST_TRAILING_JAMO:
        return 0;  // drawn into the syllable that a leading one begins
    default:
        break;
    }
    const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::size_t columnAfter(const TextSnapshot& text, Utf8Range range, std::size_t tabWidth, std::size_t column)
{
    TextReader reader(text, range.start);
    range.end = std::min(range.end, text.end());
    while (reader.position() < range.end) {
        const char32_t c = reader.next();
        column += c == '\t' ? tabWidth - column % tabWidth : columnsOf(c);
    }
    return column;
}

ColumnPlace placeAtColumn(const TextSnapshot& text, const TextLine& line, std::size_t column, std::size_t tabWidth)
{
    ColumnPlace place{line.start, 0};
    TextReader reader(text, line.start);
    while (place.offset < line.end) {
        const char32_t c = reader.next();
        const std::size_t columns = c == '\t' ? tabWidth - place.column % tabWidth : columnsOf(c);
        if (place.column + columns > column)
            break;
        place = {reader.position(), place.column + columns};
    }
    return place;
}

}  // namespace penmark
