// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ExportNames.h"

#include "base/Utf8.h"

#include <algorithm>
#include <array>
#include <cwctype>

#include <locale.h>

namespace penmark {

namespace {

constexpr std::size_t longestName = 255;  // bytes, on every file system of importance

// Characters that change how the rest of a name is shown: C1 controls, marks and overrides of direction.
constexpr std::array<std::string_view, 12> misleading{"\u061c", "\u200e", "\u200f", "\u202a", "\u202b", "\u202c",
                                                      "\u202d", "\u202e", "\u2066", "\u2067", "\u2068", "\u2069"};

// Also without what only some file systems refuse, so that a folder can be copied to any of them.
std::string withoutUnsafeCharacters(std::string_view text)
{
    constexpr std::string_view refused = "/\\:*?\"<>|";
    std::string name = repairUtf8(text);
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        if (refused.find(name[i]) != std::string_view::npos)
            name[i] = '_';
        else if (byte < 0x20 || byte == 0x7F)
            name[i] = ' ';
        else if (byte == 0xC2 && static_cast<unsigned char>(name[i + 1]) < 0xA0)
            name.replace(i, 2, " ");
    }
    for (const std::string_view mark : misleading) {
        for (auto at = name.find(mark); at != std::string::npos; at = name.find(mark))
            name.erase(at, mark.size());
    }
    name.erase(0, name.find_first_not_of(' '));
    name.erase(name.find_last_not_of(" .") + 1);
    return name;
}

// Where the extension begins, at its dot, or the end. "Chapter 1.2" and "e. g. this" have none.
std::size_t extensionStart(std::string_view name)
{
    constexpr std::size_t longestExtension = 10;
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size())
        return name.size();
    const std::string_view extension = name.substr(dot + 1);
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isPart = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9'); };
    const bool looksLikeOne = extension.size() <= longestExtension &&
                              std::all_of(extension.begin(), extension.end(), isPart) &&
                              std::any_of(extension.begin(), extension.end(), isLetter);
    return looksLikeOne ? dot : name.size();
}

// At most this many bytes, cut between characters.
std::string_view cutTo(std::string_view text, std::size_t bytes)
{
    if (text.size() <= bytes)
        return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80)
        --bytes;
    return text.substr(0, bytes);
}

// What the C library knows about characters, whatever the user's locale is: names are UTF-8.
locale_t utf8Locale()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

// The character that some bytes of UTF-8 hold.
char32_t decodeCharacter(std::string_view bytes)
{
    const auto first = static_cast<unsigned char>(bytes[0]);
    char32_t character = bytes.size() == 1 ? first : first & (0xFFu >> (bytes.size() + 1));
    for (const char next : bytes.substr(1))
        character = character << 6 | (static_cast<unsigned char>(next) & 0x3Fu);
    return character;
}

// Lower case, character by character, as file systems that ignore case compare names. Only for comparing: characters
// beyond ASCII come in a form of fixed width, and bytes that are no UTF-8 as they are.
std::string foldedCase(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    const locale_t locale = utf8Locale();
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text[0]);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        const std::string_view bytes = text.substr(0, length);
        if (locale == nullptr || bytes.size() < length || !isValidUtf8(bytes)) {
            out += text[0];
            text.remove_prefix(1);
            continue;
        }
        text.remove_prefix(length);
        const auto lower = static_cast<char32_t>(towlower_l(static_cast<wint_t>(decodeCharacter(bytes)), locale));
        if (lower < 0x80) {
            out += static_cast<char>(lower);
            continue;
        }
        for (int shift = 0; shift < 32; shift += 8)
            out += static_cast<char>(lower >> shift & 0xFF);
    }
    return out;
}

}  // namespace

void ExportNames::reserve(std::string_view name)
{
    taken_.insert(foldedCase(name));
}

std::string ExportNames::forTitle(std::string_view title)
{
    std::string name = withoutUnsafeCharacters(title);
    name.erase(0, name.find_first_not_of(". "));
    if (name.empty())
        name = "Untitled";
    const std::size_t start = extensionStart(name);
    if (start == name.size())
        return unique(name, ".txt");
    return unique(std::string_view(name).substr(0, start), std::string_view(name).substr(start));
}

std::string ExportNames::forFile(std::string_view name)
{
    const std::string safe = withoutUnsafeCharacters(name);
    if (safe.find_first_not_of('.') == std::string::npos)
        return forTitle("");
    const std::size_t start = extensionStart(safe);
    return unique(std::string_view(safe).substr(0, start), std::string_view(safe).substr(start));
}

std::string ExportNames::unique(std::string_view stem, std::string_view extension)
{
    // Counting goes on where it stopped, so that a thousand drafts of one title do not try a million names.
    std::size_t& number = number_[foldedCase(std::string(stem) + "/" + std::string(extension))];
    for (;;) {
        ++number;
        const std::string tail =
            (number == 1 ? std::string() : " (" + std::to_string(number) + ")") + std::string(extension);
        std::string name = std::string(cutTo(stem, longestName - tail.size())) + tail;
        if (taken_.insert(foldedCase(name)).second)
            return name;
    }
}

}  // namespace penmark
