// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/KeysPage.h"

#include "app/settings/KeyField.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <algorithm>

namespace penmark {

namespace {

/// Rows that have all the words.
class WordFilter final : public QSortFilterProxyModel {
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;
    void setWords(const QString& text)
    {
        words_ = foldedWords(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        invalidateFilter();
    }

private:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        const QString text = sourceModel()->index(row, 0, parent).data(KeysModel::searchRole).toString();
        return std::all_of(words_.begin(), words_.end(), [&](const QString& word) { return text.contains(word); });
    }

    QStringList words_;
};

}  // namespace

void followKeySettings(CommandRegistry& registry, SettingsStore& store)
{
    // The user's keys before the preset: the first change would otherwise write the old ones back.
    const auto follow = [&registry, &store] {
        registry.setOverrides(store.settings().shortcuts);
        registry.setPreset(store.settings().keyPreset);
    };
    follow();
    QObject::connect(&store, &SettingsStore::changed, &registry, follow);
    QObject::connect(&registry, &CommandRegistry::shortcutsChanged, &store, [&registry, &store] {
        store.change([&](Settings& settings) { settings.shortcuts = registry.overrides(); });
    });
}

KeysPage::KeysPage(CommandRegistry& registry, SettingsStore& store)
    : SettingsPage(tr("Keys"), IconShape::keyboard, store), registry_(registry), model_(new KeysModel(registry, this)),
      shown_(new WordFilter(this)), filterLine_(new QLineEdit), table_(new QTreeView), field_(new KeyField),
      note_(new QLabel), set_(new QPushButton(tr("Set"))), add_(new QPushButton(tr("Add"))),
      remove_(new QPushButton(tr("Remove"))), reset_(new QPushButton(tr("Reset")))
{
    std::vector<std::pair<QString, std::string>> presets;
    for (const KeyPreset& preset : CommandRegistry::presets())
        presets.emplace_back(CommandRegistry::presetName(preset), preset.id);
    addChoice<std::string>(tr("Preset"), &Settings::keyPreset, presets);
    filterLine_->setPlaceholderText(tr("Filter by command or key"));
    filterLine_->setAccessibleName(tr("Filter commands"));
    filterLine_->setClearButtonEnabled(true);
    addWidget(filterLine_);
    addWidget(createTable(), 1);
    addWidget(createEditor());
    connect(filterLine_, &QLineEdit::textChanged, this, [this] { filterTable(); });
    connect(&registry_, &CommandRegistry::shortcutsChanged, this, [this] { selectionChanged(); });
    table_->setCurrentIndex(shown_->index(0, 0));
    selectionChanged();
}

QWidget* KeysPage::createTable()
{
    shown_->setSourceModel(model_);
    table_->setModel(shown_);
    table_->setAccessibleName(tr("Commands and their keys"));
    table_->setRootIsDecorated(false);
    table_->setAllColumnsShowFocus(true);
    table_->setUniformRowHeights(true);
    table_->setAlternatingRowColors(true);
    table_->setMinimumHeight(180);
    table_->header()->setStretchLastSection(true);
    table_->setColumnWidth(KeysModel::commandColumn, 240);
    table_->setColumnWidth(KeysModel::keysColumn, 190);
    table_->installEventFilter(this);
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        field_->forget();
        selectionChanged();
    });
    connect(table_, &QTreeView::doubleClicked, this, [this] { field_->setFocus(); });
    return table_;
}

QWidget* KeysPage::createEditor()
{
    auto* editor = new QWidget;
    auto* column = new QVBoxLayout(editor);
    column->setContentsMargins(0, 4, 0, 0);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(tr("New key"));
    label->setBuddy(field_);
    row->addWidget(label);
    row->addWidget(field_, 1);
    for (QPushButton* button : {set_, add_, remove_, reset_})
        row->addWidget(button);
    column->addLayout(row);
    note_->setWordWrap(true);
    note_->setMinimumHeight(note_->fontMetrics().height() * 2);
    note_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    column->addWidget(note_);
    set_->setToolTip(tr("The command has this key and no other"));
    add_->setToolTip(tr("The command has this key as well"));
    remove_->setToolTip(tr("The command has no key"));
    reset_->setToolTip(tr("The command has the keys of the preset"));
    set_->setAutoDefault(true);
    add_->setAutoDefault(true);
    connect(set_, &QPushButton::clicked, this, [this] { give(false); });
    connect(add_, &QPushButton::clicked, this, [this] { give(true); });
    connect(remove_, &QPushButton::clicked, this, [this] {
        table_->setFocus();
        registry_.setShortcuts(current()->id, {});
    });
    connect(reset_, &QPushButton::clicked, this, [this] {
        table_->setFocus();
        registry_.resetShortcuts(current()->id);
    });
    connect(field_, &KeyField::keyChanged, this, [this] {
        selectionChanged();
        if (field_->hasKey() && set_->isEnabled() && field_->hasFocus())
            set_->setFocus();
    });
    return editor;
}

const Command* KeysPage::current() const
{
    const QModelIndex index = shown_->mapToSource(table_->currentIndex());
    return index.isValid() ? &model_->command(index.row()) : nullptr;
}

void KeysPage::give(bool besides)
{
    const Command* command = current();
    if (!command || !field_->hasKey())
        return;
    QList<QKeySequence> keys;
    if (besides)
        keys = registry_.shortcuts(command->id);
    keys.append(QKeySequence(field_->key()));
    table_->setFocus();
    field_->forget();
    registry_.setShortcuts(command->id, keys);
}

void KeysPage::selectionChanged()
{
    const Command* command = current();
    field_->setEnabled(command);
    set_->setEnabled(command && field_->hasKey());
    add_->setEnabled(command && field_->hasKey());
    remove_->setEnabled(command && !registry_.shortcuts(command->id).isEmpty());
    reset_->setEnabled(command && registry_.hasOwnShortcuts(command->id));
    showNote();
}

void KeysPage::showNote()
{
    const Command* command = current();
    QString note;
    if (command && field_->hasKey()) {
        note = keyNote(registry_, *command, field_->key());
        if (note.isEmpty())
            note = tr("%1 is free").arg(field_->text());
    } else if (command) {
        // In the table there may not be room for all of it.
        note = table_->currentIndex().siblingAtColumn(KeysModel::noteColumn).data().toString();
    }
    if (!note.isEmpty())
        note = note.left(1).toUpper() + note.mid(1) + QLatin1Char('.');
    note_->setText(note);
    set_->setAccessibleDescription(note);
}

void KeysPage::filterTable()
{
    static_cast<WordFilter*>(shown_)->setWords(filterLine_->text() + QLatin1Char(' ') + searched_);
    if (!table_->currentIndex().isValid())
        table_->setCurrentIndex(shown_->index(0, 0));
    selectionChanged();
}

bool KeysPage::filter(const QString& typed)
{
    const bool all = foldedWords(typed).isEmpty() || foldedWords(title()).contains(foldedWords(typed));
    searched_ = all ? QString() : typed;
    filterTable();
    const bool rows = SettingsPage::filter(typed);
    const bool some = shown_->rowCount() > 0;
    if (some) {
        table_->show();
        table_->setMinimumHeight(180);
    }
    field_->parentWidget()->setVisible(some);
    return rows || some;
}

bool KeysPage::eventFilter(QObject* object, QEvent* event)
{
    if (object == table_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_F2) {
            field_->setFocus();
            return true;
        }
        if (key == Qt::Key_Delete && current()) {
            registry_.setShortcuts(current()->id, {});
            return true;
        }
    }
    return SettingsPage::eventFilter(object, event);
}

}  // namespace penmark
