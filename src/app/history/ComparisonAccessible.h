// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAccessibleWidget>
#include <QHash>
#include <cstddef>

namespace penmark {

class ComparisonView;

/// Lets comparisons be asked by assistive technology. Each is given its ComparisonAccessible with the first question.
void installComparisonAccessible();

/// Tells assistive technology, if there is any, which line is the current one while the view has the focus.
void announceCurrentLine(ComparisonView& view);

/// The lines are others: what assistive technology holds of them is void.
void forgetAccessibleLines(ComparisonView& view);

/// A comparison as screen readers see it: a list, whose items are its lines, made when they are asked for.
class ComparisonAccessible final : public QAccessibleWidget {
public:
    explicit ComparisonAccessible(ComparisonView& view);
    ~ComparisonAccessible() override;

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* focusChild() const override;

    void forgetLines();

private:
    ComparisonView& view_;
    mutable QHash<int, QAccessible::Id> lines_;  // those that were asked for
};

}  // namespace penmark
