// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Grammar.h"

#include <algorithm>

namespace penmark {

namespace {

constexpr unsigned char byteOf(char c)
{
    return static_cast<unsigned char>(c);
}

Grammar makeGrammar(EditorLanguage language)
{
    Grammar grammar;
    grammar.language = language;
    grammar.table = &tableOf(language);
    const LanguageTable& table = *grammar.table;
    grammar.words.add(table.keywords, TokenKind::keyword);
    grammar.words.add(table.types, TokenKind::type);
    grammar.words.add(table.constants, TokenKind::constant);
    grammar.words.build();
    grammar.regexBefore.add(table.regexBefore, TokenKind::keyword);
    grammar.regexBefore.build();

    for (unsigned byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || byte >= 0x80 ||
                            table.identifierExtra.find(c) != std::string_view::npos;
        const bool digit = c >= '0' && c <= '9';
        grammar.inIdentifier[byte] = letter || digit;
        grammar.classes[byte] = letter                  ? ByteClass::identifier
                                : digit                 ? ByteClass::digit
                                : c == ' ' || c == '\t' ? ByteClass::blank
                                                        : ByteClass::other;
    }
    const auto special = [&](std::string_view start) {
        if (!start.empty() && grammar.classes[byteOf(start.front())] != ByteClass::identifier)
            grammar.classes[byteOf(start.front())] = ByteClass::special;
    };
    for (const std::string_view comment : table.lineComments)
        special(comment);
    special(table.blockStart);
    for (const StringRule& rule : table.strings)
        special(rule.open);
    for (const char c : std::string_view("(){}[]@#$/.'\\"))
        special({&c, 1});
    return grammar;
}

}  // namespace

void WordTable::add(std::string_view words, TokenKind kind)
{
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        words.remove_prefix(std::min(words.size(), word.size() + 1));
        const bool known =
            std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.word == word; });
        if (!word.empty() && !known)
            entries_.push_back({word, kind});
    }
}

void WordTable::build()
{
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return slot(a.word) < slot(b.word); });
    std::size_t entry = 0;
    for (std::size_t i = 0; i <= slots; ++i) {
        while (entry < entries_.size() && slot(entries_[entry].word) < i)
            ++entry;
        first_[i] = static_cast<std::uint16_t>(entry);
    }
}

std::optional<TokenKind> WordTable::find(std::string_view word) const
{
    if (word.empty() || word.size() > longest)
        return std::nullopt;
    const std::size_t at = slot(word);
    for (std::size_t i = first_[at]; i < first_[at + 1]; ++i) {
        if (entries_[i].word == word)
            return entries_[i].kind;
    }
    return std::nullopt;
}

std::size_t WordTable::slot(std::string_view word)
{
    const std::size_t second = word.size() > 1 ? byteOf(word[1]) : 0;
    return (byteOf(word.front()) * 31U + second * 7U + byteOf(word.back()) * 131U + word.size() * 17U) % slots;
}

const Grammar& grammarOf(EditorLanguage language)
{
    static const auto grammars = [] {
        std::vector<Grammar> all;
        all.reserve(editorLanguageCount);
        for (const EditorLanguage each : editorLanguages())
            all.push_back(makeGrammar(each));
        return all;
    }();
    return grammars[static_cast<std::size_t>(language)];
}

}  // namespace penmark
