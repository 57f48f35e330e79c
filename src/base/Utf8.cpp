// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf8.h"

#include <simdjson.h>

namespace penmark {

namespace {

struct Lead {
    std::size_t length;  // of the whole sequence; 0 if the byte cannot begin one
    unsigned char low;   // range of the second byte: what excludes overlong forms and surrogates
    unsigned char high;
};

Lead leadOf(unsigned char byte)
{
    if (byte < 0x80)
        return {1, 0, 0};
    if (byte < 0xc2)
        return {0, 0, 0};
    if (byte < 0xe0)
        return {2, 0x80, 0xbf};
    if (byte < 0xf0)
        return {3, static_cast<unsigned char>(byte == 0xe0 ? 0xa0 : 0x80),
                static_cast<unsigned char>(byte == 0xed ? 0x9f : 0xbf)};
    if (byte < 0xf5)
        return {4, static_cast<unsigned char>(byte == 0xf0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xf4 ? 0x8f : 0xbf)};
    return {0, 0, 0};
}

// The number of bytes at `from` that belong together, and whether they are a whole character.
std::pair<std::size_t, bool> sequenceAt(std::string_view bytes, std::size_t from)
{
    const Lead lead = leadOf(static_cast<unsigned char>(bytes[from]));
    if (lead.length < 2)
        return {1, lead.length == 1};
    for (std::size_t i = 1; i < lead.length; ++i) {
        const unsigned char low = i == 1 ? lead.low : 0x80;
        const unsigned char high = i == 1 ? lead.high : 0xbf;
        if (from + i == bytes.size())
            return {i, false};
        const auto byte = static_cast<unsigned char>(bytes[from + i]);
        if (byte < low || byte > high)
            return {i, false};
    }
    return {lead.length, true};
}

}  // namespace

bool isValidUtf8(std::string_view bytes) noexcept
{
    return simdjson::validate_utf8(bytes.data(), bytes.size());
}

std::size_t validUtf8Length(std::string_view bytes) noexcept
{
    if (isValidUtf8(bytes))
        return bytes.size();
    for (std::size_t i = 0; i < bytes.size();) {
        const auto [length, whole] = sequenceAt(bytes, i);
        if (!whole)
            return i;
        i += length;
    }
    return bytes.size();
}

std::string repairUtf8(std::string_view bytes)
{
    if (isValidUtf8(bytes))
        return std::string(bytes);
    std::string text;
    text.reserve(bytes.size() + 16);
    for (std::size_t i = 0; i < bytes.size();) {
        const auto [length, whole] = sequenceAt(bytes, i);
        if (whole)
            text.append(bytes, i, length);
        else
            text.append("\xef\xbf\xbd");
        i += length;
    }
    return text;
}

}  // namespace penmark
