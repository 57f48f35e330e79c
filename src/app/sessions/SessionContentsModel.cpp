// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionContentsModel.h"

#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/SessionTitles.h"

namespace penmark {

SessionContentsModel::SessionContentsModel(DocumentRegistry& documents, DocumentPreviews& previews)
    : documents_(documents), previews_(previews)
{
    connect(&previews_, &DocumentPreviews::changed, this, [this] { tellChanged(); });
}

void SessionContentsModel::show(const PenmarkSession* session)
{
    std::vector<Row> rows;
    returnNote_ = session != nullptr ? session->returnNoteID : std::nullopt;
    if (session != nullptr) {
        int number = 0;
        for (const RecoveryWindow& window : session->windows) {
            rows.push_back({window.id, std::nullopt, ++number, !window.isOpen});
            for (const Uuid& document : documentsOf(window))
                rows.push_back({window.id, document, number, isPutAside(window, document)});
        }
    }
    if (rows == rows_) {
        tellChanged();
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

void SessionContentsModel::tellChanged()
{
    if (!rows_.empty())
        emit dataChanged(index(0), index(static_cast<int>(rows_.size()) - 1));
}

const SessionContentsModel::Row* SessionContentsModel::row(const QModelIndex& index) const
{
    return index.isValid() ? &rows_[static_cast<std::size_t>(index.row())] : nullptr;
}

int SessionContentsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

/// Most texts begin with what is their title already.
QString SessionContentsModel::textBehindTitle(const Uuid& document) const
{
    const QString text = previews_.beginning(document);
    const QString title = documentTitle(documents_, document);
    return text.startsWith(title) ? text.mid(title.size()).trimmed() : text;
}

QVariant SessionContentsModel::data(const QModelIndex& index, int role) const
{
    const Row* const shown = row(index);
    if (shown == nullptr)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        if (shown->document)
            return documentTitle(documents_, *shown->document);
        return shown->putAside ? tr("Window %1 · put aside").arg(shown->number) : tr("Window %1").arg(shown->number);
    case ListEntry::headingRole:
        return !shown->document.has_value();
    case ListEntry::detailRole:
        return shown->document ? textBehindTitle(*shown->document) : QString();
    case Qt::AccessibleDescriptionRole:
        return data(index, ListEntry::detailRole);
    case ListEntry::sideRole:
        if (shown->document && shown->document == returnNote_)
            return tr("Return note");
        return shown->document && shown->putAside ? tr("put aside") : QString();
    default:
        return {};
    }
}

Qt::ItemFlags SessionContentsModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::NoItemFlags;
}

}  // namespace penmark
