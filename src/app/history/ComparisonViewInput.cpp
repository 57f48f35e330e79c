// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/Strings.h"
#include "app/history/ComparisonAccessible.h"
#include "app/history/ComparisonView.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QScrollBar>
#include <QTimerEvent>
#include <algorithm>

namespace penmark {

// ---- the current line ----

void ComparisonView::setCurrentLine(std::size_t line, bool selects)
{
    if (lines_.count() == 0)
        return;
    if (!selects)
        anchor_.reset();
    else if (!anchor_)
        anchor_ = current_;
    current_ = std::min(line, lines_.count() - 1);
    const QRect box = lineRect(current_);
    QScrollBar& bar = *verticalScrollBar();
    if (box.bottom() >= viewport()->height())
        bar.setValue(bar.value() + box.bottom() + 1 - viewport()->height());
    if (const int top = lineRect(current_).top(); top < 0)
        bar.setValue(bar.value() + top);
    viewport()->update();
    announceCurrentLine(*this);
    emit placeChanged();
}

void ComparisonView::goToChange(bool forwards)
{
    const auto& changes = lines_.changes();
    if (changes.empty())
        return;
    const auto here = currentChange();
    const auto next =
        forwards ? lines_.changeBehind(current_) : lines_.changeBefore(here ? changes[*here].first : current_);
    const ComparisonLines::Change& change = next ? changes[*next] : forwards ? changes.front() : changes.back();
    setCurrentLine(change.first);
    showLines(change.first, change.first + change.count - 1);
}

void ComparisonView::selectAll()
{
    if (lines_.count() == 0)
        return;
    anchor_ = 0;
    current_ = lines_.count() - 1;
    viewport()->update();
    announceCurrentLine(*this);
    emit placeChanged();
}

void ComparisonView::copy()
{
    if (lines_.count() == 0)
        return;
    const auto [first, last] = selectedLines().value_or(std::pair(current_, current_));
    QGuiApplication::clipboard()->setText(toQString(lines_.text(first, last - first + 1)));
}

// ---- keys ----

bool ComparisonView::moveByKey(const QKeyEvent& event)
{
    const bool selects = (event.modifiers() & Qt::ShiftModifier) != 0;
    const std::size_t last = lines_.count() - 1;
    const std::size_t page = std::max<std::size_t>(2, rowsOnPage()) - 1;
    switch (event.key()) {
    case Qt::Key_Up:
        setCurrentLine(current_ - std::min<std::size_t>(1, current_), selects);
        return true;
    case Qt::Key_Down:
        setCurrentLine(current_ + 1, selects);
        return true;
    case Qt::Key_PageUp:
        setCurrentLine(row(firstRow(current_) - std::min(page, firstRow(current_))).line, selects);
        return true;
    case Qt::Key_PageDown:
        setCurrentLine(row(std::min(firstRow(current_) + page, rowCount() - 1)).line, selects);
        return true;
    case Qt::Key_Home:
        setCurrentLine(0, selects);
        return true;
    case Qt::Key_End:
        setCurrentLine(last, selects);
        return true;
    default:
        return false;
    }
}

void ComparisonView::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers others = event->modifiers() & (Qt::ControlModifier | Qt::AltModifier);
    if (lines_.count() == 0) {
        event->ignore();
    } else if (event->matches(QKeySequence::Copy)) {
        copy();
    } else if (event->matches(QKeySequence::SelectAll)) {
        selectAll();
    } else if (others == Qt::NoModifier && moveByKey(*event)) {
        event->accept();
    } else if (others == Qt::NoModifier && (event->key() == Qt::Key_Left || event->key() == Qt::Key_Right)) {
        horizontalScrollBar()->triggerAction(event->key() == Qt::Key_Left ? QAbstractSlider::SliderSingleStepSub
                                                                          : QAbstractSlider::SliderSingleStepAdd);
    } else if (lines_.isRun(current_) && others == Qt::NoModifier &&
               (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)) {
        toggle(current_);
    } else {
        event->ignore();
    }
}

void ComparisonView::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
    announceCurrentLine(*this);
}

void ComparisonView::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

// ---- mouse ----

void ComparisonView::mousePressEvent(QMouseEvent* event)
{
    const auto line = lineAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton || !line) {
        event->ignore();
        return;
    }
    const bool selects = (event->modifiers() & Qt::ShiftModifier) != 0;
    setCurrentLine(*line, selects);
    dragging_ = true;
    pressedRun_.reset();
    if (!selects && lines_.isRun(*line))
        pressedRun_ = line;
}

void ComparisonView::mouseMoveEvent(QMouseEvent* event)
{
    if (dragging_)
        dragTo(event->position().toPoint());
}

void ComparisonView::dragTo(QPoint viewportPoint)
{
    draggedTo_ = viewportPoint;
    const bool isOutside = viewportPoint.y() < 0 || viewportPoint.y() >= viewport()->height();
    if (isOutside && !autoscroll_.isActive())
        autoscroll_.start(40, this);
    else if (!isOutside)
        autoscroll_.stop();
    QPoint inside = viewportPoint;
    inside.setY(std::clamp(inside.y(), 0, viewport()->height() - 1));
    const std::size_t line = lineAt(inside).value_or(lines_.count() - 1);
    if (line == current_ && !anchor_)
        return;
    pressedRun_.reset();
    if (line != current_)
        setCurrentLine(line, true);
}

void ComparisonView::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != autoscroll_.timerId()) {
        QAbstractScrollArea::timerEvent(event);
        return;
    }
    const int beyond = draggedTo_.y() < 0 ? draggedTo_.y() : draggedTo_.y() - viewport()->height();
    verticalScrollBar()->setValue(verticalScrollBar()->value() + beyond / 2 + (beyond < 0 ? -rowHeight_ : rowHeight_));
    dragTo(draggedTo_);
}

void ComparisonView::mouseReleaseEvent(QMouseEvent* event)
{
    autoscroll_.stop();
    dragging_ = false;
    if (event->button() == Qt::LeftButton && pressedRun_)
        toggle(*std::exchange(pressedRun_, std::nullopt));
}

void ComparisonView::contextMenuEvent(QContextMenuEvent* event)
{
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(tr("Copy Lines"), this, &ComparisonView::copy)->setEnabled(lines_.count() > 0);
    menu->addAction(tr("Select All"), this, &ComparisonView::selectAll)->setEnabled(lines_.count() > 0);
    menu->addSeparator();
    QAction* const wrap = menu->addAction(tr("Wrap Lines"), this, &ComparisonView::setWraps);
    wrap->setCheckable(true);
    wrap->setChecked(wraps_);
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard && lines_.count() > 0;
    menu->popup(byKey ? viewport()->mapToGlobal(lineRect(current_).bottomLeft()) : event->globalPos());
}

}  // namespace penmark
