// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/Colors.h"

namespace penmark {

QColor toColor(Rgb rgb)
{
    return {rgb.red, rgb.green, rgb.blue};
}

QTextCharFormat tokenFormat(const ColorScheme& colors, TokenKind kind)
{
    const TokenStyle& style = colors.style(kind);
    QTextCharFormat format;
    format.setForeground(toColor(style.color));
    if (style.bold)
        format.setFontWeight(QFont::Bold);
    if (style.italic)
        format.setFontItalic(true);
    return format;
}

}  // namespace penmark
