// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/WorkspaceSection.h"

#include "app/navigator/DraggedRows.h"
#include "app/navigator/ReplaceRows.h"

#include <QMenu>
#include <algorithm>

namespace penmark {

void WorkspaceSection::libraryChanged()
{
    members_.clear();
    rebuild();
}

void WorkspaceSection::rebuild()
{
    std::vector<Node> wanted;
    matches_ = 0;
    for (const Workspace& each : library().workspaces.items()) {
        if (isFiltered() && !isHit(*each))
            continue;
        ++matches_;
        Node node;
        node.workspace = each;
        node.isExpandable = !each->windowIDs.empty() || !each->tabIDs.empty();
        node.isExpanded = node.isExpandable && expanded_.count(each->id);
        node.isActive = library().settings.activeWorkspaceID == each->id;
        wanted.push_back(node);
        if (node.isExpanded)
            addMembers(node, wanted);
    }
    if (library().workspaces.isEmpty() && !isFiltered()) {
        Node message;
        message.kind = Kind::message;
        wanted.push_back(message);
    }
    replaceRows(*this, rows_, std::move(wanted), [](const Node& one, const Node& other) { return one.isSame(other); });
    emit changedHeading();
}

void WorkspaceSection::addMembers(const Node& workspace, std::vector<Node>& nodes) const
{
    const WorkspaceMembershipSummary& members = membersOf(*workspace.workspace);
    const auto add = [&](Kind kind, const TabPlace& place) {
        Node node;
        node.workspace = workspace.workspace;
        node.kind = kind;
        node.place = place;
        nodes.push_back(node);
    };
    for (const Uuid& window : members.windows)
        add(Kind::window, {window, {}, {}});
    for (const TabPlace& tab : members.tabs)
        add(Kind::tab, tab);
    for (const Uuid& window : members.unavailableWindows)
        add(Kind::lostWindow, {window, {}, {}});
    for (const Uuid& tab : members.unavailableTabs)
        add(Kind::lostTab, {{}, {}, tab});
}

const WorkspaceMembershipSummary& WorkspaceSection::membersOf(const PenmarkWorkspace& workspace) const
{
    const auto found = members_.find(workspace.id);
    return found != members_.end() ? found->second
                                   : members_.emplace(workspace.id, source_.membership(workspace)).first->second;
}

bool WorkspaceSection::isHit(const PenmarkWorkspace& workspace) const
{
    if (matches(source_.workspaceTitle(workspace)))
        return true;
    const WorkspaceMembershipSummary& members = membersOf(workspace);
    const auto isShown = [this](const Uuid& document) { return matchesDocument(document); };
    return std::any_of(members.tabs.begin(), members.tabs.end(),
                       [&](const TabPlace& tab) { return isShown(tab.document); }) ||
           std::any_of(members.windows.begin(), members.windows.end(), [&](const Uuid& id) {
               const RecoveryWindow* const window = library().findWindow(id);
               return window && std::any_of(window->documents.begin(), window->documents.end(), isShown);
           });
}

int WorkspaceSection::count() const
{
    return isFiltered() && isBuilt() ? matches_ : static_cast<int>(library().workspaces.size());
}

QString WorkspaceSection::countText() const
{
    return count() == 1 ? tr("1 workspace") : tr("%1 workspaces").arg(count());
}

NavigatorRow WorkspaceSection::row(int number) const
{
    const Node& node = at(number);
    NavigatorRow row;
    row.depth = node.kind == Kind::workspace ? 0 : 1;
    row.isExpandable = node.isExpandable;
    row.isExpanded = node.isExpanded;
    switch (node.kind) {
    case Kind::message:
        row.kind = NavigatorRow::Kind::message;
        row.depth = 0;
        row.title = tr("No workspaces. Session > New Workspace with This Window links windows and tabs.");
        break;
    case Kind::workspace: {
        const PenmarkWorkspace& workspace = *node.workspace;
        const WorkspaceMembershipSummary& members = membersOf(workspace);
        const auto all = members.available() + members.unavailable();
        const QString count = all == 1 ? tr("1 member") : tr("%1 members").arg(all);
        row.kind = NavigatorRow::Kind::workspace;
        row.title = source_.workspaceTitle(workspace);
        row.name = QString::fromStdString(workspace.name);
        row.place =
            members.unavailable() == 0 ? count : tr("%1 · %2 unavailable").arg(count).arg(members.unavailable());
        row.badges = (workspace.isOpen ? NavigatorRow::isOpen : 0) | (node.isActive ? NavigatorRow::isActive : 0);
        row.canRename = true;
        const bool isFocused = library().settings.focusedWorkspaceID == workspace.id;
        row.state = (isFocused          ? tr("Workspace, in focus, %1")
                     : workspace.isOpen ? tr("Workspace, open, %1")
                                        : tr("Workspace, closed, %1"))
                        .arg(row.place);
        break;
    }
    case Kind::window: {
        const RecoveryWindow* const window = library().findWindow(node.place.window);
        row.kind = NavigatorRow::Kind::window;
        row.title = window ? source_.windowTitle(*window) : QString();
        row.place = tr("Window with all its tabs");
        row.state = row.place;
        break;
    }
    case Kind::tab:
        row.kind = NavigatorRow::Kind::tab;
        row.title = source_.documentTitle(node.place.document);
        row.place = tr("Tab");
        row.state = row.place;
        break;
    case Kind::lostWindow:
    case Kind::lostTab:
        row.kind = NavigatorRow::Kind::unavailable;
        row.title = node.kind == Kind::lostWindow ? tr("Window") : tr("Tab");
        row.place = tr("Unavailable on this computer");
        row.state = row.place;
        row.isQuiet = true;
        break;
    }
    return row;
}

void WorkspaceSection::setExpanded(int row, bool isExpanded)
{
    const Node& node = at(row);
    if (!node.isExpandable)
        return;
    if (isExpanded)
        expanded_.insert(node.workspace->id);
    else
        expanded_.erase(node.workspace->id);
    rebuild();
}

bool WorkspaceSection::activate(const Rows& rows, Activation)
{
    if (rows.empty())
        return true;
    const Node& node = at(rows.front());
    if (node.kind == Kind::workspace)
        actions_.reopenWorkspace(node.workspace->id);
    else if (node.kind == Kind::window)
        actions_.showWindow(node.place.window);
    else if (node.kind == Kind::tab)
        actions_.showWindow(node.place.window, node.place.document);
    return true;
}

bool WorkspaceSection::rename(int row, const QString& name)
{
    if (at(row).kind != Kind::workspace)
        return false;
    actions_.renameWorkspace(at(row).workspace->id, name.simplified());
    return true;
}

/// Takes members out. A workspace itself goes by its menu only: it cannot be brought back.
bool WorkspaceSection::remove(const Rows& rows)
{
    std::vector<Node> members;
    for (const int row : rows)
        members.push_back(at(row));
    for (const Node& member : members)
        unlink(member);
    return true;
}

void WorkspaceSection::unlink(const Node& member)
{
    if (member.kind == Kind::window || member.kind == Kind::lostWindow)
        actions_.unlinkWindow(member.workspace->id, member.place.window);
    else if (member.kind == Kind::tab || member.kind == Kind::lostTab)
        actions_.unlinkTab(member.workspace->id, member.place.tab);
}

void WorkspaceSection::fillMenu(QMenu& menu, const Rows& rows)
{
    if (rows.empty()) {
        menu.addAction(tr("Show All Open Workspaces"), this, [this] { actions_.showAllOpenWorkspaces(); });
        return;
    }
    const Node node = at(rows.front());
    if (node.kind == Kind::message)
        return;
    if (rows.size() == 1 && node.kind == Kind::workspace) {
        fillWorkspaceMenu(menu, rows.front());
        return;
    }
    if (rows.size() == 1 && (node.kind == Kind::window || node.kind == Kind::tab))
        menu.addAction(node.kind == Kind::tab ? tr("Go to Tab") : tr("Go to Window"), this, [this, node] {
            actions_.showWindow(node.place.window,
                                node.kind == Kind::tab ? std::optional(node.place.document) : std::nullopt);
        });
    std::vector<Node> members;
    for (const int row : rows)
        if (at(row).kind != Kind::workspace && at(row).kind != Kind::message)
            members.push_back(at(row));
    if (!members.empty())
        menu.addAction(tr("Unlink"), this,
                       [this, members] {
                           for (const Node& member : members)
                               unlink(member);
                       })
            ->setShortcut(QKeySequence(Qt::Key_Delete));
}

void WorkspaceSection::fillWorkspaceMenu(QMenu& menu, int row)
{
    const PenmarkWorkspace& workspace = *at(row).workspace;
    const Uuid id = workspace.id;
    menu.setToolTipsVisible(true);
    menu.addAction(workspace.isOpen ? tr("Open") : tr("Reopen Workspace"), this,
                   [this, id] { actions_.reopenWorkspace(id); });
    menu.addAction(tr("Close Workspace"), this, [this, id] { actions_.closeWorkspace(id); })
        ->setEnabled(workspace.isOpen);
    QAction* const focus = menu.addAction(tr("Focus"), this, [this, id] { actions_.focusWorkspace(id); });
    focus->setToolTip(tr("Other Penmark windows are hidden. Workspace membership is unchanged."));
    focus->setEnabled(library().settings.focusedWorkspaceID != id);
    menu.addAction(tr("Show All Open Workspaces"), this, [this] { actions_.showAllOpenWorkspaces(); })
        ->setEnabled(library().settings.focusedWorkspaceID.has_value());
    menu.addSeparator();
    menu.addAction(tr("Rename…"), this, [this, row] { emit renameAsked(row); })->setShortcut(QKeySequence(Qt::Key_F2));
    menu.addAction(tr("Manage Members"), this, [this, id] { actions_.manageMembers(id); });
    menu.addSeparator();
    menu.addAction(tr("Remove Workspace"), this, [this, id] { actions_.removeWorkspace(id); });
}

void WorkspaceSection::drag(int row, DraggedRows& dragged) const
{
    const Node& node = at(row);
    if (node.kind == Kind::window)
        dragged.windows.push_back(node.place.window);
    if (node.kind != Kind::tab)
        return;
    dragged.tabs.push_back({node.place.window, node.place.document});
    dragged.documents.push_back(node.place.document);
}

/// A document can be linked by a tab only, so one that no window shows cannot.
bool WorkspaceSection::canDrop(const DraggedRows& dragged, int row) const
{
    if (row < 0 || !at(row).workspace || !dragged.sessions.empty() || !dragged.files.empty())
        return false;
    return !dragged.windows.empty() ||
           std::any_of(dragged.documents.begin(), dragged.documents.end(),
                       [this](const Uuid& document) { return windowShowing(library(), document, {}) != nullptr; });
}

void WorkspaceSection::drop(const DraggedRows& dragged, int row)
{
    const Uuid workspace = at(row).workspace->id;
    for (const Uuid& window : dragged.windows)
        actions_.linkWindow(workspace, window);
    for (const Uuid& document : dragged.documents) {
        const auto tab = std::find_if(dragged.tabs.begin(), dragged.tabs.end(),
                                      [&](const DraggedRows::Tab& each) { return each.document == document; });
        if (tab != dragged.tabs.end())
            actions_.linkTab(workspace, tab->window, document);
        else if (const RecoveryWindow* const window = windowShowing(library(), document, {}))
            actions_.linkTab(workspace, window->id, document);
    }
}

const RecoveryWindow* windowShowing(const SessionLibrary& library, const Uuid& document, const Uuid& preferred)
{
    const RecoveryWindow* best = nullptr;
    int bestRank = 0;
    for (const PenmarkSession& session : library.sessions)
        for (const RecoveryWindow& window : session.windows) {
            if (std::find(window.documents.begin(), window.documents.end(), document) == window.documents.end())
                continue;
            const int rank = window.id == preferred ? 3 : session.isOpen && window.isOpen ? 2 : 1;
            if (rank > bestRank) {
                best = &window;
                bestRank = rank;
            }
        }
    return best;
}

}  // namespace penmark
