// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "cli/CommandContext.h"
#include "organization/SessionLibrary.h"

#include <string_view>

namespace penmark::cli {

/// What a library holds of sessions, workspaces, projects, visits and closed items, for a command that lists it.
struct ListedSessions {
    SessionLibrary library;
    bool isSound = true;  ///< false if something could not be read, which has been said on standard error
};
ListedSessions readSessions(Console& console, RecoveryStore& store);

/// Changes them: all that `change` does, or nothing if it throws. Records that cannot be read stay as they are.
void changeSessions(RecoveryStore& store, FunctionRef<void(SessionLibrary&)> change);

/// Prints the stored records of a kind of items, the first one first. Returns whether all can be read; of others
/// it is said on standard error.
bool printItemRecords(Console& console, RecoveryStore& store, std::string_view kind);

/// The path of a project folder: absolute and without links, so that a folder has one. Throws SystemError if it is no
/// folder.
std::string folderPath(const std::string& typed);

/// "open" or "closed".
std::string openOrClosed(bool isOpen);

/// "pinned" or "automatic": what automatic cleanup keeps, and what it may remove.
std::string pinnedOrAutomatic(bool isPinned);

}  // namespace penmark::cli
