// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/ScopeBox.h"

#include "app/editor/Strings.h"
#include "app/search/HitLine.h"
#include "app/search/SearchTexts.h"
#include "app/search/TargetPicker.h"
#include "app/sessions/ElidedLabel.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>

namespace penmark {

ScopeBox::ScopeBox(SearchTargets& targets)
    : kinds_(new QComboBox(this)), picker_(new TargetPicker(targets)), target_(new ElidedLabel),
      description_(new ElidedLabel)
{
    for (const auto& [kind, label] : storedWords(TextScopeKind()))
        kinds_->addItem(toQString(label), static_cast<int>(kind));
    kinds_->setMaxVisibleItems(kinds_->count());
    kinds_->setAccessibleName(tr("Where to search"));
    auto* const label = new QLabel(tr("&In:"), this);
    label->setBuddy(kinds_);
    for (ElidedLabel* const quiet : {target_, description_})
        quiet->setForegroundRole(QPalette::PlaceholderText);

    auto* const layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setVerticalSpacing(2);
    layout->addWidget(label, 0, 0);
    layout->addWidget(kinds_, 0, 1);
    layout->addWidget(picker_, 0, 2);
    layout->addWidget(target_, 0, 3);
    layout->addWidget(description_, 1, 1, 1, 3);
    layout->setColumnStretch(3, 1);

    connect(kinds_, &QComboBox::activated, this, &ScopeBox::chooseKind);
    connect(picker_, &TargetPicker::chosen, this, [this](const Uuid& id) {
        TextSearchScope scope = scope_;
        scope.id = id;
        emit scopeChosen(scope);
    });
}

void ScopeBox::show(const TextSearchScope& scope, const ResolvedSearchTarget& target)
{
    scope_ = scope;
    if (scope.id)
        chosen_[scope.kind] = *scope.id;
    kinds_->setCurrentIndex(kinds_->findData(static_cast<int>(scope.kind)));
    const bool isFixed = hasFixedTarget(scope.kind);
    picker_->setVisible(isFixed);
    if (isFixed)
        picker_->setChosen(scope.kind, scope.id, target.isAvailable ? harmlessLine(target.title) : QString());
    target_->setText(targetText(target, scope.kind));
    const QString description = toQString(target.isAvailable ? scopeDescription(scope.kind) : unavailableTarget);
    description_->setText(description);
    kinds_->setAccessibleDescription(description);
}

void ScopeBox::chooseKind(int index)
{
    const auto kind = static_cast<TextScopeKind>(kinds_->itemData(index).toInt());
    if (kind == scope_.kind)
        return;
    TextSearchScope scope;
    scope.kind = kind;
    if (const auto last = chosen_.find(kind); last != chosen_.end() && hasFixedTarget(kind))
        scope.id = last->second;
    emit scopeChosen(scope);
}

}  // namespace penmark
