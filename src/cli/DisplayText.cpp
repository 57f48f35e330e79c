// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/DisplayText.h"

#include "base/FunctionRef.h"
#include "base/Utf8.h"

#include <algorithm>
#include <array>

#include <locale.h>
#include <wchar.h>

namespace penmark::cli {

namespace {

constexpr char32_t notUtf8 = 0xFFFF'FFFF;

// Visits each character with its bytes; a byte that begins none comes alone, as `notUtf8`.
void forEachCharacter(std::string_view text, FunctionRef<void(char32_t character, std::string_view bytes)> visit)
{
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text[0]);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        const std::string_view bytes = text.substr(0, length);
        if (length > 1 && (bytes.size() < length || !isValidUtf8(bytes))) {
            visit(notUtf8, text.substr(0, 1));
            text.remove_prefix(1);
            continue;
        }
        char32_t character = length == 1 ? first : first & (0xFFu >> (length + 1));
        for (const char next : bytes.substr(1))
            character = character << 6 | (static_cast<unsigned char>(next) & 0x3Fu);
        visit(character, bytes);
        text.remove_prefix(length);
    }
}

bool isControl(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

bool isUnsafe(char32_t character)
{
    const bool separatesLines = character == 0x2028 || character == 0x2029;
    const bool turnsDirection =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return character == notUtf8 || isControl(character) || separatesLines || turnsDirection;
}

void appendHex(std::string& out, std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        out.append("\\x").append({digits[value >> 4], digits[value & 15]});
    }
}

std::string withoutUnsafe(std::string_view text, bool keepsTabs)
{
    std::string out;
    out.reserve(text.size());
    forEachCharacter(text, [&](char32_t character, std::string_view bytes) {
        if (isUnsafe(character) && !(keepsTabs && character == U'\t'))
            appendHex(out, bytes);
        else
            out += bytes;
    });
    return out;
}

// What the C library knows about characters, whatever the user's locale is: texts are UTF-8 everywhere in here.
locale_t utf8Locale()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

class Utf8Scope {
public:
    Utf8Scope() : before_(utf8Locale() == nullptr ? nullptr : uselocale(utf8Locale())) {}
    ~Utf8Scope()
    {
        if (before_ != nullptr)
            uselocale(before_);
    }
    Utf8Scope(const Utf8Scope&) = delete;
    Utf8Scope& operator=(const Utf8Scope&) = delete;

private:
    locale_t before_;
};

std::size_t widthOf(char32_t character)
{
    const int width = character < 0x80 ? 1 : wcwidth(static_cast<wchar_t>(character));
    return static_cast<std::size_t>(std::max(width, 0));
}

}  // namespace

std::string printable(std::string_view text)
{
    return withoutUnsafe(text, false);
}

std::string printableLine(std::string_view text)
{
    return withoutUnsafe(text, true);
}

std::string escapedField(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    forEachCharacter(text, [&](char32_t character, std::string_view bytes) {
        if (character == '\\')
            out += "\\\\";
        else if (character == '\t')
            out += "\\t";
        else if (character == '\n')
            out += "\\n";
        else if (isUnsafe(character))
            appendHex(out, bytes);
        else
            out += bytes;
    });
    return out;
}

std::string printableJson(std::string_view json)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    out.reserve(json.size());
    forEachCharacter(json, [&](char32_t character, std::string_view bytes) {
        if (character != notUtf8 && isUnsafe(character)) {
            out += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4)
                out += digits[character >> shift & 15];
        } else {
            out += bytes;
        }
    });
    return out;
}

std::size_t displayWidth(std::string_view text)
{
    const Utf8Scope scope;
    std::size_t width = 0;
    forEachCharacter(text, [&](char32_t character, std::string_view) { width += widthOf(character); });
    return width;
}

std::string shortened(std::string_view text, std::size_t columns)
{
    const Utf8Scope scope;
    std::size_t width = 0;
    std::size_t position = 0;
    std::size_t cut = 0;  // the end of what fits beside the ellipsis
    forEachCharacter(text, [&](char32_t character, std::string_view bytes) {
        width += widthOf(character);
        position += bytes.size();
        if (width < columns)
            cut = position;
    });
    if (width <= columns)
        return std::string(text);
    return std::string(text.substr(0, cut)) + "…";
}

}  // namespace penmark::cli
