// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchResultsDelegate.h"

#include "app/appearance/Icon.h"
#include "app/editor/Colors.h"
#include "app/search/HitLine.h"
#include "app/search/SearchTexts.h"
#include "app/sessions/RowPainting.h"
#include "text/highlight/ColorScheme.h"

#include <QLocale>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>

namespace penmark {

namespace {

QFont bold(QFont font)
{
    font.setWeight(QFont::DemiBold);
    return font;
}

/// A row that is filled from both ends. In layouts from right to left it is mirrored.
class Row {
public:
    Row(QPainter& painter, const QStyleOptionViewItem& option, int margin)
        : painter_(painter), option_(option), room_(option.rect.adjusted(2 * margin, 0, -2 * margin, 0)),
          margin_(margin)
    {}

    QRect takeStart(int width)
    {
        const QRect taken(room_.left(), room_.top(), std::min(width, room_.width()), room_.height());
        room_.setLeft(room_.left() + width + margin_);
        return mirrored(taken);
    }
    QRect rest() const { return mirrored(room_); }

    /// At the end of the row, if half of it is left for others.
    void drawAtEnd(const QString& text, const QFont& font, const QColor& color)
    {
        const int width = QFontMetrics(font).horizontalAdvance(text) + 1;
        if (text.isEmpty() || width > room_.width() / 2)
            return;
        const QRect taken(room_.right() + 1 - width, room_.top(), width, room_.height());
        draw(taken, text, font, color);
        room_.setRight(room_.right() - width - 2 * margin_);
    }
    /// From the start on, at most so wide.
    void drawAtStart(const QString& text, const QFont& font, const QColor& color, Qt::TextElideMode elide, int most)
    {
        const QFontMetrics metrics(font);
        const int width = std::min({metrics.horizontalAdvance(text) + 1, most, room_.width()});
        if (text.isEmpty() || width < 2 * metrics.averageCharWidth())
            return;
        draw(QRect(room_.left(), room_.top(), width, room_.height()), metrics.elidedText(text, elide, width), font,
             color);
        room_.setLeft(room_.left() + width + 2 * margin_);
    }
    int width() const { return room_.width(); }

private:
    QRect mirrored(const QRect& rect) const { return QStyle::visualRect(option_.direction, option_.rect, rect); }
    void draw(const QRect& rect, const QString& text, const QFont& font, const QColor& color)
    {
        painter_.setFont(font);
        painter_.setPen(color);
        painter_.drawText(mirrored(rect), Qt::AlignCenter | Qt::TextSingleLine, text);
    }

    QPainter& painter_;
    const QStyleOptionViewItem& option_;
    QRect room_;
    int margin_;
};

}  // namespace

SearchResultsDelegate::SearchResultsDelegate(const SearchResultsModel& model, QObject* parent)
    : QStyledItemDelegate(parent), model_(model), colors_(&lightColorScheme())
{}

QSize SearchResultsDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    const int line = std::max(QFontMetrics(bold(option.font)).height(), QFontMetrics(textFont_).height());
    return {line * 8, line + rowMargin(option.font)};
}

void SearchResultsDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const RowColors used = rowColors(option, QStyle::State_Active | QStyle::State_HasFocus);
    painter->save();
    painter->fillRect(option.rect, used.background);
    if (const TextSearchGroup* const group = model_.group(index))
        paintGroup(*painter, option, *group, used);
    else if (const TextSearchHit* const hit = model_.hit(index))
        paintHit(*painter, option, *hit, used);
    painter->restore();
}

