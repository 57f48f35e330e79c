// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/VersionDelegate.h"

#include "app/sessions/RowPainting.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace penmark {

namespace {

QFont heading(QFont font)
{
    font = smallRowFont(font);
    font.setWeight(QFont::DemiBold);
    return font;
}

/// A pin, upright, in a square.
void paintPin(QPainter& painter, const QRectF& square, const QColor& color)
{
    const double unit = square.width() / 16;
    const auto at = [&](double x, double y) { return square.topLeft() + QPointF(x, y) * unit; };
    QPainterPath head(at(5.5, 1.5));
    for (const QPointF& point : {at(10.5, 1.5), at(9.7, 6.5), at(12.5, 9.5), at(3.5, 9.5), at(6.3, 6.5)})
        head.lineTo(point);
    head.closeSubpath();
    painter.setPen(QPen(color, std::max(1.0, unit * 1.3), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(color);
    painter.drawPath(head);
    painter.drawLine(at(8, 9.5), at(8, 14.5));
}

}  // namespace

VersionDelegate::VersionDelegate(const VersionModel& model, QObject* parent)
    : QStyledItemDelegate(parent), model_(model)
{}

QSize VersionDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int margin = rowMargin(option.font);
    const int line = QFontMetrics(option.font).height();
    const int small = QFontMetrics(smallRowFont(option.font)).height();
    const VersionRow& row = model_.row(index);
    switch (row.kind) {
    case VersionRow::Kind::day:
        return {line * 8, small + 4 * margin};
    case VersionRow::Kind::version:
        return {line * 8, line + small + (row.version->checkpoints.empty() ? 0 : small) + 2 * margin};
    case VersionRow::Kind::loadEarlier:
        return {line * 8, line + 4 * margin};
    case VersionRow::Kind::note:
        break;
    }
    const int width = std::max(line * 8, option.rect.width() - 4 * margin);
    const QRect text = QFontMetrics(option.font).boundingRect(QRect(0, 0, width, 10'000), Qt::TextWordWrap, row.title);
    return {line * 8, text.height() + 4 * margin};
}

void VersionDelegate::paintBackground(QPainter& painter, const QStyleOptionViewItem& option,
                                      const RowColors& colors) const
{
    const int inset = std::max(2, rowMargin(option.font) / 2);
    const QRectF box = QRectF(option.rect).adjusted(inset, 0.5, -inset, -0.5);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colors.background);
    painter.drawRoundedRect(box, inset * 1.5, inset * 1.5);
    if (!(option.state & QStyle::State_HasFocus))
        return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(option.state & QStyle::State_Selected
                            ? colors.text
                            : option.palette.color(QPalette::Active, QPalette::Highlight),
                        1.5));
    painter.drawRoundedRect(box.adjusted(1, 1, -1, -1), inset * 1.5, inset * 1.5);
}

void VersionDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const VersionRow& row = model_.row(index);
    const RowColors used = rowColors(option);
    const int margin = rowMargin(option.font);
    const QRect text = option.rect.adjusted(3 * margin, margin, -3 * margin, -margin);
    const int start = static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignLeft).toInt());
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    switch (row.kind) {
    case VersionRow::Kind::day:
        painter->setFont(heading(option.font));
        painter->setPen(used.quiet);
        painter->drawText(text, start | Qt::AlignBottom, row.title);
        break;
    case VersionRow::Kind::version:
        paintBackground(*painter, option, used);
        paintVersion(*painter, option, row, used);
        break;
    case VersionRow::Kind::loadEarlier:
        paintBackground(*painter, option, used);
        painter->setFont(option.font);
        painter->setPen(option.palette.color(QPalette::Active, QPalette::Link));
        painter->drawText(text, Qt::AlignCenter, row.title);
        break;
    case VersionRow::Kind::note:
        painter->setFont(option.font);
        painter->setPen(used.quiet);
        painter->drawText(text, start | Qt::AlignVCenter | Qt::TextWordWrap, row.title);
        break;
    }
    painter->restore();
}

void VersionDelegate::paintVersion(QPainter& painter, const QStyleOptionViewItem& option, const VersionRow& row,
                                   const RowColors& colors) const
{
    const VersionTexts texts = model_.texts(*row.version);
    const QFont small = smallRowFont(option.font);
    const QFontMetrics metrics(option.font);
    const QFontMetrics smallMetrics(small);
    const int margin = rowMargin(option.font);
    const int start = static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignLeft).toInt());
    const int end = static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignRight).toInt());

    QRect line = option.rect.adjusted(3 * margin, margin, -3 * margin, 0);
    line.setHeight(metrics.height());
    painter.setFont(option.font);
    painter.setPen(colors.text);
    painter.drawText(line, start | Qt::AlignVCenter, row.title);
    painter.setFont(small);
    painter.setPen(colors.quiet);
    painter.drawText(line, end | Qt::AlignVCenter, texts.badge);

    line.moveTop(line.bottom() + 1);
    line.setHeight(smallMetrics.height());
    painter.drawText(line, start | Qt::AlignVCenter,
                     smallMetrics.elidedText(texts.details, Qt::ElideRight, line.width()));
    if (texts.checkpoints.isEmpty())
        return;
    line.moveTop(line.bottom() + 1);
    const int side = smallMetrics.ascent();
    const QRect pin =
        QStyle::visualRect(option.direction, line, QRect(line.left(), line.center().y() - side / 2, side, side));
    if (texts.isPinned)
        paintPin(painter, pin, colors.quiet);
    painter.setPen(colors.quiet);
    const QRect names =
        QStyle::visualRect(option.direction, line, line.adjusted(texts.isPinned ? side + margin : 0, 0, 0, 0));
    painter.drawText(names, start | Qt::AlignVCenter,
                     smallMetrics.elidedText(texts.checkpoints, Qt::ElideRight, names.width()));
}

}  // namespace penmark
