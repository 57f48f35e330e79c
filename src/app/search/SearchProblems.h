// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchController.h"

#include <QAbstractListModel>
#include <QDialog>

class QLabel;
class QListView;

namespace penmark {

/// What was not searched, or not all of it, read from the report. Main thread.
class ProblemModel final : public QAbstractListModel {
    Q_OBJECT

public:
    /// The controller outlives the model.
    explicit ProblemModel(const SearchController& controller, QObject* parent = nullptr);

    /// The sentence, and the place behind it if it does not name it.
    QString lineOf(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    void update();

    const SearchController& controller_;
    int count_ = 0;
};

/// The list of problems of a search, which goes along with it while it is open. Ctrl+C copies the chosen ones. Main
/// thread.
class SearchProblems final : public QDialog {
    Q_OBJECT

public:
    /// The controller outlives the dialog.
    SearchProblems(const SearchController& controller, QWidget* parent);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void copy(bool all);
    void updateHead();

    const SearchController& controller_;
    ProblemModel* model_;
    QLabel* head_;
    QListView* list_;
};

}  // namespace penmark
