// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/QuietStyle.h"

#include "app/appearance/Icon.h"

#include <QPainter>
#include <QStyleOption>
#include <QTabBar>
#include <algorithm>

namespace penmark {

namespace {

QColor edgeOf(const QStyleOption& option)
{
    const QPalette& palette = option.palette;
    if (!option.state.testFlag(QStyle::State_Enabled))
        return palette.color(QPalette::Mid);
    if (option.state.testFlag(QStyle::State_HasFocus))
        return palette.color(QPalette::Highlight);
    // Between the text and what it is on: 3 : 1 to the latter in both palettes.
    const QColor text = palette.color(QPalette::Text);
    const QColor base = palette.color(QPalette::Base);
    return QColor((text.red() + base.red()) / 2, (text.green() + base.green()) / 2, (text.blue() + base.blue()) / 2);
}

void drawMark(QStyle::PrimitiveElement element, const QStyleOption& option, QPainter& painter)
{
    const bool isRadio = element == QStyle::PE_IndicatorRadioButton;
    const bool isOn = option.state.testFlag(QStyle::State_On);
    const bool isEnabled = option.state.testFlag(QStyle::State_Enabled);
    const QColor accent = option.palette.color(isEnabled ? QPalette::Active : QPalette::Disabled, QPalette::Highlight);
    const double side = std::min(option.rect.width(), option.rect.height());
    const QRectF square(QRectF(option.rect).center() - QPointF(side, side) / 2, QSizeF(side, side));
    const QRectF box = square.adjusted(.5, .5, -.5, -.5);
    const double radius = isRadio ? box.width() / 2 : 3;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(isOn && isEnabled ? accent : edgeOf(option), 1));
    painter.setBrush(isOn ? accent : option.palette.color(QPalette::Base));
    painter.drawRoundedRect(box, radius, radius);
    const QColor mark = option.palette.color(QPalette::HighlightedText);
    if (isOn && isRadio) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(mark);
        painter.drawEllipse(box.center(), side / 5, side / 5);
    } else if (isOn) {
        paintIcon(painter, IconShape::check, square.adjusted(1, 1, -1, -1), mark);
    }
    painter.restore();
}

// The tab in front is a part of what it shows; the others lie behind.
void drawTab(const QStyleOptionTab& option, QPainter& painter)
{
    const QPalette& palette = option.palette;
    const bool isFront = option.state.testFlag(QStyle::State_Selected);
    const bool isHovered = option.state.testFlag(QStyle::State_MouseOver);
    const QRect rect = option.rect;
    if (isFront)
        painter.fillRect(rect, palette.color(QPalette::Base));
    else if (isHovered)
        painter.fillRect(rect, palette.color(QPalette::Midlight));
    if (isFront) {
        const bool hasFocus = option.state.testFlag(QStyle::State_HasFocus);
        painter.fillRect(rect.x(), rect.y(), rect.width(), hasFocus ? 4 : 2, palette.color(QPalette::Highlight));
    } else {
        const int gap = rect.height() / 4;
        painter.fillRect(rect.right(), rect.y() + gap, 1, rect.height() - 2 * gap, palette.color(QPalette::Mid));
    }
}

void drawTabClose(const QStyleOption& option, QPainter& painter)
{
    const bool isHovered =
        option.state.testFlag(QStyle::State_Raised) && option.state.testFlag(QStyle::State_MouseOver);
    const double side = std::min({option.rect.width(), option.rect.height(), 16});
    const QRectF square(QRectF(option.rect).center() - QPointF(side, side) / 2, QSizeF(side, side));
    QColor color = option.palette.color(QPalette::WindowText);
    if (isHovered) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(option.palette.color(QPalette::Mid));
        painter.drawRoundedRect(square, 3, 3);
        painter.restore();
    } else {
        color.setAlphaF(0.55F);
    }
    paintIcon(painter, IconShape::close, square.adjusted(2, 2, -2, -2), color);
}

}  // namespace

QuietStyle::QuietStyle() : QProxyStyle(QStringLiteral("fusion")) {}

void QuietStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const
{
    const bool isPartly = option->state.testFlag(State_NoChange);
    if ((element == PE_IndicatorCheckBox && !isPartly) || element == PE_IndicatorRadioButton) {
        drawMark(element, *option, *painter);
        return;
    }
    if (element == PE_IndicatorTabClose) {
        drawTabClose(*option, *painter);
        return;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (element != PE_FrameLineEdit)
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const bool hasFocus = option->state.testFlag(State_HasFocus);
    painter->setPen(option->palette.color(hasFocus ? QPalette::Highlight : QPalette::Mid));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(QRectF(option->rect).adjusted(.5, .5, -.5, -.5), 2, 2);
    painter->restore();
}

QSize QuietStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                                   const QWidget* widget) const
{
    QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
    constexpr int air = 14;  // on both sides of a button's text together
    if (type == CT_PushButton)
        size.rwidth() = std::max(size.width(), contents.width() + 2 * air);
    return size;
}

void QuietStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const
{
    const auto* const tab = qstyleoption_cast<const QStyleOptionTab*>(option);
    if (element == CE_TabBarTabShape && tab && tab->shape == QTabBar::RoundedNorth)
        drawTab(*tab, *painter);
    else
        QProxyStyle::drawControl(element, option, painter, widget);
}

}  // namespace penmark
