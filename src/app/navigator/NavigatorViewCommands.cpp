// SPDX-License-Identifier: GPL-3.0-or-later
// What can be done with the documents that are selected.
#include "app/navigator/NavigatorView.h"
#include "app/navigator/WorkspaceSection.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>

namespace penmark {

/// The rows of its section that are selected, or this one.
NavigatorSection::Rows NavigatorView::rowsFor(const QModelIndex& index) const
{
    if (!index.isValid() || NavigatorModel::isSection(index))
        return {};
    if (!tree_->selectionModel()->isSelected(index))
        return {index.row()};
    return tree_->selectedRows(*model_.sectionOf(index));
}

void NavigatorView::open(const QModelIndex& index, NavigatorSection::Activation how)
{
    const auto row = model_.row(index);
    if (!row || model_.sectionOf(index)->activate(rowsFor(index), how))
        return;
    if (row->kind == NavigatorRow::Kind::message) {
        emit newDraftRequested();
        return;
    }
    const bool newWindow = how == NavigatorSection::Activation::newWindow;
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
    const QModelIndex current = tree_->currentIndex();
    if (const NavigatorSection::Rows rows = rowsFor(current); !rows.empty() && model_.sectionOf(current)->remove(rows))
        return;
    const QList<Uuid> documents = selected(false);
    if (documents.isEmpty())
        return;
    const QString title = QString::fromStdString(headers_.find(documents.first())->title);
    undo_->offer(documents, title);
    emit discardRequested(documents);
}

/// False if the section has none of its own.
bool NavigatorView::showSectionMenu(QPoint position)
{
    const QModelIndex current = tree_->currentIndex();
    if (!current.isValid())
        return false;
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    model_.sectionOf(current)->fillMenu(*menu, rowsFor(current));
    if (menu->isEmpty()) {
        delete menu;
        return false;
    }
    for (QAction* const action : menu->actions())
        action->setShortcutVisibleInContextMenu(true);
    menu->popup(position);
    return true;
}

void NavigatorView::addHistory(QMenu& menu, const Uuid& document)
{
    menu.addAction(tr("Document History…"), this, [this, document] { actions_->showHistory(document); });
    menu.addAction(tr("Keep Current Version…"), this,
                   [this, document] { actions_->askToKeepVersion(*window(), document); });
    addLinks(menu, document);
    menu.addSeparator();
}

void NavigatorView::addLinks(QMenu& menu, const Uuid& document)
{
    constexpr int most = 30;
    QMenu* const links = menu.addMenu(tr("Link Tab to Workspace"));
    const SessionLibrary& library = source_->library();
    const RecoveryWindow* const shown = windowShowing(library, document, window_);
    if (shown)
        for (const PenmarkWorkspace& workspace : library.workspaces) {
            if (links->actions().size() == most) {
                links->addAction(tr("All Workspaces…"), actions_,
                                 [this] { actions_->showOrganiser(SessionActions::OrganiserPage::workspaces); });
                break;
            }
            const QString title = source_->workspaceTitle(workspace).replace(QLatin1Char('&'), QLatin1String("&&"));
            links->addAction(title, this, [this, document, id = workspace.id, window = shown->id] {
                actions_->linkTab(id, window, document);
            });
        }
    links->setEnabled(!links->isEmpty());
}

void NavigatorView::showMenu(QPoint position)
{
    if (showSectionMenu(position) || tree_->selectedDocuments().isEmpty())
        return;
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
    if (actions_ && documents.size() == 1)
        addHistory(*menu, documents.first());
    if (!live.isEmpty())
        add(tr("Discard"), QStringLiteral("Del"), true, [this] { discard(); });
    if (!discarded.isEmpty())
        add(tr("Restore"), {}, true, [this, discarded] { emit restoreRequested(discarded); });
    menu->popup(position);
}

}  // namespace penmark
