// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/CaretMotion.h"

#include "text/Characters.h"
#include "text/Indentation.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

namespace penmark {

namespace {

bool isBlankByte(char byte)
{
    return byte == ' ' || byte == '\t';
}

bool isLineEndByte(char byte)
{
    return byte == '\n' || byte == '\r';
}

// Where the line begins that contains the position. Mostly found in the piece at hand; counting lines in the tree,
// which finds the start of a line of any length, takes some microseconds, and that ten thousand times.
Utf8Offset lineStartOf(const TextSnapshot& text, Utf8Offset position)
{
    const auto [start, piece] = text.pieceAt(position);
    std::size_t at = std::min(position - start, piece.size());
    if (at > 0 && at < piece.size() && piece[at - 1] == '\r' && piece[at] == '\n')
        --at;
    for (; at > 0; --at)
        if (isLineEndByte(piece[at - 1]))
            return start + at;
    return text.lineContaining(position).start;
}

Utf8Offset lineEndOf(const TextSnapshot& text, Utf8Offset position)
{
    const auto [start, piece] = text.pieceAt(position);
    for (std::size_t at = position - start; at > 0 && at < piece.size(); ++at)
        if (isLineEndByte(piece[at]))
            return piece[at] == '\n' && piece[at - 1] == '\r' ? start + at - 1 : start + at;
    return text.lineContaining(position).end;
}

bool isBlankLine(const TextSnapshot& text, Utf8Offset lineStart)
{
    const Utf8Offset end = indentationOf(text, lineStart).end;
    return end == text.end() || isLineEndByte(text.at(end));
}

// Calls with each start of a paragraph in the range, which begins at a line start, until it returns false. A
// paragraph starts with a line that is not blank behind one that is. Read byte by byte, since a log of 100 MB may have
// no blank line at all.
template <class Call>
void forEachParagraph(const TextSnapshot& text, Utf8Range range, bool behindBlank, Call call)
{
    bool blank = true;  // the current line, as far as it was read
    Utf8Offset lineStart = range.start;
    Utf8Offset at = range.start;
    char last = '\0';
    text.forEachPiece(range, [&](std::string_view piece) {
        for (const char byte : piece) {
            ++at;
            if (isLineEndByte(byte)) {
                if (byte == '\r' || last != '\r') {
                    behindBlank = blank;
                    blank = true;
                }
                lineStart = at;
            } else if (blank && !isBlankByte(byte)) {
                blank = false;
                if (behindBlank && !call(lineStart))
                    return false;
            }
            last = byte;
        }
        return true;
    });
}

Utf8Offset nextParagraphStart(const TextSnapshot& text, Utf8Offset position)
{
    Utf8Offset found = text.end();
    forEachParagraph(text, {lineStartOf(text, position), text.end()}, false, [&](Utf8Offset start) {
        if (start <= position)
            return true;
        found = start;
        return false;
    });
    return found;
}

Utf8Offset previousParagraphStart(const TextSnapshot& text, Utf8Offset position)
{
    std::size_t block = 256;  // read forwards, one block before the other, larger and larger ones
    Utf8Offset end = lineEndOf(text, position);
    Utf8Offset start = position;
    std::optional<Utf8Offset> found;
    while (start.value > 0 && !found) {
        start = lineStartOf(text, text.characterStart(start - std::min(start.value, block)));
        block = std::min<std::size_t>(block * 2, 1 << 16);
        const bool behindBlank = start.value == 0 || isBlankLine(text, lineStartOf(text, start - 1));
        forEachParagraph(text, {start, end}, behindBlank, [&](Utf8Offset paragraph) {
            if (paragraph < position)
                found = paragraph;
            return paragraph < position;
        });
        end = start;
    }
    return found.value_or(Utf8Offset());
}

Utf8Offset smartLineStart(const TextSnapshot& text, Utf8Offset position)
{
    const Utf8Range indentation = indentationOf(text, lineStartOf(text, position));
    const Utf8Offset end = graphemeStart(text, indentation.end);  // a mark may stand on the last blank
    return position == end ? indentation.start : end;
}

Utf8Offset otherBracket(const TextSnapshot& text, Utf8Offset position, const BracketRules& rules)
{
    const auto match = BracketMatcher(text, rules).at(position);
    if (!match)
        return position;
    if (position == match->open.start)
        return match->close.end;
    if (position == match->close.end)
        return match->open.start;
    if (match->content().empty())  // from inside to inside would stand still
        return match->open.start;
    return position == match->open.end ? match->close.start : match->open.end;
}

// Marks may stand on brackets.
Utf8Range wholeGraphemes(const TextSnapshot& text, Utf8Range range)
{
    const Utf8Offset end = graphemeStart(text, range.end);
    return {graphemeStart(text, range.start), end == range.end ? end : nextGrapheme(text, end)};
}

Utf8Range wholeLines(const TextSnapshot& text, const Caret& caret)
{
    const Utf8Offset start = text.lineContaining(caret.start()).start;
    TextLine last = text.lineContaining(caret.end());
    // A selection that ends at the start of a line does not reach into it, unless it is whole lines already.
    if (caret.hasSelection() && caret.end() == last.start && caret.start() != start)
        last = text.lineContaining(last.start - 1);
    return {start, last.next};
}

Utf8Range grown(const TextSnapshot& text, const Caret& caret, SelectionUnit unit, const BracketRules& brackets)
{
    switch (unit) {
    case SelectionUnit::word:
        return caret.hasSelection() ? caret.range() : wordAt(text, caret.head);
    case SelectionUnit::line:
        return wholeLines(text, caret);
    case SelectionUnit::brackets: {
        const auto match = BracketMatcher(text, brackets).enclosing(caret.range());
        if (!match)
            return caret.range();
        const Utf8Range content = wholeGraphemes(text, match->content());
        return wholeGraphemes(text, content == caret.range() ? match->whole() : content);
    }
    case SelectionUnit::all:
        break;
    }
    return {{}, text.end()};
}

}  // namespace

std::vector<Utf8Offset> headsAfter(const TextSnapshot& text, const CaretSet& carets, Motion motion,
                                   const BracketRules& brackets)
{
    std::vector<Utf8Offset> heads;
    heads.reserve(carets.size());
    const auto each = [&](auto&& moved) {
        for (const Caret& caret : carets)
            heads.push_back(moved(caret.head));
    };
    // Carets of one word or paragraph go to the same place, so that the text is read once for all of them.
    const auto eachRun = [&](bool forwards, auto&& moved) {
        std::optional<Utf8Range> known;  // from the caret that was searched from to what was found, or the reverse
        heads.resize(carets.size());
        for (std::size_t step = 0; step < carets.size(); ++step) {
            const std::size_t index = forwards ? step : carets.size() - 1 - step;
            const Utf8Offset head = carets[index].head;
            if (forwards) {
                if (!known || head < known->start || head >= known->end)
                    known = {head, moved(text, head)};
                heads[index] = known->end;
            } else {
                if (!known || head > known->end || head <= known->start)
                    known = {moved(text, head), head};
                heads[index] = known->start;
            }
        }
    };
    switch (motion) {
    case Motion::previousGrapheme:
        each([&](Utf8Offset head) { return previousGrapheme(text, head); });
        break;
    case Motion::nextGrapheme:
        each([&](Utf8Offset head) { return nextGrapheme(text, head); });
        break;
    case Motion::previousWordStart:
        eachRun(false, previousWordStart);
        break;
    case Motion::nextWordStart:
        eachRun(true, nextWordStart);
        break;
    case Motion::nextWordEnd:
        eachRun(true, nextWordEnd);
        break;
    case Motion::lineStart:
        each([&](Utf8Offset head) { return smartLineStart(text, head); });
        break;
    case Motion::lineEnd:
        each([&](Utf8Offset head) { return lineEndOf(text, head); });
        break;
    case Motion::documentStart:
        each([&](Utf8Offset) { return Utf8Offset(); });
        break;
    case Motion::documentEnd:
        each([&](Utf8Offset) { return text.end(); });
        break;
    case Motion::previousParagraph:
        eachRun(false, previousParagraphStart);
        break;
    case Motion::nextParagraph:
        eachRun(true, nextParagraphStart);
        break;
    case Motion::matchingBracket: {
        BracketRules shared = brackets;
        shared.limit = std::max(std::min<std::size_t>(brackets.limit, 4096), brackets.limit / carets.size());
        each([&](Utf8Offset head) { return graphemeStart(text, otherBracket(text, head, shared)); });
        break;
    }
    }
    return heads;
}

CaretSet moveCarets(const TextSnapshot& text, const CaretSet& carets, Motion motion, bool select,
                    const BracketRules& brackets)
{
    const bool collapses = !select && (motion == Motion::previousGrapheme || motion == Motion::nextGrapheme);
    const std::vector<Utf8Offset> heads = headsAfter(text, carets, motion, brackets);
    std::vector<Caret> moved;
    moved.reserve(carets.size());
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        if (collapses && caret.hasSelection())
            moved.emplace_back(motion == Motion::previousGrapheme ? caret.start() : caret.end());
        else if (select)
            moved.emplace_back(caret.anchor, heads[i]);
        else
            moved.emplace_back(heads[i]);
    }
    return {std::move(moved), carets.mainIndex()};
}

