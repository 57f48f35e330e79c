// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/WorkspaceLinks.h"

#include "organization/WindowTabs.h"

#include <algorithm>

namespace penmark {

void LinkedMembers::add(const PenmarkWorkspace& workspace)
{
    windows.insert(workspace.windowIDs.begin(), workspace.windowIDs.end());
    tabs.insert(workspace.tabIDs.begin(), workspace.tabIDs.end());
}

bool LinkedMembers::link(const Uuid& window, const std::optional<Uuid>& tab) const
{
    return windows.count(window) != 0 || (tab && tabs.count(*tab) != 0);
}

bool LinkedMembers::concern(const RecoveryWindow& window) const
{
    return windows.count(window.id) != 0 ||
           (!tabs.empty() && std::any_of(window.tabIDs.begin(), window.tabIDs.end(),
                                         [&](const auto& tab) { return tabs.count(tab.second) != 0; }));
}

WorkspaceLinks::WorkspaceLinks(const ItemList<PenmarkWorkspace>& workspaces)
{
    for (const PenmarkWorkspace& workspace : workspaces)
        (workspace.isOpen ? open_ : closed_).add(workspace);
}

bool WorkspaceLinks::holdAside(const Uuid& window, const std::optional<Uuid>& tab) const
{
    return closed_.link(window, tab) && !open_.link(window, tab);
}

void WorkspaceLinks::putAside(RecoveryWindow& window, const LinkedMembers& members) const
{
    std::vector<Uuid> going;
    for (const Uuid& document : window.documents) {
        const auto tab = tabIdentity(window, document);
        if (members.link(window.id, tab) && holdAside(window.id, tab))
            going.push_back(document);
    }
    if (going.empty())
        return;
    if (going.size() == window.documents.size()) {
        window.isOpen = false;
        if (members.windows.count(window.id) != 0)
            return;
    }
    for (const Uuid& document : going)
        putTabAside(window, document);
}

void WorkspaceLinks::bringBack(RecoveryWindow& window) const
{
    std::set<Uuid> free;
    for (const Uuid& document : documentsOf(window)) {
        if (!holdAside(window.id, tabIdentity(window, document)))
            free.insert(document);
    }
    if (free.empty())
        return;
    openFor(window, free);
}

void WorkspaceLinks::openFor(RecoveryWindow& window, const std::set<Uuid>& documents) const
{
    for (const Uuid& document : documentsOf(window)) {
        const bool isWanted = documents.count(document) != 0;
        if (isWanted)
            showTab(window, document);
        else if (!window.isOpen && holdAside(window.id, tabIdentity(window, document)))
            putTabAside(window, document);
    }
    window.isOpen = true;
}

}  // namespace penmark
