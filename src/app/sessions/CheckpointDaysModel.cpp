// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/CheckpointDaysModel.h"

#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/SessionTitles.h"

#include <QLocale>
#include <algorithm>

namespace penmark {

QString checkpointTitle(const CheckpointHeader& header, bool isAutomatic)
{
    if (header.name && !header.name->empty())
        return QString::fromStdString(*header.name);
    if (header.document)
        return CheckpointDaysModel::tr("Document checkpoint");
    return isAutomatic ? CheckpointDaysModel::tr("Automatic checkpoint") : CheckpointDaysModel::tr("Checkpoint");
}

CheckpointDaysModel::CheckpointDaysModel(DocumentRegistry& documents) : documents_(documents) {}

void CheckpointDaysModel::show(SessionCalendar calendar, QDate today)
{
    beginResetModel();
    calendar_ = std::move(calendar);
    today_ = today;
    rows_.clear();
    for (std::size_t day = 0; day < calendar_.days.size(); ++day) {
        rows_.push_back({day, none, none});
        for (int visit = 0; visit < static_cast<int>(calendar_.days[day].visits.size()); ++visit)
            rows_.push_back({day, visit, none});
        for (int at = 0; at < static_cast<int>(calendar_.days[day].checkpoints.size()); ++at)
            rows_.push_back({day, none, at});
    }
    endResetModel();
}

bool CheckpointDaysModel::hasCheckpoints() const
{
    return std::any_of(calendar_.days.begin(), calendar_.days.end(),
                       [](const CalendarDay& day) { return !day.checkpoints.empty(); });
}

const CalendarCheckpoint* CheckpointDaysModel::checkpoint(const QModelIndex& index) const
{
    if (!index.isValid())
        return nullptr;
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    const CalendarDay& day = calendar_.days[row.day];
    if (row.checkpoint != none)
        return &day.checkpoints[static_cast<std::size_t>(row.checkpoint)];
    if (row.visit == none)
        return nullptr;
    const auto& wanted = day.visits[static_cast<std::size_t>(row.visit)].checkpoint;
    const auto found = std::find_if(day.checkpoints.begin(), day.checkpoints.end(),
                                    [&](const CalendarCheckpoint& each) { return each.header.id == wanted; });
    return found == day.checkpoints.end() ? nullptr : &*found;
}

QDate CheckpointDaysModel::dateOf(const std::string& dayKey)
{
    return QDate::fromString(QString::fromStdString(dayKey), Qt::ISODate);
}

QDate CheckpointDaysModel::day(const QModelIndex& index) const
{
    if (!index.isValid())
        return {};
    return dateOf(calendar_.days[rows_[static_cast<std::size_t>(index.row())].day].dayKey);
}

QModelIndex CheckpointDaysModel::indexOfDay(QDate day) const
{
    const std::string key = day.toString(Qt::ISODate).toStdString();
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        if (rows_[row].visit == none && rows_[row].checkpoint == none && calendar_.days[rows_[row].day].dayKey == key)
            return index(static_cast<int>(row));
    }
    return {};
}

QModelIndex CheckpointDaysModel::indexOf(const Uuid& checkpoint) const
{
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        if (rows_[row].checkpoint == none)
            continue;
        const CalendarDay& day = calendar_.days[rows_[row].day];
        if (day.checkpoints[static_cast<std::size_t>(rows_[row].checkpoint)].header.id == checkpoint)
            return index(static_cast<int>(row));
    }
    return {};
}

int CheckpointDaysModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant CheckpointDaysModel::headingData(const CalendarDay& day, int role) const
{
    if (role == ListEntry::headingRole)
        return true;
    if (role != Qt::DisplayRole)
        return {};
    const QLocale locale;
    const QDate date = dateOf(day.dayKey);
    if (!date.isValid())
        return QString::fromStdString(day.dayKey);
    const QString shown =
        (locale.language() == QLocale::C ? QLocale(QLocale::English) : locale).toString(date, tr("dddd d MMMM yyyy"));
    if (date == today_)
        return tr("Today · %1").arg(shown);
    return date == today_.addDays(-1) ? tr("Yesterday · %1").arg(shown) : shown;
}

QVariant CheckpointDaysModel::visitData(const CalendarVisit& visit, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        return QString::fromStdString(visit.label);
    case ListEntry::detailRole:
    case Qt::AccessibleDescriptionRole:
        return visit.expired      ? tr("Visit · its automatic checkpoint was removed")
               : visit.checkpoint ? tr("Visit · automatic checkpoint kept")
                                  : tr("Visit");
    case ListEntry::dotRole:
        return static_cast<int>(ListEntry::Dot::putAside);
    default:
        return {};
    }
}

QVariant CheckpointDaysModel::checkpointData(const CalendarCheckpoint& checkpoint, int role) const
{
    const CheckpointHeader& header = checkpoint.header;
    switch (role) {
    case Qt::DisplayRole:
        return checkpointTitle(header, checkpoint.isAutomatic);
    case ListEntry::detailRole:
    case Qt::AccessibleDescriptionRole: {
        QStringList parts;
        if (header.document && header.name && !header.name->empty())
            parts << tr("Document checkpoint");
        if (header.document)
            parts << documentTitle(documents_, *header.document);
        else
            parts << (checkpoint.isAutomatic ? tr("Automatic") : tr("All sessions and documents"));
        if (header.pinned)
            parts << tr("Pinned");
        return parts.join(QStringLiteral(" · "));
    }
    case Qt::AccessibleTextRole:
        return QStringLiteral("%1, %2").arg(checkpointTitle(header, checkpoint.isAutomatic),
                                            QString::fromStdString(checkpoint.time));
    case ListEntry::sideRole:
        return QString::fromStdString(checkpoint.time);
    case ListEntry::dotRole:
        return static_cast<int>(header.pinned ? ListEntry::Dot::pinned : ListEntry::Dot::moment);
    default:
        return {};
    }
}

QVariant CheckpointDaysModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    const CalendarDay& day = calendar_.days[row.day];
    if (row.visit != none)
        return visitData(day.visits[static_cast<std::size_t>(row.visit)], role);
    if (row.checkpoint != none)
        return checkpointData(day.checkpoints[static_cast<std::size_t>(row.checkpoint)], role);
    return headingData(day, role);
}

Qt::ItemFlags CheckpointDaysModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::NoItemFlags;
}

}  // namespace penmark
