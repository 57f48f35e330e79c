// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf16.h"

#include "base/Utf8.h"

namespace penmark {

namespace {

constexpr bool isLeadSurrogate(char32_t unit)
{
    return unit >= 0xd800 && unit < 0xdc00;
}
constexpr bool isTrailSurrogate(char32_t unit)
{
    return unit >= 0xdc00 && unit < 0xe000;
}

void appendUtf8(std::string& text, char32_t c)
{
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((c >> shift) & 0x3f)); };
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xc0 | (c >> 6));
        tail(0);
    } else if (c < 0x10000) {
        text += static_cast<char>(0xe0 | (c >> 12));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xf0 | (c >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

void appendUnit(std::string& bytes, char32_t unit, ByteOrder order)
{
    const char low = static_cast<char>(unit & 0xff);
    const char high = static_cast<char>((unit >> 8) & 0xff);
    bytes += order == ByteOrder::littleEndian ? low : high;
    bytes += order == ByteOrder::littleEndian ? high : low;
}

}  // namespace

std::optional<std::string> utf16ToUtf8(std::string_view bytes, ByteOrder order)
{
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    const auto unitAt = [&](std::size_t i) -> char32_t {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        return order == ByteOrder::littleEndian ? static_cast<char32_t>(first | (second << 8))
                                                : static_cast<char32_t>((first << 8) | second);
    };
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        char32_t c = unitAt(i);
        if (isTrailSurrogate(c))
            return std::nullopt;
        if (isLeadSurrogate(c)) {
            i += 2;
            if (i >= bytes.size() || !isTrailSurrogate(unitAt(i)))
                return std::nullopt;
            c = 0x10000 + ((c - 0xd800) << 10) + (unitAt(i) - 0xdc00);
        }
        appendUtf8(text, c);
    }
    return text;
}

std::optional<std::string> utf8ToUtf16(std::string_view text, ByteOrder order)
{
    if (!isValidUtf8(text))
        return std::nullopt;
    std::string bytes;
    bytes.reserve(2 * text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
        char32_t c = length == 1 ? lead : lead & (0x7fu >> length);
        for (std::size_t k = 1; k < length; ++k)
            c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3fu);
        i += length;
        if (c < 0x10000) {
            appendUnit(bytes, c, order);
        } else {
            appendUnit(bytes, 0xd800 + ((c - 0x10000) >> 10), order);
            appendUnit(bytes, 0xdc00 + ((c - 0x10000) & 0x3ff), order);
        }
    }
    return bytes;
}

}  // namespace penmark
