// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace penmark {

/// Variables of a process by name.
using Environment = std::map<std::string, std::string>;

/// The variables of this process as they are now. Not while another thread changes them.
Environment currentEnvironment();

/// The user's documents folder: what user-dirs.dirs says, or "Documents" in the home folder. It may not exist.
std::filesystem::path documentsFolder(const Environment& environment);

/// Where what only speeds searches up is kept: "penmark" in the user's cache folder. It may not exist.
std::filesystem::path searchIndexFolder(const Environment& environment);

/// Where the library is.
struct RecoveryConfiguration {
    std::filesystem::path root;                       ///< the library folder
    std::optional<std::filesystem::path> legacyRoot;  ///< an older library to take over; absent means there is none

    /// An absolute PENMARK_DATA_ROOT decides, together with PENMARK_LEGACY_ROOT; otherwise the library is
    /// "Penmark/Recovery-v1" in the user's data folder and the older one "Penmark" in the documents folder.
    static RecoveryConfiguration fromEnvironment(const Environment& environment);
};

}  // namespace penmark
