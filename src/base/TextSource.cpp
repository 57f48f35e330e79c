// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/TextSource.h"

#include <algorithm>

namespace penmark {

std::string_view TextSource::part(std::size_t offset, std::size_t length, std::string& room) const
{
    room.clear();
    forEachPiece(offset, length, [&](std::string_view piece) { room += piece; });
    return room;
}

void StringSource::forEachPiece(std::size_t offset, std::size_t length,
                                FunctionRef<void(std::string_view piece)> call) const
{
    const std::string_view piece = text_.substr(std::min(offset, text_.size()), length);
    if (!piece.empty())
        call(piece);
}

std::string_view StringSource::part(std::size_t offset, std::size_t length, std::string& /*room*/) const
{
    return text_.substr(std::min(offset, text_.size()), length);
}

}  // namespace penmark
