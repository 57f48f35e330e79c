// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionTreeModel.h"

#include <QTreeView>
#include <set>

namespace penmark {

/// The sessions to choose from: turns keys and drops into what they ask for. Nested sessions are shown until somebody
/// folds them; what is selected and folded stays when the library changes. Main thread.
class SessionTree final : public QTreeView {
    Q_OBJECT

public:
    /// The model outlives the view.
    explicit SessionTree(SessionTreeModel& model);

    std::optional<Uuid> current() const;
    void select(const Uuid& session);
    /// Follows the model's records. While a name is typed nothing moves.
    void refresh();
    void rename() { edit(currentIndex()); }
    bool isRenaming() const { return state() == EditingState; }

signals:
    void openAsked();
    void switchAsked();
    void deleteAsked();
    void currentSessionChanged();
    void renameEnded();               ///< what has not moved meanwhile may
    void typed(const QString& text);  ///< where no name is typed: it is for the filter
    void menuAsked(QPoint globalPosition);

public:
    void keyboardSearch(const QString& text) override { emit typed(text); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void startDrag(Qt::DropActions actions) override;
    void closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint) override;

private:
    void applyFolds(const QModelIndex& parent = {});

    SessionTreeModel& model_;
    std::set<Uuid> folded_;
    std::optional<Uuid> last_;  // selected, as long as it is there
    bool refreshing_ = false;
};

}  // namespace penmark
