// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/RowPainting.h"

#include <QFontMetrics>
#include <QStyleOptionViewItem>
#include <algorithm>

namespace penmark {

namespace {

QColor mix(const QColor& over, const QColor& under, float share)
{
    const auto channel = [share](float one, float other) { return one * share + other * (1 - share); };
    return QColor::fromRgbF(channel(over.redF(), under.redF()), channel(over.greenF(), under.greenF()),
                            channel(over.blueF(), under.blueF()));
}

}  // namespace

RowColors rowColors(const QStyleOptionViewItem& option, QStyle::State strong)
{
    // A window in the background keeps its colours.
    const auto colorOf = [&](QPalette::ColorRole role) { return option.palette.color(QPalette::Active, role); };
    const QColor base = colorOf(QPalette::Base);
    const QColor highlight = colorOf(QPalette::Highlight);
    RowColors colors{base, colorOf(QPalette::Text), {}, highlight};
    float quiet = 0.7F;
    if ((option.state & QStyle::State_Selected) && (option.state & strong) == strong) {
        colors.background = highlight;
        colors.text = colorOf(QPalette::HighlightedText);
        colors.accent = colors.text;
        quiet = 0.88F;
    } else if (option.state & QStyle::State_Selected) {
        colors.background = mix(highlight, base, 0.22F);
    } else if ((option.state & QStyle::State_MouseOver) && (option.state & QStyle::State_Enabled)) {
        colors.background = mix(colors.text, base, 0.06F);
    }
    colors.quiet = mix(colors.text, colors.background, quiet);
    if (!(option.state & QStyle::State_Enabled))
        colors.text = colors.quiet;
    return colors;
}

QFont smallRowFont(QFont font)
{
    font.setBold(false);
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 0.9);
    else
        font.setPixelSize(std::max(1, font.pixelSize() * 9 / 10));
    return font;
}

int rowMargin(const QFont& font)
{
    return std::max(3, QFontMetrics(font).height() / 4);
}

}  // namespace penmark
