// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/VersionModel.h"

#include "app/editor/Strings.h"
#include "app/history/VersionDates.h"

#include <QLocale>
#include <QSet>
#include <algorithm>
#include <unordered_set>

namespace penmark {

namespace {

/// What a row is, whatever is shown of it.
QString keyOf(const VersionRow& row)
{
    return row.version ? toQString(row.version->revision.id.text())
                       : QString::number(static_cast<int>(row.kind)) + row.title;
}

std::vector<QString> keysOf(const std::vector<VersionRow>& rows)
{
    std::vector<QString> keys;
    keys.reserve(rows.size());
    for (const VersionRow& row : rows)
        keys.push_back(keyOf(row));
    return keys;
}

std::vector<VersionRow>::iterator place(std::vector<VersionRow>& rows, std::size_t at)
{
    return rows.begin() + static_cast<std::ptrdiff_t>(at);
}

QString sizeText(std::size_t bytes)
{
    return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1);
}

}  // namespace

QString checkpointTitle(const CheckpointHeader& checkpoint)
{
    if (checkpoint.name && !checkpoint.name->empty())
        return toQString(*checkpoint.name);
    if (checkpoint.document)
        return VersionModel::tr("Document checkpoint");
    return checkpoint.pinned ? VersionModel::tr("Checkpoint") : VersionModel::tr("Daily checkpoint");
}

VersionModel::VersionModel(Clock clock, QObject* parent) : QAbstractListModel(parent), clock_(std::move(clock)) {}

void VersionModel::setVersions(DocumentHistoryPage page)
{
    versions_.clear();
    problems_.clear();
    append(std::move(page));
}

void VersionModel::append(DocumentHistoryPage page)
{
    std::unordered_set<Uuid> known;
    for (const auto& version : versions_)
        known.insert(version->revision.id);
    for (DocumentHistoryEntry& entry : page.entries) {
        if (known.insert(entry.revision.id).second)
            versions_.push_back(std::make_shared<const DocumentHistoryEntry>(std::move(entry)));
    }
    problems_.insert(problems_.end(), page.problems.begin(), page.problems.end());
    hasEarlier_ = page.hasEarlier;
    loaded_ = true;
    updateRows();
}

void VersionModel::addSizes(const Sizes& sizes)
{
    sizes_.insert(sizes.begin(), sizes.end());
    touchRows();
}

void VersionModel::setHead(const std::optional<Uuid>& head, bool isCurrent)
{
    if (head == head_ && isCurrent == headIsCurrent_)
        return;
    head_ = head;
    headIsCurrent_ = isCurrent;
    touchRows();
}

void VersionModel::setOwnDevice(const Uuid& device)
{
    ownDevice_ = device;
}

std::vector<std::string> VersionModel::withoutSize() const
{
    std::vector<std::string> hashes;
    for (const auto& version : versions_) {
        if (!sizes_.contains(version->revision.contentHash))
            hashes.push_back(version->revision.contentHash);
    }
    return hashes;
}

std::vector<VersionRow> VersionModel::rowsNow() const
{
    std::vector<VersionRow> rows;
    const QDate today = localDay(clock_());
    QDate day;
    for (const auto& version : versions_) {
        if (const QDate own = localDay(version->revision.createdAt); own != day) {
            day = own;
            rows.push_back({VersionRow::Kind::day, dayHeading(day, today), nullptr});
        }
        rows.push_back({VersionRow::Kind::version, timeOfDay(version->revision.createdAt), version});
    }
    if (versions_.empty() && !hasEarlier_ && problems_.empty())
        rows.push_back(
            {VersionRow::Kind::note, tr("No versions yet. A version is kept each time the text is stored."), nullptr});
    for (const std::string& problem : problems_)
        rows.push_back({VersionRow::Kind::note, toQString(problem), nullptr});
    if (hasEarlier_)
        rows.push_back({VersionRow::Kind::loadEarlier, tr("Load Earlier Versions"), nullptr});
    return rows;
}

