// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace penmark {

class TextEdit;

/// Which row a caret is drawn on where a line wraps: the end of the upper row or the start of the lower one.
enum class CaretAffinity { upstream, downstream };

/// A caret with its selection, which reaches from the anchor to the head, where the caret is drawn.
struct Caret {
    Utf8Offset anchor;
    Utf8Offset head;
    CaretAffinity affinity = CaretAffinity::downstream;
    std::optional<double> goal;  ///< where moves up and down aim at, in the layout's own unit (pixels in a view)

    Caret() = default;
    explicit Caret(Utf8Offset at) : anchor(at), head(at) {}
    Caret(Utf8Offset from, Utf8Offset to) : anchor(from), head(to) {}

    Utf8Offset start() const { return anchor < head ? anchor : head; }
    Utf8Offset end() const { return anchor < head ? head : anchor; }
    Utf8Range range() const { return {start(), end()}; }
    bool hasSelection() const { return anchor != head; }
    bool isForward() const { return anchor <= head; }
    friend bool operator==(const Caret&, const Caret&) = default;
};

/// One or more carets in ascending order. Those whose selections overlap become one, as do a bare caret and the
/// selection or caret that it touches; selections that merely adjoin stay two. One of them is the main caret: the last
/// added, which the view follows.
class CaretSet {
public:
    CaretSet() : carets_(1) {}
    explicit CaretSet(Caret only) : carets_{only} {}
    /// Sorts and merges; `main` is an index into what is given. At least one caret.
    CaretSet(std::vector<Caret> carets, std::size_t main);

    std::size_t size() const { return carets_.size(); }
    std::span<const Caret> all() const { return carets_; }
    const Caret& operator[](std::size_t index) const { return carets_[index]; }
    auto begin() const { return carets_.begin(); }
    auto end() const { return carets_.end(); }
    const Caret& main() const { return carets_[main_]; }
    std::size_t mainIndex() const { return main_; }
    bool hasSelection() const;

    void add(Caret caret);  ///< and makes it the main one
    /// Drops it unless it is the only one; the last one left of it, or the first, becomes main if it was.
    void remove(std::size_t index);
    CaretSet onlyMain() const { return CaretSet(main()); }

    /// Where the carets are after an edit made by somebody else: selections keep their text, and a bare caret stays
    /// behind text inserted at it (`pushed`) or before it.
    CaretSet mapped(const TextEdit& edit, bool pushed = true) const;

    friend bool operator==(const CaretSet&, const CaretSet&) = default;

private:
    void normalize();

    std::vector<Caret> carets_;
    std::size_t main_ = 0;
};

}  // namespace penmark
