// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/commands/EditCommand.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace penmark::commands {

/// Whether a grapheme cluster may go on from one character to the next. "No" is certain, "yes" asks for a closer look.
bool mayJoin(char32_t left, char32_t right);

/// Builds what a command returns, in one walk forwards: replacements in ascending order, and between them the carets,
/// wherever they will be in the text after the edit.
///
/// Two things hold for whatever is replaced. An edit never makes one line end of two: where a CR would come to stand
/// before the LF of another line end, the later or the made one becomes a CR LF. And no caret is left inside of a
/// grapheme cluster that the edit has joined: it moves behind it, the start of a selection before it.
class CommandResult {
public:
    /// Both must outlive it.
    CommandResult(const TextSnapshot& text, const CaretSet& carets);

    /// What begins before `replacedEnd` is cut off there.
    void replace(Utf8Range range, std::string_view with);
    void insert(Utf8Offset at, std::string_view text) { replace({at, at}, text); }
    void remove(Utf8Range range) { replace(range, {}); }
    Utf8Offset replacedEnd() const { return pending_.end; }

    /// Where a position of the text before will be; behind what was inserted at it. Not before `replacedEnd`, and
    /// nothing more may be replaced before it.
    Utf8Offset moved(Utf8Offset position);
    /// The caret that takes the place of the one with this index, in the text after the edit.
    void place(std::size_t index, Caret caret);
    void place(std::size_t index, Utf8Offset at) { place(index, Caret(at)); }
    /// Makes the caret placed last a selection that began where it stands.
    void extendLast(Utf8Offset end, bool forward);
    /// Carets may be anywhere in inserted text, and have to be looked at one by one.
    void placesInsideInserted() { doubt_ = true; }

    /// With the carets that were placed.
    EditResult build() &&;
    /// With all carets carried along; a bare one at an insertion is before or after it, a selection grows over what is
    /// inserted at its ends.
    EditResult buildMapped(Stickiness bare) &&;
    /// The same for others than those there were, in the text before.
    EditResult buildMapped(const std::vector<Caret>& carets, Stickiness bare) &&;

private:
    void flush();
    EditResult settle(TextEdit edit, std::vector<Caret> carets, std::size_t main) const;

    const TextSnapshot& text_;
    const CaretSet& before_;
    TextReader reader_;
    TextEditBuilder builder_;
    Utf8Range pending_;  // replaced by pendingText_, and not given to builder_ yet
    std::string pendingText_;
    std::size_t grown_ = 0;  // modulo 2^64
    std::size_t pendingFirstCaret_ = 0;
    std::vector<Caret> carets_;
    std::size_t main_ = 0;
    bool doubt_ = false;
};

/// Gives carets to a result bit by bit, while its edit goes forwards.
class CaretFeed {
public:
    /// The carets from `begin` up to `end`; what is referred to must outlive it.
    CaretFeed(CommandResult& result, const CaretSet& carets, std::size_t begin, std::size_t end)
        : result_(result), carets_(carets), next_(begin), end_(end)
    {}

    /// Places the ends of selections up to the offset, this one included, where they are carried to.
    void feedUpTo(Utf8Offset limit);
    /// Places the others at this offset of the text after.
    void feedRestAt(Utf8Offset after);

private:
    bool isDone() const { return next_ == end_; }
    Utf8Offset position() const;
    void put(Utf8Offset after);
    void advance();

    CommandResult& result_;
    const CaretSet& carets_;
    std::size_t next_;
    std::size_t end_;
    bool atEnd_ = false;
};

}  // namespace penmark::commands
