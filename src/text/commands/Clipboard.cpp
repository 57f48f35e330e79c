// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Clipboard.h"

#include "text/Characters.h"
#include "text/Indentation.h"
#include "text/commands/CommandResult.h"
#include "text/commands/Deleting.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace penmark::commands {

namespace {

void addPart(ClipboardText& copied, std::string_view part)
{
    const Utf8Offset start(copied.text.size());
    copied.text += part;
    copied.parts.push_back({start, start + part.size()});
}

/// Where the line end at the position ends.
std::size_t behindLineEnd(std::string_view text, std::size_t at)
{
    return at + (text.substr(at, 2) == "\r\n" ? 2 : 1);
}

std::string withLineEnds(std::string_view text, std::string_view lineEnd)
{
    std::string converted;
    converted.reserve(text.size());
    std::size_t start = 0;
    for (std::size_t at = text.find_first_of("\r\n"); at != std::string_view::npos;
         at = text.find_first_of("\r\n", start)) {
        converted += text.substr(start, at - start);
        converted += lineEnd;
        start = behindLineEnd(text, at);
    }
    return converted += text.substr(start);
}

std::vector<std::string_view> linesIn(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end == text.size() ? end : behindLineEnd(text, end);
    }
    return lines;
}

/// What each caret pastes: one text for all, or one for each.
std::vector<std::string> pastedTexts(const ClipboardText& pasted, std::size_t carets, const EditOptions& options,
                                     bool keepLineEnds)
{
    const std::string_view all = pasted.text;
    std::vector<std::string_view> parts;
    if (carets > 1 && pasted.parts.size() == carets) {
        for (const Utf8Range& part : pasted.parts)
            parts.push_back(all.substr(part.start.value, part.size()));
    } else if (carets > 1) {
        parts = linesIn(all);
    }
    if (carets == 1 || parts.size() != carets)
        parts.assign(1, all);
    std::vector<std::string> texts;
    texts.reserve(parts.size());
    for (const std::string_view part : parts)
        texts.push_back(keepLineEnds ? std::string(part) : withLineEnds(part, options.lineEnd));
    return texts;
}

EditResult pasteLines(const TextSnapshot& text, const CaretSet& carets, const std::vector<std::string>& texts)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size();) {
        const TextLine line = lines.containing(carets[i].head);
        std::size_t end = i + 1;
        while (end < carets.size() && lines.containing(carets[end].head).number == line.number)
            ++end;
        if (texts.size() == 1)
            result.insert(line.start, texts.front());
        for (std::size_t each = i; each < end && texts.size() > 1; ++each)
            result.insert(line.start, texts[each]);
        for (; i < end; ++i)
            result.place(i, result.moved(carets[i].head));
    }
    return std::move(result).build();
}

}  // namespace

ClipboardText copy(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    ClipboardText copied;
    copied.wholeLines = !carets.hasSelection();
    if (copied.wholeLines) {
        LineCursor lines(text);
        std::optional<LineNumber> last;
        for (const Caret& caret : carets) {
            const TextLine& line = lines.containing(caret.head);
            if (last == line.number)
                continue;
            last = line.number;
            std::string part = text.text(line.whole());
            if (line.end == line.next)
                part += options.lineEnd;
            addPart(copied, part);
        }
        return copied;
    }
    for (const Caret& caret : carets) {
        if (!caret.hasSelection())
            continue;
        if (!copied.parts.empty())
            copied.text += options.lineEnd;
        addPart(copied, text.text(caret.range()));
    }
    return copied;
}

EditResult cut(const TextSnapshot& text, const CaretSet& carets)
{
    return carets.hasSelection() ? deleteSelections(text, carets) : deleteLines(text, carets);
}

EditResult paste(const TextSnapshot& text, const CaretSet& carets, const ClipboardText& pasted,
                 const EditOptions& options, bool keepLineEnds)
{
    const std::vector<std::string> texts = pastedTexts(pasted, carets.size(), options, keepLineEnds);
    if (pasted.wholeLines && !carets.hasSelection())
        return pasteLines(text, carets, texts);
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        result.replace(carets[i].range(), texts.size() == 1 ? texts.front() : texts[i]);
        result.place(i, result.moved(carets[i].end()));
    }
    return std::move(result).build();
}

CaretSet columnSelection(const TextSnapshot& text, LineColumn anchor, LineColumn head, const EditOptions& options)
{
    const LineNumber lastLine(text.lineCount() - 1);
    const LineNumber headLine = std::min(head.line, lastLine);
    const LineNumber first = std::min({anchor.line, head.line, lastLine});
    const LineNumber last = std::min(std::max(anchor.line, head.line), lastLine);
    const std::size_t left = std::min(anchor.column, head.column);
    const std::size_t right = std::max(anchor.column, head.column);
    const std::size_t tab = std::max<std::size_t>(options.tabWidth, 1);
    std::vector<Caret> carets;
    std::size_t main = 0;
    for (LineNumber number = first; number <= last; ++number) {
        const TextLine line = text.line(number);
        const ColumnPlace place = placeAtColumn(text, line, left, tab);
        const bool isShort = place.offset == line.end && place.column < left;
        if (isShort && number != headLine)
            continue;
        const Utf8Offset start = graphemeStart(text, place.offset);
        const Utf8Offset end = graphemeStart(text, placeAtColumn(text, line, right, tab).offset);
        if (number == headLine)
            main = carets.size();
        carets.push_back(anchor.column <= head.column ? Caret(start, end) : Caret(end, start));
    }
    return {std::move(carets), main};
}

}  // namespace penmark::commands
