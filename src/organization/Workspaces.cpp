// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Workspaces.h"

#include "organization/SessionEdit.h"
#include "organization/SessionError.h"
#include "organization/WindowTabs.h"
#include "organization/WorkspaceLinks.h"

#include <algorithm>
#include <map>
#include <set>

namespace penmark {

namespace {

const PenmarkWorkspace& requireWorkspace(const SessionLibrary& library, const Uuid& workspace)
{
    const PenmarkWorkspace* const found = library.workspaces.find(workspace);
    if (found == nullptr)
        throw SessionError(SessionError::Case::workspaceGone);
    return *found;
}

bool contains(const std::vector<Uuid>& ids, const Uuid& id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

const RecoveryWindow* windowOfTab(const SessionLibrary& library, const Uuid& tab)
{
    LinkedMembers wanted;
    wanted.tabs.insert(tab);
    for (const PenmarkSession& session : library.sessions) {
        for (const RecoveryWindow& window : session.windows) {
            if (wanted.concern(window))
                return &window;
        }
    }
    return nullptr;
}

// Changes every window that is a member or has a tab that is one.
void changeMembers(SessionLibrary& library, const LinkedMembers& members, FunctionRef<void(RecoveryWindow&)> change)
{
    std::vector<Uuid> sessions;
    for (const PenmarkSession& session : library.sessions) {
        if (std::any_of(session.windows.begin(), session.windows.end(),
                        [&](const RecoveryWindow& window) { return members.concern(window); }))
            sessions.push_back(session.id);
    }
    SessionEdit edit(library);
    for (const Uuid& id : sessions) {
        edit.change(id, [&](PenmarkSession& session) {
            for (RecoveryWindow& window : session.windows) {
                if (members.concern(window))
                    change(window);
            }
        });
    }
    edit.finish();
}

void putAside(SessionLibrary& library, const LinkedMembers& members)
{
    const WorkspaceLinks links(library.workspaces);
    changeMembers(library, members, [&](RecoveryWindow& window) { links.putAside(window, members); });
}

void bringBack(SessionLibrary& library, const LinkedMembers& members)
{
    const WorkspaceLinks links(library.workspaces);
    changeMembers(library, members, [&](RecoveryWindow& window) { links.bringBack(window); });
}

void forgetInSettings(LibrarySettings& settings, const Uuid& workspace)
{
    if (settings.activeWorkspaceID == workspace)
        settings.activeWorkspaceID.reset();
    if (settings.focusedWorkspaceID == workspace)
        settings.focusedWorkspaceID.reset();
}

// Behind the change of a workspace's links by `members`.
void settleLinked(SessionLibrary& library, const Uuid& workspace, const LinkedMembers& members)
{
    if (requireWorkspace(library, workspace).isOpen)
        bringBack(library, members);
    else
        putAside(library, members);
}

void settleUnlinked(SessionLibrary& library, const Uuid& workspace, const LinkedMembers& members)
{
    if (!requireWorkspace(library, workspace).isOpen)
        bringBack(library, members);
}

// The tabs that a workspace links, as far as there are such.
std::map<Uuid, TabPlace> placesOfTabs(const SessionLibrary& library, const PenmarkWorkspace& workspace)
{
    LinkedMembers members;
    members.tabs.insert(workspace.tabIDs.begin(), workspace.tabIDs.end());
    std::map<Uuid, TabPlace> places;
    if (members.tabs.empty())
        return places;
    for (const PenmarkSession& session : library.sessions) {
        for (const RecoveryWindow& window : session.windows) {
            for (const auto& [document, tab] : window.tabIDs) {
                if (members.tabs.count(tab) != 0)
                    places.emplace(tab, TabPlace{window.id, document, tab});
            }
        }
    }
    return places;
}

std::set<Uuid> existingWindows(const SessionLibrary& library, const PenmarkWorkspace& workspace)
{
    const std::set<Uuid> wanted(workspace.windowIDs.begin(), workspace.windowIDs.end());
    std::set<Uuid> existing;
    if (wanted.empty())
        return existing;
    for (const PenmarkSession& session : library.sessions) {
        for (const RecoveryWindow& window : session.windows) {
            if (wanted.count(window.id) != 0)
                existing.insert(window.id);
        }
    }
    return existing;
}

}  // namespace

Uuid createWorkspace(SessionLibrary& library, const Uuid& window, std::string name)
{
    const PenmarkSession* const session = library.sessionOf(window);
    if (session == nullptr)
        throw SessionError(SessionError::Case::windowGone);
    PenmarkWorkspace workspace;
    workspace.id = Uuid::random();
    workspace.name = std::move(name);
    workspace.sessionID = session->id;
    workspace.windowIDs = {window};
    const Uuid id = workspace.id;
    LinkedMembers members;
    members.add(workspace);
    library.workspaces.put(std::move(workspace));
    bringBack(library, members);
    activateWorkspace(library, id);
    return id;
}

void renameWorkspace(SessionLibrary& library, const Uuid& workspace, std::string name)
{
    requireWorkspace(library, workspace);
    library.workspaces.change(workspace, [&](PenmarkWorkspace& changed) { changed.name = std::move(name); });
}

void removeWorkspace(SessionLibrary& library, const Uuid& workspace)
{
    const PenmarkWorkspace removed = requireWorkspace(library, workspace);
    library.workspaces.remove(removed.id);
    forgetInSettings(library.settings, removed.id);
    LinkedMembers members;
    members.add(removed);
    if (!removed.isOpen)
        bringBack(library, members);
}

void linkWindow(SessionLibrary& library, const Uuid& workspace, const Uuid& window)
{
    const Uuid changing = workspace;  // the caller's may be a part of the record that is replaced
    if (contains(requireWorkspace(library, workspace).windowIDs, window))
        return;
    if (library.findWindow(window) == nullptr)
        throw SessionError(SessionError::Case::windowNotOpen);
    LinkedMembers members;
    members.windows.insert(window);
    library.workspaces.change(changing, [&](PenmarkWorkspace& changed) { changed.windowIDs.push_back(window); });
    settleLinked(library, changing, members);
}

void linkTab(SessionLibrary& library, const Uuid& workspace, const Uuid& tab)
{
    const Uuid changing = workspace;  // the caller's may be a part of the record that is replaced
    if (contains(requireWorkspace(library, workspace).tabIDs, tab))
        return;
    if (windowOfTab(library, tab) == nullptr)
        throw SessionError(SessionError::Case::tabNotOpen);
    LinkedMembers members;
    members.tabs.insert(tab);
    library.workspaces.change(changing, [&](PenmarkWorkspace& changed) { changed.tabIDs.push_back(tab); });
    settleLinked(library, changing, members);
}

void unlinkWindow(SessionLibrary& library, const Uuid& workspace, const Uuid& window)
{
    const Uuid changing = workspace;  // the caller's may be a part of the record that is replaced
    if (!contains(requireWorkspace(library, workspace).windowIDs, window))
        return;
    LinkedMembers members;
    members.windows.insert(window);
    library.workspaces.change(changing, [&](PenmarkWorkspace& changed) { std::erase(changed.windowIDs, window); });
    settleUnlinked(library, changing, members);
}

void unlinkTab(SessionLibrary& library, const Uuid& workspace, const Uuid& tab)
{
    const Uuid changing = workspace;  // the caller's may be a part of the record that is replaced
    if (!contains(requireWorkspace(library, workspace).tabIDs, tab))
        return;
    LinkedMembers members;
    members.tabs.insert(tab);
    library.workspaces.change(changing, [&](PenmarkWorkspace& changed) { std::erase(changed.tabIDs, tab); });
    settleUnlinked(library, changing, members);
}

void closeWorkspace(SessionLibrary& library, const Uuid& workspace)
{
    const PenmarkWorkspace closed = requireWorkspace(library, workspace);
    if (!closed.isOpen)
        return;
    library.workspaces.change(closed.id, [](PenmarkWorkspace& changed) { changed.isOpen = false; });
    if (library.settings.focusedWorkspaceID == closed.id)
        library.settings.focusedWorkspaceID.reset();
    LinkedMembers members;
    members.add(closed);
    putAside(library, members);
}

void reopenWorkspace(SessionLibrary& library, const Uuid& workspace)
{
    const PenmarkWorkspace reopened = requireWorkspace(library, workspace);
    library.workspaces.change(reopened.id, [](PenmarkWorkspace& changed) { changed.isOpen = true; });
    LinkedMembers members;
    members.add(reopened);
    bringBack(library, members);
    library.settings.activeWorkspaceID = reopened.id;
}

void activateWorkspace(SessionLibrary& library, const Uuid& workspace)
{
    library.settings.activeWorkspaceID = requireWorkspace(library, workspace).id;
}

void focusWorkspace(SessionLibrary& library, const Uuid& workspace)
{
    reopenWorkspace(library, workspace);
    library.settings.focusedWorkspaceID = library.settings.activeWorkspaceID;
}

void endFocus(SessionLibrary& library)
{
    library.settings.focusedWorkspaceID.reset();
}

WorkspaceMembershipSummary membershipOf(const SessionLibrary& library, const PenmarkWorkspace& workspace)
{
    const std::set<Uuid> windows = existingWindows(library, workspace);
    const std::map<Uuid, TabPlace> tabs = placesOfTabs(library, workspace);
    WorkspaceMembershipSummary summary;
    for (const Uuid& window : workspace.windowIDs)
        (windows.count(window) != 0 ? summary.windows : summary.unavailableWindows).push_back(window);
    for (const Uuid& tab : workspace.tabIDs) {
        const auto place = tabs.find(tab);
        if (place != tabs.end())
            summary.tabs.push_back(place->second);
        else
            summary.unavailableTabs.push_back(tab);
    }
    return summary;
}

std::vector<Uuid> documentsOfWorkspace(const SessionLibrary& library, const Uuid& workspace)
{
    const WorkspaceMembershipSummary summary = membershipOf(library, requireWorkspace(library, workspace));
    std::vector<Uuid> documents;
    std::set<Uuid> seen;
    const auto append = [&](const Uuid& document) {
        if (seen.insert(document).second)
            documents.push_back(document);
    };
    for (const Uuid& window : summary.windows) {
        for (const Uuid& document : documentsOf(*library.findWindow(window)))
            append(document);
    }
    for (const TabPlace& tab : summary.tabs)
        append(tab.document);
    return documents;
}

std::vector<Uuid> workspacesOf(const SessionLibrary& library, const Uuid& window, const std::optional<Uuid>& tab)
{
    std::vector<Uuid> found;
    for (const PenmarkWorkspace& workspace : library.workspaces) {
        if (contains(workspace.windowIDs, window) || (tab && contains(workspace.tabIDs, *tab)))
            found.push_back(workspace.id);
    }
    return found;
}

}  // namespace penmark
