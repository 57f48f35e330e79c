// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// What a character is compared as when case does not count: Unicode's full folding, in no language's own way.
struct CaseFolding {
    std::array<char32_t, 3> to{};
    std::size_t count = 0;

    friend bool operator==(const CaseFolding&, const CaseFolding&) = default;
};

/// Any thread; the first call for a character beyond ASCII takes a millisecond.
CaseFolding caseFolding(char32_t character);

/// Folds valid UTF-8.
std::u32string foldCase(std::string_view utf8);

/// The characters whose folding is the beginning of `folded`, which is not empty.
std::vector<char32_t> charactersThatBegin(std::u32string_view folded);

inline constexpr std::size_t noMatch = static_cast<std::size_t>(-1);

/// Where characters of valid UTF-8 that stand at a byte and fold to `folded` end; `noMatch` if there are none. They are
/// whole characters: "s" is not found in "ß".
std::size_t foldedEnd(std::string_view text, std::size_t at, std::u32string_view folded);

/// The character at a byte of valid UTF-8; moves behind it.
char32_t nextCharacter(std::string_view text, std::size_t& at);
/// The character before a byte, which is not the first.
char32_t characterBefore(std::string_view text, std::size_t at);

void appendUtf8(std::string& text, char32_t character);

}  // namespace penmark
