// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/EntryList.h"

#include "app/sessions/ListEntryDelegate.h"

#include <QHeaderView>
#include <QKeyEvent>

namespace penmark {

EntryList::EntryList()
{
    setItemDelegate(new ListEntryDelegate(this));
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    header()->setMinimumSectionSize(0);
}

void EntryList::select(const QModelIndex& index)
{
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    scrollTo(index);
}

void EntryList::keyPressEvent(QKeyEvent* event)
{
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && currentIndex().isValid())
        emit activated(currentIndex());
    else if (event->key() == Qt::Key_Delete && currentIndex().isValid())
        emit deleteAsked();
    else
        QTreeView::keyPressEvent(event);
}

void EntryList::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeView::currentChanged(current, previous);
    emit currentRowChanged();
}

}  // namespace penmark
