// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Lines.h"

#include "text/commands/CommandResult.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace penmark::commands {

namespace {

/// Moves a block of lines over one neighbour. Only the neighbour and line ends that differ are touched.
class BlockMove {
public:
    BlockMove(const TextSnapshot& text, const CaretSet& carets)
        : text_(text), carets_(carets), result_(text, carets), lines_(text)
    {
        const LineEndCounts ends = text.lineEnds();
        isMixed_ = (ends.lf > 0) + (ends.crlf > 0) + (ends.cr > 0) > 1;
    }

    EditResult up() &&
    {
        for (const LineBlock& block : selectedBlocks(text_, carets_)) {
            if (block.first.value == 0)
                stay(block);
            else
                up(block);
        }
        return std::move(result_).build();
    }

    EditResult down() &&
    {
        for (const LineBlock& block : selectedBlocks(text_, carets_)) {
            if (block.last.value + 1 == text_.lineCount())
                stay(block);
            else
                down(block);
        }
        return std::move(result_).build();
    }

private:
    std::string lineEnd(const TextLine& line) const { return text_.text({line.end, line.next}); }

    void stay(const LineBlock& block)
    {
        CaretFeed feed(result_, carets_, block.caretsBegin, block.caretsEnd);
        feed.feedUpTo(text_.end());
    }

    void up(const LineBlock& block)
    {
        CaretFeed feed(result_, carets_, block.caretsBegin, block.caretsEnd);
        const TextLine above = lines_.line(block.first - 1);
        result_.remove(above.whole());
        std::string end = lineEnd(above);
        if (isMixed_) {
            for (LineNumber number = block.first; number < block.last; ++number)
                end = replaceEnd(feed, text_.line(number), end);
        }
        const TextLine last = lines_.line(block.last);
        feed.feedUpTo(last.end);
        const std::size_t endSize = end.size();
        const Utf8Offset behind = result_.moved(last.end) + endSize;
        result_.insert(last.end, end + text_.text(above.content()));
        feed.feedRestAt(behind);
    }

    void down(const LineBlock& block)
    {
        CaretFeed feed(result_, carets_, block.caretsBegin, block.caretsEnd);
        const TextLine first = lines_.line(block.first);
        const TextLine below = text_.line(block.last + 1);
        result_.insert(first.start, text_.text(below.content()) + lineEnd(first));
        if (isMixed_) {
            for (LineNumber number = block.first; number < block.last; ++number)
                replaceEnd(feed, text_.line(number), lineEnd(text_.line(number + 1)));
        }
        const TextLine last = text_.line(block.last);
        feed.feedUpTo(last.end);
        result_.remove({last.end, below.end});
        feed.feedRestAt(result_.moved(below.next));
    }

    /// Returns the line end that was there.
    std::string replaceEnd(CaretFeed& feed, const TextLine& line, const std::string& with)
    {
        std::string was = lineEnd(line);
        feed.feedUpTo(line.end);
        if (was != with)
            result_.replace({line.end, line.next}, with);
        return was;
    }

    const TextSnapshot& text_;
    const CaretSet& carets_;
    CommandResult result_;
    LineCursor lines_;
    bool isMixed_ = false;
};

/// The copy of a line below it, for the bare carets on it.
struct LineCopy {
    TextLine line;
    std::vector<std::size_t> carets;
};

void insertCopy(CommandResult& result, const TextSnapshot& text, const CaretSet& carets, const LineCopy& copy,
                const EditOptions& options)
{
    if (copy.carets.empty())
        return;
    const TextLine& line = copy.line;
    const bool hasEnd = line.end != line.next;
    result.insert(line.end, (hasEnd ? text.text({line.end, line.next}) : options.lineEnd) + text.text(line.content()));
    const Utf8Offset end = result.moved(line.end);
    for (std::size_t index : copy.carets)
        result.place(index, end - (line.end - carets[index].head));
}

/// Adds the lines that a block joins to their next one.
void addJoinedLines(std::vector<LineNumber>& joined, const LineBlock& lines, std::size_t lineCount)
{
    const std::size_t past = std::max(lines.last.value, lines.first.value + 1);
    for (std::size_t number = lines.first.value; number < past && number + 1 < lineCount; ++number)
        if (joined.empty() || joined.back().value < number)
            joined.emplace_back(number);
}

}  // namespace

EditResult moveLinesUp(const TextSnapshot& text, const CaretSet& carets)
{
    return BlockMove(text, carets).up();
}

EditResult moveLinesDown(const TextSnapshot& text, const CaretSet& carets)
{
    return BlockMove(text, carets).down();
}

