// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <cstddef>
#include <functional>

namespace penmark {

/// A place in a text, counted from its start in one unit. Places of different units do not mix, a distance is a plain
/// number, and nothing converts by itself.
template <class Unit>
struct TextOffset {
    std::size_t value = 0;

    constexpr TextOffset() = default;
    constexpr explicit TextOffset(std::size_t units) : value(units) {}

    friend constexpr auto operator<=>(TextOffset, TextOffset) = default;
    friend constexpr TextOffset operator+(TextOffset offset, std::size_t units)
    {
        return TextOffset(offset.value + units);
    }
    friend constexpr TextOffset operator-(TextOffset offset, std::size_t units)
    {
        return TextOffset(offset.value - units);
    }
    friend constexpr std::size_t operator-(TextOffset later, TextOffset earlier) { return later.value - earlier.value; }
    constexpr TextOffset& operator+=(std::size_t units)
    {
        value += units;
        return *this;
    }
    constexpr TextOffset& operator-=(std::size_t units)
    {
        value -= units;
        return *this;
    }
    constexpr TextOffset& operator++()
    {
        ++value;
        return *this;
    }
};

/// From `start` up to, not including, `end`.
template <class Unit>
struct TextRange {
    TextOffset<Unit> start;
    TextOffset<Unit> end;

    friend constexpr bool operator==(TextRange, TextRange) = default;
    constexpr std::size_t size() const { return end - start; }
    constexpr bool empty() const { return start == end; }
    constexpr bool contains(TextOffset<Unit> offset) const { return start <= offset && offset < end; }
};

using Utf8Offset = TextOffset<struct Utf8Unit>;    ///< bytes of UTF-8
using Utf16Offset = TextOffset<struct Utf16Unit>;  ///< UTF-16 code units
using LineNumber = TextOffset<struct LineUnit>;    ///< lines; the first is 0

using Utf8Range = TextRange<struct Utf8Unit>;
using Utf16Range = TextRange<struct Utf16Unit>;
using LineRange = TextRange<struct LineUnit>;

}  // namespace penmark

template <class Unit>
struct std::hash<penmark::TextOffset<Unit>> {
    std::size_t operator()(penmark::TextOffset<Unit> offset) const noexcept
    {
        return std::hash<std::size_t>()(offset.value);
    }
};
