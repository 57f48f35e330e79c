// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/highlight/Folding.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace penmark {

class TextEdit;
class TextSnapshot;

/// What is folded in one view. Folds may lie in one another or overlap. They move with the text, and one opens when
/// text that it hides is edited or a caret gets inside. What looks a line up takes O(log folds).
///
/// Threads: one.
class FoldSet {
public:
    using Id = std::uint64_t;
    struct Fold {
        Id id = 0;
        Utf8Range hidden;  ///< from the end of the first line to the end of the last
        FoldRegion lines;
    };

    bool empty() const { return folds_.empty(); }
    const std::vector<Fold>& all() const { return folds_; }  ///< ascending by where they begin, the longest first

    /// Folds any lines of the text; the same ones only once. Absent if nothing would be hidden.
    std::optional<Id> fold(const TextSnapshot& text, FoldRegion lines);
    /// The same for thousands at once.
    void fold(const TextSnapshot& text, std::span<const FoldRegion> regions);
    bool unfold(Id id);
    void unfoldAll();
    /// Opens whatever hides the position (the end of a first line is visible). Returns whether anything did.
    bool reveal(Utf8Offset position) { return reveal({&position, 1}); }
    bool reveal(std::span<const Utf8Offset> ascending);

    /// Moves the folds over an edit. Returns whether one opened.
    bool update(const TextEdit& edit, const TextSnapshot& after);

    /// The longest fold whose first line this is.
    std::optional<Fold> foldAt(LineNumber line) const;
    bool isHidden(LineNumber line) const;
    /// The line itself, or the first visible one behind it; possibly one beyond the text's last.
    LineNumber visibleAtOrAfter(LineNumber line) const;
    /// The line itself, or the one that it is folded behind.
    LineNumber visibleAtOrBefore(LineNumber line) const;
    std::size_t hiddenBefore(LineNumber line) const;
    std::size_t hiddenLines() const { return spans_.empty() ? 0 : spans_.back().hiddenBehind; }
    /// The number of visible lines before this one.
    std::size_t visibleIndex(LineNumber line) const { return line.value - hiddenBefore(line); }
    /// The line that has that many visible ones before it.
    LineNumber lineAtVisibleIndex(std::size_t index) const;

private:
    // Hidden lines that adjoin; disjoint from the next ones.
    struct Span {
        LineNumber first;  ///< visible
        LineNumber last;
        std::size_t hiddenBehind = 0;  ///< up to the end of this one
        std::size_t hiddenBefore() const { return hiddenBehind - (last - first); }
    };
    void rebuildSpans();
    const Span* spanBefore(LineNumber line) const;  // the last one that begins before the line

    std::vector<Fold> folds_;
    std::vector<Span> spans_;
    Id lastId_ = 0;
};

}  // namespace penmark
