// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/EditorLanguage.h"
#include "text/highlight/Token.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace penmark {

/// Which lines a language is read by.
enum class LineGrammar : std::uint8_t { none, code, shell, yaml, css, html, markdown };

/// One way to write a string. A language lists longer openings before shorter ones.
struct StringRule {
    std::string_view open;
    std::string_view close;
    bool escapes = true;  ///< a backslash takes the next character with it
    bool multiLine = false;
    bool doubled = false;                 ///< the closing mark twice stands for itself
    std::string_view interpolation = {};  ///< what opens code inside; it ends at the matching bracket
    char interpolationPrefix = '\0';      ///< the letter before the string without which there is no code inside
    char rawPrefix = '\0';                ///< the letter before the string that turns escapes off
    TokenKind kind = TokenKind::string;
};

/// Strings whose closing mark is made by their opening one.
enum class DelimitedString : std::uint8_t {
    none,
    hashes,   ///< #"…"#, and with interpolation behind as many hashes
    rHashes,  ///< r#"…"#
    cpp,      ///< R"x(…)x"
    dollars,  ///< $x$…$x$
};

/// What the scanner of code knows about a language. Words stand between blanks.
struct LanguageTable {
    LineGrammar grammar = LineGrammar::none;
    std::string_view keywords = {};
    std::string_view types = {};
    std::string_view constants = {};
    std::string_view regexBefore = {};  ///< keywords behind which a slash begins a regular expression
    bool ignoreCase = false;            ///< words above are in lower case then

    std::string_view lineComments[2] = {};
    bool lineCommentContinues = false;  ///< behind a backslash at the line's end
    std::string_view blockStart = {};
    std::string_view blockEnd = {};
    bool blockNests = false;

    std::span<const StringRule> strings = {};
    std::string_view stringPrefixes = {};  ///< letters of which up to three may stand before a string
    DelimitedString delimited = DelimitedString::none;

    std::string_view identifierExtra = {};  ///< besides letters, digits, the underscore and everything beyond ASCII
    char digitSeparator = '\0';             ///< besides the underscore
    bool callsAreFunctions = true;          ///< a name before a bracket
    bool upperCaseIsType = false;           ///< a name that begins with A-Z and has a small letter
    bool dotHidesWords = false;             ///< a name behind a dot is never a keyword
    bool regularExpressions = false;        ///< between slashes
    bool lifetimes = false;                 ///< 'a, beside 'a'
    bool macros = false;                    ///< name! is a function
    bool directives = false;                ///< # begins a line of the preprocessor
    bool hashWords = false;                 ///< #name is of the preprocessor
    bool hashAttributes = false;            ///< #[…]
    bool atAttributes = false;              ///< @name
    bool atStatement = false;               ///< @name at a line's start only
    bool keyStrings = false;                ///< a string before a colon is a key
};

const LanguageTable& tableOf(EditorLanguage language);

}  // namespace penmark