void VersionModel::updateRows()
{
    std::vector<VersionRow> rows = rowsNow();
    const std::vector<QString> keys = keysOf(rows);
    removeAllBut(keys);
    // What is left stands in the same order, as rows are ordered by their dates.
    for (std::size_t at = 0; at < rows.size();) {
        const QString next = at < rows_.size() ? keyOf(rows_[at]) : QString();
        std::size_t end = at;
        while (end < rows.size() && keys[end] != next)
            ++end;
        if (end == at) {
            ++at;
            continue;
        }
        beginInsertRows({}, static_cast<int>(at), static_cast<int>(end) - 1);
        rows_.insert(place(rows_, at), place(rows, at), place(rows, end));
        endInsertRows();
        at = end;
    }
    if (keysOf(rows_) == keys) {
        rows_ = std::move(rows);
        touchRows();
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

void VersionModel::removeAllBut(const std::vector<QString>& keys)
{
    const QSet<QString> kept(keys.begin(), keys.end());
    for (std::size_t end = rows_.size(); end > 0;) {
        std::size_t start = end;
        while (start > 0 && !kept.contains(keyOf(rows_[start - 1])))
            --start;
        if (start < end) {
            beginRemoveRows({}, static_cast<int>(start), static_cast<int>(end) - 1);
            rows_.erase(place(rows_, start), place(rows_, end));
            endRemoveRows();
        }
        end = start > 0 ? start - 1 : 0;
    }
}

void VersionModel::touchRows()
{
    if (!rows_.empty())
        emit dataChanged(index(0), index(rowCount() - 1));
}

VersionModel::Versions::const_iterator VersionModel::placeOf(const Uuid& revision) const
{
    return std::find_if(versions_.begin(), versions_.end(),
                        [&](const auto& version) { return version->revision.id == revision; });
}

std::shared_ptr<const DocumentHistoryEntry> VersionModel::version(const QModelIndex& index) const
{
    return index.isValid() ? row(index).version : nullptr;
}

std::shared_ptr<const DocumentHistoryEntry> VersionModel::find(const Uuid& revision) const
{
    const auto found = placeOf(revision);
    return found == versions_.end() ? nullptr : *found;
}

std::shared_ptr<const DocumentHistoryEntry> VersionModel::before(const Uuid& revision) const
{
    const auto found = placeOf(revision);
    return found == versions_.end() || found + 1 == versions_.end() ? nullptr : *(found + 1);
}

QModelIndex VersionModel::indexOf(const Uuid& revision) const
{
    const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const VersionRow& each) {
        return each.version && each.version->revision.id == revision;
    });
    return found == rows_.end() ? QModelIndex() : index(static_cast<int>(found - rows_.begin()));
}

bool VersionModel::isOlder(const Uuid& left, const Uuid& right) const
{
    return placeOf(left) > placeOf(right);
}

QString VersionModel::moment(const DocumentHistoryEntry& version) const
{
    return momentText(version.revision.createdAt, clock_());
}

QString VersionModel::details(const DocumentHistoryEntry& version) const
{
    QStringList parts;
    if (version.revision.deleted)
        parts << tr("Discarded");
    if (const auto size = sizes_.find(version.revision.contentHash); size != sizes_.end()) {
        parts << sizeText(size->second);
        const auto older = before(version.revision.id);
        const auto olderSize = older ? sizes_.find(older->revision.contentHash) : sizes_.end();
        if (olderSize != sizes_.end() && size->second > olderSize->second)
            parts << tr("+%1", "size").arg(sizeText(size->second - olderSize->second));
        else if (olderSize != sizes_.end() && size->second < olderSize->second)
            parts << tr("\u2212%1", "size").arg(sizeText(olderSize->second - size->second));
    }
    if (ownDevice_ && version.revision.deviceID != *ownDevice_)
        parts << tr("Another computer");
    return parts.join(QStringLiteral(" \u00B7 "));
}

VersionTexts VersionModel::texts(const DocumentHistoryEntry& version) const
{
    VersionTexts texts;
    texts.details = details(version);
    if (head_ == version.revision.id)
        texts.badge = headIsCurrent_ ? tr("Current text") : tr("Last stored");
    // Those that somebody has named or that are the document's own say more than the daily ones, which may be many.
    QStringList names;
    for (const bool telling : {true, false}) {
        for (const CheckpointHeader& checkpoint : version.checkpoints) {
            texts.isPinned |= checkpoint.pinned;
            const QString title = checkpointTitle(checkpoint);
            if ((checkpoint.name || checkpoint.document) == telling && !names.contains(title))
                names << title;
        }
    }
    constexpr qsizetype most = 2;
    texts.checkpoints = names.mid(0, most).join(QStringLiteral(", "));
    if (names.size() > most)
        texts.checkpoints = tr("%1, +%2").arg(texts.checkpoints).arg(names.size() - most);
    return texts;
}

int VersionModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant VersionModel::data(const QModelIndex& index, int role) const
{
    const VersionRow& at = row(index);
    if (role == Qt::DisplayRole)
        return at.title;
    if (role != Qt::AccessibleTextRole)
        return {};
    if (!at.version)
        return at.title;
    const VersionTexts shown = texts(*at.version);
    QStringList parts{moment(*at.version)};
    for (const QString& part : {shown.badge, shown.details})
        if (!part.isEmpty())
            parts << part;
    if (!shown.checkpoints.isEmpty())
        parts << tr("kept by %1").arg(shown.checkpoints);
    return parts.join(QStringLiteral(", "));
}

Qt::ItemFlags VersionModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    switch (row(index).kind) {
    case VersionRow::Kind::version:
        return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    case VersionRow::Kind::loadEarlier:
        return Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    case VersionRow::Kind::day:
    case VersionRow::Kind::note:
        break;
    }
    return Qt::NoItemFlags;
}

}  // namespace penmark
