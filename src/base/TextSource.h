// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace penmark {

/// A text in UTF-8 that need not stand in one string: its size is known, and any part of it can be read. It does not
/// change while it is referred to.
///
/// Threads: several may read at the same time.
class TextSource {
public:
    virtual ~TextSource() = default;

    virtual std::size_t size() const = 0;  ///< bytes

    /// Calls with the bytes of a part, one adjoining piece after another. Offset and length are any bytes, also inside
    /// of a character; what lies behind the end is left out. A piece is valid during the call.
    virtual void forEachPiece(std::size_t offset, std::size_t length,
                              FunctionRef<void(std::string_view piece)> call) const = 0;

    /// A part in one piece: where it stands if it is one there, otherwise put together in `room`. Valid while the
    /// source and the room are unchanged.
    virtual std::string_view part(std::size_t offset, std::size_t length, std::string& room) const;

protected:
    TextSource() = default;
    TextSource(const TextSource&) = default;
    TextSource& operator=(const TextSource&) = default;
};

/// A text that stands in one string, which must outlive this.
class StringSource final : public TextSource {
public:
    StringSource() = default;
    explicit StringSource(std::string_view utf8) : text_(utf8) {}

    std::size_t size() const override { return text_.size(); }
    void forEachPiece(std::size_t offset, std::size_t length,
                      FunctionRef<void(std::string_view piece)> call) const override;
    std::string_view part(std::size_t offset, std::size_t length, std::string& room) const override;

private:
    std::string_view text_;
};

}  // namespace penmark
