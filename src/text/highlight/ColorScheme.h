// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/Token.h"

#include <array>
#include <cstdint>

namespace penmark {

/// A colour in sRGB.
struct Rgb {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    constexpr Rgb() = default;
    constexpr explicit Rgb(std::uint32_t hex)
        : red(static_cast<std::uint8_t>(hex >> 16U)), green(static_cast<std::uint8_t>(hex >> 8U)),
          blue(static_cast<std::uint8_t>(hex))
    {}
    friend constexpr bool operator==(Rgb, Rgb) = default;
};

/// The contrast of two colours as the WCAG define it: 1 for equal ones, 21 for black on white.
double contrast(Rgb first, Rgb second);

struct TokenStyle {
    Rgb color;
    bool bold = false;
    bool italic = false;
};

/// The colours of an editor. All text can be read on the background, the current line and selections (4.5 : 1).
struct ColorScheme {
    Rgb text;
    Rgb background;
    Rgb currentLine;
    Rgb selection;
    Rgb inactiveSelection;
    Rgb caret;
    Rgb margin;  ///< behind line numbers
    Rgb lineNumber;
    Rgb currentLineNumber;
    Rgb foldMark;
    Rgb findMark;      ///< behind what was found
    Rgb bracketMatch;  ///< behind the bracket that belongs to the one at the caret
    Rgb rightMargin;
    Rgb visibleBlank;
    Rgb preedit;     ///< below text that an input method has not committed
    Rgb annotation;  ///< text that is not the document's: "… 12 lines"
    std::array<TokenStyle, tokenKindCount> tokens;

    const TokenStyle& style(TokenKind kind) const { return tokens[static_cast<std::size_t>(kind)]; }
};

const ColorScheme& lightColorScheme();
const ColorScheme& darkColorScheme();

}  // namespace penmark
