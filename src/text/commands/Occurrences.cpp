// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Occurrences.h"

#include "base/FunctionRef.h"
#include "text/Characters.h"
#include "text/commands/CommandResult.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace penmark::commands {

namespace {

constexpr std::size_t searchedAtOnce = 65'536;  // bytes at least, when a long text is looked for

/// Finds a text in one piece after another, also where it lies across several. Calls with the start of each match,
/// which says where to go on: behind the match or behind its first byte.
class PieceSearch {
public:
    using Found = FunctionRef<std::optional<std::size_t>(std::size_t start)>;  ///< where to go on, or to stop

    PieceSearch(std::string_view literal, std::size_t start) : literal_(literal), pieceStart_(start), from_(start) {}

    /// Returns false once the search is stopped.
    bool searchPiece(std::string_view piece, Found found)
    {
        const std::size_t overlap = literal_.size() - 1;
        if (!tail_.empty()) {
            std::string seam = tail_;
            seam += piece.substr(0, overlap);
            if (!search(seam, pieceStart_ - tail_.size(), found))
                return false;
        }
        if (!search(piece, pieceStart_, found))
            return false;
        if (piece.size() >= overlap) {
            tail_ = piece.substr(piece.size() - overlap);
        } else {
            tail_ += piece;
            tail_.erase(0, tail_.size() - std::min(tail_.size(), overlap));
        }
        pieceStart_ += piece.size();
        return true;
    }

private:
    bool search(std::string_view in, std::size_t start, Found found)
    {
        while (from_ < start + in.size()) {
            const std::size_t skipped = std::max(from_, start) - start;
            const void* match = memmem(in.data() + skipped, in.size() - skipped, literal_.data(), literal_.size());
            if (match == nullptr)
                return true;
            const std::optional<std::size_t> next =
                found(start + static_cast<std::size_t>(static_cast<const char*>(match) - in.data()));
            if (!next)
                return false;
            from_ = *next;
        }
        return true;
    }

    std::string_view literal_;
    std::size_t pieceStart_;
    std::size_t from_;  // no match begins before
    std::string tail_;  // the end of what has been searched, shorter than the literal
};

bool isBoundary(TextReader& reader, const TextSnapshot& text, Utf8Offset offset)
{
    reader.seek(offset);
    const char32_t left = reader.peekPrevious();
    return !mayJoin(left, reader.peekNext()) || graphemeStart(text, offset) == offset;
}

Utf8Range rangeToFind(const TextSnapshot& text, const Caret& caret)
{
    return caret.hasSelection() ? caret.range() : wordTouching(text, caret.head);
}

bool overlapsAny(const CaretSet& carets, Utf8Range range)
{
    const auto* const found = std::partition_point(carets.all().data(), carets.all().data() + carets.size(),
                                                   [&](const Caret& caret) { return caret.end() <= range.start; });
    return found != carets.all().data() + carets.size() && found->start() < range.end;
}

std::optional<Utf8Range> firstUnselected(const TextSnapshot& text, const CaretSet& carets, std::string_view literal,
                                         Utf8Range within)
{
    while (true) {
        const std::vector<Utf8Range> found = findAll(text, literal, within, 1);
        if (found.empty())
            return std::nullopt;
        if (!overlapsAny(carets, found.front()))
            return found.front();
        within.start = nextGrapheme(text, found.front().start);
    }
}

}  // namespace

Utf8Range wordTouching(const TextSnapshot& text, Utf8Offset position)
{
    const auto isWord = [](char32_t character) {
        return character != TextReader::none && characterClass(character) == CharacterClass::word;
    };
    if (isWord(text.characterAt(position)))
        return wordAt(text, position);
    if (isWord(text.characterBefore(position)))
        return wordAt(text, previousGrapheme(text, position));
    // The letter before may have marks.
    if (position > Utf8Offset(0)) {
        const Utf8Offset before = previousGrapheme(text, position);
        if (isWord(text.characterAt(before)))
            return wordAt(text, before);
    }
    return {position, position};
}

