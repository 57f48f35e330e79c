// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Uuid.h"

#include "base/SystemError.h"

#include <cerrno>
#include <cstring>

#include <sys/random.h>

namespace penmark {

namespace {

constexpr bool hyphenStandsAt(std::size_t position)
{
    return position == 8 || position == 13 || position == 18 || position == 23;
}

// The value of each hexadecimal digit; notHex for every other byte.
constexpr std::uint8_t notHex = 0xff;
constexpr auto hexValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(notHex);
    for (std::uint8_t i = 0; i < 10; ++i)
        values['0' + i] = i;
    for (std::uint8_t i = 0; i < 6; ++i)
        values['a' + i] = values['A' + i] = static_cast<std::uint8_t>(10 + i);
    return values;
}();

}  // namespace

Uuid Uuid::random()
{
    Uuid id;
    // Requests of up to 256 bytes are never cut short; a signal can interrupt one only before the pool is ready.
    while (getrandom(id.bytes_.data(), id.bytes_.size(), 0) != static_cast<ssize_t>(id.bytes_.size())) {
        if (errno != EINTR)
            throw SystemError(errno, "getrandom");
    }
    id.bytes_[6] = static_cast<std::uint8_t>((id.bytes_[6] & 0x0f) | 0x40);
    id.bytes_[8] = static_cast<std::uint8_t>((id.bytes_[8] & 0x3f) | 0x80);
    return id;
}

std::optional<Uuid> Uuid::parse(std::string_view text)
{
    if (text.size() != 36)
        return std::nullopt;
    Uuid id;
    std::size_t from = 0;
    std::uint8_t seen = 0;
    for (std::uint8_t& byte : id.bytes_) {
        if (hyphenStandsAt(from) && text[from++] != '-')
            return std::nullopt;
        const std::uint8_t high = hexValues[static_cast<unsigned char>(text[from++])];
        const std::uint8_t low = hexValues[static_cast<unsigned char>(text[from++])];
        seen |= high | low;
        byte = static_cast<std::uint8_t>((high << 4) | low);
    }
    if (seen > 0x0f)
        return std::nullopt;
    return id;
}

std::string Uuid::text() const
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (const std::uint8_t byte : bytes_) {
        if (hyphenStandsAt(text.size()))
            text += '-';
        text += digits[byte >> 4];
        text += digits[byte & 0x0f];
    }
    return text;
}

std::size_t Uuid::hash() const noexcept
{
    std::size_t value = 0;
    std::memcpy(&value, bytes_.data(), sizeof value);  // the bits are random already
    return value;
}

}  // namespace penmark
