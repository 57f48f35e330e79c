// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsPage.h"

#include <QDoubleSpinBox>
#include <QFontComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <algorithm>

namespace penmark {

namespace {

constexpr int nameWidth = 190;
constexpr int controlWidth = 230;

/// A box whose number does not change when somebody only scrolls the page past it.
template <class Box>
class CalmBox final : public Box {
public:
    CalmBox() { this->setFocusPolicy(Qt::StrongFocus); }

protected:
    void wheelEvent(QWheelEvent* event) override
    {
        if (this->hasFocus())
            Box::wheelEvent(event);
        else
            event->ignore();
    }
};

}  // namespace

QString foldedWords(const QString& text)
{
    QString folded;
    for (const QChar sign : text.normalized(QString::NormalizationForm_KD).toLower()) {
        if (!sign.isMark())
            folded.append(sign);
    }
    return folded.simplified();
}

SettingRow::SettingRow(const QString& name, QWidget* control, std::string_view id, Binding binding,
                       SettingsStore& store)
    : store_(store), binding_(std::move(binding)), reset_(new QToolButton)
{
    const QString idText = QString::fromUtf8(id.data(), static_cast<qsizetype>(id.size()));
    searched_ = foldedWords(name + QLatin1Char(' ') + idText);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    const bool namesItself = qobject_cast<QCheckBox*>(control);
    if (!namesItself) {
        auto* label = new QLabel(name);
        label->setFixedWidth(nameWidth);
        label->setWordWrap(true);
        label->setBuddy(control);
        control->setFixedWidth(controlWidth);
        layout->addWidget(label);
    }
    control->setAccessibleName(name);
    setToolTip(idText);
    layout->addWidget(control);
    layout->addStretch();
    reset_->setText(tr("Reset"));
    reset_->setIcon(icon(IconShape::reset));
    reset_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    reset_->setAutoRaise(true);
    reset_->setAccessibleName(tr("Reset “%1”").arg(name));
    reset_->setToolTip(idText);
    QSizePolicy keepsItsPlace = reset_->sizePolicy();
    keepsItsPlace.setRetainSizeWhenHidden(true);
    reset_->setSizePolicy(keepsItsPlace);
    layout->addWidget(reset_);
    connect(reset_, &QToolButton::clicked, this, [this, control] {
        control->setFocus();  // before the button, which has the focus, goes
        store_.change(binding_.reset);
    });
}

void SettingRow::showSetting()
{
    binding_.show(store_.settings());
    reset_->setVisible(!binding_.isDefault(store_.settings()));
}

bool SettingRow::matches(const QString& words) const
{
    const QStringList list = words.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return std::all_of(list.begin(), list.end(), [this](const QString& word) { return searched_.contains(word); });
}

SettingsPage::SettingsPage(const QString& title, IconShape shape, SettingsStore& store)
    : store_(store), title_(title), icon_(shape), layout_(new QVBoxLayout(this))
{
    setAccessibleName(title);
    layout_->setContentsMargins(0, 0, 0, 18);
    layout_->setSpacing(6);
    auto* heading = new QLabel(title);
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.45);
    font.setWeight(QFont::DemiBold);
    heading->setFont(font);
    heading->setContentsMargins(0, 0, 0, 8);
    layout_->addWidget(heading);
}

void SettingsPage::addHeading(const QString& text)
{
    auto* heading = new QLabel(text);
    QFont font = heading->font();
    font.setWeight(QFont::DemiBold);
    heading->setFont(font);
    heading->setContentsMargins(0, rows_.empty() && between_.empty() ? 0 : 14, 0, 2);
    between_.push_back(heading);
    layout_->addWidget(heading);
}

void SettingsPage::addText(const QString& text)
{
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    between_.push_back(label);
    layout_->addWidget(label);
}

void SettingsPage::addWidget(QWidget* widget, int stretch)
{
    between_.push_back(widget);
    layout_->addWidget(widget, stretch);
}

void SettingsPage::addRow(SettingRow* row)
{
    rows_.push_back(row);
    layout_->addWidget(row);
}

QCheckBox* SettingsPage::addCheck(const QString& name, bool Settings::*field, bool inverted)
{
    auto* box = new QCheckBox(name);
    connect(box, &QCheckBox::clicked, this,
            [this, field, inverted](bool on) { store_.change([&](Settings& now) { now.*field = on != inverted; }); });
    addRow(name, box, field, [box, field, inverted](const Settings& now) { box->setChecked(now.*field != inverted); });
    return box;
}

void SettingsPage::addNumber(const QString& name, std::int64_t Settings::*field, int least, int most,
                             const QString& suffix, const QString& nameOfLeast)
{
    auto* box = new CalmBox<QSpinBox>;
    box->setRange(least, most);
    box->setSuffix(suffix);
    box->setSpecialValueText(nameOfLeast);
    connect(box, &QSpinBox::valueChanged, this,
            [this, field](int value) { store_.change([&](Settings& now) { now.*field = value; }); });
    addRow(name, box, field, [box, field](const Settings& now) {
        const QSignalBlocker blocker(box);
        box->setValue(static_cast<int>(now.*field));
    });
}

QComboBox* SettingsPage::newComboBox()
{
    return new CalmBox<QComboBox>;
}

void SettingsPage::addPoints(const QString& name, double Settings::*field, double least, double most)
{
    auto* box = new CalmBox<QDoubleSpinBox>;
    box->setRange(least, most);
    box->setDecimals(1);
    box->setSingleStep(.5);
    box->setSuffix(tr(" pt"));
    connect(box, &QDoubleSpinBox::valueChanged, this,
            [this, field](double value) { store_.change([&](Settings& now) { now.*field = value; }); });
    addRow(name, box, field, [box, field](const Settings& now) {
        const QSignalBlocker blocker(box);
        box->setValue(now.*field);
    });
}

void SettingsPage::addFont(const QString& name, std::string Settings::*field)
{
    auto* box = new CalmBox<QFontComboBox>;
    box->setFontFilters(QFontComboBox::MonospacedFonts);
    connect(box, &QFontComboBox::textActivated, this, [this, field](const QString& family) {
        store_.change([&](Settings& now) { now.*field = family.toStdString(); });
    });
    addRow(name, box, field, [box, field](const Settings& now) {
        const QSignalBlocker blocker(box);
        const std::string& family = now.*field;
        box->setCurrentFont(family.empty() ? QFontDatabase::systemFont(QFontDatabase::FixedFont)
                                           : QFont(QString::fromStdString(family)));
    });
}

void SettingsPage::showSettings()
{
    for (SettingRow* row : rows_)
        row->showSetting();
}

bool SettingsPage::filter(const QString& typed)
{
    const QString words = foldedWords(typed);
    const bool all = words.isEmpty() || foldedWords(title_).contains(words);
    bool some = all;
    for (SettingRow* row : rows_) {
        const bool shown = all || row->matches(words);
        row->setVisible(shown);
        some = some || shown;
    }
    for (QWidget* widget : between_)
        widget->setVisible(all);
    return some;
}

}  // namespace penmark
