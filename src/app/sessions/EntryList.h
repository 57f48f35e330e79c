// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QTreeView>

namespace penmark {

/// A flat list of ListEntry rows. Enter and a double click activate a row; nothing is edited. Rows are laid out as they
/// come into sight, so there may be many. Main thread.
class EntryList : public QTreeView {
    Q_OBJECT

public:
    EntryList();

    /// Selects the row and brings it into sight.
    void select(const QModelIndex& index);

signals:
    void currentRowChanged();
    void deleteAsked();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
};

}  // namespace penmark
