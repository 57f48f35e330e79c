// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace penmark {

// What can be done with sessions. Each function changes the library as a whole or, when it throws a SessionError, not
// at all. A session that is not there is `sessionGone`. Documents are never touched: whatever a session shows stays in
// the library without it.

constexpr std::size_t recentSessionsKept = 50;

/// An open session without windows, which becomes the active one. Throws nestingLoop for a parent that is not there,
/// destinationNotOpen for one that is closed. An empty name is none.
Uuid createSession(SessionLibrary& library, std::optional<std::string> name, std::optional<Uuid> parent, Date now);

/// Without a name, or with an empty one, it is shown by what is in it.
void renameSession(SessionLibrary& library, const Uuid& session, std::optional<std::string> name);

/// Puts the session and those nested in it aside. Their windows, tabs and links to workspaces stay as they are. If the
/// active session is among them the one used last of the others that are open becomes active, or none.
void closeSession(SessionLibrary& library, const Uuid& session);

/// Opens the session and those nested in it, and makes it the active one. Windows that were put aside with a workspace
/// are shown again.
void reopenSession(SessionLibrary& library, const Uuid& session);

/// Nests the session in another, or at the top without one. Throws nestingLoop, or destinationNotOpen if an open
/// session would go into a closed one.
void moveSession(SessionLibrary& library, const Uuid& session, std::optional<Uuid> parent);

/// Removes the session with its windows. Those nested in it take its place. Links of workspaces to its windows stay, as
/// unavailable ones.
void deleteSession(SessionLibrary& library, const Uuid& session);

/// An open copy beside the session with windows of its own that show the same documents; nested sessions are not
/// copied. It shows what was put aside too, and becomes the active one. Returns its identity.
Uuid duplicateSession(SessionLibrary& library, const Uuid& session, Date now);

/// The session is in use: it comes first among the recent ones and, unless it is closed, becomes the active one.
void useSession(SessionLibrary& library, const Uuid& session);

/// The session that new windows join: the active one if it is open, else the one used last that is, else a new one
/// without a name.
Uuid requireActiveSession(SessionLibrary& library, Date now);

/// Moves a window with its tabs to another session. Throws destinationNotOpen, windowNotOpen.
void moveWindow(SessionLibrary& library, const Uuid& window, const Uuid& session);

/// Takes over how a window is now. The session is the one that has it, else the one that its record names, else the
/// active one. Windows of the library keep their place among those of the session; a new one comes last, and in front
/// of the others on the screen. Tabs without an identity get one. A tab that has an identity and is not among the
/// documents is put aside if a closed workspace links it; else it is shown if the window had it, and dropped if not.
void putWindow(SessionLibrary& library, RecoveryWindow window, Date now);

void setReturnNote(SessionLibrary& library, const Uuid& session, std::optional<Uuid> document);
void attachProject(SessionLibrary& library, const Uuid& session, const Uuid& project);
void detachProject(SessionLibrary& library, const Uuid& session, const Uuid& project);

/// The session and all nested in it, at any depth; each before those nested in it, siblings in their order.
std::vector<Uuid> sessionAndNested(const SessionLibrary& library, const Uuid& session);

/// The documents that the session holds attached: those of its windows and its return note, each once.
/// What was put aside belongs to it.
std::vector<Uuid> documentsOf(const PenmarkSession& session);
/// The same with nested sessions.
std::vector<Uuid> documentsOfSession(const SessionLibrary& library, const Uuid& session);

/// Whether any session holds the document, by a tab or as its return note.
bool isAttached(const SessionLibrary& library, const Uuid& document);

/// All windows that sessions or closed items have.
std::set<Uuid> knownWindows(const SessionLibrary& library);

/// The windows that are to be seen: of open sessions, open themselves, with tabs; and of these, while a workspace is in
/// focus, those that it links or that have a tab it links. The one in front first.
std::vector<Uuid> shownWindows(const SessionLibrary& library);

}  // namespace penmark
