// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/KeysModel.h"

#include "app/appearance/Icon.h"
#include "app/settings/SettingsPage.h"

#include <QFont>
#include <algorithm>

namespace penmark {

QString keyTexts(const QList<QKeySequence>& keys)
{
    QStringList texts;
    for (const QKeySequence& key : keys)
        texts.append(key.toString(QKeySequence::NativeText));
    return texts.join(QStringLiteral("   "));
}

QString keyNote(const CommandRegistry& registry, const Command& command, QKeyCombination key)
{
    QStringList notes;
    const QString keyText = QKeySequence(key).toString(QKeySequence::NativeText);
    QStringList names;
    for (const Command* other : registry.conflictsWith(command.id, key))
        names.append(KeysModel::tr("“%1”").arg(other->name));
    if (!names.isEmpty()) {
        const Command* winner = registry.find(key);
        const bool hasKey = registry.shortcuts(command.id).contains(QKeySequence(key));
        if (hasKey && winner != &command)
            notes.append(KeysModel::tr("%1 goes to “%2”").arg(keyText, winner->name));
        else
            notes.append(KeysModel::tr("%1 is also the key of %2").arg(keyText, names.join(QLatin1String(", "))));
    }
    if (CommandRegistry::reservedByDesktop(key))
        notes.append(KeysModel::tr("desktops may keep %1 for themselves").arg(keyText));
    return notes.join(QLatin1String("; "));
}

KeysModel::KeysModel(const CommandRegistry& registry, QObject* parent)
    : QAbstractTableModel(parent), registry_(registry)
{
    reload();
    connect(&registry, &CommandRegistry::shortcutsChanged, this, [this] {
        if (commands_.size() != registry_.commands().size())
            reload();
        else if (!commands_.empty())
            emit dataChanged(index(0, 0), index(rowCount() - 1, noteColumn));
    });
}

void KeysModel::reload()
{
    beginResetModel();
    commands_.clear();
    for (const Command& command : registry_.commands())
        commands_.push_back(&command);
    std::stable_sort(commands_.begin(), commands_.end(), [](const Command* a, const Command* b) {
        const int order = QString::localeAwareCompare(a->category, b->category);
        return order != 0 ? order < 0 : QString::localeAwareCompare(a->name, b->name) < 0;
    });
    endResetModel();
}

int KeysModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(commands_.size());
}

int KeysModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : noteColumn + 1;
}

QString KeysModel::note(const Command& command) const
{
    QStringList notes;
    for (const QKeySequence& key : registry_.shortcuts(command.id)) {
        const QString note = keyNote(registry_, command, key[0]);
        if (!note.isEmpty())
            notes.append(note);
    }
    return notes.join(QLatin1String("; "));
}

QVariant KeysModel::data(const QModelIndex& index, int role) const
{
    const Command& shown = command(index.row());
    const QString keys = keyTexts(registry_.shortcuts(shown.id));
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == commandColumn)
            return shown.category.isEmpty() ? shown.name : shown.category + QLatin1String(": ") + shown.name;
        return index.column() == keysColumn ? keys : note(shown);
    case Qt::ToolTipRole:
        return index.column() == noteColumn ? note(shown) : QString::fromStdString(shown.id);
    case Qt::DecorationRole:
        return index.column() == noteColumn && !note(shown).isEmpty() ? QVariant(icon(IconShape::warning)) : QVariant();
    case Qt::FontRole:
        if (index.column() == keysColumn && registry_.hasOwnShortcuts(shown.id)) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    case searchRole:
        return foldedWords(shown.category + QLatin1Char(' ') + shown.name + QLatin1Char(' ') +
                           QString::fromStdString(shown.id) + QLatin1Char(' ') + keys);
    default:
        return {};
    }
}

QVariant KeysModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case commandColumn:
        return tr("Command");
    case keysColumn:
        return tr("Keys");
    default:
        return tr("Note");
    }
}

}  // namespace penmark
