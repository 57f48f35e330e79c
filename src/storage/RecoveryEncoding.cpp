// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryEncoding.h"

#include "base/Sha256.h"
#include "base/TextSource.h"
#include "base/Utf16.h"
#include "base/Utf8.h"
#include "storage/RecoveryError.h"

#include <algorithm>

namespace penmark {

namespace {

constexpr std::string_view markOf(RecoveryEncoding encoding)
{
    switch (encoding) {
    case RecoveryEncoding::utf8:
        return {};
    case RecoveryEncoding::utf8BOM:
        return "\xef\xbb\xbf";
    case RecoveryEncoding::utf16LE:
        return "\xff\xfe";
    case RecoveryEncoding::utf16BE:
        return "\xfe\xff";
    }
    return {};  // not reached: every encoding is named above
}

/// The encoding that the file's first bytes announce.
RecoveryEncoding announcedEncoding(std::string_view bytes)
{
    for (const auto encoding : {RecoveryEncoding::utf8BOM, RecoveryEncoding::utf16LE, RecoveryEncoding::utf16BE}) {
        if (bytes.starts_with(markOf(encoding)))
            return encoding;
    }
    return RecoveryEncoding::utf8;
}

constexpr ByteOrder byteOrderOf(RecoveryEncoding encoding)
{
    return encoding == RecoveryEncoding::utf16LE ? ByteOrder::littleEndian : ByteOrder::bigEndian;
}

/// The length of the mark that a file in a chosen encoding begins with; absent if it begins with that of another.
std::optional<std::size_t> markLengthAs(std::string_view bytes, RecoveryEncoding encoding)
{
    const RecoveryEncoding announced = announcedEncoding(bytes);
    if (announced == encoding)
        return markOf(encoding).size();
    if (announced == RecoveryEncoding::utf8 || encoding == RecoveryEncoding::utf8)
        return 0;
    return std::nullopt;
}

/// The text of a body without its mark; absent if it is none. `room` is where it is put if need be.
std::optional<std::string_view> decodeBody(std::string_view body, RecoveryEncoding encoding, std::string& room)
{
    if (encoding == RecoveryEncoding::utf8 || encoding == RecoveryEncoding::utf8BOM)
        return isValidUtf8(body) ? std::optional(body) : std::nullopt;
    auto text = utf16ToUtf8(body, byteOrderOf(encoding));
    if (!text)
        return std::nullopt;
    room = std::move(*text);
    return room;
}

/// Whether the first bytes announce no encoding, and a NUL says that it is no text either.
bool isBinary(std::string_view bytes, RecoveryEncoding announced)
{
    return announced == RecoveryEncoding::utf8 && bytes.find('\0') != std::string_view::npos;
}

/// The text in the encoding without a mark; absent if it is not valid UTF-8. `room` is where it is put if need be.
std::optional<std::string_view> encodeBody(std::string_view text, RecoveryEncoding encoding, std::string& room)
{
    if (encoding == RecoveryEncoding::utf8 || encoding == RecoveryEncoding::utf8BOM)
        return isValidUtf8(text) ? std::optional(text) : std::nullopt;
    auto body = utf8ToUtf16(text, byteOrderOf(encoding));
    if (!body)
        return std::nullopt;
    room = std::move(*body);
    return room;
}

/// The length of the text without the beginning of a character at its end.
std::size_t wholeCharacters(std::string_view text)
{
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if (byte < 0x80)
            break;
        if (byte >= 0xc0) {
            const std::size_t length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2;
            return length > back ? text.size() - back : text.size();
        }
    }
    return text.size();
}

/// The code units of a UTF-16 body; an odd last byte is none.
class Utf16Units {
public:
    Utf16Units(std::string_view body, ByteOrder order) : body_(body), order_(order) {}

    std::size_t count() const { return body_.size() / 2; }
    unsigned at(std::size_t index) const
    {
        const unsigned first = static_cast<unsigned char>(body_[2 * index]);
        const unsigned second = static_cast<unsigned char>(body_[2 * index + 1]);
        return order_ == ByteOrder::littleEndian ? first | (second << 8U) : (first << 8U) | second;
    }

private:
    std::string_view body_;
    ByteOrder order_;
};

constexpr unsigned byteAt(std::string_view bytes, std::size_t index)
{
    return static_cast<unsigned char>(bytes[index]);
}

constexpr bool isLead(unsigned unit)
{
    return unit >= 0xd800 && unit < 0xdc00;
}
constexpr bool isTrail(unsigned unit)
{
    return unit >= 0xdc00 && unit < 0xe000;
}

/// The index of the first surrogate without its partner, or the number of units.
std::size_t firstUnpaired(const Utf16Units& units)
{
    for (std::size_t i = 0; i < units.count(); ++i) {
        if (isTrail(units.at(i)))
            return i;
        if (!isLead(units.at(i)))
            continue;
        if (i + 1 == units.count() || !isTrail(units.at(i + 1)))
            return i;
        ++i;
    }
    return units.count();
}

/// The line on which the unit with this index lies; `unitAt` gives a unit by its index.
template <class UnitAt>
std::size_t lineOf(std::size_t index, UnitAt unitAt)
{
    std::size_t line = 1;
    for (std::size_t i = 0; i < index; ++i) {
        const unsigned unit = unitAt(i);
        // The LF of a CR LF ends the line, unless the CR stands last before the index and its LF is not there.
        if (unit == '\n' || (unit == '\r' && (i + 1 == index || unitAt(i + 1) != '\n')))
            ++line;
    }
    return line;
}

}  // namespace

