// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// An encoding that files are not opened in, but that they can be converted from.
struct LegacyEncoding {
    std::string_view id;      ///< never changes, so it can be kept in settings
    std::string_view name;    ///< what it is called, the same in all languages
    std::string_view region;  ///< who wrote in it, in English
};

/// The encodings on offer, neighbours having the same region.
std::span<const LegacyEncoding> legacyEncodings() noexcept;

/// Absent if there is none with this id.
const LegacyEncoding* findLegacyEncoding(std::string_view id) noexcept;

struct ConvertedText {
    std::string text;                    ///< valid UTF-8; line breaks as in the bytes
    std::size_t unconvertibleBytes = 0;  ///< how many bytes mean nothing in the encoding; U+FFFD stands for them
};

/// The bytes as text. Whatever they are, they give one; what does not fit the encoding is replaced and counted. A
/// byte-order mark at the beginning is left out. Absent if there is no such encoding. Any thread; some 200 MB/s, and
/// no memory worth mentioning beside the text.
std::optional<ConvertedText> convertLegacyText(std::string_view bytes, std::string_view id);

/// The ids of encodings that the bytes may be in, the likeliest first; none if nothing speaks for any. Looks at 64 KB
/// from where the first byte beyond ASCII stands. Any thread.
std::vector<std::string_view> guessLegacyEncoding(std::string_view bytes);

}  // namespace penmark
