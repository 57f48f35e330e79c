// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchOptions.h"

#include "app/editor/Strings.h"
#include "app/search/SearchTexts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>

namespace penmark {

SearchOptions::SearchOptions()
    : field_(new QComboBox(this)), fileTypes_(new QLineEdit(this)), pathFilter_(new QLineEdit(this)),
      hidden_(new QCheckBox(tr("&Hidden files"), this)), ignored_(new QCheckBox(tr("I&gnored files"), this)),
      large_(new QCheckBox(tr("&Large files (up to 128 MiB)"), this))
{
    for (const auto& [field, label] : storedWords(TextSearchField()))
        field_->addItem(toQString(label), static_cast<int>(field));
    field_->setAccessibleName(tr("What is searched"));
    fileTypes_->setPlaceholderText(tr("File types: md, txt, py"));
    fileTypes_->setAccessibleName(tr("File types"));
    fileTypes_->setToolTip(tr("Extensions of the files that are searched; empty for all"));
    pathFilter_->setPlaceholderText(tr("Path filter"));
    pathFilter_->setAccessibleName(tr("Path filter"));
    pathFilter_->setToolTip(tr("Searches only files whose path in the folder has this"));
    auto* const help = new QLabel(tr("Binary contents, symlinks and .git internals are skipped."), this);
    help->setTextFormat(Qt::PlainText);
    help->setWordWrap(true);
    help->setForegroundRole(QPalette::PlaceholderText);

    auto* const layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(field_, 0, 0);
    layout->addWidget(fileTypes_, 0, 1);
    layout->addWidget(pathFilter_, 0, 2);
    auto* const checks = new QHBoxLayout;
    checks->setSpacing(2 * layout->horizontalSpacing());
    for (QCheckBox* const check : {hidden_, ignored_, large_}) {
        checks->addWidget(check);
        connect(check, &QCheckBox::clicked, this, &SearchOptions::changed);
    }
    checks->addStretch(1);
    layout->addLayout(checks, 1, 0, 1, 3);
    layout->addWidget(help, 2, 0, 1, 3);
    layout->setColumnStretch(1, 1);
    layout->setColumnStretch(2, 1);
    connect(field_, &QComboBox::activated, this, &SearchOptions::changed);
    connect(fileTypes_, &QLineEdit::textEdited, this, &SearchOptions::typed);
    connect(pathFilter_, &QLineEdit::textEdited, this, &SearchOptions::typed);
}

void SearchOptions::show(const TextSearchRule& rule)
{
    field_->setCurrentIndex(field_->findData(static_cast<int>(rule.field)));
    // What is being typed keeps its commas and blanks.
    if (parseFileTypes(fileTypes_->text()) != rule.fileTypes)
        fileTypes_->setText(fileTypesText(rule.fileTypes));
    if (pathFilter_->text().toStdString() != rule.pathFilter)
        pathFilter_->setText(toQString(rule.pathFilter));
    hidden_->setChecked(rule.includeHidden);
    ignored_->setChecked(rule.includeIgnored);
    large_->setChecked(rule.largeFiles);
    const bool hasFiles = rule.scope.kind == TextScopeKind::project;
    for (QWidget* const ofFiles : std::initializer_list<QWidget*>{fileTypes_, pathFilter_, hidden_, ignored_})
        ofFiles->setEnabled(hasFiles);
}

void SearchOptions::applyTo(TextSearchRule& rule) const
{
    rule.field = static_cast<TextSearchField>(field_->currentData().toInt());
    rule.fileTypes = parseFileTypes(fileTypes_->text());
    rule.pathFilter = pathFilter_->text().toStdString();
    rule.includeHidden = hidden_->isChecked();
    rule.includeIgnored = ignored_->isChecked();
    rule.largeFiles = large_->isChecked();
}

int SearchOptions::countOf(const TextSearchRule& rule)
{
    const int always = int(rule.field != TextSearchField::contents) + int(rule.largeFiles);
    if (rule.scope.kind != TextScopeKind::project)
        return always;
    return always + int(!rule.fileTypes.empty()) + int(!rule.pathFilter.empty()) + int(rule.includeHidden) +
           int(rule.includeIgnored);
}

}  // namespace penmark
