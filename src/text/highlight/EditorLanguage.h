// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace penmark {

/// The languages a text can be written in, in the order in which they are offered.
enum class EditorLanguage : std::uint8_t {
    plainText,
    markdown,
    python,
    swift,
    javaScript,
    json,
    html,
    css,
    shell,
    yaml,
    sql,
    c,
    rust,
};

inline constexpr std::size_t editorLanguageCount = 13;

/// All of them, in order.
constexpr std::array<EditorLanguage, editorLanguageCount> editorLanguages()
{
    std::array<EditorLanguage, editorLanguageCount> all{};
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<EditorLanguage>(i);
    return all;
}

/// The name shown and stored, such as "C / C++".
std::string_view name(EditorLanguage language);
/// The language with exactly that name.
std::optional<EditorLanguage> languageNamed(std::string_view name);

/// By the name of a file (with or without its folder) and, where that says nothing, by its first line: "#!", a
/// "<?xml" or "<!doctype html". Plain text if neither says anything.
EditorLanguage guessLanguage(std::string_view fileName, std::string_view firstLine);

/// By the word behind a fence of Markdown: a name, an extension or a usual abbreviation, in any case.
std::optional<EditorLanguage> languageOfFence(std::string_view word);

/// What marks a comment. Empty where the language has no such comment.
struct CommentTokens {
    std::string_view line;
    std::string_view blockStart;
    std::string_view blockEnd;

    friend bool operator==(const CommentTokens&, const CommentTokens&) = default;
};
CommentTokens commentTokens(EditorLanguage language);

/// Whether the line after one that ends in a colon is indented further.
bool colonIndents(EditorLanguage language);

}  // namespace penmark
