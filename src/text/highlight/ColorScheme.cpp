// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/ColorScheme.h"

#include <algorithm>
#include <cmath>

namespace penmark {

namespace {

double luminance(Rgb color)
{
    const auto linear = [](std::uint8_t channel) {
        const double value = channel / 255.0;
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

constexpr ColorScheme light{
    .text = Rgb(0x1F2328),
    .background = Rgb(0xFFFFFF),
    .currentLine = Rgb(0xF3F6FA),
    .selection = Rgb(0xD3E5FF),
    .inactiveSelection = Rgb(0xE4E6EA),
    .caret = Rgb(0x0A4FB4),
    .margin = Rgb(0xFAFBFC),
    .lineNumber = Rgb(0x6A717B),
    .currentLineNumber = Rgb(0x24292F),
    .foldMark = Rgb(0x6A717B),
    .findMark = Rgb(0xFFE58A),
    .bracketMatch = Rgb(0xC9F0D0),
    .rightMargin = Rgb(0xDDE1E6),
    .visibleBlank = Rgb(0xB4BBC4),
    .preedit = Rgb(0x0A4FB4),
    .annotation = Rgb(0x5A616B),
    .tokens = {{
        {Rgb(0x8A1C7C), true, false},   // keyword
        {Rgb(0x155E63), false, false},  // type
        {Rgb(0x8A3B00), false, false},  // constant
        {Rgb(0x1B4DB8), false, false},  // number
        {Rgb(0xA01B1B), false, false},  // string
        {Rgb(0x7A4100), false, false},  // escape
        {Rgb(0x8C2B5A), false, false},  // regularExpression
        {Rgb(0x4F5F55), false, true},   // comment
        {Rgb(0x4A3AA8), false, false},  // function
        {Rgb(0x0B5A7D), false, false},  // variable
        {Rgb(0x6B4A00), false, false},  // attribute
        {Rgb(0x6A3A12), false, false},  // preprocessor
        {Rgb(0x14602F), true, false},   // tag
        {Rgb(0x0E4E86), false, false},  // property
        {Rgb(0x6A3AA0), false, false},  // selector
        {Rgb(0x0E4E86), true, false},   // heading
        {Rgb(0x1F2328), false, true},   // emphasis
        {Rgb(0x1F2328), true, false},   // strong
        {Rgb(0xA01B1B), false, false},  // code
        {Rgb(0x1B4DB8), false, false},  // link
        {Rgb(0x4F5F55), true, false},   // quote
        {Rgb(0x8A3B00), true, false},   // marker
    }},
};

constexpr ColorScheme dark{
    .text = Rgb(0xE3E6EA),
    .background = Rgb(0x1D2024),
    .currentLine = Rgb(0x262A30),
    .selection = Rgb(0x2A4468),
    .inactiveSelection = Rgb(0x363B43),
    .caret = Rgb(0x8FC2FF),
    .margin = Rgb(0x1D2024),
    .lineNumber = Rgb(0x8B939E),
    .currentLineNumber = Rgb(0xE3E6EA),
    .foldMark = Rgb(0x8B939E),
    .findMark = Rgb(0x4E4000),
    .bracketMatch = Rgb(0x1F5233),
    .rightMargin = Rgb(0x33383F),
    .visibleBlank = Rgb(0x565D67),
    .preedit = Rgb(0x8FC2FF),
    .annotation = Rgb(0xA9B0BA),
    .tokens = {{
        {Rgb(0xF2A3E0), true, false},   // keyword
        {Rgb(0x7FDCD6), false, false},  // type
        {Rgb(0xFFB97A), false, false},  // constant
        {Rgb(0xA3C9FF), false, false},  // number
        {Rgb(0xFFB0A8), false, false},  // string
        {Rgb(0xF0CC85), false, false},  // escape
        {Rgb(0xFFADCB), false, false},  // regularExpression
        {Rgb(0xA9BCAF), false, true},   // comment
        {Rgb(0xCBC0FF), false, false},  // function
        {Rgb(0x8AD6F5), false, false},  // variable
        {Rgb(0xE5D08A), false, false},  // attribute
        {Rgb(0xE8BF9A), false, false},  // preprocessor
        {Rgb(0x8EE0A6), true, false},   // tag
        {Rgb(0x9CD0FF), false, false},  // property
        {Rgb(0xDDB8FF), false, false},  // selector
        {Rgb(0x9CD0FF), true, false},   // heading
        {Rgb(0xE3E6EA), false, true},   // emphasis
        {Rgb(0xE3E6EA), true, false},   // strong
        {Rgb(0xFFB0A8), false, false},  // code
        {Rgb(0xA3C9FF), false, false},  // link
        {Rgb(0xA9BCAF), true, false},   // quote
        {Rgb(0xFFB97A), true, false},   // marker
    }},
};

}  // namespace

double contrast(Rgb first, Rgb second)
{
    const double a = luminance(first);
    const double b = luminance(second);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

const ColorScheme& lightColorScheme()
{
    return light;
}

const ColorScheme& darkColorScheme()
{
    return dark;
}

}  // namespace penmark
