// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchResultsView.h"

#include "app/search/SearchResultsDelegate.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>
#include <algorithm>
#include <utility>

namespace penmark {

namespace {

/// Titles may change between two runs.
bool isSameText(const TextSearchSource& left, const TextSearchSource& right)
{
    return left.kind == right.kind && left.document == right.document && left.path == right.path &&
           (left.kind != TextSearchSource::Kind::historical || left.revision == right.revision);
}

}  // namespace

SearchResultsView::SearchResultsView(SearchController& controller)
    : controller_(controller), results_(new SearchResultsModel(controller, this)),
      delegate_(new SearchResultsDelegate(*results_, this))
{
    setItemDelegate(delegate_);
    setHeaderHidden(true);
    header()->setMinimumSectionSize(0);
    setUniformRowHeights(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setExpandsOnDoubleClick(false);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setMouseTracking(true);
    // Before the view itself hears of it and forgets what is where.
    connect(results_, &SearchResultsModel::modelAboutToBeReset, this, &SearchResultsView::aboutToBeReset);
    setModel(results_);
    setAccessibleName(tr("Results"));
}

void SearchResultsView::setTextFont(const QFont& font)
{
    delegate_->setTextFont(font);
    scheduleDelayedItemsLayout();
}

void SearchResultsView::setColors(const ColorScheme& colors)
{
    delegate_->setColors(colors);
    viewport()->update();
}

void SearchResultsView::rowsInserted(const QModelIndex& parent, int start, int end)
{
    QTreeView::rowsInserted(parent, start, end);
    query_ = controller_.search().rule().query;
    // The layout is pending by now, so that this only takes note of each.
    for (int row = start; row <= end && !parent.isValid(); ++row)
        expand(results_->index(row, 0));
    if (place_ && !currentIndex().isValid())
        findPlaceAgain(start, end);
    if (scrolledTo_)
        scrollAgain();
}

void SearchResultsView::aboutToBeReset()
{
    if (query_ != controller_.search().rule().query) {
        place_.reset();
        scrolledTo_.reset();
        verticalScrollBar()->setValue(0);
        return;
    }
    const int scrolled = verticalScrollBar()->value();
    scrolledTo_ = scrolled > 0 ? std::optional(scrolled) : std::nullopt;
    if (place_ && currentIndex().isValid())
        place_->top = visualRect(currentIndex()).top();
}

void SearchResultsView::findPlaceAgain(int firstGroup, int lastGroup)
{
    const TextSearchReport& report = controller_.report();
    const auto between = [](std::size_t one, std::size_t other) { return std::max(one, other) - std::min(one, other); };
    // The column too: whoever steps on from the second hit of a line would be led to it again and again.
    const auto distance = [&, place = *place_](const TextSearchHit& hit) {
        return std::pair(between(hit.line, place.line), between(hit.column, place.column));
    };
    const auto isBefore = [place = *place_](const TextSearchHit& hit) {
        return std::pair(hit.line, hit.column) < std::pair(place.line, place.column);
    };
    for (int row = firstGroup; row <= lastGroup; ++row) {
        const TextSearchGroup& group = report.groups[static_cast<std::size_t>(row)];
        if (group.hits == 0 || !isSameText(*group.source, *place_->source))
            continue;
        // With fewer hits than before it is most likely the chosen one that was edited away; the next one follows it.
        const bool isGone = group.hits < place_->hits;
        const std::size_t end = group.firstHit + group.hits;
        std::size_t nearest = group.firstHit;
        for (std::size_t hit = nearest; hit < end; ++hit) {
            if (isGone ? isBefore(report.hits[nearest]) : distance(report.hits[hit]) < distance(report.hits[nearest]))
                nearest = hit;
        }
        const int top = place_->top;
        const bool isSuccessor = isGone ? !isBefore(report.hits[nearest]) : place_->isSuccessor;
        scrolledTo_.reset();
        showHit(nearest);
        place_->isSuccessor = isSuccessor;
        verticalScrollBar()->setValue(verticalScrollBar()->value() + visualRect(currentIndex()).top() - top);
        return;
    }
}

void SearchResultsView::scrollAgain()
{
    executeDelayedItemsLayout();
    updateGeometries();
    if (verticalScrollBar()->maximum() >= *scrolledTo_) {
        verticalScrollBar()->setValue(*scrolledTo_);
        scrolledTo_.reset();
    }
}

void SearchResultsView::showHit(std::size_t hit)
{
    const QModelIndex index = results_->indexOf(hit);
    if (!index.isValid())
        return;
    expand(index.parent());
    setCurrentIndex(index);
    scrollTo(index);
}

std::optional<std::size_t> SearchResultsView::currentHit() const
{
    if (const TextSearchGroup* const group = results_->group(currentIndex()))
        return group->firstHit;
    return results_->hitNumber(currentIndex());
}

void SearchResultsView::enter()
{
    if (!currentIndex().isValid())
        showHit(0);
}

void SearchResultsView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeView::currentChanged(current, previous);
    const auto hit = results_->hitNumber(current);
    controller_.search().select(hit);
    if (hit) {
        const TextSearchController& search = controller_.search();
        const TextSearchHit& chosen = search.report().hits[*hit];
        const TextSearchGroup& group = search.groupOf(*hit);
        place_ = Place{group.source, chosen.line, chosen.column, group.hits, place_ ? place_->top : 0};
    } else if (current.isValid()) {
        place_.reset();
    }
}

void SearchResultsView::activateCurrent(bool newWindow)
{
    if (const auto hit = currentHit())
        emit hitActivated(*hit, newWindow);
}

void SearchResultsView::fold()
{
    const QModelIndex group = currentIndex().parent().isValid() ? currentIndex().parent() : currentIndex();
    if (group == currentIndex())
        collapse(group);
    else
        setCurrentIndex(group);
}

void SearchResultsView::unfold()
{
    const QModelIndex index = currentIndex();
    if (!results_->group(index))
        return;
    if (isExpanded(index))
        setCurrentIndex(results_->index(0, 0, index));
    else
        expand(index);
}

void SearchResultsView::copyCurrent() const
{
    const auto number = currentHit();
    if (!number)
        return;
    const TextSearchController& search = controller_.search();
    QGuiApplication::clipboard()->setText(
        SearchResultsModel::lineOf(*search.groupOf(*number).source, search.report().hits[*number]));
}

void SearchResultsView::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const bool isPlain = modifiers == Qt::NoModifier;
    const Qt::Key forward = isRightToLeft() ? Qt::Key_Left : Qt::Key_Right;
    const Qt::Key back = isRightToLeft() ? Qt::Key_Right : Qt::Key_Left;
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const QString text = event->text();
    if (isEnter && (isPlain || modifiers == Qt::ControlModifier)) {
        activateCurrent(modifiers == Qt::ControlModifier);
    } else if (event->matches(QKeySequence::Copy)) {
        copyCurrent();
    } else if (isPlain && event->key() == Qt::Key_Up && !indexAbove(currentIndex()).isValid()) {
        emit leftUpwards();
    } else if (isPlain && event->key() == back) {
        fold();
    } else if (isPlain && event->key() == forward) {
        unfold();
    } else if (event->key() == Qt::Key_Backspace || (!(modifiers & ~Qt::ShiftModifier) && !text.isEmpty() &&
                                                     text.front().isPrint() && !text.front().isSpace())) {
        emit typed(event);
    } else {
        QTreeView::keyPressEvent(event);
    }
}

void SearchResultsView::mousePressEvent(QMouseEvent* event)
{
    QTreeView::mousePressEvent(event);
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && results_->group(index))
        setExpanded(index, !isExpanded(index));
}

void SearchResultsView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton)
        return;
    if (results_->group(index))
        setExpanded(index, !isExpanded(index));
    else if (results_->hit(index))
        activateCurrent((event->modifiers() & Qt::ControlModifier) != 0);
}

void SearchResultsView::drawBranches(QPainter*, const QRect&, const QModelIndex&) const
{
    // Groups have a sign of their own.
}

}  // namespace penmark
