// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchTargets.h"

#include <QAbstractListModel>
#include <QPushButton>

class QLineEdit;
class QListView;

namespace penmark {

/// Targets as far as they have all words of a filter. Main thread.
class TargetModel final : public QAbstractListModel {
    Q_OBJECT

public:
    using QAbstractListModel::QAbstractListModel;

    void setTargets(std::vector<SearchTarget> targets);
    void setFilter(const QString& words);
    const SearchTarget& target(const QModelIndex& index) const
    {
        return targets_[shown_[static_cast<std::size_t>(index.row())]];
    }
    QModelIndex indexOf(const Uuid& id) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    std::vector<std::size_t> matches() const;

    std::vector<SearchTarget> targets_;
    std::vector<std::size_t> shown_;
    QString words_;
};

/// A button with the name of the target, which opens a list to choose another one from: typing filters it, Up and Down
/// choose, Enter takes. Main thread.
class TargetPicker final : public QPushButton {
    Q_OBJECT

public:
    /// The targets outlive the picker.
    explicit TargetPicker(SearchTargets& targets);

    /// What is to be chosen, and what is; an empty title if that is not known.
    void setChosen(TextScopeKind kind, const std::optional<Uuid>& id, const QString& title);
    void open();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void chosen(const penmark::Uuid& id);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void createPopup();
    void place();
    void take(const QModelIndex& index);
    bool takeKey(const QKeyEvent& event);

    SearchTargets& targets_;
    TextScopeKind kind_ = TextScopeKind::file;
    std::optional<Uuid> id_;
    QString title_;
    int request_ = 0;
    TargetModel* model_ = nullptr;
    QWidget* popup_ = nullptr;  // made when it is first opened
    QLineEdit* filter_ = nullptr;
    QListView* list_ = nullptr;
};

}  // namespace penmark
