// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Deleting.h"

#include "base/FunctionRef.h"
#include "text/CaretMotion.h"
#include "text/Characters.h"
#include "text/commands/CommandResult.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <unicode/uchar.h>

namespace penmark::commands {

namespace {

/// `rangeAt` says what a bare caret deletes, by its line, its place and its index.
EditResult deleteRanges(const TextSnapshot& text, const CaretSet& carets,
                        FunctionRef<Utf8Range(const TextLine&, Utf8Offset, std::size_t)> rangeAt)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        Utf8Range range = caret.range();
        if (!caret.hasSelection())
            range = rangeAt(lines.containing(caret.head), caret.head, i);
        result.remove(range);
        result.place(i, result.moved(range.end));
    }
    return std::move(result).build();
}

/// A mark that a writer puts on a letter, as opposed to one that only chooses how a symbol looks.
bool isCombiningMark(char32_t character)
{
    const auto point = static_cast<UChar32>(character);
    const bool isMark = (U_GET_GC_MASK(point) & U_GC_M_MASK) != 0 ||
                        u_getIntPropertyValue(point, UCHAR_GRAPHEME_CLUSTER_BREAK) == U_GCB_SPACING_MARK;
    return isMark && !u_hasBinaryProperty(point, UCHAR_VARIATION_SELECTOR) && character != U'\u20E3';
}

Utf8Offset unindentedStart(const TextSnapshot& text, const TextLine& line, Utf8Offset caret, const EditOptions& options)
{
    std::size_t column = 0;
    Utf8Offset stop = line.start;  // the last place in the blanks that stands on a step of indentation
    TextReader reader(text, line.start);
    const std::size_t step = std::max<std::size_t>(options.indentWidth, 1);
    const std::size_t tab = std::max<std::size_t>(options.tabWidth, 1);
    while (reader.position() < caret) {
        const char32_t blank = reader.next();
        if (blank == U'\t') {
            stop = reader.position() - 1;
            column += tab - column % tab;
            continue;
        }
        if (column % step == 0)
            stop = reader.position() - 1;
        ++column;
    }
    return stop;
}

Utf8Offset backspaceStart(const TextSnapshot& text, const TextLine& line, Utf8Offset caret, const EditOptions& options)
{
    if (caret == Utf8Offset(0))
        return caret;
    const char32_t before = text.characterBefore(caret);
    if (before == U' ' && skipBlanks(text, {line.start, caret}) == caret)
        return unindentedStart(text, line, caret, options);
    const Utf8Offset cluster = previousGrapheme(text, caret);
    if (!isCombiningMark(before))
        return cluster;
    const Utf8Offset mark = text.characterStart(caret - 1);
    return std::max(mark, cluster);
}

}  // namespace

EditResult deleteBackward(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    return deleteRanges(text, carets, [&](const TextLine& line, Utf8Offset caret, std::size_t) {
        return Utf8Range{backspaceStart(text, line, caret, options), caret};
    });
}

EditResult deleteForward(const TextSnapshot& text, const CaretSet& carets)
{
    return deleteRanges(text, carets, [&](const TextLine&, Utf8Offset caret, std::size_t) {
        return Utf8Range{caret, nextGrapheme(text, caret)};
    });
}

EditResult deleteWordLeft(const TextSnapshot& text, const CaretSet& carets)
{
    const std::vector<Utf8Offset> heads = headsAfter(text, carets, Motion::previousWordStart);
    return deleteRanges(text, carets, [&](const TextLine& line, Utf8Offset caret, std::size_t index) {
        if (caret == line.start)
            return Utf8Range{previousGrapheme(text, caret), caret};
        return Utf8Range{std::max(heads[index], line.start), caret};
    });
}

EditResult deleteWordRight(const TextSnapshot& text, const CaretSet& carets)
{
    const std::vector<Utf8Offset> heads = headsAfter(text, carets, Motion::nextWordStart);
    return deleteRanges(text, carets, [&](const TextLine& line, Utf8Offset caret, std::size_t index) {
        if (caret == line.end)
            return Utf8Range{caret, line.next};
        return Utf8Range{caret, std::min(heads[index], line.end)};
    });
}

EditResult deleteToLineStart(const TextSnapshot& text, const CaretSet& carets)
{
    return deleteRanges(text, carets, [&](const TextLine& line, Utf8Offset caret, std::size_t) {
        return Utf8Range{caret == line.start ? previousGrapheme(text, caret) : line.start, caret};
    });
}

EditResult deleteToLineEnd(const TextSnapshot& text, const CaretSet& carets)
{
    return deleteRanges(text, carets, [&](const TextLine& line, Utf8Offset caret, std::size_t) {
        return Utf8Range{caret, caret == line.end ? line.next : line.end};
    });
}

EditResult deleteLines(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (const LineBlock& block : selectedBlocks(text, carets)) {
        const Utf8Offset start = lines.line(block.first).start;
        const TextLine last = lines.line(block.last);
        const bool isFollowed = last.end != last.next;
        const TextLine kept = isFollowed               ? text.line(block.last + 1)
                              : block.first.value == 0 ? TextLine{}
                                                       : text.line(block.first - 1);
        // Without a line end of its own, the last line of the text takes the one before it along.
        const bool takesPrevious = !isFollowed && block.first.value > 0;
        const Utf8Range removed{takesPrevious ? kept.end : start, last.next};
        std::vector<Utf8Offset> places;
        for (std::size_t i = block.caretsBegin; i < block.caretsEnd; ++i) {
            const Utf8Offset head = carets[i].head;
            const TextLine& line = lines.containing(head);
            const Utf8Offset wanted = std::min(kept.start + (head - line.start), kept.end);
            places.push_back(graphemeStart(text, text.characterStart(wanted)));
        }
        // Carets that go up stand before the removed range, the others behind it.
        if (takesPrevious) {
            const Utf8Offset keptEnd = result.moved(kept.end);
            for (std::size_t i = block.caretsBegin; i < block.caretsEnd; ++i)
                result.place(i, keptEnd - (kept.end - places[i - block.caretsBegin]));
        }
        result.remove(removed);
        if (!takesPrevious) {
            const Utf8Offset keptStart = result.moved(kept.start);
            for (std::size_t i = block.caretsBegin; i < block.caretsEnd; ++i)
                result.place(i, keptStart + (places[i - block.caretsBegin] - kept.start));
        }
    }
    return std::move(result).build();
}

EditResult deleteSelections(const TextSnapshot& text, const CaretSet& carets)
{
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        result.remove(carets[i].range());
        result.place(i, result.moved(carets[i].end()));
    }
    return std::move(result).build();
}

}  // namespace penmark::commands
