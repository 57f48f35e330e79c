// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Icon.h"
#include "app/editor/Colors.h"
#include "app/editor/Strings.h"
#include "app/history/ComparisonView.h"

#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>

namespace penmark {

namespace {

using Kind = DocumentDiffLine::Kind;

Rgb backgroundOf(const ComparisonColors& colors, Kind kind)
{
    switch (kind) {
    case Kind::removed:
        return colors.removed;
    case Kind::added:
        return colors.added;
    case Kind::collapsed:
        return colors.run;
    case Kind::unchanged:
        break;
    }
    return colors.background;
}

}  // namespace

void ComparisonView::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    painter.fillRect(event->rect(), toColor(colors_->background));
    painter.setFont(font_);
    const int scrolled = verticalScrollBar()->value();
    const auto first = static_cast<std::size_t>((scrolled + event->rect().top()) / rowHeight_);
    for (std::size_t index = first; index < rowCount(); ++index) {
        const int top = static_cast<int>(index) * rowHeight_ - scrolled;
        if (top > event->rect().bottom())
            break;
        paintRow(painter, row(index), top);
    }
    paintCurrent(painter);
}

void ComparisonView::paintRow(QPainter& painter, const Row& at, int top)
{
    const DocumentDiffLine& line = lines_.at(at.line);
    const QRect box(0, top, viewport()->width(), rowHeight_);
    painter.fillRect(box, toColor(backgroundOf(*colors_, line.kind)));
    if (isSelected(at.line))
        painter.fillRect(box.adjusted(gutterWidth() - static_cast<int>(cellWidth_) / 2, 0, 0, 0),
                         toColor(colors_->selection));
    if (line.kind == Kind::collapsed) {
        paintRun(painter, at.line, box);
        return;
    }
    if (at.part == 0)
        paintGutter(painter, line, box);
    painter.save();
    painter.setClipRect(box.adjusted(gutterWidth(), 0, 0, 0));
    paintText(painter, line, at.part, box.translated(gutterWidth() - horizontalScrollBar()->value(), 0));
    painter.restore();
}

void ComparisonView::paintGutter(QPainter& painter, const DocumentDiffLine& line, const QRect& box)
{
    painter.setPen(toColor(colors_->number));
    QRect number(box.left() + static_cast<int>(cellWidth_), box.top(), numberWidths_[0], box.height());
    const int end = Qt::AlignRight | Qt::AlignVCenter;
    if (line.earlierLine > 0)
        painter.drawText(number, end, QString::number(line.earlierLine));
    number = QRect(number.right() + 1 + static_cast<int>(cellWidth_), box.top(), numberWidths_[1], box.height());
    if (line.currentLine > 0)
        painter.drawText(number, end, QString::number(line.currentLine));
    if (line.kind == Kind::unchanged)
        return;
    const bool isAdded = line.kind == Kind::added;
    const QRect sign(number.right() + 1 + static_cast<int>(cellWidth_), box.top(), static_cast<int>(cellWidth_) + 1,
                     box.height());
    painter.setPen(toColor(isAdded ? colors_->addedSign : colors_->removedSign));
    painter.drawText(sign, Qt::AlignCenter, isAdded ? QStringLiteral("+") : QStringLiteral("\u2212"));
}

void ComparisonView::paintRun(QPainter& painter, std::size_t line, const QRect& box)
{
    const int side = rowHeight_ * 5 / 8;
    const QRect chevron(gutterWidth() - side - static_cast<int>(cellWidth_) / 2, box.center().y() - side / 2, side,
                        side);
    paintIcon(painter, lines_.isUnfolded(line) ? IconShape::chevronDown : IconShape::chevronRight, chevron,
              toColor(colors_->number));
    painter.setPen(toColor(colors_->number));
    painter.drawText(box.adjusted(gutterWidth(), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     toQString(lines_.at(line).text));
}

void ComparisonView::paintText(QPainter& painter, const DocumentDiffLine& line, int part, const QRect& box)
{
    QTextLayout& layout = layoutOf(line);
    if (part >= layout.lineCount())
        return;
    const QTextLine shown = layout.lineAt(part);
    painter.setPen(toColor(colors_->text));
    // By the base line: characters of other fonts may make a part higher.
    const double top = box.top() + 1 + QFontMetricsF(font_).ascent() - shown.ascent();
    shown.draw(&painter, QPointF(box.left(), top) - shown.position());
    if (!line.differsInLineEndOnly || part + 1 < layout.lineCount())
        return;
    painter.setPen(toColor(colors_->number));
    const int behind = static_cast<int>(shown.naturalTextWidth() + cellWidth_ * 2);
    painter.drawText(QRect(box.left() + behind, box.top(), box.width() + behind, box.height()),
                     Qt::AlignLeft | Qt::AlignVCenter, tr("line ending differs"));
}

void ComparisonView::paintCurrent(QPainter& painter)
{
    if (lines_.count() == 0)
        return;
    const QRect box = lineRect(current_);
    const QColor color = toColor(colors_->current);
    painter.fillRect(QRect(0, box.top(), 3, box.height()), color);
    if (hasFocus()) {
        painter.setPen(color);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(box.adjusted(0, 0, -1, -1));
    }
}

}  // namespace penmark
