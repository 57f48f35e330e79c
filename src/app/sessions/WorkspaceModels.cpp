// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/WorkspaceModels.h"

#include "app/documents/SessionRecords.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/SessionTitles.h"

#include <QFont>
#include <algorithm>

namespace penmark {

WorkspaceListModel::WorkspaceListModel(SessionRecords& records, DocumentRegistry& documents)
    : records_(records), documents_(documents)
{}

void WorkspaceListModel::refresh()
{
    std::vector<Uuid> workspaces;
    for (const bool isOpen : {true, false}) {
        for (const PenmarkWorkspace& workspace : records_.library().workspaces) {
            if (workspace.isOpen == isOpen)
                workspaces.push_back(workspace.id);
        }
    }
    if (workspaces == workspaces_) {
        if (!workspaces_.empty())
            emit dataChanged(index(0), index(rowCount() - 1));
        return;
    }
    beginResetModel();
    workspaces_ = std::move(workspaces);
    endResetModel();
}

std::optional<Uuid> WorkspaceListModel::workspace(const QModelIndex& index) const
{
    return index.isValid() ? std::optional(workspaces_[static_cast<std::size_t>(index.row())]) : std::nullopt;
}

QModelIndex WorkspaceListModel::indexOf(const Uuid& workspace) const
{
    const auto found = std::find(workspaces_.begin(), workspaces_.end(), workspace);
    return found == workspaces_.end() ? QModelIndex() : index(static_cast<int>(found - workspaces_.begin()));
}

int WorkspaceListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(workspaces_.size());
}

QString WorkspaceListModel::detail(const PenmarkWorkspace& workspace) const
{
    const std::size_t members = workspace.windowIDs.size() + workspace.tabIDs.size();
    QString text = members == 1 ? tr("1 member") : tr("%1 members").arg(members);
    if (const auto unavailable = membershipOf(records_.library(), workspace).unavailable(); unavailable > 0)
        text += QStringLiteral(" · ") + tr("%1 unavailable").arg(unavailable);
    return text;
}

QString WorkspaceListModel::state(const PenmarkWorkspace& workspace) const
{
    const LibrarySettings& settings = records_.library().settings;
    if (settings.focusedWorkspaceID == workspace.id)
        return tr("Focused");
    if (settings.activeWorkspaceID == workspace.id)
        return tr("Current");
    return workspace.isOpen ? QString() : tr("Closed");
}

QVariant WorkspaceListModel::data(const QModelIndex& index, int role) const
{
    const auto id = workspace(index);
    const PenmarkWorkspace* const shown = id ? records_.library().workspaces.find(*id) : nullptr;
    if (shown == nullptr)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return workspaceTitle(documents_, records_.library(), *shown);
    case Qt::AccessibleTextRole: {
        QStringList parts{workspaceTitle(documents_, records_.library(), *shown)};
        parts << (shown->isOpen ? tr("open") : tr("closed")) << state(*shown) << detail(*shown);
        parts.removeAll(QString());
        return parts.join(QStringLiteral(", "));
    }
    case Qt::FontRole: {
        QFont font;
        font.setBold(records_.library().settings.activeWorkspaceID == shown->id);
        return font;
    }
    case ListEntry::detailRole:
        return detail(*shown);
    case ListEntry::sideRole:
        return state(*shown);
    case ListEntry::dotRole:
        return static_cast<int>(shown->isOpen ? ListEntry::Dot::open : ListEntry::Dot::putAside);
    default:
        return {};
    }
}

WorkspaceMembersModel::WorkspaceMembersModel(SessionRecords& records, DocumentRegistry& documents)
    : records_(records), documents_(documents)
{}

void WorkspaceMembersModel::show(const PenmarkWorkspace* workspace)
{
    using Kind = Row::Kind;
    std::vector<Row> rows;
    if (workspace != nullptr) {
        const WorkspaceMembershipSummary members = membershipOf(records_.library(), *workspace);
        if (!members.windows.empty())
            rows.push_back({Kind::windowsHeading, {}, {}, {}});
        for (const Uuid& window : members.windows)
            rows.push_back({Kind::window, window, window, {}});
        if (!members.tabs.empty())
            rows.push_back({Kind::tabsHeading, {}, {}, {}});
        for (const TabPlace& tab : members.tabs)
            rows.push_back({Kind::tab, tab.tab, tab.window, tab.document});
        if (members.unavailable() > 0)
            rows.push_back({Kind::unavailableHeading, {}, {}, {}});
        for (const Uuid& window : members.unavailableWindows)
            rows.push_back({Kind::missingWindow, window, {}, {}});
        for (const Uuid& tab : members.unavailableTabs)
            rows.push_back({Kind::missingTab, tab, {}, {}});
    }
    if (rows == rows_) {
        if (!rows_.empty())
            emit dataChanged(index(0), index(rowCount() - 1));
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

const WorkspaceMembersModel::Row* WorkspaceMembersModel::member(const QModelIndex& index) const
{
    if (!index.isValid())
        return nullptr;
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    return row.isHeading() ? nullptr : &row;
}

int WorkspaceMembersModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QString WorkspaceMembersModel::title(const Row& row) const
{
    switch (row.kind) {
    case Row::Kind::windowsHeading:
        return tr("Windows, with all their tabs");
    case Row::Kind::tabsHeading:
        return tr("Single tabs");
    case Row::Kind::unavailableHeading:
        return tr("Unavailable on this computer");
    case Row::Kind::window: {
        const RecoveryWindow* const window = records_.library().findWindow(row.member);
        return window != nullptr ? windowTitle(documents_, *window) : tr("Window");
    }
    case Row::Kind::tab:
        return documentTitle(documents_, *row.document);
    case Row::Kind::missingWindow:
        return tr("Window");
    case Row::Kind::missingTab:
        return tr("Tab");
    }
    return {};
}

QString WorkspaceMembersModel::detail(const Row& row) const
{
    if (!row.window)
        return row.isHeading() ? QString() : tr("Kept as a link; it shows here if it comes back.");
    QStringList parts;
    if (const PenmarkSession* const session = records_.library().sessionOf(*row.window))
        parts << sessionTitle(documents_, *session);
    const RecoveryWindow* const window = records_.library().findWindow(*row.window);
    const bool isAside = window != nullptr && (!window->isOpen || (row.document && isPutAside(*window, *row.document)));
    if (isAside)
        parts << tr("put aside");
    return parts.join(QStringLiteral(" · "));
}

QVariant WorkspaceMembersModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return title(row);
    case Qt::AccessibleDescriptionRole:
    case ListEntry::detailRole:
        return detail(row);
    case ListEntry::headingRole:
        return row.isHeading();
    default:
        return {};
    }
}

}  // namespace penmark
