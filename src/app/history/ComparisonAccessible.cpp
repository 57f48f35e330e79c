// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonAccessible.h"

#include "app/history/ComparisonView.h"

#include <QAccessible>
#include <QPointer>
#include <algorithm>
#include <limits>

namespace penmark {

namespace {

class LineAccessible final : public QAccessibleInterface {
public:
    LineAccessible(ComparisonView& view, int line) : view_(&view), line_(line) {}

    int line() const { return line_; }

    bool isValid() const override { return view_ && at() < view_->lines().count(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(view_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text which) const override
    {
        return which == QAccessible::Name && isValid() ? view_->spokenText(at()) : QString();
    }

    QRect rect() const override
    {
        if (!isValid())
            return {};
        const QRect box = view_->lineRect(at()).intersected(view_->viewport()->rect());
        return {view_->viewport()->mapToGlobal(box.topLeft()), box.size()};
    }

    QAccessible::Role role() const override { return QAccessible::ListItem; }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invalid = !isValid();
        if (state.invalid)
            return state;
        state.readOnly = true;
        state.focusable = true;
        state.focused = view_->hasFocus() && view_->currentLine() == at();
        state.selectable = true;
        const auto selected = view_->selectedLines();
        state.selected = selected && at() >= selected->first && at() <= selected->second;
        state.offscreen = !view_->lineRect(at()).intersects(view_->viewport()->rect());
        state.expandable = view_->lines().isRun(at());
        state.expanded = state.expandable && view_->lines().isUnfolded(at());
        return state;
    }

private:
    std::size_t at() const { return static_cast<std::size_t>(line_); }

    QPointer<ComparisonView> view_;
    int line_;
};

QAccessibleInterface* makeAccessible(const QString& className, QObject* object)
{
    if (className != QLatin1StringView(ComparisonView::staticMetaObject.className()))
        return nullptr;
    auto* const view = qobject_cast<ComparisonView*>(object);
    return view ? new ComparisonAccessible(*view) : nullptr;
}

}  // namespace

void installComparisonAccessible()
{
    QAccessible::installFactory(makeAccessible);  // once, however often it is called
}

void announceCurrentLine(ComparisonView& view)
{
    if (!QAccessible::isActive() || !view.hasFocus() || view.lines().count() == 0)
        return;
    QAccessibleEvent event(&view, QAccessible::Focus);
    event.setChild(static_cast<int>(view.currentLine()));
    QAccessible::updateAccessibility(&event);
}

void forgetAccessibleLines(ComparisonView& view)
{
    if (!QAccessible::isActive())
        return;
    auto* const found = dynamic_cast<ComparisonAccessible*>(QAccessible::queryAccessibleInterface(&view));
    if (found)
        found->forgetLines();
}

ComparisonAccessible::ComparisonAccessible(ComparisonView& view)
    : QAccessibleWidget(&view, QAccessible::List), view_(view)
{}

ComparisonAccessible::~ComparisonAccessible()
{
    forgetLines();
}

void ComparisonAccessible::forgetLines()
{
    for (const QAccessible::Id id : std::as_const(lines_))
        QAccessible::deleteAccessibleInterface(id);
    lines_.clear();
}

int ComparisonAccessible::childCount() const
{
    return static_cast<int>(std::min<std::size_t>(view_.lines().count(), std::numeric_limits<int>::max()));
}

QAccessibleInterface* ComparisonAccessible::child(int index) const
{
    if (index < 0 || index >= childCount())
        return nullptr;
    if (const auto known = lines_.constFind(index); known != lines_.constEnd())
        return QAccessible::accessibleInterface(*known);
    auto* const line = new LineAccessible(view_, index);
    lines_.insert(index, QAccessible::registerAccessibleInterface(line));
    return line;
}

int ComparisonAccessible::indexOfChild(const QAccessibleInterface* child) const
{
    const auto* const line = dynamic_cast<const LineAccessible*>(child);
    return line ? line->line() : -1;
}

QAccessibleInterface* ComparisonAccessible::childAt(int x, int y) const
{
    const QPoint point = view_.viewport()->mapFromGlobal(QPoint(x, y));
    const auto line = view_.viewport()->rect().contains(point) ? view_.lineAt(point) : std::nullopt;
    return line ? child(static_cast<int>(*line)) : nullptr;
}

QAccessibleInterface* ComparisonAccessible::focusChild() const
{
    return view_.hasFocus() && view_.lines().count() > 0 ? child(static_cast<int>(view_.currentLine())) : nullptr;
}

}  // namespace penmark
