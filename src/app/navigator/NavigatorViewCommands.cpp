// SPDX-License-Identifier: GPL-3.0-or-later
// What can be done with the documents that are selected.
#include "app/navigator/NavigatorView.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>

namespace penmark {

void NavigatorView::open(const QModelIndex& index, bool newWindow)
{
    const auto row = model_.row(index);
    if (!row)
        return;
    if (row->kind == NavigatorRow::Kind::message) {
        emit newDraftRequested();
        return;
    }
    const QList<Uuid> documents = tree_->selectedDocuments();
    if (tree_->selectionModel()->isSelected(index) && !documents.isEmpty())
        emit openRequested(documents, newWindow);
    else if (row->document)
        emit openRequested({*row->document}, newWindow);
}

void NavigatorView::peek()
{
    if (const auto document = model_.document(tree_->currentIndex()))
        emit peekRequested(*document);
}

void NavigatorView::rename()
{
    const auto row = model_.row(tree_->currentIndex());
    if (!row || !row->canRename)
        return;
    tree_->scrollTo(tree_->currentIndex());
    tree_->edit(tree_->currentIndex());
}

QList<Uuid> NavigatorView::selected(bool discarded) const
{
    QList<Uuid> documents;
    for (const Uuid& each : tree_->selectedDocuments())
        if (const DocumentHeader* header = headers_.find(each); header && header->deleted == discarded)
            documents << each;
    return documents;
}

void NavigatorView::discard()
{
    const QList<Uuid> documents = selected(false);
    if (documents.isEmpty())
        return;
    const QString title = QString::fromStdString(headers_.find(documents.first())->title);
    undo_->offer(documents, title);
    emit discardRequested(documents);
}

void NavigatorView::showMenu(QPoint position)
{
    const QList<Uuid> documents = tree_->selectedDocuments();
    const QList<Uuid> live = selected(false);
    const QList<Uuid> discarded = selected(true);
    QList<Uuid> bound;
    for (const Uuid& each : documents)
        if (const DocumentHeader* header = headers_.find(each); header && !header->path.empty())
            bound << each;
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString& text, const QString& keys, bool isEnabled, auto action) {
        QAction* const added = menu->addAction(text, this, action);
        added->setShortcut(QKeySequence(keys, QKeySequence::PortableText));
        added->setShortcutVisibleInContextMenu(true);
        added->setEnabled(isEnabled);
    };
    add(tr("Open"), QStringLiteral("Return"), true, [this, documents] { emit openRequested(documents, false); });
    add(tr("Open in New Window"), QStringLiteral("Ctrl+Return"), true,
        [this, documents] { emit openRequested(documents, true); });
    menu->addSeparator();
    add(tr("Rename…"), QStringLiteral("F2"), documents.size() == 1, [this] { rename(); });
    add(tr("Copy Path"), {}, !bound.isEmpty(), [this, bound] { emit copyPathRequested(bound); });
    add(tr("Show in Files"), {}, !bound.isEmpty(), [this, bound] { emit showInFilesRequested(bound); });
    menu->addSeparator();
    if (!live.isEmpty())
        add(tr("Discard"), QStringLiteral("Del"), true, [this] { discard(); });
    if (!discarded.isEmpty())
        add(tr("Restore"), {}, true, [this, discarded] { emit restoreRequested(discarded); });
    menu->popup(position);
}

}  // namespace penmark
