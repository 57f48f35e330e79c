// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorTree.h"

#include "app/navigator/DraggedRows.h"
#include "app/navigator/NavigatorDelegate.h"

#include <QContextMenuEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QHoverEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QSet>
#include <algorithm>
#include <iterator>
#include <set>

namespace penmark {
namespace {

NavigatorSection::Activation activationOf(Qt::KeyboardModifiers modifiers)
{
    if (modifiers & Qt::ControlModifier)
        return NavigatorSection::Activation::newWindow;
    return modifiers & Qt::ShiftModifier ? NavigatorSection::Activation::switchTo : NavigatorSection::Activation::open;
}

/// Keys that are the list's own, whatever shortcuts the window has.
bool isOwnKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return !(event.modifiers() & Qt::AltModifier);
    case Qt::Key_Space:
    case Qt::Key_F2:
    case Qt::Key_Delete:
    case Qt::Key_Escape:
        return !(event.modifiers() & (Qt::AltModifier | Qt::ShiftModifier));
    default:
        return event.matches(QKeySequence::Undo) || event.matches(QKeySequence::SelectAll);
    }
}

}  // namespace

NavigatorTree::NavigatorTree(NavigatorModel& model, QWidget* parent) : QTreeView(parent), model_(model)
{
    setUniformRowHeights(true);
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setExpandsOnDoubleClick(false);
    setFrameShape(QFrame::NoFrame);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(ExtendedSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setDragDropMode(DragDrop);
    setDropIndicatorShown(false);
    header()->setMinimumSectionSize(0);
    viewport()->setAttribute(Qt::WA_Hover);
    setAccessibleName(tr("Documents"));
    setModel(&model);
}

QList<Uuid> NavigatorTree::selectedDocuments() const
{
    QModelIndexList rows = selectionModel()->selectedIndexes();
    const auto place = [this](const QModelIndex& row) {
        return std::pair(model_.numberOf(model_.sectionOf(row)), row.row());
    };
    std::sort(rows.begin(), rows.end(),
              [&](const QModelIndex& one, const QModelIndex& other) { return place(one) < place(other); });
    QList<Uuid> documents;
    std::set<Uuid> seen;
    for (const QModelIndex& row : rows)
        if (const auto id = model_.document(row); id && seen.insert(*id).second)
            documents << *id;
    return documents;
}

NavigatorSection::Rows NavigatorTree::selectedRows(const NavigatorSection& section) const
{
    NavigatorSection::Rows rows;
    for (const QModelIndex& each : selectionModel()->selectedIndexes())
        if (!NavigatorModel::isSection(each) && model_.sectionOf(each) == &section)
            rows.push_back(each.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

QModelIndex NavigatorTree::firstDocument() const
{
    for (int number = 0; number < model_.sectionCount(); ++number) {
        const QModelIndex section = model_.index(number, 0);
        if (!isRowHidden(number, {}) && isExpanded(section) && model_.section(number).count() > 0 &&
            model_.rowCount(section) > 0)
            return model_.index(0, 0, section);
    }
    return {};
}

void NavigatorTree::select(const QModelIndex& index)
{
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
}

void NavigatorTree::enter()
{
    const QModelIndex row = currentIndex().isValid() ? currentIndex() : firstDocument();
    if (row.isValid() && !selectionModel()->hasSelection())
        select(row);
    setFocus(Qt::OtherFocusReason);
}

/// Where nothing is current yet, the base would begin with the first heading.
void NavigatorTree::focusInEvent(QFocusEvent* event)
{
    if (const QModelIndex first = currentIndex().isValid() ? QModelIndex() : firstDocument(); first.isValid())
        select(first);
    QTreeView::focusInEvent(event);
}

bool NavigatorTree::run(const QKeyEvent& event)
{
    if (!isOwnKey(event))
        return false;
    const QModelIndex index = currentIndex();
    const bool isControl = event.modifiers() & Qt::ControlModifier;
    if (event.matches(QKeySequence::Undo)) {
        emit undoAsked();
        return true;
    }
    switch (event.key()) {
    case Qt::Key_Escape:
        emit left();
        return true;
    case Qt::Key_Delete:
        emit discardAsked();
        return true;
    case Qt::Key_F2:
        emit renameAsked();
        return true;
    case Qt::Key_Space:
        if (isControl)
            return false;  // adds to the selection
        if (!toggle(index))
            emit peeked();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (NavigatorModel::isSection(index))
            setExpanded(index, !isExpanded(index));
        else if (index.isValid())
            emit activated(index, activationOf(event.modifiers()));
        return true;
    default:
        return false;
    }
}

/// Of a heading, or of a row that holds others and stands for no document of its own. False for others.
bool NavigatorTree::toggle(const QModelIndex& index)
{
    if (NavigatorModel::isSection(index)) {
        setExpanded(index, !isExpanded(index));
        return true;
    }
    const auto row = model_.row(index);
    if (!row || !row->isExpandable)
        return false;
    model_.sectionOf(index)->setExpanded(index.row(), !row->isExpanded);
    return true;
}

/// Left and Right: fold, or go to the row that holds this one, or into this one.
bool NavigatorTree::fold(int key)
{
    const QModelIndex index = currentIndex();
    if (!index.isValid())
        return false;
    const bool opens = (key == Qt::Key_Right) != (layoutDirection() == Qt::RightToLeft);
    if (NavigatorModel::isSection(index)) {
        if (isExpanded(index) != opens)
            setExpanded(index, opens);
        else if (opens)
            select(model_.index(0, 0, index).isValid() ? model_.index(0, 0, index) : index);
        return true;
    }
    const NavigatorRow row = *model_.row(index);
    if (row.isExpandable && row.isExpanded != opens) {
        model_.sectionOf(index)->setExpanded(index.row(), opens);
    } else if (opens && row.isExpandable) {
        const QModelIndex below = index.siblingAtRow(index.row() + 1);
        if (const auto next = model_.row(below); next && next->depth > row.depth)
            select(below);
    } else if (!opens) {
        QModelIndex above = index;
        do
            above = above.row() > 0 ? above.siblingAtRow(above.row() - 1) : index.parent();
        while (!NavigatorModel::isSection(above) && (row.depth == 0 || model_.row(above)->depth >= row.depth));
        select(above);
    }
    return true;
}

bool NavigatorTree::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride && isOwnKey(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QTreeView::event(event);
}

void NavigatorTree::keyPressEvent(QKeyEvent* event)
{
    // What the editor of a title has no use for is not meant for the list.
    if (state() == EditingState || run(*event))
        return;
    if (event->key() == Qt::Key_Up && !event->modifiers() && !indexAbove(currentIndex()).isValid()) {
        emit leftUpwards();
        return;
    }
    if ((event->key() == Qt::Key_Left || event->key() == Qt::Key_Right) &&
        !(event->modifiers() & ~Qt::KeypadModifier) && fold(event->key()))
        return;
    QTreeView::keyPressEvent(event);
}

void NavigatorTree::mousePressEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && NavigatorModel::isSection(index)) {
        setExpanded(index, !isExpanded(index));
        return;
    }
    if (event->button() == Qt::LeftButton && isChevron(index, event->position().toPoint())) {
        toggle(index);
        return;
    }
    QTreeView::mousePressEvent(event);
}

void NavigatorTree::mouseDoubleClickEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton)
        return;
    if (NavigatorModel::isSection(index))
        setExpanded(index, !isExpanded(index));
    else if (isChevron(index, event->position().toPoint()))
        toggle(index);
    else if (index.isValid())
        emit activated(index, activationOf(event->modifiers()));
}

