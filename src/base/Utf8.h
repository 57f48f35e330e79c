// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace penmark {

/// Whether the bytes are UTF-8: no surrogates, no overlong forms, nothing above U+10FFFF. Several GB/s.
bool isValidUtf8(std::string_view bytes) noexcept;

/// The offset of the first malformed part; the number of bytes if there is none.
std::size_t validUtf8Length(std::string_view bytes) noexcept;

/// The bytes with every maximal malformed part replaced by U+FFFD, as the Unicode standard recommends.
std::string repairUtf8(std::string_view bytes);

}  // namespace penmark
