// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace penmark {

/// An identifier of anything the library keeps: a version 4 UUID. Written in upper case, read in either case.
/// A value type; any thread.
class Uuid {
public:
    /// The nil identifier; no stored thing has it.
    constexpr Uuid() = default;

    /// A fresh identifier from the kernel's random source. Throws SystemError if there is none.
    static Uuid random();

    /// Absent unless the text is the hyphenated form of 36 characters and nothing else.
    static std::optional<Uuid> parse(std::string_view text);

    /// The hyphenated form, in upper case.
    std::string text() const;

    std::size_t hash() const noexcept;

    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace penmark

template <>
struct std::hash<penmark::Uuid> {
    std::size_t operator()(const penmark::Uuid& id) const noexcept { return id.hash(); }
};
