// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorView.h"
#include "text/Characters.h"
#include "text/commands/Clipboard.h"
#include "text/commands/Deleting.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QScrollBar>
#include <QStyle>
#include <QUrl>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace penmark {

namespace {

constexpr int autoscrollInterval = 16;          // milliseconds
constexpr std::size_t publishLimit = 64 << 20;  // bytes; a larger selection does not become the primary one

// The range that selects both, in the direction from the first to the second.
Caret extended(const Caret& origin, Utf8Range to)
{
    if (to.start < origin.start())
        return {origin.end(), to.start};
    return {origin.start(), std::max(to.end, origin.end())};
}

Utf8Range lineRange(const TextSnapshot& text, Utf8Offset offset)
{
    return text.lineContaining(offset).whole();
}

}  // namespace

bool EditorView::isInSelection(Utf8Offset offset) const
{
    const auto carets = editor_.carets().all();
    return std::any_of(carets.begin(), carets.end(),
                       [&](const Caret& caret) { return caret.hasSelection() && caret.range().contains(offset); });
}

void EditorView::mousePressEvent(QMouseEvent* event)
{
    const QPointF point = event->position();
    scrollAnimation_.stop();
    finishComposition();
    if (event->button() == Qt::MiddleButton) {
        if (!readOnly_ && QGuiApplication::clipboard()->supportsSelection()) {
            setCarets(CaretSet(Caret(hitAt(point).offset)), false);
            if (const QMimeData* source = QGuiApplication::clipboard()->mimeData(QClipboard::Selection))
                insertFrom(*source, std::nullopt);
        }
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    if (point.x() < marginWidth_) {
        clickMargin(point, event->modifiers());
        return;
    }
    pressedAt_ = draggedTo_ = point;
    const ViewLayout::Hit hit = hitAt(point);
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    dragAdds_ = modifiers.testFlag(Qt::AltModifier);
    dragKept_ = editor_.carets();
    if (modifiers.testFlag(Qt::AltModifier) && modifiers.testFlag(Qt::ShiftModifier)) {
        drag_ = Drag::column;
        columnLine_ = text().lineAt(hit.offset);
        column_ = columnOf(point);
        return;
    }
    const bool third = QDateTime::currentMSecsSinceEpoch() - lastDoubleClick_ < QApplication::doubleClickInterval() &&
                       (event->pos() - lastDoubleClickAt_).manhattanLength() < QApplication::startDragDistance();
    if (third) {
        lastDoubleClick_ = 0;
        drag_ = Drag::lines;
        const Utf8Range line = lineRange(text(), hit.offset);
        dragOrigin_ = {line.start, line.end};
    } else if (modifiers.testFlag(Qt::ShiftModifier)) {
        drag_ = Drag::characters;
        dragOrigin_ = Caret(editor_.carets().main().anchor);
        dragTo(point);
        return;
    } else if (!dragAdds_ && isInSelection(characterUnder(point))) {
        drag_ = Drag::pending;
        return;
    } else {
        drag_ = Drag::characters;
        dragOrigin_ = Caret(hit.offset);
        dragOrigin_.affinity = hit.affinity;
        // A click on a caret of several takes it away again.
        if (dragAdds_ && dragKept_.size() > 1) {
            const auto all = dragKept_.all();
            const auto same = std::find(all.begin(), all.end(), Caret(hit.offset));
            if (same != all.end()) {
                CaretSet fewer = dragKept_;
                fewer.remove(static_cast<std::size_t>(same - all.begin()));
                drag_ = Drag::none;
                setCarets(fewer, false);
                return;
            }
        }
    }
    CaretSet carets = dragAdds_ ? dragKept_ : CaretSet(dragOrigin_);
    if (dragAdds_)
        carets.add(dragOrigin_);
    setCarets(carets, false);
}

void EditorView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || event->position().x() < marginWidth_) {
        mousePressEvent(event);
        return;
    }
    lastDoubleClick_ = QDateTime::currentMSecsSinceEpoch();
    lastDoubleClickAt_ = event->pos();
    const Utf8Range word = wordAt(text(), characterUnder(event->position()));
    drag_ = Drag::words;
    dragOrigin_ = {word.start, word.end};
    CaretSet carets = dragAdds_ ? dragKept_ : CaretSet(dragOrigin_);
    if (dragAdds_)
        carets.add(dragOrigin_);
    setCarets(carets, false);
}

void EditorView::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF point = event->position();
    const bool overMargin = point.x() < marginWidth_;
    if (drag_ == Drag::none)
        hoverMargin(overMargin);
    if (!(event->buttons() & Qt::LeftButton)) {
        const bool arrow = overMargin || isInSelection(characterUnder(point));
        viewport()->setCursor(arrow ? Qt::ArrowCursor : Qt::IBeamCursor);
        return;
    }
    if (drag_ == Drag::pending) {
        if ((point - pressedAt_).manhattanLength() >= QApplication::startDragDistance())
            startDrag();
        return;
    }
    if (drag_ == Drag::none)
        return;
    dragTo(point);
    const bool outside = point.y() < 0 || point.y() >= viewport()->height() ||
                         (!layout_.wraps() && (point.x() < marginWidth_ || point.x() >= viewport()->width()));
    if (!outside)
        autoscrollTimer_.stop();
    else if (!autoscrollTimer_.isActive())
        autoscrollTimer_.start(autoscrollInterval, this);
}

