// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"
#include "search/FolderScanner.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>

namespace penmark {

/// Tells that something has changed directly in one of a list of folders: a file or folder made, removed, renamed or
/// written, not one whose permissions or times changed. What lies in folders inside them takes watching those too.
/// Nothing waits. One thread at a time.
class FolderWatcher {
public:
    static constexpr std::size_t folderLimit = 8'192;
    /// What the user is told where folders cannot be watched.
    static constexpr std::string_view unavailable =
        "Folder changes cannot be watched. Use Refresh to reconcile external edits.";

    /// Never throws: where nothing can be watched, add() is false.
    FolderWatcher();

    /// Watches one more folder. False if that is not possible, here or because of a limit of the system. A folder that
    /// is not there needs no watching. One that is watched already stays so.
    bool add(const std::string& folder);

    struct Result {
        bool isComplete = true;   ///< all of it is watched
        bool hasChanged = false;  ///< since the listing was begun
    };
    /// Watches the folders that a listing has found files in, and the empty ones among them. What has changed before
    /// they were watched is told by the times of files and folders; takes some 2 microseconds for each.
    Result addAll(const FolderScanner::Listing& listing);

    /// Has something to read once something has changed; -1 where nothing can be watched.
    int descriptor() const { return events_.get(); }

    /// Whether something has changed since the last call, or may have because the system lost count.
    bool drain();

private:
    FileDescriptor events_;
    std::unordered_set<int> watches_;
};

}  // namespace penmark
