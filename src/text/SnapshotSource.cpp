// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/SnapshotSource.h"

#include <algorithm>

namespace penmark {

void SnapshotSource::forEachPiece(std::size_t offset, std::size_t length,
                                  FunctionRef<void(std::string_view piece)> call) const
{
    text_.forEachPiece(rangeOf(offset, length), [&](std::string_view piece) {
        call(piece);
        return true;
    });
}

std::string_view SnapshotSource::part(std::size_t offset, std::size_t length, std::string& room) const
{
    // Pieces are often neighbours in the file that was read, however many the tree has cut it into.
    const Utf8Range range = rangeOf(offset, length);
    std::string_view whole;
    const bool adjoin = text_.forEachPiece(range, [&](std::string_view piece) {
        if (whole.data() && whole.data() + whole.size() != piece.data())
            return false;
        whole = {whole.data() ? whole.data() : piece.data(), whole.size() + piece.size()};
        return true;
    });
    return adjoin ? whole : TextSource::part(offset, length, room);
}

Utf8Range SnapshotSource::rangeOf(std::size_t offset, std::size_t length) const
{
    const std::size_t start = std::min(offset, size());
    return {Utf8Offset(start), Utf8Offset(start + std::min(length, size() - start))};
}

}  // namespace penmark
