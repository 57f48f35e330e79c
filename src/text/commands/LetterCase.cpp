// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/LetterCase.h"

#include "text/commands/CommandResult.h"
#include "text/commands/Occurrences.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/edits.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace penmark::commands {

namespace {

/// Appends the mapped text, and to the edits, if there are any, what has changed.
using Map = void (*)(std::string& to, std::string_view text, icu::Edits* edits);

/// Where offsets of a text are in the mapped one; fast for ascending ones.
class MappedOffsets {
public:
    MappedOffsets(Map map, std::string_view text)
    {
        std::string mapped;
        map(mapped, text, &edits_);
        iterator_ = edits_.getFineIterator();
    }
    std::size_t operator()(std::size_t offset)
    {
        UErrorCode error = U_ZERO_ERROR;
        return static_cast<std::size_t>(iterator_.destinationIndexFromSourceIndex(static_cast<int32_t>(offset), error));
    }

private:
    icu::Edits edits_;
    icu::Edits::Iterator iterator_;
};

/// Whether the word of a bare caret is selected in part, and changes there only.
bool isPartlySelected(const CaretSet& carets, std::size_t index, Utf8Range word, Utf8Offset replacedEnd)
{
    if (word.start < replacedEnd)
        return true;
    while (index < carets.size() && !carets[index].hasSelection())
        ++index;
    return index < carets.size() && carets[index].start() < word.end;
}

EditResult mapCase(const TextSnapshot& text, const CaretSet& carets, Map map)
{
    CommandResult result(text, carets);
    Utf8Range word;
    Utf8Range lastRange;
    std::optional<MappedOffsets> offsets;  // in what lastRange becomes
    Utf8Offset lastStart;
    Utf8Offset selectedEnd;
    std::string was;
    std::string mapped;
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        if (!caret.hasSelection() && !word.contains(caret.head))
            word = wordTouching(text, caret.head);
        Utf8Range range = caret.hasSelection() ? caret.range() : word;
        const bool isSameWord = !caret.hasSelection() && !range.empty() && range == lastRange;
        if (!isSameWord) {
            if (!caret.hasSelection() && isPartlySelected(carets, i, range, selectedEnd))
                range.start = range.end = caret.head;
            was = text.text(range);
            mapped.clear();
            map(mapped, was, nullptr);
            lastRange = range;
            offsets.reset();
            lastStart = result.moved(range.start);
            if (mapped != was)
                result.replace(range, mapped);
        }
        if (caret.hasSelection()) {
            selectedEnd = caret.end();
            const Utf8Offset end = lastStart + mapped.size();
            result.place(i, caret.isForward() ? Caret(lastStart, end) : Caret(end, lastStart));
        } else {
            if (!offsets)
                offsets.emplace(map, was);
            result.place(i, lastStart + (*offsets)(caret.head - range.start));
            result.placesInsideInserted();
        }
    }
    return std::move(result).build();
}

void upper(std::string& to, std::string_view text, icu::Edits* edits)
{
    icu::StringByteSink<std::string> sink(&to);
    UErrorCode error = U_ZERO_ERROR;
    icu::CaseMap::utf8ToUpper("", 0, icu::StringPiece(text), sink, edits, error);
}

void lower(std::string& to, std::string_view text, icu::Edits* edits)
{
    icu::StringByteSink<std::string> sink(&to);
    UErrorCode error = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, icu::StringPiece(text), sink, edits, error);
}

void title(std::string& to, std::string_view text, icu::Edits* edits)
{
    icu::StringByteSink<std::string> sink(&to);
    UErrorCode error = U_ZERO_ERROR;
    icu::CaseMap::utf8ToTitle("", 0, nullptr, icu::StringPiece(text), sink, edits, error);
}

enum class LetterKind { small, capital, none };

LetterKind kindOf(UChar32 character)
{
    if (u_isULowercase(character))
        return LetterKind::small;
    return u_isUUppercase(character) || u_istitle(character) ? LetterKind::capital : LetterKind::none;
}

void swapped(std::string& to, std::string_view text, icu::Edits* edits)
{
    const auto flush = [&](std::size_t from, std::size_t end, LetterKind kind) {
        const std::string_view run = text.substr(from, end - from);
        icu::StringByteSink<std::string> sink(&to);
        UErrorCode error = U_ZERO_ERROR;
        const std::uint32_t keepsEdits = edits != nullptr ? U_EDITS_NO_RESET : 0;
        if (kind == LetterKind::capital)
            icu::CaseMap::utf8ToLower("", keepsEdits, icu::StringPiece(run), sink, edits, error);
        else
            icu::CaseMap::utf8ToUpper("", keepsEdits, icu::StringPiece(run), sink, edits, error);
    };
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    std::size_t from = 0;
    LetterKind runKind = LetterKind::none;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t start = at;
        UChar32 character = 0;
        U8_NEXT_UNSAFE(bytes, at, character);
        const LetterKind kind = kindOf(character);
        if (kind == LetterKind::none || kind == runKind)
            continue;
        // What is no letter goes along with the letters before it, so that they keep their context.
        if (runKind != LetterKind::none) {
            flush(from, start, runKind);
            from = start;
        }
        runKind = kind;
    }
    flush(from, text.size(), runKind);
}

}  // namespace

EditResult upperCase(const TextSnapshot& text, const CaretSet& carets)
{
    return mapCase(text, carets, upper);
}

EditResult lowerCase(const TextSnapshot& text, const CaretSet& carets)
{
    return mapCase(text, carets, lower);
}

EditResult titleCase(const TextSnapshot& text, const CaretSet& carets)
{
    return mapCase(text, carets, title);
}

EditResult swapCase(const TextSnapshot& text, const CaretSet& carets)
{
    return mapCase(text, carets, swapped);
}

}  // namespace penmark::commands
