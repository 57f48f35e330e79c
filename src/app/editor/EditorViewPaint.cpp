// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/Colors.h"
#include "app/editor/EditorView.h"
#include "text/Characters.h"
#include "text/highlight/Folding.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace penmark {

namespace {

// Mixes what decides the look of a block into one number.
class Mixer {
public:
    void add(std::uint64_t value)
    {
        value_ ^= value + 0x9E3779B97F4A7C15U + (value_ << 6) + (value_ >> 2);
        value_ *= 0xBF58476D1CE4E5B9U;
    }
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 1;
};

template <class Ranges, class End>
auto firstReaching(const Ranges& ranges, Utf8Offset offset, End end)
{
    return std::partition_point(ranges.begin(), ranges.end(), [&](const auto& each) { return end(each) < offset; });
}

Utf8Offset endOfCaret(const Caret& caret)
{
    return caret.end();
}
Utf8Offset endOfRange(const Utf8Range& range)
{
    return range.end;
}

// The first colour with a little of the second.
QColor between(const QColor& first, const QColor& second)
{
    const auto mixed = [](int one, int other) { return one + (other - one) * 3 / 10; };
    return {mixed(first.red(), second.red()), mixed(first.green(), second.green()), mixed(first.blue(), second.blue())};
}

}  // namespace

QRectF EditorView::textArea() const
{
    return QRectF(viewport()->rect()).adjusted(marginWidth_, 0, 0, 0);
}

