// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace penmark {

enum class ByteOrder { littleEndian, bigEndian };

/// UTF-16 bytes as UTF-8; absent for an odd number of bytes or a surrogate without its partner.
std::optional<std::string> utf16ToUtf8(std::string_view bytes, ByteOrder order);

/// Valid UTF-8 as UTF-16 bytes; absent if the text is not valid UTF-8.
std::optional<std::string> utf8ToUtf16(std::string_view text, ByteOrder order);

}  // namespace penmark
