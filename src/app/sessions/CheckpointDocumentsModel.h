// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/FilterWords.h"
#include "organization/CheckpointContents.h"

#include <QAbstractTableModel>
#include <set>
#include <vector>

namespace penmark {

/// The documents of a checkpoint beside what they are now, with ticks to choose some of them. Main thread.
class CheckpointDocumentsModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { titleColumn, sizeColumn, nowColumn, columns };

    /// Ticks stay if it is the same checkpoint again.
    void show(CheckpointContents contents);
    void clear();
    const CheckpointContents& contents() const { return contents_; }

    /// Leaves documents whose title has all words; those that are ticked stay ticked out of sight.
    void setFilter(const QString& typed);

    const std::set<Uuid>& ticked() const { return ticked_; }
    void tickShown(bool ticked);
    /// Null for no index.
    const CheckpointEntry* entry(const QModelIndex& index) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

signals:
    void tickedChanged();

private:
    void arrange();

    CheckpointContents contents_;
    std::vector<std::string> folded_;  // titles, made when they are filtered
    std::vector<std::size_t> shown_;
    std::set<Uuid> ticked_;
    FilterWords filter_;
};

/// A number of bytes as lists show it.
QString shownSize(std::int64_t bytes);

}  // namespace penmark
