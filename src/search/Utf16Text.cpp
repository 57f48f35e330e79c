// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/Utf16Text.h"

#include "base/SystemError.h"
#include "base/TextSummary.h"
#include "search/CaseFolding.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <unicode/utf16.h>

namespace penmark {

namespace {

constexpr std::size_t stride = std::size_t{1} << 20;  // bytes between looks at the stop token
constexpr std::size_t piece = 4'096;                  // bytes that are ASCII or not
constexpr std::size_t block = 16;

using Bytes = std::uint8_t __attribute__((vector_size(16)));
using Units = std::uint16_t __attribute__((vector_size(32)));

constexpr std::uint64_t highBits = 0x8080808080808080U;

bool isAscii(const char* bytes)
{
    std::uint64_t halves[2];
    std::memcpy(halves, bytes, block);
    return ((halves[0] | halves[1]) & highBits) == 0;
}

// For short stretches too, of which there are many where matches stand close together.
bool isAllAscii(std::string_view text)
{
    std::size_t at = 0;
    Bytes seen{};
    for (; text.size() - at >= 4 * block; at += 4 * block) {
        Bytes v[4];
        std::memcpy(v, text.data() + at, sizeof v);
        seen |= v[0] | v[1] | v[2] | v[3];
    }
    std::uint64_t halves[2];
    std::memcpy(halves, &seen, sizeof halves);
    std::uint64_t bits = halves[0] | halves[1];
    const auto word = [&](std::size_t from) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data() + from, sizeof bytes);
        return bytes;
    };
    for (; text.size() - at >= sizeof bits; at += sizeof bits)
        bits |= word(at);
    if (at < text.size() && text.size() >= sizeof bits)
        return ((bits | word(text.size() - sizeof bits)) & highBits) == 0;
    for (; at < text.size(); ++at)
        bits |= static_cast<unsigned char>(text[at]) & 0x80U;
    return (bits & highBits) == 0;
}

// Writes at most as many units as there are bytes.
char16_t* widen(std::string_view utf8, std::size_t from, std::size_t to, char16_t* out)
{
    for (std::size_t at = from; at < to;) {
        if (to - at >= block && isAscii(utf8.data() + at)) {
            Bytes bytes;
            std::memcpy(&bytes, utf8.data() + at, block);
            const Units units = __builtin_convertvector(bytes, Units);
            std::memcpy(out, &units, sizeof units);
            out += block;
            at += block;
            continue;
        }
        const std::size_t end = std::min(to, at + block);
        while (at < end) {
            const auto c = static_cast<UChar32>(nextCharacter(utf8, at));
            std::int32_t length = 0;
            U16_APPEND_UNSAFE(out, length, c);
            out += length;
        }
    }
    return out;
}

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80;
}

}  // namespace

void Utf16Text::assign(std::string_view utf8, const std::stop_token& stop)
{
    size_ = 0;
    if (capacity_ < utf8.size()) {
        units_.reset();
        capacity_ = 0;
        units_ = std::make_unique_for_overwrite<char16_t[]>(utf8.size());
        capacity_ = utf8.size();
    }
    char16_t* out = units_.get();
    for (std::size_t from = 0; from < utf8.size();) {
        if (stop.stop_requested())
            throw Cancelled();
        std::size_t to = std::min(utf8.size(), from + stride);
        while (to < utf8.size() && isContinuation(utf8[to]))
            ++to;
        out = widen(utf8, from, to, out);
        from = to;
    }
    size_ = static_cast<std::size_t>(out - units_.get());
}

std::u16string toUtf16(std::string_view utf8)
{
    std::u16string units(utf8.size(), u'\0');
    units.resize(static_cast<std::size_t>(widen(utf8, 0, utf8.size(), units.data()) - units.data()));
    return units;
}

std::string toUtf8(std::u16string_view utf16)
{
    std::string utf8;
    for (std::size_t i = 0; i < utf16.size();) {
        UChar32 c = 0;
        U16_NEXT(utf16.data(), i, utf16.size(), c);
        appendUtf8(utf8, U_IS_SURROGATE(c) ? U'\ufffd' : static_cast<char32_t>(c));
    }
    return utf8;
}

std::size_t Utf16Walk::walkTo(std::size_t byte)
{
    if (byte < byte_)
        byte_ = unit_ = asciiEnd_ = mixedEnd_ = 0;
    while (byte_ < byte) {
        if (byte_ >= asciiEnd_ && byte_ >= mixedEnd_) {
            const std::string_view ahead = text_.substr(byte_, piece);
            (isAllAscii(ahead) ? asciiEnd_ : mixedEnd_) = byte_ + ahead.size();
            if (++pieces_ % (stride / piece) == 0 && stop_.stop_requested())
                throw Cancelled();
        }
        const bool isAscii = byte_ < asciiEnd_;
        const std::size_t step = std::min(byte, isAscii ? asciiEnd_ : mixedEnd_) - byte_;
        const std::string_view next = text_.substr(byte_, step);
        unit_ += isAscii || isAllAscii(next) ? step : utf16Length(next);
        byte_ += step;
    }
    return unit_;
}

std::size_t Utf16Walk::byteAt(std::size_t unit)
{
    if (unit < unit_)
        byte_ = unit_ = asciiEnd_ = mixedEnd_ = 0;
    byte_ += byteOfUtf16Unit(text_.substr(byte_), unit - unit_);
    unit_ = unit;
    return byte_;
}

}  // namespace penmark
