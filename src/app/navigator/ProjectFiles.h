// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>
#include <string>

namespace penmark {

// What is done to the files of a project. Nothing that is there is ever replaced. Paths are absolute, as bytes. Any
// thread; each takes as long as the disk takes.

/// The sentence that says why it was not done; absent if it was.
using FileFailure = std::optional<QString>;

/// An empty file.
FileFailure makeFile(const std::string& path);
FileFailure makeFolder(const std::string& path);
/// Within one disk.
FileFailure moveFile(const std::string& from, const std::string& to);

struct TrashedFile {
    FileFailure failure;
    std::string path;  ///< in the trash; empty if it is not known
};
TrashedFile moveToTrash(const std::string& path);
FileFailure restoreFromTrash(const std::string& trashed, const std::string& path);

/// As it is shown; what is not UTF-8 in it is repaired.
QString shownName(const std::string& path);

}  // namespace penmark
