// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <optional>
#include <set>

namespace penmark {

/// What some workspaces link.
struct LinkedMembers {
    std::set<Uuid> windows;
    std::set<Uuid> tabs;

    void add(const PenmarkWorkspace& workspace);
    /// The tab itself or the whole window.
    bool link(const Uuid& window, const std::optional<Uuid>& tab) const;
    /// The window or any of its tabs, those put aside included.
    bool concern(const RecoveryWindow& window) const;
};

/// What the workspaces of a library link, and by that which tabs belong aside. A tab is put aside only while a closed
/// workspace links it, or its window, and no open one does. The reverse does not hold: a session that is reopened shows
/// all of its windows.
class WorkspaceLinks {
public:
    explicit WorkspaceLinks(const ItemList<PenmarkWorkspace>& workspaces);

    bool holdAside(const Uuid& window, const std::optional<Uuid>& tab) const;

    /// Puts aside those of `members`, which a workspace that is closed links, that belong aside. A window that goes as
    /// a whole keeps its tabs; one whose last tab goes is no longer open.
    void putAside(RecoveryWindow& window, const LinkedMembers& members) const;

    /// Shows the tabs that no longer belong aside, and opens the window if there are such. Others that it showed when
    /// it was put aside as a whole are then put aside one by one.
    void bringBack(RecoveryWindow& window) const;

    /// Opens the window for a tab that is to be seen whatever holds it.
    void openFor(RecoveryWindow& window, const std::set<Uuid>& documents) const;

private:
    LinkedMembers open_;
    LinkedMembers closed_;
};

}  // namespace penmark
