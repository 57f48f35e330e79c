// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/LanguageTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace penmark {

/// The words of a language with a kind each; found in one look as a rule.
class WordTable {
public:
    void add(std::string_view words, TokenKind kind);  ///< words between blanks; the first kind of a word stays
    void build();
    std::optional<TokenKind> find(std::string_view word) const;

private:
    struct Entry {
        std::string_view word;
        TokenKind kind = TokenKind::keyword;
    };
    static std::size_t slot(std::string_view word);

    static constexpr std::size_t slots = 1024;
    static constexpr std::size_t longest = 32;
    std::vector<Entry> entries_;                    // by slot
    std::array<std::uint16_t, slots + 1> first_{};  // where the entries of a slot begin
};

/// What a byte can begin.
enum class ByteClass : std::uint8_t { blank, identifier, digit, special, other };

/// A language's table made ready for scanning.
struct Grammar {
    EditorLanguage language = EditorLanguage::plainText;
    const LanguageTable* table = nullptr;
    WordTable words;
    WordTable regexBefore;
    std::array<ByteClass, 256> classes{};
    std::array<bool, 256> inIdentifier{};
};

/// Made at the first call, for all languages.
const Grammar& grammarOf(EditorLanguage language);

}  // namespace penmark
