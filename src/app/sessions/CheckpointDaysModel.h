// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionCalendar.h"

#include <QAbstractListModel>
#include <QDate>
#include <optional>
#include <vector>

namespace penmark {

class DocumentRegistry;

/// The days of a calendar, the newest first: under each its visits, then its checkpoints. Main thread.
class CheckpointDaysModel final : public QAbstractListModel {
    Q_OBJECT

public:
    /// `documents` outlives the model.
    explicit CheckpointDaysModel(DocumentRegistry& documents);

    void show(SessionCalendar calendar, QDate today);
    const SessionCalendar& calendar() const { return calendar_; }
    bool hasCheckpoints() const;

    /// What a row stands for: of a visit its automatic checkpoint. Null for headings and visits without.
    const CalendarCheckpoint* checkpoint(const QModelIndex& index) const;
    /// Invalid for no index.
    QDate day(const QModelIndex& index) const;
    /// The heading of a day; none if nothing happened then.
    QModelIndex indexOfDay(QDate day) const;
    /// The row of the checkpoint itself.
    QModelIndex indexOf(const Uuid& checkpoint) const;

    static QDate dateOf(const std::string& dayKey);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    static constexpr int none = -1;
    struct Row {
        std::size_t day = 0;
        int visit = none;
        int checkpoint = none;
    };

    QVariant headingData(const CalendarDay& day, int role) const;
    QVariant visitData(const CalendarVisit& visit, int role) const;
    QVariant checkpointData(const CalendarCheckpoint& checkpoint, int role) const;

    DocumentRegistry& documents_;
    SessionCalendar calendar_;
    QDate today_;
    std::vector<Row> rows_;
};

/// How a checkpoint is called: its name, or what it is.
QString checkpointTitle(const CheckpointHeader& header, bool isAutomatic);

}  // namespace penmark
