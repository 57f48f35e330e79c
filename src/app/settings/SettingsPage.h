// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/appearance/Icon.h"
#include "app/settings/SettingsStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QWidget>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

class QLabel;
class QToolButton;
class QVBoxLayout;

namespace penmark {

/// One setting: its name, its control, and "Reset" while it is not what it is by default.
class SettingRow final : public QWidget {
public:
    /// How the row is tied to its setting; read and written in the store's settings.
    struct Binding {
        std::function<void(const Settings&)> show;
        std::function<bool(const Settings&)> isDefault;
        std::function<void(Settings&)> reset;
    };

    /// A check box says its name itself. The id is what the setting is called in the file.
    SettingRow(const QString& name, QWidget* control, std::string_view id, Binding binding, SettingsStore& store);

    void showSetting();
    bool matches(const QString& foldedWords) const;

private:
    SettingsStore& store_;
    Binding binding_;
    QToolButton* reset_;
    QString searched_;
};

/// A page of the settings window: a title and rows. Controls are tied to fields of Settings by the add… functions and
/// apply at once.
class SettingsPage : public QWidget {
public:
    SettingsPage(const QString& title, IconShape icon, SettingsStore& store);

    const QString& title() const { return title_; }
    IconShape iconShape() const { return icon_; }

    void addHeading(const QString& text);
    void addText(const QString& text);
    void addWidget(QWidget* widget, int stretch = 0);
    QCheckBox* addCheck(const QString& name, bool Settings::*field, bool inverted = false);
    void addNumber(const QString& name, std::int64_t Settings::*field, int least, int most, const QString& suffix,
                   const QString& nameOfLeast = {});
    void addFont(const QString& name, std::string Settings::*field);
    void addPoints(const QString& name, double Settings::*field, double least, double most);
    template <class Value>
    void addChoice(const QString& name, Value Settings::*field, const std::vector<std::pair<QString, Value>>& choices);

    virtual void showSettings();
    /// Shows only rows that have all the words; with none of them, all. Returns whether anything is left to see.
    virtual bool filter(const QString& typed);

protected:
    SettingsStore& store_;

    template <class Value>
    SettingRow* addRow(const QString& name, QWidget* control, Value Settings::*field,
                       std::function<void(const Settings&)> show);

private:
    static QComboBox* newComboBox();
    void addRow(SettingRow* row);

    QString title_;
    IconShape icon_;
    QVBoxLayout* layout_;
    std::vector<SettingRow*> rows_;
    std::vector<QWidget*> between_;  // headings and texts, which are not searched
};

/// Lower case, without accents, words apart by one blank.
QString foldedWords(const QString& text);

template <class Value>
SettingRow* SettingsPage::addRow(const QString& name, QWidget* control, Value Settings::*field,
                                 std::function<void(const Settings&)> show)
{
    auto* row = new SettingRow(name, control, settingId(field),
                               {.show = std::move(show),
                                .isDefault = [field](const Settings& now) { return now.*field == Settings().*field; },
                                .reset = [field](Settings& now) { now.*field = Settings().*field; }},
                               store_);
    addRow(row);
    return row;
}

template <class Value>
void SettingsPage::addChoice(const QString& name, Value Settings::*field,
                             const std::vector<std::pair<QString, Value>>& choices)
{
    QComboBox* box = newComboBox();
    for (const auto& [text, value] : choices)
        box->addItem(text);
    connect(box, &QComboBox::activated, this, [this, field, choices](int index) {
        store_.change([&](Settings& now) { now.*field = choices[static_cast<std::size_t>(index)].second; });
    });
    addRow(name, box, field, [box, field, choices](const Settings& now) {
        for (std::size_t index = 0; index < choices.size(); ++index) {
            if (choices[index].second == now.*field)
                box->setCurrentIndex(static_cast<int>(index));
        }
    });
}

}  // namespace penmark