std::uint64_t EditorView::decorationOf(const ViewLayout::Placed& placed, int row, LineNumber mainLine) const
{
    const bool firstRow = placed.startsLine && row == 0;
    const bool lastRow = placed.endsLine && row + 1 == placed.block->rows();
    const Utf8Range range{placed.range.start + placed.block->rowStart(row),
                          placed.range.start + placed.block->rowEnd(row)};
    // Each kind begins with a number of its own, so that one cannot be taken for another.
    enum Kind : std::uint64_t { selection = 1'000, head, mark, searched, bracket, drop, note };
    Mixer mixer;
    const auto clipped = [&](Kind kind, Utf8Range part) {
        mixer.add(kind);
        mixer.add(std::max(part.start, range.start) - range.start);
        mixer.add(std::min(part.end, range.end + 1) - range.start);
    };
    const Caret& main = editor_.carets().main();
    const auto carets = editor_.carets().all();
    const bool reallyMany = carets.size() > 1;
    for (auto caret = firstReaching(carets, range.start, endOfCaret);
         caret != carets.end() && caret->start() <= range.end; ++caret) {
        clipped(selection, caret->range());
        if (caret->head >= range.start && caret->head <= range.end) {
            mixer.add(head);
            mixer.add(caret->head - range.start);
            mixer.add(caret->affinity == CaretAffinity::upstream);
            mixer.add(caretOn_);
            mixer.add(reallyMany);
        }
    }
    for (auto each = firstReaching(findMarks_, range.start, endOfRange);
         each != findMarks_.end() && each->start <= range.end; ++each)
        clipped(mark, *each);
    if (searchedRange_ && searchedRange_->start <= range.end && searchedRange_->end >= range.start)
        clipped(searched, *searchedRange_);
    if (brackets_) {
        for (const Utf8Offset each : {brackets_->first, brackets_->second}) {
            if (range.contains(each))
                clipped(bracket, {each, each + 1});
        }
    }
    if (dropAt_ && *dropAt_ >= range.start && *dropAt_ <= range.end)
        clipped(drop, {*dropAt_, *dropAt_});
    const bool current = placed.line == mainLine;
    mixer.add(current);
    mixer.add(current && !main.hasSelection());
    mixer.add(firstRow);
    mixer.add(lastRow);
    if (firstRow || lastRow)
        mixer.add(editor_.folds().foldAt(placed.line).has_value());
    const auto annotation = annotations_.find(placed.line.value);
    if (lastRow && annotation != annotations_.end()) {
        mixer.add(note);
        mixer.add(qHash(annotation->second));
    }
    mixer.add(hasFocus());
    mixer.add(findMarks_.empty());
    return mixer.value();
}

// Compares what would be drawn with what was, row by row from top to bottom.
void EditorView::damage()
{
    std::vector<Stamp> now;
    const auto& seen = layout_.visible();
    now.reserve(seen.size());
    const LineNumber mainLine = text().lineAt(editor_.carets().main().head);
    for (const ViewLayout::Placed& placed : seen) {
        for (int row = 0; row < placed.block->rows(); ++row) {
            const double top = placed.top + row * layout_.rowHeight();
            if (top + layout_.rowHeight() > 0 && top < layout_.size().height())
                now.push_back({placed.block->rowHash(row), top, layout_.horizontalOffset(), placed.line.value,
                               decorationOf(placed, row, mainLine)});
        }
    }
    QRegion dirty;
    const int width = viewport()->width();
    // Marks of some scripts reach over their rows.
    const int over = static_cast<int>(std::ceil(layout_.rowHeight() / 4));
    const auto spoil = [&](const Stamp& stamp) {
        dirty += QRect(0, static_cast<int>(std::floor(stamp.top)) - over, width,
                       static_cast<int>(std::ceil(layout_.rowHeight())) + 2 * over);
    };
    auto old = drawn_.begin();
    for (const Stamp& stamp : now) {
        while (old != drawn_.end() && old->top < stamp.top)
            spoil(*old++);
        if (old != drawn_.end() && *old == stamp)
            ++old;
        else
            spoil(stamp);
    }
    for (; old != drawn_.end(); ++old)
        spoil(*old);
    drawn_ = std::move(now);
    if (!dirty.isEmpty())
        viewport()->update(dirty);
}

void EditorView::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    const QRect area = event->rect();
    const ColorScheme& colors = *colors_;
    painter.fillRect(area, toColor(colors.background));
    painter.fillRect(area & QRect(0, 0, static_cast<int>(marginWidth_), viewport()->height()), toColor(colors.margin));
    if (rightMargin_ && !layout_.wraps()) {
        const double x =
            marginWidth_ + layout_.columnWidth() * static_cast<double>(rightMargin_) - layout_.horizontalOffset();
        painter.fillRect(QRectF(x, area.top(), 1, area.height()), toColor(colors.rightMargin));
    } else if (rightMargin_) {
        const double x = marginWidth_ + layout_.columnWidth() * static_cast<double>(rightMargin_);
        painter.fillRect(QRectF(x, area.top(), 1, area.height()), toColor(colors.rightMargin));
    }
    painter.setClipRect(QRectF(area) & textArea().adjusted(-1, 0, 0, 0));
    const auto& seen = layout_.visible();
    const auto isSpoiled = [&](const ViewLayout::Placed& placed) {
        return event->region().intersects(
            QRectF(0, placed.top, viewport()->width(), placed.block->height()).toAlignedRect());
    };
    for (const ViewLayout::Placed& placed : seen) {
        if (isSpoiled(placed))
            drawBlock(painter, placed, area);
    }
    drawCarets(painter);
    painter.setClipRect(area);
    for (const ViewLayout::Placed& placed : seen) {
        if (placed.startsLine && isSpoiled(placed))
            drawMargin(painter, placed);
    }
}

void EditorView::fillRange(QPainter& painter, const ViewLayout::Placed& placed, Utf8Range range, const QColor& color,
                           bool outline, bool lineEnd)
{
    const Utf8Offset start = std::max(range.start, placed.range.start);
    const Utf8Offset end = std::min(range.end, placed.range.end);
    if (end < start)
        return;
    std::vector<QRectF> rects;
    placed.block->appendRects(rects, start - placed.range.start, end - placed.range.start, lineEnd);
    for (QRectF rect : rects) {
        rect.translate(marginWidth_ - layout_.horizontalOffset(), placed.top);
        if (outline) {
            painter.setPen(QPen(color, 1));
            painter.setBrush(Qt::NoBrush);
            painter.drawRect(rect.adjusted(.5, .5, -.5, -.5));
        } else {
            painter.fillRect(rect, color);
        }
    }
}

void EditorView::drawPlace(QPainter& painter, const ViewLayout::Placed& placed, Utf8Offset place, const QColor& color)
{
    const std::size_t offset = place - placed.range.start;
    const double x = marginWidth_ - layout_.horizontalOffset() + placed.block->caretX(offset);
    const int row = placed.block->rowOf(offset, CaretAffinity::downstream);
    painter.fillRect(QRectF(x, placed.top + row * layout_.rowHeight(), 2, layout_.rowHeight()), color);
}

