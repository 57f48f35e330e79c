// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/TextSnapshot.h"

#include <string_view>

namespace penmark {

/// Calls with the pieces of the range, the last one first, until it returns false; returns whether it never did.
/// `call(Utf8Offset start, std::string_view piece)`.
template <class Call>
bool forEachPieceBackward(const TextSnapshot& text, Utf8Range range, Call call)
{
    while (range.start < range.end) {
        auto [start, piece] = text.pieceAt(range.end - 1);
        piece = piece.substr(0, range.end - start);
        if (start < range.start) {
            piece.remove_prefix(range.start - start);
            start = range.start;
        }
        if (!call(start, piece))
            return false;
        range.end = start;
    }
    return true;
}

}  // namespace penmark