void EditorView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    autoscrollTimer_.stop();
    if (drag_ == Drag::pending) {
        const ViewLayout::Hit hit = hitAt(event->position());
        setCarets(CaretSet(Caret(hit.offset)), false);
    }
    drag_ = Drag::none;
    publishSelection();
}

void EditorView::dragTo(QPointF point)
{
    draggedTo_ = point;
    if (drag_ == Drag::column) {
        columnSelect(point);
        return;
    }
    const ViewLayout::Hit hit = hitAt(point);
    Caret caret;
    switch (drag_) {
    case Drag::words:
        caret = extended(dragOrigin_, wordAt(text(), hit.offset));
        break;
    case Drag::lines:
        caret = extended(dragOrigin_, lineRange(text(), hit.offset));
        break;
    default:
        caret = Caret(dragOrigin_.anchor, hit.offset);
        caret.affinity = hit.affinity;
        break;
    }
    CaretSet carets = dragAdds_ ? dragKept_ : CaretSet(caret);
    if (dragAdds_)
        carets.add(caret);
    editor_.setCarets(carets);
    refresh(false);
}

// The farther outside, the faster.
void EditorView::autoscroll()
{
    const auto beyond = [](double at, double low, double high) {
        return at < low ? at - low : at > high ? at - high : 0;
    };
    const double y = beyond(draggedTo_.y(), 0, viewport()->height());
    const double x = beyond(draggedTo_.x(), marginWidth_, viewport()->width());
    if (y != 0)
        layout_.scrollBy(-std::round(y * .5 + std::copysign(2, y)));
    if (x != 0 && !layout_.wraps()) {
        const double limit = std::max(0.0, layout_.contentWidth() - layout_.size().width());
        layout_.setHorizontalOffset(std::clamp(layout_.horizontalOffset() + x * .5, 0.0, limit));
    }
    dragTo({draggedTo_.x(), draggedTo_.y()});
}

std::size_t EditorView::columnOf(QPointF point) const
{
    const double x = point.x() - marginWidth_ + layout_.horizontalOffset();
    return static_cast<std::size_t>(std::max(0.0, std::round(x / layout_.columnWidth())));
}

// The text may have scrolled since the button was pressed, so the corner is kept by its line and column.
void EditorView::columnSelect(QPointF to)
{
    editor_.setCarets(commands::columnSelection(text(), {columnLine_, column_},
                                                {text().lineAt(hitAt(to).offset), columnOf(to)}, document_.options()));
    refresh(false);
}

bool EditorView::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::Leave)
        hoverMargin(false);
    return QAbstractScrollArea::viewportEvent(event);
}

void EditorView::hoverMargin(bool hovers)
{
    if (std::exchange(hoversMargin_, hovers) != hovers)
        viewport()->update(QRect(0, 0, static_cast<int>(marginWidth_) + 1, viewport()->height()));
}

void EditorView::clickMargin(QPointF point, Qt::KeyboardModifiers modifiers)
{
    const ViewLayout::Hit hit = hitAt({marginWidth_, point.y()});
    const LineNumber line = text().lineAt(hit.offset);
    if (point.x() >= numberWidth_ && editor_.toggleFold(line)) {
        layout_.foldsChanged();
        refresh(false);
        return;
    }
    drag_ = Drag::lines;
    const Utf8Range range = text().line(line).whole();
    dragOrigin_ = {range.start, range.end};
    dragAdds_ = modifiers.testFlag(Qt::AltModifier);
    dragKept_ = editor_.carets();
    if (modifiers.testFlag(Qt::ShiftModifier))
        dragOrigin_ = Caret(editor_.carets().main().anchor);
    dragTo(point);
}

void EditorView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        // Touchpads send a notch in many small steps.
        constexpr int notch = 120;
        const int turned = event->angleDelta().y();
        if ((turned > 0) != (zoomTurned_ > 0))
            zoomTurned_ = 0;
        zoomTurned_ += turned;
        if (const int steps = zoomTurned_ / notch; steps != 0) {
            zoomTurned_ -= steps * notch;
            zoom(steps);
        }
        event->accept();
        return;
    }
    QPoint angle = event->angleDelta();
    QPoint pixels = event->pixelDelta();
    if (event->modifiers().testFlag(Qt::ShiftModifier)) {
        angle = angle.transposed();
        pixels = pixels.transposed();
    }
    const int linesPerNotch = QApplication::wheelScrollLines();
    if (!pixels.isNull()) {
        layout_.scrollBy(pixels.y());
        refresh(false);
    } else if (angle.y() != 0) {
        const double distance = angle.y() / 120.0 * linesPerNotch * layout_.rowHeight();
        // Touchpads send many small steps, which are smooth by themselves.
        if (std::abs(angle.y()) < 120) {
            layout_.scrollBy(distance);
            refresh(false);
        } else {
            smoothScrollBy(std::round(distance));
        }
    }
    if (const double x = pixels.isNull() ? angle.x() / 120.0 * linesPerNotch * layout_.columnWidth() : pixels.x();
        x != 0)
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - static_cast<int>(x));
    event->accept();
}

