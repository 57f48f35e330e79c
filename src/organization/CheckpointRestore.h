// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "organization/LocalDay.h"
#include "organization/SessionCheckpoint.h"
#include "organization/SessionLibrary.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class RecoveryStore;

/// What is behind the title of a copy that was restored from a checkpoint or from history.
constexpr std::string_view restoredCopySuffix = " — restored copy";

/// The session that encloses what is restored.
struct EnclosingSession {
    std::string name;            ///< empty: after the checkpoint
    std::optional<Uuid> parent;  ///< open
};

struct RestoreChoice {
    std::optional<std::set<Uuid>> only;       ///< documents; absent: all, with their sessions
    std::optional<EnclosingSession> session;  ///< made in any case if it is given
    std::function<void()> proceed = {};       ///< called again and again; what it throws ends the restoring
};

struct CheckpointRestored {
    SessionLibrary library;             ///< with the new sessions; saved
    std::map<Uuid, Uuid> documents;     ///< from those of the checkpoint to their copies
    std::optional<Uuid> session;        ///< that encloses what was restored; absent if it is documents alone
    std::vector<std::string> problems;  ///< one sentence for each document whose text is no longer there
};

/// Restores a checkpoint as copies, in one transaction; nothing that is there is changed. Every document becomes a new
/// one without a file, with the checkpoint's text and its title then with the suffix. Its sessions become new ones,
/// with new windows and tabs that hold the copies, nested as they were in a new session named after the checkpoint;
/// those that were open are open. A checkpoint without sessions, or a choice of documents, gives documents alone, or
/// as the tabs of one window if an enclosing session is wanted. Projects that restored sessions are attached to and
/// that are gone are there again; workspaces are not restored, so that what was put aside with one is shown when its
/// session is opened again.
///
/// Texts are not read or stored again: some 70 microseconds a document. Throws SessionError (checkpointGone, and as
/// createSession for the parent), RecoveryError and what `proceed` throws; then nothing is restored. `stored` is what
/// the library holds of sessions.
CheckpointRestored restoreCheckpoint(RecoveryStore& store, const Uuid& checkpoint, const SessionLibrary& stored,
                                     const RestoreChoice& choice = {}, const Clock& clock = Date::now,
                                     const LocalCalendar& calendar = systemLocalDay);

}  // namespace penmark
