// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/settings/KeysModel.h"
#include "app/settings/SettingsPage.h"

class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QTreeView;

namespace penmark {

class KeyField;

/// Keeps the keys of the registry and of the settings the same, whichever is changed. Both outlive the connection.
void followKeySettings(CommandRegistry& registry, SettingsStore& store);

/// The commands in a table. Enter on a row goes to the field that takes a key, from there to "Set".
class KeysPage final : public SettingsPage {
public:
    KeysPage(CommandRegistry& registry, SettingsStore& store);

    bool filter(const QString& typed) override;

private:
    QWidget* createTable();
    QWidget* createEditor();
    void filterTable();
    const Command* current() const;
    void give(bool besides);
    void selectionChanged();
    void showNote();
    bool eventFilter(QObject* object, QEvent* event) override;

    CommandRegistry& registry_;
    KeysModel* model_;
    QSortFilterProxyModel* shown_;
    QLineEdit* filterLine_;
    QTreeView* table_;
    KeyField* field_;
    QLabel* note_;
    QPushButton* set_;
    QPushButton* add_;
    QPushButton* remove_;
    QPushButton* reset_;
    QString searched_;  // by the whole window
};

}  // namespace penmark