void EditorView::smoothScrollBy(double pixels)
{
    const int duration = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this);
    const double left = scrollAnimation_.state() == QAbstractAnimation::Running ? scrollTarget_ - scrollDone_ : 0;
    scrollAnimation_.stop();
    if (duration <= 0) {
        layout_.scrollBy(pixels);
        refresh(false);
        return;
    }
    scrollTarget_ = left + pixels;
    scrollDone_ = 0;
    scrollAnimation_.setDuration(std::min(duration, 120));
    scrollAnimation_.start();
}

// Drag and drop

void EditorView::startDrag()
{
    drag_ = Drag::none;
    auto* drag = new QDrag(this);
    drag->setMimeData(selectedData().release());
    const CaretSet source = editor_.carets();
    const std::uint64_t generation = document_.buffer().generation();
    const Qt::DropActions actions = readOnly_ ? Qt::CopyAction : Qt::CopyAction | Qt::MoveAction;
    const QPointer<EditorView> self(this);
    const QPointer<QDrag> held(drag);
    const Qt::DropAction done = drag->exec(actions, readOnly_ ? Qt::CopyAction : Qt::MoveAction);
    if (!self || !held)
        return;  // gone with its window meanwhile
    // Dropped in a view of this text, the move was made there as one edit, or not at all on what is moved itself;
    // elsewhere what was taken goes.
    const QObject* const target = held->target();
    const auto* const view = target ? qobject_cast<const EditorView*>(target->parent()) : nullptr;
    const bool sameText = view && &view->document_ == &document_;
    if (done == Qt::MoveAction && generation == document_.buffer().generation() && !sameText)
        perform(commands::deleteSelections(text(), source));
}

void EditorView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls() || (!readOnly_ && event->mimeData()->hasText()))
        event->acceptProposedAction();
}

void EditorView::dragMoveEvent(QDragMoveEvent* event)
{
    dropAt_ = hitAt(event->position()).offset;
    damage();
    event->acceptProposedAction();
}

void EditorView::dragLeaveEvent(QDragLeaveEvent* event)
{
    dropAt_.reset();
    damage();
    event->accept();
}

void EditorView::dropEvent(QDropEvent* event)
{
    dropAt_.reset();
    damage();
    if (event->mimeData()->hasUrls() && !event->modifiers().testFlag(Qt::ShiftModifier)) {
        // Opened and left where they are; who hears that they were moved may take them away.
        event->setDropAction(Qt::CopyAction);
        event->accept();
        emit filesDropped(event->mimeData()->urls());
        return;
    }
    if (readOnly_)
        return;
    finishComposition();
    const Utf8Offset at = hitAt(event->position()).offset;
    QString dropped = event->mimeData()->text();
    if (event->mimeData()->hasUrls()) {
        QStringList paths;
        for (const QUrl& url : event->mimeData()->urls())
            paths.append(url.isLocalFile() ? url.toLocalFile() : url.toString());
        dropped = paths.join(QLatin1Char('\n'));
    }
    // From this view, or another one of the same text.
    const auto* from = qobject_cast<const EditorView*>(event->source());
    if (from && &from->document_ == &document_ && event->dropAction() == Qt::MoveAction) {
        const CaretSet source = from->editor_.carets();
        const auto reaches = [&](const Caret& caret) { return caret.start() <= at && at <= caret.end(); };
        if (std::none_of(source.begin(), source.end(), reaches)) {
            // One edit: the text goes from there and comes here.
            const std::string moved = dropped.toStdString();
            TextEditBuilder edit;
            bool placed = false;
            Utf8Offset start = at;
            for (const Caret& caret : source) {
                if (!placed && caret.start() >= at) {
                    edit.insert(at, moved);
                    placed = true;
                }
                if (!placed)
                    start -= caret.range().size();
                edit.remove(caret.range());
            }
            if (!placed)
                edit.insert(at, moved);
            perform({std::move(edit).build(), CaretSet(Caret(start, start + moved.size()))});
        }
    } else {
        editor_.setCarets(CaretSet(Caret(at)));
        const std::size_t before = text().end().value;
        pasteText(dropped);
        const std::size_t grown = text().end().value - before;
        setCarets(CaretSet(Caret(at, at + grown)));
    }
    event->acceptProposedAction();
    setFocus(Qt::MouseFocusReason);
}

// The primary selection of X11 and Wayland.
void EditorView::publishSelection()
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard->supportsSelection() || !editor_.carets().hasSelection())
        return;
    std::size_t bytes = 0;
    for (const Caret& caret : editor_.carets())
        bytes += caret.range().size();
    if (bytes <= publishLimit)
        clipboard->setMimeData(selectedData().release(), QClipboard::Selection);
}

}  // namespace penmark
