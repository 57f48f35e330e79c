// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchScopes.h"

#include <QWidget>
#include <map>

class QComboBox;

namespace penmark {

class ElidedLabel;
class SearchTargets;
class TargetPicker;

/// Where to search: the kind of scope, of some kinds the target, and what the two mean. Main thread.
class ScopeBox final : public QWidget {
    Q_OBJECT

public:
    /// The targets outlive the box.
    explicit ScopeBox(SearchTargets& targets);

    /// Shows a scope and where it leads. Signals nothing.
    void show(const TextSearchScope& scope, const ResolvedSearchTarget& target);

signals:
    void scopeChosen(const penmark::TextSearchScope& scope);

private:
    void chooseKind(int index);

    TextSearchScope scope_;
    std::map<TextScopeKind, Uuid> chosen_;  // the last target of each kind
    QComboBox* kinds_;
    TargetPicker* picker_;
    ElidedLabel* target_;
    ElidedLabel* description_;
};

}  // namespace penmark