std::vector<Utf8Range> findAll(const TextSnapshot& text, std::string_view literal, Utf8Range within, std::size_t limit)
{
    std::vector<Utf8Range> matches;
    if (literal.empty() || limit == 0)
        return matches;
    TextReader reader(text);
    PieceSearch search(literal, within.start.value);
    const auto found = [&](std::size_t start) -> std::optional<std::size_t> {
        const Utf8Range range{Utf8Offset(start), Utf8Offset(start + literal.size())};
        if (!isBoundary(reader, text, range.start) || !isBoundary(reader, text, range.end))
            return start + 1;
        matches.push_back(range);
        return matches.size() == limit ? std::nullopt : std::optional(range.end.value);
    };
    if (literal.size() < searchedAtOnce / 16) {
        text.forEachPiece(within, [&](std::string_view piece) { return search.searchPiece(piece, found); });
        return matches;
    }
    // Each search reads as much as is looked for once more, so pieces are gathered until they are longer than that.
    std::string gathered;
    const bool goesOn = text.forEachPiece(within, [&](std::string_view piece) {
        gathered += piece;
        if (gathered.size() < std::max(2 * literal.size(), searchedAtOnce))
            return true;
        const bool searchOn = search.searchPiece(gathered, found);
        gathered.clear();
        return searchOn;
    });
    if (goesOn && !gathered.empty())
        search.searchPiece(gathered, found);
    return matches;
}

CaretSet selectNextOccurrence(const TextSnapshot& text, const CaretSet& carets)
{
    const bool allSelected =
        std::all_of(carets.begin(), carets.end(), [](const Caret& caret) { return caret.hasSelection(); });
    if (!allSelected) {
        std::vector<Caret> selected(carets.begin(), carets.end());
        Utf8Range word;
        for (Caret& caret : selected) {
            if (caret.hasSelection())
                continue;
            if (!word.contains(caret.head))
                word = wordTouching(text, caret.head);
            caret = Caret(word.start, word.end);
        }
        return {std::move(selected), carets.mainIndex()};
    }
    const Caret& main = carets.main();
    const std::string literal = text.text(main.range());
    std::optional<Utf8Range> next = firstUnselected(text, carets, literal, {main.end(), text.end()});
    if (!next)
        next = firstUnselected(text, carets, literal, {Utf8Offset(0), main.start()});
    CaretSet result = carets;
    if (next)
        result.add(main.isForward() ? Caret(next->start, next->end) : Caret(next->end, next->start));
    return result;
}

CaretSet selectAllOccurrences(const TextSnapshot& text, const CaretSet& carets)
{
    const Utf8Range range = rangeToFind(text, carets.main());
    const std::vector<Utf8Range> found = findAll(text, text.text(range), {Utf8Offset(0), text.end()});
    if (found.empty())
        return carets;
    std::vector<Caret> selected;
    selected.reserve(found.size());
    std::size_t main = 0;
    for (const Utf8Range& match : found) {
        if (match.start <= range.start)
            main = selected.size();
        selected.emplace_back(match.start, match.end);
    }
    return {std::move(selected), main};
}

EditResult replaceAll(const TextSnapshot& text, const CaretSet& carets, std::span<const Utf8Range> ranges,
                      std::string_view replacement)
{
    CommandResult result(text, carets);
    CaretFeed feed(result, carets, 0, carets.size());
    for (const Utf8Range& range : ranges) {
        feed.feedUpTo(range.start);
        result.replace(range, replacement);
    }
    feed.feedUpTo(text.end());
    return std::move(result).build();
}

EditResult replaceAll(const TextSnapshot& text, const CaretSet& carets, std::string_view literal,
                      std::string_view replacement)
{
    return replaceAll(text, carets, findAll(text, literal, {Utf8Offset(0), text.end()}), replacement);
}

}  // namespace penmark::commands
