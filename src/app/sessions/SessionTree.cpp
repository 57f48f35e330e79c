// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionTree.h"

#include "app/sessions/ListEntryDelegate.h"

#include <QContextMenuEvent>
#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMimeData>
#include <memory>

namespace penmark {

SessionTree::SessionTree(SessionTreeModel& model) : model_(model)
{
    setModel(&model);
    setItemDelegate(new ListEntryDelegate(this));
    setUniformRowHeights(true);
    setHeaderHidden(true);
    setIndentation(fontMetrics().height());
    setExpandsOnDoubleClick(false);
    setEditTriggers(EditKeyPressed);
    setSelectionMode(SingleSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setDragDropMode(InternalMove);
    setDragDropOverwriteMode(true);  // onto a session or beside all of them: the order is not theirs to give
    header()->setMinimumSectionSize(0);
    setAccessibleName(tr("Sessions"));
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex& index) {
        if (const auto session = model_.session(index); session && !refreshing_)
            folded_.insert(*session);
    });
    connect(this, &QTreeView::expanded, this, [this](const QModelIndex& index) {
        if (const auto session = model_.session(index); session && !refreshing_ && !model_.isFiltered())
            folded_.erase(*session);
    });
}

std::optional<Uuid> SessionTree::current() const
{
    return model_.session(currentIndex());
}

void SessionTree::select(const Uuid& session)
{
    if (const QModelIndex index = model_.indexOf(session); index.isValid()) {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        scrollTo(index);
    }
}

void SessionTree::refresh()
{
    if (isRenaming())
        return;
    const std::optional<Uuid> before = last_;
    refreshing_ = true;
    model_.refresh();
    applyFolds();
    refreshing_ = false;
    if (!currentIndex().isValid() && before)
        select(*before);
    if (!currentIndex().isValid() && model_.rowCount() > 0)
        selectionModel()->setCurrentIndex(model_.index(0, 0), QItemSelectionModel::ClearAndSelect);
    emit currentSessionChanged();
}

void SessionTree::applyFolds(const QModelIndex& parent)
{
    for (int row = 0; row < model_.rowCount(parent); ++row) {
        const QModelIndex index = model_.index(row, 0, parent);
        if (model_.rowCount(index) == 0)
            continue;
        // What a filter has found is in sight.
        setExpanded(index, model_.isFiltered() || !folded_.contains(*model_.session(index)));
        applyFolds(index);
    }
}

void SessionTree::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeView::currentChanged(current, previous);
    if (const auto session = model_.session(current))
        last_ = session;
    if (!refreshing_)
        emit currentSessionChanged();
}

void SessionTree::keyPressEvent(QKeyEvent* event)
{
    if (isRenaming())
        return;
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && current()) {
        if (event->modifiers() & Qt::ShiftModifier)
            emit switchAsked();
        else
            emit openAsked();
    } else if (event->key() == Qt::Key_Delete && current()) {
        emit deleteAsked();
    } else {
        QTreeView::keyPressEvent(event);
    }
}

void SessionTree::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && indexAt(event->position().toPoint()).isValid())
        emit openAsked();
}

void SessionTree::contextMenuEvent(QContextMenuEvent* event)
{
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        scrollTo(currentIndex());
        position = viewport()->mapToGlobal(visualRect(currentIndex()).center());
    }
    if (current())
        emit menuAsked(position);
}

void SessionTree::closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint)
{
    QTreeView::closeEditor(editor, hint);
    emit renameEnded();
}

/// The base would take the row away once it was moved; here the library says what has become of it.
void SessionTree::startDrag(Qt::DropActions)
{
    if (!currentIndex().isValid())
        return;
    auto* const drag = new QDrag(this);
    drag->setMimeData(model_.mimeData({currentIndex()}));
    drag->exec(Qt::MoveAction);
}

}  // namespace penmark
