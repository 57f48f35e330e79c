// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/history/VersionModel.h"

#include <QStyledItemDelegate>

namespace penmark {

struct RowColors;

/// Draws the rows of a VersionModel: days as headings, of a version its time, size and checkpoints.
class VersionDelegate final : public QStyledItemDelegate {
public:
    explicit VersionDelegate(const VersionModel& model, QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    void paintBackground(QPainter& painter, const QStyleOptionViewItem& option, const RowColors& colors) const;
    void paintVersion(QPainter& painter, const QStyleOptionViewItem& option, const VersionRow& row,
                      const RowColors& colors) const;

    const VersionModel& model_;  // outlives this object
};

}  // namespace penmark
