// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Memory.h"
#include "Processor.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace penmark::lzfse {

/// Wide copies write up to so many bytes more than asked for.
constexpr std::ptrdiff_t wide_margin = 32;

/// Copies a match byte by byte.
inline void copyMatchExactly(char* to, std::uint32_t distance, std::uint32_t size)
{
    for (std::uint32_t i = 0; i < size; ++i)
        to[i] = (to - distance)[i];
}

/// Copies a match that overlaps itself within 16 bytes; see copyMatchWide.
inline void copyPattern(char* to, std::uint32_t distance, std::uint32_t size)
{
    char* const end = to + size;
    if (distance < 8) {
        // Repeat the pattern for eight bytes; from there on it also repeats at a multiple of the distance.
        static constexpr std::array<std::uint8_t, 8> multiples{0, 8, 8, 9, 8, 10, 12, 14};
        copyMatchExactly(to, distance, 8);
        distance = multiples[distance];
        to += 8;
    }
    for (; to < end; to += 8)
        store(to, load<std::uint64_t>(to - distance));
}

/// Copies a match, writing up to wide_margin bytes more.
PENMARK_LZFSE_INLINE void copyMatchWide(char* to, std::uint32_t distance, std::uint32_t size)
{
    if (distance < 16) [[unlikely]] {
        copyPattern(to, distance, size);
        return;
    }
    const char* const from = to - distance;
    copy16(to, from);
    copy16(to + 16, from + 16);
    if (size > 32) [[unlikely]]
        copyWide(to + 32, from + 32, size - 32);
}

}  // namespace penmark::lzfse
