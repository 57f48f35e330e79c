// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Typing.h"

#include "text/Characters.h"
#include "text/commands/CommandResult.h"
#include "text/commands/Lists.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace penmark::commands {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 10> pairs{{{"(", ")"},
                                                                               {"[", "]"},
                                                                               {"{", "}"},
                                                                               {"\"", "\""},
                                                                               {"'", "'"},
                                                                               {"`", "`"},
                                                                               {"“", "”"},
                                                                               {"‘", "’"},
                                                                               {"„", "“"},
                                                                               {"«", "»"}}};

std::string_view closingOf(std::string_view open)
{
    const auto* found = std::find_if(pairs.begin(), pairs.end(), [&](const auto& pair) { return pair.first == open; });
    return found == pairs.end() ? std::string_view() : found->second;
}

char32_t closingBracket(char32_t open)
{
    switch (open) {
    case U'(':
        return U')';
    case U'[':
        return U']';
    case U'{':
        return U'}';
    default:
        return 0;
    }
}

bool isLineEnd(char32_t character)
{
    return character == U'\r' || character == U'\n';
}

std::size_t countGraphemes(std::string_view text)
{
    const TextSnapshot snapshot(text);
    std::size_t count = 0;
    for (Utf8Offset at; at < snapshot.end(); at = nextGrapheme(snapshot, at))
        ++count;
    return count;
}

/// Where the characters end that `count` typed ones replace.
Utf8Offset overtypedEnd(const TextSnapshot& text, Utf8Offset from, Utf8Offset limit, std::size_t count)
{
    Utf8Offset end = from;
    for (; count > 0 && end < limit && !isLineEnd(text.characterAt(end)); --count)
        end = nextGrapheme(text, end);
    return std::min(end, limit);
}

void surroundCaret(CommandResult& result, const Caret& caret, std::size_t index, std::string_view open,
                   std::string_view close)
{
    result.insert(caret.start(), open);
    const Utf8Offset start = result.moved(caret.start());
    const Utf8Offset end = result.moved(caret.end());
    result.place(index, caret.isForward() ? Caret(start, end) : Caret(end, start));
    result.insert(caret.end(), close);
}

}  // namespace

EditResult typeText(const TextSnapshot& text, const CaretSet& carets, std::string_view typed,
                    const EditOptions& options)
{
    const std::string_view closing = options.closeBrackets ? closingOf(typed) : std::string_view();
    const bool overtype = options.overtype && typed.find_first_of("\r\n") == std::string_view::npos;
    const std::size_t overtyped = overtype ? countGraphemes(typed) : 0;
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        if (caret.hasSelection() && !closing.empty()) {
            surroundCaret(result, caret, i, typed, closing);
            continue;
        }
        Utf8Range range = caret.range();
        if (overtype && range.empty()) {
            const Utf8Offset limit = i + 1 < carets.size() ? carets[i + 1].start() : text.end();
            range.end = overtypedEnd(text, range.start, limit, overtyped);
        }
        result.replace(range, typed);
        result.place(i, result.moved(range.end));
    }
    return std::move(result).build();
}

EditResult insertNewline(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    if (options.markdown)
        return continueLists(text, carets, options);
    LineCursor lines(text);
    CommandResult result(text, carets);
    const std::string step = indentStep(options);
    std::string made;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Utf8Range range = carets[i].range();
        const TextLine& line = lines.containing(range.start);
        made = options.lineEnd;
        const Utf8Offset indentEnd = skipBlanks(text, {line.start, range.start});
        text.append(made, {line.start, indentEnd});
        const Utf8Offset last = skipBlanksBackwards(text, {indentEnd, range.start});
        const char32_t opening = last > indentEnd ? text.characterBefore(last) : U' ';
        const char32_t closing = closingBracket(opening);
        if (closing != 0 || (options.indentAfterColon && opening == U':'))
            made += step;
        result.replace(range, made);
        result.place(i, result.moved(range.end));
        if (closing != 0 && text.characterAt(range.end) == closing)
            result.insert(range.end, options.lineEnd + text.text({line.start, indentEnd}));
    }
    return std::move(result).build();
}

EditResult surround(const TextSnapshot& text, const CaretSet& carets, std::string_view open, std::string_view close)
{
    CommandResult result(text, carets);
    for (std::size_t i = 0; i < carets.size(); ++i)
        surroundCaret(result, carets[i], i, open, close);
    return std::move(result).build();
}

EditResult transpose(const TextSnapshot& text, const CaretSet& carets)
{
    CommandResult result(text, carets);
    LineCursor lines(text);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        const TextLine& line = lines.containing(caret.head);
        Utf8Offset middle = caret.head;
        if (middle == line.end && middle > line.start)
            middle = previousGrapheme(text, middle);
        if (caret.hasSelection() || middle == line.start) {
            const Utf8Offset start = result.moved(caret.start());
            const Utf8Offset end = result.moved(caret.end());
            result.place(i, caret.isForward() ? Caret(start, end) : Caret(end, start));
            continue;
        }
        const Utf8Offset first = previousGrapheme(text, middle);
        const Utf8Offset end = nextGrapheme(text, middle);
        const bool isFree = first >= result.replacedEnd() && (i == 0 || first >= carets[i - 1].end()) &&
                            (i + 1 == carets.size() || end <= carets[i + 1].start());
        if (isFree)
            result.replace({first, end}, text.text({middle, end}) + text.text({first, middle}));
        result.place(i, result.moved(isFree ? end : caret.head));
    }
    return std::move(result).build();
}

}  // namespace penmark::commands
