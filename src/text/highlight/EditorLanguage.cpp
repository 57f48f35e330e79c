// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/EditorLanguage.h"

#include <algorithm>
#include <string>

namespace penmark {

namespace {

using L = EditorLanguage;

struct Description {
    std::string_view name;
    CommentTokens comments;
    bool colonIndents;
    std::string_view extensions;    // each between blanks
    std::string_view fileNames;     // in lower case, each between blanks
    std::string_view interpreters;  // without a version, each between blanks
    std::string_view fenceWords;    // besides the extensions
};

constexpr std::array<Description, editorLanguageCount> descriptions{{
    {"Plain Text", {}, false, " txt text log ", "", "", " plain plaintext "},
    {"Markdown",
     {"", "<!--", "-->"},
     false,
     " md markdown mdown mkd mkdn mdx ",
     " readme changelog contributing ",
     "",
     " markdown "},
    {"Python", {"#", "", ""}, true, " py pyw pyi ", " sconstruct sconscript ", " python pypy ", " python python3 "},
    {"Swift", {"//", "/*", "*/"}, false, " swift ", "", " swift ", ""},
    {"JavaScript",
     {"//", "/*", "*/"},
     false,
     " js mjs cjs jsx ts mts cts tsx ",
     "",
     " node nodejs deno bun ",
     " javascript typescript "},
    {"JSON",
     {},
     false,
     " json jsonc jsonl ndjson geojson webmanifest ",
     " .babelrc .eslintrc .prettierrc composer.lock ",
     "",
     ""},
    {"HTML", {"", "<!--", "-->"}, false, " html htm xhtml xml svg vue plist xsl xsd rss ", "", "", ""},
    {"CSS", {"", "/*", "*/"}, false, " css scss less ", "", "", ""},
    {"Shell",
     {"#", "", ""},
     false,
     " sh bash zsh ksh dash command ",
     " .bashrc .bash_profile .bash_aliases .profile .zshrc .zprofile .zshenv .kshrc pkgbuild ",
     " sh bash zsh ksh dash ash ",
     " shell shellscript console "},
    {"YAML", {"#", "", ""}, true, " yaml yml ", " .clang-format .clang-tidy ", "", ""},
    {"SQL",
     {"--", "/*", "*/"},
     false,
     " sql ddl dml psql ",
     " .psqlrc .sqliterc ",
     " sqlite psql ",
     " sqlite postgresql mysql "},
    {"C / C++",
     {"//", "/*", "*/"},
     false,
     " c h cc cpp cxx c++ hh hpp hxx h++ inl ipp tpp ino m mm ",
     "",
     "",
     " objc objective-c "},
    {"Rust", {"//", "/*", "*/"}, false, " rs ", "", " rust-script ", " rust "},
}};

const Description& of(EditorLanguage language)
{
    return descriptions[static_cast<std::size_t>(language)];
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

bool lists(std::string_view words, std::string_view word)
{
    return !word.empty() && word.find(' ') == std::string_view::npos &&
           words.find(" " + std::string(word) + " ") != std::string_view::npos;
}

std::optional<L> listing(std::string_view Description::*words, std::string_view word)
{
    for (L language : editorLanguages()) {
        if (lists(of(language).*words, word))
            return language;
    }
    return std::nullopt;
}

// "#!/usr/bin/env -S python3.11 -u" names "python".
std::string interpreter(std::string_view firstLine)
{
    constexpr std::string_view blanks = " \t\r\n";
    std::string_view rest = firstLine.substr(2);
    std::string program;
    while (true) {
        const std::size_t start = rest.find_first_not_of(blanks);
        if (start == std::string_view::npos)
            return program;
        rest.remove_prefix(start);
        const std::string_view word = rest.substr(0, rest.find_first_of(blanks));
        rest.remove_prefix(word.size());
        if (word.starts_with('-') || word.find('=') != std::string_view::npos)
            continue;
        program = lowered(word.substr(word.find_last_of('/') + 1));
        if (program != "env")
            break;
    }
    while (!program.empty() && ((program.back() >= '0' && program.back() <= '9') || program.back() == '.'))
        program.pop_back();
    return program;
}

}  // namespace

std::string_view name(EditorLanguage language)
{
    return of(language).name;
}

std::optional<EditorLanguage> languageNamed(std::string_view name)
{
    for (L language : editorLanguages()) {
        if (of(language).name == name)
            return language;
    }
    return std::nullopt;
}

EditorLanguage guessLanguage(std::string_view fileName, std::string_view firstLine)
{
    constexpr std::size_t readOfFirstLine = 1024;
    firstLine = firstLine.substr(0, readOfFirstLine);
    const std::string file = lowered(fileName.substr(fileName.find_last_of('/') + 1));
    if (const auto language = listing(&Description::fileNames, file))
        return *language;
    if (const std::size_t dot = file.find_last_of('.'); dot != std::string::npos) {
        if (const auto language = listing(&Description::extensions, file.substr(dot + 1)))
            return *language;
    }
    if (firstLine.starts_with("\xEF\xBB\xBF"))
        firstLine.remove_prefix(3);
    if (firstLine.starts_with("#!"))
        return listing(&Description::interpreters, interpreter(firstLine)).value_or(L::plainText);
    const std::string start = lowered(firstLine.substr(0, 16));
    if (start.starts_with("<!doctype html") || start.starts_with("<html") || start.starts_with("<?xml"))
        return L::html;
    return L::plainText;
}

std::optional<EditorLanguage> languageOfFence(std::string_view word)
{
    const std::string wanted = lowered(word);
    if (const auto language = listing(&Description::extensions, wanted))
        return language;
    if (const auto language = listing(&Description::fenceWords, wanted))
        return language;
    for (L language : editorLanguages()) {
        if (lowered(of(language).name) == wanted)
            return language;
    }
    return std::nullopt;
}

CommentTokens commentTokens(EditorLanguage language)
{
    return of(language).comments;
}

bool colonIndents(EditorLanguage language)
{
    return of(language).colonIndents;
}

}  // namespace penmark
