// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace penmark {

/// What a stretch of a line is. Text that is none of these has no token.
enum class TokenKind : std::uint8_t {
    keyword,
    type,
    constant,
    number,
    string,
    escape,  ///< in a string, or an entity of HTML
    regularExpression,
    comment,
    function,
    variable,   ///< $name of a shell, custom properties of CSS
    attribute,  ///< decorators, attributes of Swift and Rust, lifetimes, attributes of HTML, anchors of YAML
    preprocessor,
    tag,       ///< of HTML; type selectors of CSS
    property,  ///< keys of JSON and YAML, properties of CSS
    selector,  ///< classes, ids and pseudo-classes of CSS
    heading,
    emphasis,
    strong,
    code,
    link,
    quote,
    marker,  ///< of lists, fences and rules
};

inline constexpr std::size_t tokenKindCount = static_cast<std::size_t>(TokenKind::marker) + 1;

/// A coloured stretch of a line, in bytes from the line's start. Both ends lie at characters.
struct Token {
    std::uint32_t start = 0;
    std::uint32_t length = 0;
    TokenKind kind = TokenKind::keyword;

    std::uint32_t end() const { return start + length; }
    friend bool operator==(const Token&, const Token&) = default;
};

/// What a line hands to the next one: in which string, comment or other construct it ended. Names an entry of the table
/// of the Tokenizer that made it; 0 is ordinary code.
struct LineState {
    std::uint16_t value = 0;

    friend bool operator==(LineState, LineState) = default;
};

}  // namespace penmark