CaretSet growSelections(const TextSnapshot& text, const CaretSet& carets, SelectionUnit unit,
                        const BracketRules& brackets)
{
    if (unit == SelectionUnit::all)
        return CaretSet(Caret(Utf8Offset(), text.end()));
    BracketRules shared = brackets;
    shared.limit = std::max(std::min<std::size_t>(brackets.limit, 4096), brackets.limit / carets.size());
    std::vector<Caret> result;
    result.reserve(carets.size());
    Utf8Range word;  // the last one, whose other carets grow to it without reading it again
    for (const Caret& caret : carets) {
        const bool isInWord = unit == SelectionUnit::word && !caret.hasSelection() && word.contains(caret.head);
        const Utf8Range range = isInWord ? word : grown(text, caret, unit, shared);
        if (unit == SelectionUnit::word && !caret.hasSelection())
            word = range;
        result.push_back(range == caret.range() ? caret : Caret(range.start, range.end));
    }
    return {std::move(result), carets.mainIndex()};
}

CaretSet moveCarets(const TextSnapshot& text, const CaretSet& carets, VisualMotion motion, bool select,
                    const VisualRows& rows)
{
    using Place = VisualRows::Place;
    const auto vertically = [&](const Caret& caret, bool up, std::size_t count) {
        Place from{caret.head, caret.affinity};
        if (!select && caret.hasSelection() && caret.head != (up ? caret.start() : caret.end()))
            from = {up ? caret.start() : caret.end()};
        const double goal = caret.goal.value_or(rows.x(from));
        const auto distance = static_cast<std::ptrdiff_t>(count);
        auto [place, steps] = rows.rowsBelow(from, up ? -distance : distance, goal);
        if (steps == 0)
            place = {up ? Utf8Offset() : text.end()};
        Caret result(select ? caret.anchor : place.offset, place.offset);
        result.affinity = place.affinity;
        result.goal = goal;
        return result;
    };
    const auto inRow = [&](const Caret& caret, Place place) {
        Caret result(select ? caret.anchor : place.offset, place.offset);
        result.affinity = place.affinity;
        return result;
    };

    std::vector<Caret> moved;
    moved.reserve(carets.size());
    for (const Caret& caret : carets) {
        const Place head{caret.head, caret.affinity};
        switch (motion) {
        case VisualMotion::rowUp:
        case VisualMotion::rowDown:
            moved.push_back(vertically(caret, motion == VisualMotion::rowUp, 1));
            break;
        case VisualMotion::pageUp:
        case VisualMotion::pageDown:
            moved.push_back(vertically(caret, motion == VisualMotion::pageUp, rows.pageRows()));
            break;
        case VisualMotion::rowStart:
            moved.push_back(inRow(caret, rows.rowStart(head)));
            break;
        case VisualMotion::rowEnd:
            moved.push_back(inRow(caret, rows.rowEnd(head)));
            break;
        }
    }
    return {std::move(moved), carets.mainIndex()};
}

}  // namespace penmark