void SearchResultsDelegate::paintGroup(QPainter& painter, const QStyleOptionViewItem& option,
                                       const TextSearchGroup& group, const RowColors& colors) const
{
    const QFont small = smallRowFont(option.font);
    const TextSearchSource& source = *group.source;
    Row row(painter, option, rowMargin(option.font));
    const int side = QFontMetrics(option.font).ascent();
    QRectF chevron(0, 0, side, side);
    chevron.moveCenter(QRectF(row.takeStart(side)).center());
    painter.setRenderHint(QPainter::Antialiasing);
    if (option.state & QStyle::State_Open) {
        paintIcon(painter, IconShape::chevronDown, chevron, colors.quiet);
    } else {
        painter.save();
        if (option.direction == Qt::RightToLeft) {
            painter.translate(2 * chevron.center().x(), 0);
            painter.scale(-1, 1);
        }
        paintIcon(painter, IconShape::chevronRight, chevron, colors.quiet);
        painter.restore();
    }
    row.drawAtEnd(QLocale().toString(static_cast<qulonglong>(group.hits)), small, colors.quiet);
    row.drawAtEnd(sourceBadge(source), small, colors.quiet);
    // Versions of a document have the same title, so that what tells them apart is the last to be cut.
    const QString moment = versionMoment(source);
    const int momentWidth = moment.isEmpty() ? 0 : QFontMetrics(option.font).horizontalAdvance(moment) + 1;
    const int titleWidth = std::max(row.width() / 3, row.width() - momentWidth - 2 * rowMargin(option.font));
    row.drawAtStart(harmlessLine(source.title), bold(option.font), colors.text, Qt::ElideMiddle,
                    moment.isEmpty() ? row.width() : titleWidth);
    row.drawAtStart(moment, option.font, colors.text, Qt::ElideRight, row.width());
    row.drawAtStart(harmlessLine(sourceLocation(source)), small, colors.quiet, Qt::ElideMiddle, row.width());
}

void SearchResultsDelegate::paintHit(QPainter& painter, const QStyleOptionViewItem& option, const TextSearchHit& hit,
                                     const RowColors& colors) const
{
    const QFont small = smallRowFont(option.font);
    const QFontMetrics metrics(textFont_);
    Row row(painter, option, rowMargin(option.font));
    const auto digits = QLocale().toString(static_cast<qulonglong>(model_.lastLine())).size();
    const QRect number =
        row.takeStart(QFontMetrics(option.font).ascent() +
                      metrics.horizontalAdvance(QLatin1Char('0')) * static_cast<int>(std::max<qsizetype>(4, digits)));
    if (!hit.isInName) {
        painter.setFont(textFont_);
        painter.setPen(colors.quiet);
        painter.drawText(number,
                         static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignRight)) |
                             Qt::AlignVCenter | Qt::TextSingleLine,
                         QLocale().toString(static_cast<qulonglong>(hit.line)));
    }
    row.takeStart(0);
    row.drawAtEnd(matchLabel(hit), small, colors.quiet);
    paintLine(painter, row.rest(), hit, colors);
}

void SearchResultsDelegate::paintLine(QPainter& painter, const QRect& room, const TextSearchHit& hit,
                                      const RowColors& colors) const
{
    if (room.width() <= 0)
        return;
    const QFontMetricsF metrics(textFont_);
    const HitLine line = HitLine::of(hit).fitting(metrics, room.width());
    QTextLayout layout(line.text, textFont_);
    QTextOption option;
    // A line in another direction stays where the lines above and below it begin.
    option.setTextDirection(Qt::LeftToRight);
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.setCacheEnabled(false);
    QTextLayout::FormatRange mark;
    mark.start = static_cast<int>(line.mark);
    mark.length = static_cast<int>(line.length);
    mark.format.setBackground(toColor(colors_->findMark));
    mark.format.setForeground(toColor(colors_->text));
    if (mark.length > 0)
        layout.setFormats({mark});
    layout.beginLayout();
    QTextLine placed = layout.createLine();
    placed.setLineWidth(room.width());
    layout.endLayout();
    // Characters from another font may make the line higher; all lines stand on the height of this one's.
    const QPointF origin(room.left(),
                         room.top() + (room.height() - metrics.height()) / 2 + metrics.ascent() - placed.ascent());
    painter.setPen(colors.text);
    painter.save();
    painter.setClipRect(room);
    layout.draw(&painter, origin);
    if (mark.length == 0) {
        const double x = origin.x() + placed.cursorToX(mark.start);
        painter.fillRect(QRectF(x - 1, origin.y(), 2, placed.height()), colors.text);
    }
    painter.restore();
}

}  // namespace penmark