void EditorView::drawRanges(QPainter& painter, const ViewLayout::Placed& placed)
{
    const ColorScheme& colors = *colors_;
    if (searchedRange_)
        fillRange(painter, placed, *searchedRange_, between(toColor(colors.background), toColor(colors.findMark)),
                  false, placed.endsLine && searchedRange_->end > placed.range.end);
    for (auto mark = firstReaching(findMarks_, placed.range.start, endOfRange);
         mark != findMarks_.end() && mark->start <= placed.range.end; ++mark) {
        if (mark->empty() && (mark->start < placed.range.end || placed.endsLine))
            drawPlace(painter, placed, mark->start, toColor(colors.findMark).darker(150));
        else
            fillRange(painter, placed, *mark, toColor(colors.findMark));
    }
    // Among marks the selected one stands out, also while the focus is where people type what they look for.
    const QColor selection = toColor(hasFocus() || !findMarks_.empty() ? colors.selection : colors.inactiveSelection);
    const auto carets = editor_.carets().all();
    for (auto caret = firstReaching(carets, placed.range.start, endOfCaret);
         caret != carets.end() && caret->start() <= placed.range.end; ++caret) {
        if (caret->hasSelection())
            fillRange(painter, placed, caret->range(), selection, false,
                      placed.endsLine && caret->end() > placed.range.end);
    }
    if (brackets_) {
        for (const Utf8Offset bracket : {brackets_->first, brackets_->second}) {
            if (placed.range.contains(bracket))
                fillRange(painter, placed, {bracket, bracket + 1}, toColor(colors.bracketMatch));
        }
    }
}

void EditorView::drawBlock(QPainter& painter, const ViewLayout::Placed& placed, const QRectF& clip)
{
    const ColorScheme& colors = *colors_;
    const QPointF at(marginWidth_ - layout_.horizontalOffset(), placed.top);
    const Caret& main = editor_.carets().main();
    const bool current = placed.line == text().lineAt(main.head);
    if (current && !main.hasSelection())
        painter.fillRect(QRectF(marginWidth_, placed.top, viewport()->width() - marginWidth_, placed.block->height()),
                         toColor(colors.currentLine));
    drawRanges(painter, placed);
    painter.setPen(toColor(colors.text));
    // A little above and below the clip, since marks reach over their rows.
    placed.block->draw(painter, at, clip.adjusted(0, -layout_.rowHeight(), 0, layout_.rowHeight()));
    if (showsBlanks_)
        drawBlanks(painter, placed);
    double behind = placed.endsLine ? placed.block->caretX(placed.range.size()) + at.x() + layout_.columnWidth() : 0;
    const double lastRow = placed.top + (placed.block->rows() - 1) * layout_.rowHeight();
    if (placed.endsLine && editor_.folds().foldAt(placed.line).has_value()) {
        const QRectF box(behind, lastRow + 2, 3 * layout_.columnWidth(), layout_.rowHeight() - 4);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(toColor(colors.foldMark));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box.adjusted(.5, .5, -.5, -.5), 3, 3);
        painter.setFont(layout_.font());
        painter.drawText(box, Qt::AlignCenter, QStringLiteral("\u2026"));
        painter.setRenderHint(QPainter::Antialiasing, false);
        behind = box.right() + layout_.columnWidth();
    }
    if (const auto annotation = annotations_.find(placed.line.value);
        placed.endsLine && annotation != annotations_.end()) {
        painter.setFont(layout_.font());
        painter.setPen(toColor(colors.annotation));
        painter.drawText(QPointF(behind + layout_.columnWidth(), lastRow + layout_.baseline()), annotation->second);
    }
}

