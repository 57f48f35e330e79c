// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <tuple>

namespace penmark::commands {

namespace {

constexpr std::size_t walkedBytes = 4096;  // beyond, a line is looked up
constexpr std::size_t walkedLines = 32;
constexpr std::size_t scannedAtOnce = 256;

/// The first LF or CR. Both are looked for in short stretches, since one of them may not occur at all.
std::size_t findLineEnd(std::string_view text)
{
    for (std::size_t at = 0; at < text.size(); at += scannedAtOnce) {
        std::string_view stretch = text.substr(at, scannedAtOnce);
        const std::size_t lineFeed = stretch.find('\n');
        stretch = stretch.substr(0, lineFeed);
        const std::size_t found = std::min(stretch.find('\r'), lineFeed);
        if (found != std::string_view::npos)
            return at + found;
    }
    return std::string_view::npos;
}

}  // namespace

const TextLine& LineCursor::containing(Utf8Offset offset)
{
    if (isInLine(offset))
        return line_;
    if (offset > line_.start && offset - line_.next < walkedBytes) {
        while (!isInLine(offset))
            goToNext();
    } else {
        line_ = text_.lineContaining(offset);
    }
    return line_;
}

const TextLine& LineCursor::line(LineNumber number)
{
    if (number < line_.number || number - line_.number > walkedLines)
        line_ = text_.line(number);
    while (line_.number < number && line_.next != line_.end)
        goToNext();
    return line_;
}

bool LineCursor::isInLine(Utf8Offset offset) const
{
    return offset >= line_.start && (offset <= line_.end || offset < line_.next);
}

std::string_view LineCursor::from(Utf8Offset offset)
{
    if (offset < pieceStart_ || offset - pieceStart_ >= piece_.size())
        std::tie(pieceStart_, piece_) = text_.pieceAt(offset);
    return piece_.substr(offset - pieceStart_);
}

void LineCursor::goToNext()
{
    line_.start = line_.end = line_.next;
    ++line_.number;
    while (line_.end < text_.end()) {
        const std::string_view rest = from(line_.end);
        const std::size_t found = findLineEnd(rest);
        if (found == std::string_view::npos) {
            line_.end += rest.size();
            continue;
        }
        line_.end += found;
        line_.next = line_.end + 1;
        if (rest[found] == '\r' && line_.next < text_.end() && from(line_.next).front() == '\n')
            ++line_.next;
        return;
    }
    line_.next = line_.end;
}

LineBlock linesOf(LineCursor& lines, const Caret& caret)
{
    const LineNumber first = lines.containing(caret.start()).number;
    const TextLine& end = lines.containing(caret.end());
    const bool reachesIn = end.number == first || caret.end() > end.start;
    return {first, reachesIn ? end.number : end.number - 1};
}

std::vector<LineBlock> selectedBlocks(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    std::vector<LineBlock> blocks;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        LineBlock block = linesOf(lines, carets[i]);
        block.caretsBegin = i;
        if (!blocks.empty() && block.first <= blocks.back().last + 1) {
            blocks.back().last = block.last;
        } else {
            blocks.push_back(block);
        }
        blocks.back().caretsEnd = i + 1;
    }
    return blocks;
}

std::vector<LineBlock> selectedBlocksOrAll(const TextSnapshot& text, const CaretSet& carets)
{
    if (carets.hasSelection())
        return selectedBlocks(text, carets);
    LineNumber last(text.lineCount() - 1);
    if (last.value > 0 && text.lineStart(last) == text.end())
        last -= 1;
    return {{LineNumber(0), last, 0, carets.size()}};
}

Utf8Offset skipBlanks(const TextSnapshot& text, Utf8Range range)
{
    TextReader reader(text, range.start);
    while (reader.position() < range.end && isBlank(reader.peekNext()))
        reader.next();
    return reader.position();
}

Utf8Offset skipBlanksBackwards(const TextSnapshot& text, Utf8Range range)
{
    TextReader reader(text, range.end);
    while (reader.position() > range.start && isBlank(reader.peekPrevious()))
        reader.previous();
    return reader.position();
}

std::string leadingBlanks(const TextSnapshot& text, const TextLine& line)
{
    return text.text({line.start, skipBlanks(text, line.content())});
}

std::string indentStep(const EditOptions& options)
{
    return options.indentWithTabs ? std::string(1, '\t') : std::string(options.indentWidth, ' ');
}

}  // namespace penmark::commands