bool NavigatorTree::isChevron(const QModelIndex& index, QPoint position) const
{
    const auto row = model_.row(index);
    const auto* const delegate = qobject_cast<const NavigatorDelegate*>(itemDelegate());
    if (!row || !delegate)
        return false;
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.rect = visualRect(index);
    option.rect.setLeft(0);
    option.rect.setWidth(viewport()->width());
    return delegate->isChevron(option, *row, position);
}

/// The base scrolls while something is held at an edge, but knows no rows to drop on.
void NavigatorTree::dragEnterEvent(QDragEnterEvent* event)
{
    QTreeView::dragEnterEvent(event);
    if (!DraggedRows::read(*event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void NavigatorTree::dragMoveEvent(QDragMoveEvent* event)
{
    QTreeView::dragMoveEvent(event);
    const QModelIndex index = indexAt(event->position().toPoint());
    const bool takes = model_.canDrop(*event->mimeData(), index);
    setDropTarget(takes ? index : QModelIndex());
    if (takes)
        event->acceptProposedAction();
    else
        event->ignore();
}

void NavigatorTree::dragLeaveEvent(QDragLeaveEvent* event)
{
    QTreeView::dragLeaveEvent(event);
    setDropTarget({});
}

void NavigatorTree::dropEvent(QDropEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    const bool takes = model_.canDrop(*event->mimeData(), index);
    if (takes) {
        event->acceptProposedAction();
        model_.drop(*event->mimeData(), index);
    } else {
        event->ignore();
    }
    setDropTarget({});
    setState(NoState);
    stopAutoScroll();
}

void NavigatorTree::setDropTarget(const QModelIndex& index)
{
    if (dropTarget_ == index)
        return;
    viewport()->update();
    dropTarget_ = index;
}

void NavigatorTree::contextMenuEvent(QContextMenuEvent* event)
{
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        scrollTo(currentIndex());
        position = viewport()->mapToGlobal(visualRect(currentIndex()).center());
    } else
        // The press has selected the row, but a heading is not selected.
        if (const QModelIndex at = indexAt(event->pos()); NavigatorModel::isSection(at))
            select(at);
    if (currentIndex().isValid())
        emit menuAsked(position);
}

bool NavigatorTree::viewportEvent(QEvent* event)
{
    switch (event->type()) {
    case QEvent::HoverEnter:
    case QEvent::HoverMove:
        setHovered(indexAt(static_cast<QHoverEvent*>(event)->position().toPoint()));
        break;
    case QEvent::HoverLeave:
    case QEvent::Leave:
        setHovered({});
        break;
    default:
        break;
    }
    return QTreeView::viewportEvent(event);
}

void NavigatorTree::setHovered(const QModelIndex& index)
{
    if (hovered_ == index)
        return;
    for (const QModelIndex& each : {QModelIndex(hovered_), index})
        viewport()->update(visualRect(each));
    hovered_ = index;
}

void NavigatorTree::drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem row = option;
    row.rect.setLeft(0);
    row.rect.setWidth(viewport()->width());
    row.state = QStyle::State_Enabled;
    row.state.setFlag(QStyle::State_Active, hasFocus() || (viewport()->hasFocus()));
    row.state.setFlag(QStyle::State_HasFocus, (hasFocus() && index == currentIndex()) || index == dropTarget_);
    row.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    row.state.setFlag(QStyle::State_MouseOver, index == hovered_);
    row.state.setFlag(QStyle::State_Open, isExpanded(index));
    itemDelegate()->paint(painter, row, index);
}

}  // namespace penmark
