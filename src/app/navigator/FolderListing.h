// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/IgnoreRules.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace penmark {

/// Something in a folder. Hidden names are left out, and so is what is neither a file nor a folder.
struct FolderEntry {
    std::string name;    ///< as bytes; need not be UTF-8
    std::string folded;  ///< for filters
    bool isFolder = false;
    bool isLoop = false;  ///< a link to a folder that this one is in
    bool isIgnored = false;

    friend bool operator==(const FolderEntry&, const FolderEntry&) = default;
};

/// What a folder holds, or why that is not known. Immutable; any thread.
struct FolderListing {
    static constexpr std::size_t most = 10'000;

    std::vector<std::shared_ptr<const FolderEntry>> entries;     ///< folders first, numbers in names by their value
    std::size_t beyond = 0;                                      ///< how many more there are than `most`
    IgnoreRules::Shared rules;                                   ///< for what is below
    std::vector<std::pair<unsigned long, unsigned long>> chain;  ///< device and inode, of the folders around it too
    bool isIgnored = false;
    std::optional<std::string> problem;  ///< the system's reason; there are no entries then
};

/// Reads the folder at the path, which takes as long as its disk takes. `around` is the listing of the folder that it
/// is in; null for the top of a project.
FolderListing readFolder(const std::string& path, const FolderListing* around, bool isIgnored);

}  // namespace penmark
