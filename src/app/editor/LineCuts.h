// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <vector>

namespace penmark {

class TextEdit;
class TextSnapshot;
struct TextLine;

/// Where a very long line is cut into the pieces that it is laid out in: behind a blank near each multiple of
/// `pieceBytes`. A cut that was seen is remembered and moves with the text, so that an edit lays out one piece and not
/// all that follow it. Walking up and down finds the same cuts. Each call costs a few look-ups in the text.
///
/// Threads: one.
class LineCuts {
public:
    static constexpr std::size_t pieceBytes = 2'048;  ///< a piece has half of it to twice as many

    /// The piece that contains the offset; at a cut, the one behind it.
    Utf8Range pieceAt(const TextSnapshot& text, const TextLine& line, Utf8Offset offset) const;
    /// The neighbours of a cut, which may be the line's start or end.
    Utf8Offset after(const TextSnapshot& text, const TextLine& line, Utf8Offset cut) const;
    Utf8Offset before(const TextSnapshot& text, const TextLine& line, Utf8Offset cut) const;

    void remember(Utf8Offset cut);
    void update(const TextEdit& edit);
    void clear() { cuts_.clear(); }

private:
    /// Near that multiple of pieceBytes; the index is at least 1.
    static Utf8Offset gridCut(const TextSnapshot& text, const TextLine& line, std::size_t index);

    std::vector<Utf8Offset> cuts_;  // ascending, of all long lines
};

}  // namespace penmark