EditResult duplicate(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    result.placesInsideInserted();
    LineCopy copy;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        if (!copy.carets.empty() && caret.end() > copy.line.end) {
            insertCopy(result, text, carets, copy, options);
            copy.carets.clear();
        }
        if (!caret.hasSelection()) {
            copy.line = lines.containing(caret.head);
            copy.carets.push_back(i);
            continue;
        }
        result.insert(caret.end(), text.text(caret.range()));
        const Utf8Offset end = result.moved(caret.end());
        const Utf8Offset start = end - caret.range().size();
        result.place(i, caret.isForward() ? Caret(start, end) : Caret(end, start));
    }
    insertCopy(result, text, carets, copy, options);
    return std::move(result).build();
}

EditResult joinLines(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    std::vector<LineNumber> joined;
    for (const Caret& caret : carets)
        addJoinedLines(joined, linesOf(lines, caret), text.lineCount());

    CommandResult result(text, carets);
    std::vector<Utf8Offset> seams;  // for each joined line, in the text before
    for (std::size_t i = 0; i < joined.size();) {
        const TextLine first = text.line(joined[i]);
        Utf8Offset from = skipBlanksBackwards(text, first.content());
        bool hasText = from != first.start;
        Utf8Offset end = first.end;
        for (LineNumber number = joined[i]; i < joined.size() && joined[i] == number; ++i, ++number) {
            const TextLine next = text.line(number + 1);
            const Utf8Offset content = skipBlanks(text, next.content());
            end = next.end;
            if (content == next.end)
                continue;
            result.replace({from, content}, hasText ? " " : "");
            seams.resize(i + 1, content);
            from = skipBlanksBackwards(text, {content, next.end});
            hasText = true;
        }
        if (seams.size() < i) {
            result.remove({from, end});
            seams.resize(i, end);
        }
    }

    std::vector<Caret> moved(carets.begin(), carets.end());
    std::size_t join = 0;
    for (Caret& caret : moved) {
        if (caret.hasSelection())
            continue;
        const LineNumber line = lines.containing(caret.head).number;
        while (join < joined.size() && joined[join] < line)
            ++join;
        if (join < joined.size() && joined[join] == line)
            caret = Caret(seams[join]);
    }
    return std::move(result).buildMapped(moved, Stickiness::after);
}

EditResult insertLineBelow(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    Utf8Offset lastEnd;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const TextLine& line = lines.containing(carets[i].head);
        if (i == 0 || line.end != lastEnd)
            result.insert(line.end, options.lineEnd + leadingBlanks(text, line));
        lastEnd = line.end;
        result.place(i, result.moved(line.end));
    }
    return std::move(result).build();
}

EditResult insertLineAbove(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    LineNumber lastLine;
    Utf8Offset at;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const TextLine& line = lines.containing(carets[i].head);
        if (i == 0 || line.number != lastLine) {
            const std::string indentation = leadingBlanks(text, line);
            at = result.moved(line.start) + indentation.size();
            result.insert(line.start, indentation + options.lineEnd);
        }
        lastLine = line.number;
        result.place(i, at);
    }
    return std::move(result).build();
}

EditResult trimTrailingBlanks(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    TextReader reader(text);
    CommandResult result(text, carets);
    for (const LineBlock& block : selectedBlocksOrAll(text, carets)) {
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine& line = lines.line(number);
            reader.seek(line.end);
            while (reader.position() > line.start && isBlank(reader.peekPrevious()))
                reader.previous();
            result.remove({reader.position(), line.end});
        }
    }
    return std::move(result).buildMapped(Stickiness::before);
}

EditResult convertLineEnds(const TextSnapshot& text, const CaretSet& carets, std::string_view lineEnd)
{
    CommandResult result(text, carets);
    CaretFeed feed(result, carets, 0, carets.size());
    Utf8Offset offset;
    bool hasReturn = false;  // just before the offset
    const auto convert = [&](std::size_t size, std::string_view was) {
        feed.feedUpTo(offset - size);
        if (was != lineEnd)
            result.replace({offset - size, offset}, lineEnd);
    };
    text.forEachPiece({Utf8Offset(0), text.end()}, [&](std::string_view piece) {
        const Utf8Offset start = offset;
        for (std::size_t at = 0;;) {
            if (hasReturn && at < piece.size()) {
                hasReturn = false;
                if (piece[at] == '\n') {
                    offset = start + ++at;
                    convert(2, "\r\n");
                    continue;
                }
                offset = start + at;
                convert(1, "\r");
            }
            at = piece.find_first_of("\r\n", at);
            if (at == std::string_view::npos)
                break;
            hasReturn = piece[at] == '\r';
            offset = start + ++at;
            if (!hasReturn)
                convert(1, "\n");
        }
        offset = start + piece.size();
        return true;
    });
    if (hasReturn)
        convert(1, "\r");
    feed.feedUpTo(text.end());
    return std::move(result).build();
}

}  // namespace penmark::commands
