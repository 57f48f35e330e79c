// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

namespace penmark {

/// Holds one text after another as UTF-16, in memory that grows and is used again.
class Utf16Text {
public:
    /// Takes over valid UTF-8, at a few GB/s. Throws Cancelled.
    void assign(std::string_view utf8, const std::stop_token& stop);

    std::u16string_view view() const { return {units_.get(), size_}; }

private:
    std::unique_ptr<char16_t[]> units_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

std::u16string toUtf16(std::string_view utf8);
std::string toUtf8(std::u16string_view utf16);

/// Tells for places in valid UTF-8, asked for in ascending order, how many UTF-16 units lie before them and the other
/// way round. A place before the last one starts anew.
class Utf16Walk {
public:
    Utf16Walk(std::string_view text, const std::stop_token& stop) : text_(text), stop_(stop) {}

    std::size_t unitAt(std::size_t byte)
    {
        if (byte < byte_ || byte > asciiEnd_)
            return walkTo(byte);
        unit_ += byte - byte_;
        byte_ = byte;
        return unit_;
    }
    std::size_t byteAt(std::size_t unit);

private:
    std::size_t walkTo(std::size_t byte);

    std::string_view text_;
    std::stop_token stop_;
    std::size_t byte_ = 0;
    std::size_t unit_ = 0;
    std::size_t asciiEnd_ = 0;  // there is only ASCII between byte_ and here
    std::size_t mixedEnd_ = 0;  // there is something else between byte_ and here
    std::size_t pieces_ = 0;    // looked at
};

}  // namespace penmark
