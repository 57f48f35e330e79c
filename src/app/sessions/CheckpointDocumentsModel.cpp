// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/CheckpointDocumentsModel.h"

#include <QLocale>

namespace penmark {

QString shownSize(std::int64_t bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

void CheckpointDocumentsModel::show(CheckpointContents contents)
{
    beginResetModel();
    if (contents.checkpoint.id != contents_.checkpoint.id)
        ticked_.clear();
    contents_ = std::move(contents);
    folded_.clear();
    arrange();
    endResetModel();
    emit tickedChanged();
}

void CheckpointDocumentsModel::clear()
{
    show({});
}

void CheckpointDocumentsModel::setFilter(const QString& typed)
{
    beginResetModel();
    filter_ = FilterWords(typed);
    arrange();
    endResetModel();
}

void CheckpointDocumentsModel::arrange()
{
    shown_.clear();
    if (!filter_.isEmpty() && folded_.size() != contents_.entries.size()) {
        folded_.clear();
        for (const CheckpointEntry& entry : contents_.entries)
            folded_.push_back(foldForFilter(entry.title));
    }
    for (std::size_t at = 0; at < contents_.entries.size(); ++at) {
        if (filter_.isEmpty() || filter_.match(folded_[at], {}))
            shown_.push_back(at);
    }
}

void CheckpointDocumentsModel::tickShown(bool ticked)
{
    for (const std::size_t at : shown_) {
        if (ticked)
            ticked_.insert(contents_.entries[at].document);
        else
            ticked_.erase(contents_.entries[at].document);
    }
    if (!shown_.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, 0), {Qt::CheckStateRole});
    emit tickedChanged();
}

const CheckpointEntry* CheckpointDocumentsModel::entry(const QModelIndex& index) const
{
    return index.isValid() ? &contents_.entries[shown_[static_cast<std::size_t>(index.row())]] : nullptr;
}

int CheckpointDocumentsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int CheckpointDocumentsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant CheckpointDocumentsModel::data(const QModelIndex& index, int role) const
{
    const CheckpointEntry* const shown = entry(index);
    if (shown == nullptr)
        return {};
    if (role == Qt::CheckStateRole && index.column() == titleColumn)
        return ticked_.contains(shown->document) ? Qt::Checked : Qt::Unchecked;
    if (role == Qt::TextAlignmentRole && index.column() == sizeColumn)
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && (role != Qt::ToolTipRole || index.column() != titleColumn))
        return {};
    switch (index.column()) {
    case titleColumn:
        return shown->title.empty() ? tr("New Draft") : QString::fromStdString(shown->title);
    case sizeColumn:
        return shown->bytes ? shownSize(*shown->bytes) : tr("unreadable");
    default:
        break;
    }
    switch (shown->state) {
    case CheckpointEntry::State::unchanged:
        return tr("Unchanged");
    case CheckpointEntry::State::changed:
        return shown->bytesNow ? tr("Changed, now %1").arg(shownSize(*shown->bytesNow)) : tr("Changed");
    case CheckpointEntry::State::discarded:
        return tr("Discarded since");
    case CheckpointEntry::State::gone:
        return tr("Gone");
    }
    return {};
}

bool CheckpointDocumentsModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    const CheckpointEntry* const changed = entry(index);
    if (changed == nullptr || role != Qt::CheckStateRole || index.column() != titleColumn)
        return false;
    if (value.toInt() == Qt::Checked)
        ticked_.insert(changed->document);
    else
        ticked_.erase(changed->document);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    emit tickedChanged();
    return true;
}

QVariant CheckpointDocumentsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return static_cast<int>((section == sizeColumn ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    return section == titleColumn ? tr("Document") : section == sizeColumn ? tr("Size then") : tr("Compared with now");
}

Qt::ItemFlags CheckpointDocumentsModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    return index.column() == titleColumn ? flags | Qt::ItemIsUserCheckable : flags;
}

}  // namespace penmark
