// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace penmark::lzfse {

static_assert(std::endian::native == std::endian::little, "numbers are read and written as they lie in memory");

template <typename Number>
inline Number load(const void* from)
{
    Number number;
    std::memcpy(&number, from, sizeof number);
    return number;
}

template <typename Number>
inline void store(void* to, Number number)
{
    std::memcpy(to, &number, sizeof number);
}

/// Copies 16 bytes at once; the two may overlap as long as all are read before any is written.
inline void copy16(char* to, const char* from)
{
    struct Sixteen {
        std::uint64_t low, high;
    };
    store(to, load<Sixteen>(from));
}

/// Copies `size` bytes in steps of 16, at least one step: up to 16 bytes more than asked for are read and written.
inline void copyWide(char* to, const char* from, std::size_t size)
{
    char* const end = to + size;
    do {
        copy16(to, from);
        to += 16;
        from += 16;
    } while (to < end);
}

}  // namespace penmark::lzfse
