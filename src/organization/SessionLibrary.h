// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/ClosedPenmarkItem.h"
#include "organization/ItemList.h"
#include "organization/LibrarySettings.h"
#include "organization/PenmarkSession.h"
#include "organization/SessionRun.h"

#include <optional>
#include <string>
#include <vector>

namespace penmark {

/// Everything that a person has open or put aside, in memory: a value that is cheap to copy, so that a copy can be
/// saved in another thread, compared with a later state, or thrown away when an operation fails halfway. What changes
/// it stands in Sessions.h, Workspaces.h, ClosedItems.h, Projects.h and SessionVisits.h; SessionLibraryStore keeps it.
/// One thread at a time for each object.
struct SessionLibrary {
    ItemList<PenmarkSession> sessions;
    ItemList<PenmarkWorkspace> workspaces;
    ItemList<PenmarkProject> projects;
    ItemList<SessionRun> runs;
    ItemList<ClosedPenmarkItem> recentlyClosed;
    LibrarySettings settings;

    /// Null if no session has this window. Looks through all sessions: some 0.2 ms for 5,000.
    const RecoveryWindow* findWindow(const Uuid& window) const;
    /// The session that owns the window; null if none does.
    const PenmarkSession* sessionOf(const Uuid& window) const;

    friend bool operator==(const SessionLibrary&, const SessionLibrary&) = default;
};

/// The documents of a window: its tabs in order, then those that are put aside with a workspace.
std::vector<Uuid> documentsOf(const RecoveryWindow& window);

/// Whether the tab is in the window without being shown: it was put aside with a workspace. Its identity stays in
/// `tabIDs` while `documents` does not list it.
bool isPutAside(const RecoveryWindow& window, const Uuid& document);

/// Whether the window is to be seen, as far as its session and the workspaces that have put it aside are concerned.
bool isShown(const PenmarkSession& session, const RecoveryWindow& window);

/// What every save checks. Throws SessionError::Case::duplicateIdentity if an identity of a session or a window is
/// there twice, nestingLoop if a chain of parents does not end at a session without one.
void validate(const SessionLibrary& library);

/// All of it as one JSON object, for other computers. Throws RecoveryError `storage` for a text that is not UTF-8.
std::string encodeLibrary(const SessionLibrary& library);

}  // namespace penmark
