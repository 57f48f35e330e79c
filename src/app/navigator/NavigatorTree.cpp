// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorTree.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QHoverEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QSet>
#include <algorithm>
#include <iterator>
#include <set>

namespace penmark {
namespace {

/// Keys that are the list's own, whatever shortcuts the window has.
bool isOwnKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
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
    setDragDropMode(DragOnly);
    header()->setMinimumSectionSize(0);
    viewport()->setAttribute(Qt::WA_Hover);
    setAccessibleName(tr("Documents"));
    setModel(&model);
}

QList<Uuid> NavigatorTree::selectedDocuments() const
{
    QModelIndexList rows = selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex& one, const QModelIndex& other) {
        return std::pair(one.internalId(), one.row()) < std::pair(other.internalId(), other.row());
    });
    QList<Uuid> documents;
    std::set<Uuid> seen;
    for (const QModelIndex& row : rows)
        if (const auto id = model_.document(row); id && seen.insert(*id).second)
            documents << *id;
    return documents;
}

QModelIndex NavigatorTree::firstDocument() const
{
    for (int number = 0; number < model_.sectionCount(); ++number) {
        const QModelIndex section = model_.index(number, 0);
        if (!isRowHidden(number, {}) && isExpanded(section) && model_.section(number).count() > 0)
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
        if (NavigatorModel::isSection(index))
            setExpanded(index, !isExpanded(index));
        else
            emit peeked();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (NavigatorModel::isSection(index))
            setExpanded(index, !isExpanded(index));
        else if (index.isValid())
            emit activated(index, isControl);
        return true;
    default:
        return false;
    }
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
    QTreeView::keyPressEvent(event);
}

void NavigatorTree::mousePressEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && NavigatorModel::isSection(index)) {
        setExpanded(index, !isExpanded(index));
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
    else if (index.isValid())
        emit activated(index, event->modifiers() & Qt::ControlModifier);
}

void NavigatorTree::contextMenuEvent(QContextMenuEvent* event)
{
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        scrollTo(currentIndex());
        position = viewport()->mapToGlobal(visualRect(currentIndex()).center());
    }
    if (!selectedDocuments().isEmpty())
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
    row.state.setFlag(QStyle::State_HasFocus, hasFocus() && index == currentIndex());
    row.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    row.state.setFlag(QStyle::State_MouseOver, index == hovered_);
    row.state.setFlag(QStyle::State_Open, isExpanded(index));
    itemDelegate()->paint(painter, row, index);
}

}  // namespace penmark