DecodedText decodeText(std::string_view bytes)
{
    // A file whose mark is not borne out by its body is no other text either: in UTF-8 without a mark, FE and FF are
    // never valid, and neither is the rest behind an intact EF BB BF.
    const RecoveryEncoding encoding = announcedEncoding(bytes);
    if (isBinary(bytes, encoding))
        throw RecoveryError(RecoveryError::Case::unsupportedText);
    return {decodeText(bytes, encoding), encoding};
}

std::optional<std::string_view> decodeTextInto(std::string_view bytes, std::string& room)
{
    const RecoveryEncoding encoding = announcedEncoding(bytes);
    if (isBinary(bytes, encoding))
        return std::nullopt;
    return decodeBody(bytes.substr(markOf(encoding).size()), encoding, room);
}

std::string decodeText(std::string_view bytes, RecoveryEncoding encoding)
{
    std::string room;
    const auto markLength = markLengthAs(bytes, encoding);
    const auto text = markLength ? decodeBody(bytes.substr(*markLength), encoding, room) : std::nullopt;
    if (!text)
        throw RecoveryError(RecoveryError::Case::unsupportedText);
    return text->data() == room.data() ? std::move(room) : std::string(*text);
}

std::string encodeText(std::string_view text, RecoveryEncoding encoding)
{
    std::string room;
    const auto body = encodeBody(text, encoding, room);
    if (!body)
        throw RecoveryError(RecoveryError::Case::unsupportedText);
    return std::string(markOf(encoding)).append(*body);
}

std::string encodedDigest(const TextSource& text, RecoveryEncoding encoding)
{
    constexpr std::size_t blockSize = 65'536;
    Sha256 hasher;
    hasher.add(markOf(encoding));
    std::string gathered;
    std::string encoded;
    for (std::size_t at = 0; at < text.size();) {
        std::string_view block = text.part(at, blockSize, gathered);
        if (at + block.size() < text.size())
            block = block.substr(0, wholeCharacters(block));
        const auto body = encodeBody(block, encoding, encoded);
        if (!body)
            throw RecoveryError(RecoveryError::Case::unsupportedText);
        hasher.add(*body);
        at += block.size();
    }
    return hasher.finish();
}

std::optional<std::string> encodingLosesMark(const TextSource& text, RecoveryEncoding encoding)
{
    if (encoding != RecoveryEncoding::utf8)
        return std::nullopt;
    std::string room;
    const std::string_view mark = markOf(RecoveryEncoding::utf8BOM);
    if (text.part(0, mark.size(), room) == mark)
        return "This text begins with a byte-order mark. If it is saved as UTF-8, the mark will be taken for that of "
               "the file and will not be part of the text when it is opened again.";
    bool hasNul = false;
    text.forEachPiece(0, text.size(),
                      [&](std::string_view piece) { hasNul = hasNul || piece.find('\0') != std::string_view::npos; });
    if (hasNul)
        return "This text contains NUL characters. If it is saved as UTF-8 without a byte-order mark, Penmark will not "
               "recognise the file as text.";
    return std::nullopt;
}

std::optional<std::string> encodingLosesMark(std::string_view text, RecoveryEncoding encoding)
{
    return encodingLosesMark(StringSource(text), encoding);
}

std::optional<UnsupportedByte> findUnsupportedByte(std::string_view bytes)
{
    const RecoveryEncoding encoding = announcedEncoding(bytes);
    const auto malformed = findUnsupportedByte(bytes, encoding);
    const std::size_t nul = encoding == RecoveryEncoding::utf8 ? bytes.find('\0') : std::string_view::npos;
    if (nul == std::string_view::npos || (malformed && malformed->offset < nul))
        return malformed;
    return UnsupportedByte{nul, lineOf(nul, [&](std::size_t i) { return byteAt(bytes, i); })};
}

std::optional<UnsupportedByte> findUnsupportedByte(std::string_view bytes, RecoveryEncoding encoding)
{
    const auto mark = markLengthAs(bytes, encoding);
    if (!mark)
        return UnsupportedByte{};
    const std::size_t markLength = *mark;
    const std::string_view body = bytes.substr(markLength);
    if (encoding == RecoveryEncoding::utf16LE || encoding == RecoveryEncoding::utf16BE) {
        const Utf16Units units(body, byteOrderOf(encoding));
        const std::size_t index = firstUnpaired(units);
        if (2 * index == body.size())
            return std::nullopt;
        return UnsupportedByte{markLength + 2 * index, lineOf(index, [&](std::size_t i) { return units.at(i); })};
    }
    const std::size_t offset = validUtf8Length(body);
    if (offset == body.size())
        return std::nullopt;
    return UnsupportedByte{markLength + offset, lineOf(offset, [&](std::size_t i) { return byteAt(body, i); })};
}

}  // namespace penmark
