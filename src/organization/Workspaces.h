// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <optional>
#include <string>
#include <vector>

namespace penmark {

// What can be done with workspaces. Each function changes the library as a whole or, when it throws a SessionError, not
// at all. One that is not there is `workspaceGone`.

/// A tab: a document in a window.
struct TabPlace {
    Uuid window;
    Uuid document;
    Uuid tab;  ///< its identity

    friend bool operator==(const TabPlace&, const TabPlace&) = default;
};

/// The members of a workspace. Never stored. Those without a window or tab on this computer are kept.
struct WorkspaceMembershipSummary {
    std::vector<Uuid> windows;  ///< linked as a whole; open, closed or put aside
    std::vector<TabPlace> tabs;
    std::vector<Uuid> unavailableWindows;
    std::vector<Uuid> unavailableTabs;

    std::size_t available() const { return windows.size() + tabs.size(); }
    std::size_t unavailable() const { return unavailableWindows.size() + unavailableTabs.size(); }
};

/// An open workspace that links the window, in whose session it is made; it becomes the active one. The name may be
/// empty. Throws windowGone.
Uuid createWorkspace(SessionLibrary& library, const Uuid& window, std::string name);
void renameWorkspace(SessionLibrary& library, const Uuid& workspace, std::string name);
/// Removes the group alone. What was put aside with it comes back unless another closed workspace holds it aside.
void removeWorkspace(SessionLibrary& library, const Uuid& workspace);

/// Linking twice is as once. What a closed workspace is given is put aside unless an open one links it. Throws
/// windowGone for a window that no session has.
void linkWindow(SessionLibrary& library, const Uuid& workspace, const Uuid& window);
/// By the tab's identity, which the window's record has. Throws tabNotOpen for a tab that no window has.
void linkTab(SessionLibrary& library, const Uuid& workspace, const Uuid& tab);
/// Unavailable members can be unlinked too. What is not linked changes nothing. What was put aside comes back as for
/// removeWorkspace.
void unlinkWindow(SessionLibrary& library, const Uuid& workspace, const Uuid& window);
void unlinkTab(SessionLibrary& library, const Uuid& workspace, const Uuid& tab);

/// Puts aside those members that no other open workspace links: windows are no longer open, tabs no longer among the
/// documents of their window. Their session keeps them. A window whose last tab goes is put aside with it.
void closeWorkspace(SessionLibrary& library, const Uuid& workspace);
/// Shows its members again, as far as their sessions are open, and makes it the active one. Closed sessions stay
/// closed.
void reopenWorkspace(SessionLibrary& library, const Uuid& workspace);

/// The user has turned to this workspace: what follows the current workspace follows it.
void activateWorkspace(SessionLibrary& library, const Uuid& workspace);
/// Shows its members alone; opens and activates it. No link changes and nothing is closed.
void focusWorkspace(SessionLibrary& library, const Uuid& workspace);
/// Shows all again.
void endFocus(SessionLibrary& library);

WorkspaceMembershipSummary membershipOf(const SessionLibrary& library, const PenmarkWorkspace& workspace);
/// The documents of its windows and tabs, each once.
std::vector<Uuid> documentsOfWorkspace(const SessionLibrary& library, const Uuid& workspace);
/// The workspaces that link the window, or the tab, or the tab's window.
std::vector<Uuid> workspacesOf(const SessionLibrary& library, const Uuid& window, const std::optional<Uuid>& tab = {});

}  // namespace penmark
