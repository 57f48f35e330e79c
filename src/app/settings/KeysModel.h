// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandRegistry.h"

#include <QAbstractTableModel>
#include <vector>

namespace penmark {

/// The commands with their keys, and what is to be said about these.
class KeysModel final : public QAbstractTableModel {
public:
    enum Column { commandColumn, keysColumn, noteColumn };
    static constexpr int searchRole = Qt::UserRole;  ///< name, category, id and keys, folded

    KeysModel(const CommandRegistry& registry, QObject* parent);

    /// After commands were added.
    void reload();
    const Command& command(int row) const { return *commands_[static_cast<std::size_t>(row)]; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    QString note(const Command& command) const;

    const CommandRegistry& registry_;
    std::vector<const Command*> commands_;  // by category and name
};

/// What is to be said about giving the command this key: who has it too, and whether the desktop keeps it. Empty if
/// there is nothing.
QString keyNote(const CommandRegistry& registry, const Command& command, QKeyCombination key);

QString keyTexts(const QList<QKeySequence>& keys);

}  // namespace penmark
