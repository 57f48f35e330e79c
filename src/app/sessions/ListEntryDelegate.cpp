// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/ListEntryDelegate.h"

#include "app/sessions/RowPainting.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace penmark {

namespace {

int marginOf(const QFont& font)
{
    return std::max(3, QFontMetrics(font).height() / 5);
}

/// The room for texts, behind the dot.
QRect textRect(const QStyleOptionViewItem& option)
{
    const int margin = marginOf(option.font);
    const int gutter = QFontMetrics(option.font).height();
    return option.rect.adjusted(gutter + margin, margin, -2 * margin, -margin);
}

QRect mirrored(const QStyleOptionViewItem& option, const QRect& rect)
{
    return QStyle::visualRect(option.direction, option.rect, rect);
}

void drawElided(QPainter& painter, const QStyleOptionViewItem& option, const QRect& rect, const QString& text,
                Qt::TextElideMode mode = Qt::ElideRight)
{
    const QString line = text.section(QLatin1Char('\n'), 0, 0);
    painter.drawText(mirrored(option, rect),
                     static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignLeft | Qt::AlignVCenter)) |
                         Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(line, mode, rect.width()));
}

}  // namespace

void paintDot(QPainter& painter, ListEntry::Dot dot, QPointF centre, double side, const QColor& accent,
              const QColor& quiet)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    switch (dot) {
    case ListEntry::Dot::none:
        break;
    case ListEntry::Dot::open:
        painter.setBrush(accent);
        painter.drawEllipse(centre, side * 0.4, side * 0.4);
        break;
    case ListEntry::Dot::putAside:
        painter.setPen(QPen(quiet, std::max(1.0, side * 0.12)));
        painter.drawEllipse(centre, side * 0.34, side * 0.34);
        break;
    case ListEntry::Dot::moment:
        painter.setBrush(quiet);
        painter.drawEllipse(centre, side * 0.28, side * 0.28);
        break;
    case ListEntry::Dot::pinned: {
        const double reach = side * 0.5;
        painter.setBrush(accent);
        painter.drawPolygon(QPolygonF({{centre.x(), centre.y() - reach},
                                       {centre.x() + reach, centre.y()},
                                       {centre.x(), centre.y() + reach},
                                       {centre.x() - reach, centre.y()}}));
        break;
    }
    }
    painter.restore();
}

QSize ListEntryDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int line = QFontMetrics(option.font).height();
    const int margin = marginOf(option.font);
    if (index.data(ListEntry::headingRole).toBool())
        return {line * 8, line + 3 * margin};
    return {line * 8, line + QFontMetrics(smallRowFont(option.font)).height() + 2 * margin};
}

void ListEntryDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const
{
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const RowColors colors = rowColors(option);
    painter->save();
    painter->fillRect(option.rect, colors.background);
    QRect text = textRect(option);
    const QFont small = smallRowFont(given.font);
    if (index.data(ListEntry::headingRole).toBool()) {
        QFont heading = option.font;
        heading.setWeight(QFont::DemiBold);
        painter->setFont(heading);
        painter->setPen(colors.text);
        text.setLeft(option.rect.left() + marginOf(option.font) * 2);
        drawElided(*painter, option, text, option.text);
        painter->restore();
        return;
    }

    const int lineHeight = QFontMetrics(option.font).height();
    QRect first(text.left(), text.top(), text.width(), lineHeight);
    const auto dot = static_cast<ListEntry::Dot>(index.data(ListEntry::dotRole).toInt());
    const QRect gutter(option.rect.left(), first.top(), text.left() - option.rect.left(), lineHeight);
    paintDot(*painter, dot, QRectF(mirrored(option, gutter)).center(), lineHeight * 0.5, colors.accent, colors.quiet);

    if (const QString side = index.data(ListEntry::sideRole).toString(); !side.isEmpty()) {
        const int width = std::min(QFontMetrics(small).horizontalAdvance(side) + 1, text.width() / 2);
        painter->setFont(small);
        painter->setPen(colors.quiet);
        drawElided(*painter, option, QRect(first.right() - width + 1, first.top(), width, lineHeight), side);
        first.setRight(first.right() - width - marginOf(option.font) * 2);
    }
    painter->setFont(option.font);
    painter->setPen(colors.text);
    drawElided(*painter, option, first, option.text);
    painter->setFont(small);
    painter->setPen(colors.quiet);
    drawElided(*painter, option, QRect(text.left(), first.bottom() + 1, text.width(), QFontMetrics(small).height()),
               index.data(ListEntry::detailRole).toString());
    if ((option.state & QStyle::State_HasFocus) && !(option.state & QStyle::State_Selected)) {
        painter->setPen(option.palette.color(QPalette::Highlight));
        painter->drawRect(option.rect.adjusted(0, 0, -1, -1));
    }
    painter->restore();
}

void ListEntryDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                             const QModelIndex&) const
{
    const QRect text = textRect(option);
    const int height = editor->sizeHint().height();
    editor->setGeometry(
        mirrored(option, QRect(text.left() - 3, option.rect.center().y() - height / 2, text.width() + 3, height)));
}

}  // namespace penmark
