// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextSource.h"

#include <algorithm>
#include <string>
#include <vector>

namespace penmark {

/// A text in pieces of so many bytes, each in a string of its own.
class PiecewiseSource final : public TextSource {
public:
    PiecewiseSource(std::string_view text, std::size_t pieceSize) : size_(text.size()), pieceSize_(pieceSize)
    {
        for (std::size_t at = 0; at < text.size(); at += pieceSize)
            pieces_.emplace_back(text.substr(at, pieceSize));
    }

    std::size_t size() const override { return size_; }
    void forEachPiece(std::size_t offset, std::size_t length,
                      FunctionRef<void(std::string_view piece)> call) const override
    {
        offset = std::min(offset, size_);
        for (length = std::min(length, size_ - offset); length > 0;) {
            const std::string_view piece =
                std::string_view(pieces_[offset / pieceSize_]).substr(offset % pieceSize_, length);
            call(piece);
            offset += piece.size();
            length -= piece.size();
        }
    }

private:
    std::size_t size_;
    std::size_t pieceSize_;
    std::vector<std::string> pieces_;
};

}  // namespace penmark