// Blanks as dots, tabs as arrows, no-break spaces as rings.
void EditorView::drawBlanks(QPainter& painter, const ViewLayout::Placed& placed)
{
    const std::string& text = placed.block->text();
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = toColor(colors_->visibleBlank);
    for (std::size_t offset = 0; offset < text.size(); ++offset) {
        const bool noBreak = text.compare(offset, 2, "\u00A0") == 0;
        if (text[offset] != ' ' && text[offset] != '\t' && !noBreak)
            continue;
        std::vector<QRectF> rects;
        placed.block->appendRects(rects, offset, offset + (noBreak ? 2 : 1), false);
        for (QRectF rect : rects) {
            rect.translate(marginWidth_ - layout_.horizontalOffset(), placed.top);
            const QPointF middle(text[offset] == '\t' ? rect.left() + 2 : rect.center().x(), rect.center().y());
            if (text[offset] == ' ') {
                painter.setPen(Qt::NoPen);
                painter.setBrush(color);
                painter.drawEllipse(middle, 1.1, 1.1);
            } else if (noBreak) {
                painter.setPen(color);
                painter.setBrush(Qt::NoBrush);
                painter.drawEllipse(middle, 2, 2);
            } else {
                painter.setPen(color);
                const QPointF tip(rect.right() - 2, middle.y());
                painter.drawLine(middle, tip);
                painter.drawLine(tip, tip + QPointF(-3, -3));
                painter.drawLine(tip, tip + QPointF(-3, 3));
            }
        }
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void EditorView::drawMargin(QPainter& painter, const ViewLayout::Placed& placed)
{
    const ColorScheme& colors = *colors_;
    const double row = layout_.rowHeight();
    if (showsLineNumbers_) {
        const bool current = placed.line == text().lineAt(editor_.carets().main().head);
        painter.setFont(layout_.font());
        painter.setPen(toColor(current ? colors.currentLineNumber : colors.lineNumber));
        painter.drawText(QPointF(numberWidth_ - layout_.columnWidth() *
                                                    static_cast<double>(QString::number(placed.line.value + 1).size()),
                                 placed.top + layout_.baseline()),
                         QString::number(placed.line.value + 1));
    }
    const bool folded = editor_.folds().foldAt(placed.line).has_value();
    if (!folded && !(hoversMargin_ && canFoldAt(text(), placed.line, document_.language())))
        return;
    const QPointF middle(marginWidth_ - row / 2, placed.top + row / 2);
    const double size = row / 5;
    QPainterPath triangle;
    if (folded) {
        triangle.moveTo(middle + QPointF(-size * .6, -size));
        triangle.lineTo(middle + QPointF(size * .8, 0));
        triangle.lineTo(middle + QPointF(-size * .6, size));
    } else {
        triangle.moveTo(middle + QPointF(-size, -size * .6));
        triangle.lineTo(middle + QPointF(0, size * .8));
        triangle.lineTo(middle + QPointF(size, -size * .6));
    }
    triangle.closeSubpath();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(triangle, toColor(colors.foldMark));
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void EditorView::drawCarets(QPainter& painter)
{
    const QColor color = toColor(colors_->caret);
    const auto drawAt = [&](QRectF rect, Utf8Offset offset) {
        rect.translate(marginWidth_, 0);
        if (document_.options().overtype && !composing_) {
            const ViewLayout::Placed placed = layout_.blockAt(offset);
            std::vector<QRectF> rects;
            const std::size_t inside = offset - placed.range.start;
            const Utf8Offset next = nextGrapheme(text(), offset);
            if (next <= placed.range.end)
                placed.block->appendRects(rects, inside, next - placed.range.start, false);
            const double width = rects.empty() ? layout_.columnWidth() : rects.front().width();
            painter.fillRect(QRectF(rect.left(), rect.bottom() - 2, width, 2), color);
            return;
        }
        painter.fillRect(QRectF(std::round(rect.left()), rect.top(), rect.width(), rect.height()), color);
    };
    if (composing_) {
        if (const std::optional<QRectF> rect = layout_.preeditCaret())
            painter.fillRect(rect->translated(marginWidth_, 0), color);
    }
    if (dropAt_) {
        if (const std::optional<QRectF> rect = layout_.caretRect(Caret(*dropAt_)))
            drawAt(*rect, *dropAt_);
    }
    if (!caretOn_ || !hasFocus())
        return;
    const auto& seen = layout_.visible();
    const auto carets = editor_.carets().all();
    for (auto caret = firstReaching(carets, seen.front().range.start, endOfCaret);
         caret != carets.end() && caret->start() <= seen.back().range.end; ++caret) {
        if (composing_ && *caret == editor_.carets().main())
            continue;
        if (const std::optional<QRectF> rect = layout_.caretRect(*caret))
            drawAt(*rect, caret->head);
    }
}

}  // namespace penmark
