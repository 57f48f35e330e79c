// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandRegistry.h"
#include "app/commands/FuzzyMatch.h"

#include <QAbstractListModel>
#include <QStyledItemDelegate>
#include <vector>

namespace penmark {

/// The commands that match what was typed, the best first; if nothing was, those used last and then all by name.
class CommandList final : public QAbstractListModel {
public:
    enum Role { marksRole = Qt::UserRole, categoryRole, keysRole, reasonRole };

    CommandList(const CommandRegistry& registry, QObject* parent);

    /// Which are enabled, and why not, is asked for here.
    void open(const CommandContext& context);
    void filter(const QString& typed);
    const Command& command(int row) const { return *entries_[shown_[static_cast<std::size_t>(row)]].command; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    struct Entry {
        const Command* command;
        FoldedName name;
        FoldedName withCategory;
        bool enabled;
        QString reason;
    };

    void showAll();

    const CommandRegistry& registry_;
    std::vector<Entry> entries_;      // by name
    std::vector<std::size_t> shown_;  // indexes of entries_
    FuzzyMatch match_{QStringView()};
};

/// A row of the list: the name with what was matched, its category, and its key at the right.
class CommandRowPainter final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace penmark
