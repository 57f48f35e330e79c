// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace penmark {

class TextSource;

/// What a text's file is written in. The library itself keeps UTF-8 only.
enum class RecoveryEncoding {
    utf8,     ///< without a byte-order mark
    utf8BOM,  ///< EF BB BF, then UTF-8
    utf16LE,  ///< FF FE, then little-endian code units
    utf16BE,  ///< FE FF, then big-endian code units
};

constexpr auto storedWords(RecoveryEncoding)
{
    using E = RecoveryEncoding;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::utf8, "utf8"}, Word{E::utf8BOM, "utf8BOM"}, Word{E::utf16LE, "utf16LE"},
                      Word{E::utf16BE, "utf16BE"}};
}

struct DecodedText {
    std::string text;  ///< valid UTF-8, without the file's byte-order mark; line breaks as in the file
    RecoveryEncoding encoding = RecoveryEncoding::utf8;
};

/// A file's bytes as text. UTF-16 counts only behind its mark, and no 8-bit encoding is ever guessed.
/// encodeText gives back the same bytes. Throws RecoveryError `unsupportedText`. Any thread.
DecodedText decodeText(std::string_view bytes);

/// The text that decodeText gives, absent where it throws: for many files, of which some are no text. UTF-8 is returned
/// as a part of `bytes` and nothing is copied; UTF-16 as what `room` then holds. Any thread.
std::optional<std::string_view> decodeTextInto(std::string_view bytes, std::string& room);

/// A file's bytes as text in the encoding that somebody chose, whatever its first bytes announce. The encoding's own
/// mark is dropped if it is there; the mark of another one refuses the file. As `utf8` nothing is dropped: a mark is
/// text then, and NUL is allowed. So what encodeText made of a text always gives that text. Throws RecoveryError
/// `unsupportedText`. Any thread.
std::string decodeText(std::string_view bytes, RecoveryEncoding encoding);

/// The bytes to write to a file. Throws RecoveryError `unsupportedText` if the text is not valid UTF-8. Any thread.
std::string encodeText(std::string_view text, RecoveryEncoding encoding);

/// SHA-256 of the bytes that encodeText would give, without holding them: what `externalDigest` will be once the text
/// is saved. For `utf8` it is the content hash. Throws like encodeText. Any thread; takes some 200 KB.
std::string encodedDigest(const TextSource& text, RecoveryEncoding encoding);

/// Why a file with this text and encoding would be opened as another text or not at all, as a sentence for the user;
/// absent if the text comes back as it is. Only `utf8` can lose something: a mark that is part of the text is taken for
/// the file's, and NUL is refused. Any thread; looks at all of the text.
std::optional<std::string> encodingLosesMark(const TextSource& text, RecoveryEncoding encoding);
std::optional<std::string> encodingLosesMark(std::string_view text, RecoveryEncoding encoding);

struct UnsupportedByte {
    std::size_t offset = 0;  ///< in bytes from the beginning of the file
    std::size_t line = 1;    ///< counted from 1; LF, CR LF and CR end a line

    friend bool operator==(const UnsupportedByte&, const UnsupportedByte&) = default;
};

/// The first byte for which decodeText refuses a file, in the encoding that the file's mark announces; absent if it
/// decodes. Behind a UTF-16 mark it is the first byte of the unpaired surrogate or the odd last byte.
std::optional<UnsupportedByte> findUnsupportedByte(std::string_view bytes);

/// The same for a chosen encoding. The mark of another one is offending with its first byte.
std::optional<UnsupportedByte> findUnsupportedByte(std::string_view bytes, RecoveryEncoding encoding);

}  // namespace penmark
