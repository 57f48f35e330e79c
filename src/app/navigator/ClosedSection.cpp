// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ClosedSection.h"

#include "app/navigator/ReplaceRows.h"

#include <QMenu>
#include <algorithm>

namespace penmark {

void ClosedSection::rebuild()
{
    std::vector<Item> wanted;
    for (const Item& item : library().recentlyClosed.items())
        if (!isFiltered() || matches(titleOf(*item)) ||
            std::any_of(item->window.documents.begin(), item->window.documents.end(),
                        [this](const Uuid& document) { return matchesDocument(document); }))
            wanted.push_back(item);
    std::reverse(wanted.begin(), wanted.end());
    std::stable_sort(wanted.begin(), wanted.end(),
                     [](const Item& one, const Item& other) { return one->closedAt > other->closedAt; });
    const bool wantsMessage = wanted.empty() && !isFiltered();
    if (!wantsMessage)
        setMessage(false);
    replaceRows(*this, rows_, std::move(wanted),
                [](const Item& one, const Item& other) { return one->id == other->id; });
    setMessage(wantsMessage);
    emit changedHeading();
}

void ClosedSection::setMessage(bool has)
{
    if (has == hasMessage_)
        return;
    if (has)
        emit insertingRows(0, 0);
    else
        emit removingRows(0, 0);
    hasMessage_ = has;
    if (has)
        emit insertedRows();
    else
        emit removedRows();
}

int ClosedSection::count() const
{
    return isBuilt() ? static_cast<int>(rows_.size()) : static_cast<int>(library().recentlyClosed.size());
}

QString ClosedSection::countText() const
{
    return count() == 1 ? tr("1 closed item") : tr("%1 closed items").arg(count());
}

QString ClosedSection::titleOf(const ClosedPenmarkItem& item) const
{
    return item.title.empty() ? source_.windowTitle(item.window) : QString::fromStdString(item.title);
}

NavigatorRow ClosedSection::row(int number) const
{
    NavigatorRow row;
    if (hasMessage_) {
        row.kind = NavigatorRow::Kind::message;
        row.title = tr("Nothing closed lately.");
        return row;
    }
    const ClosedPenmarkItem& item = *rows_[static_cast<std::size_t>(number)];
    const PenmarkSession* const session = item.sessionID ? library().sessions.find(*item.sessionID) : nullptr;
    row.kind = NavigatorRow::Kind::closed;
    row.title = titleOf(item);
    row.place = session ? source_.sessionTitle(*session)
                        : tr("Original session unavailable · Uses the current session, or creates one.");
    row.date = item.closedAt;
    row.state = (item.tabIndex ? tr("Closed tab, %1") : tr("Closed window, %1")).arg(row.place);
    return row;
}

std::vector<Uuid> ClosedSection::idsOf(const Rows& rows) const
{
    std::vector<Uuid> ids;
    if (!hasMessage_)
        for (const int row : rows)
            ids.push_back(rows_[static_cast<std::size_t>(row)]->id);
    return ids;
}

bool ClosedSection::activate(const Rows& rows, Activation)
{
    for (const Uuid& id : idsOf(rows))
        actions_.reopenClosed(id);
    return true;
}

bool ClosedSection::remove(const Rows& rows)
{
    for (const Uuid& id : idsOf(rows))
        actions_.forgetClosed(id);
    return true;
}

void ClosedSection::fillMenu(QMenu& menu, const Rows& rows)
{
    const std::vector<Uuid> ids = idsOf(rows);
    if (ids.empty())
        return;
    menu.addAction(tr("Reopen"), this,
                   [this, ids] {
                       for (const Uuid& id : ids)
                           actions_.reopenClosed(id);
                   })
        ->setShortcut(QKeySequence(Qt::Key_Return));
    menu.addAction(tr("Remove from List"), this,
                   [this, ids] {
                       for (const Uuid& id : ids)
                           actions_.forgetClosed(id);
                   })
        ->setShortcut(QKeySequence(Qt::Key_Delete));
}

}  // namespace penmark
