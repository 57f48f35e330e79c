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

constexpr int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

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
    std::size_t digit = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (hyphenStandsAt(i)) {
            if (text[i] != '-')
                return std::nullopt;
            continue;
        }
        const int value = hexValue(text[i]);
        if (value < 0)
            return std::nullopt;
        auto& byte = id.bytes_[digit / 2];
        byte = static_cast<std::uint8_t>((byte << 4) | value);
        ++digit;
    }
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
