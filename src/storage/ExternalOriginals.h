// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/FileReplacement.h"
#include "storage/RecoveryFileAccess.h"

#include <string>

namespace penmark {

/// Ends a save that replaced a file. If the replaced file holds what the save expected, its backup is removed.
/// Otherwise another program wrote it meanwhile: it goes to "External originals" in the library folder, and
/// RecoveryError `storage` names the place. While any of this fails, the place that is named is the backup, or, if that
/// lacks what was written, a copy made beside it. With `keepsBackup` a backup of what was expected stays.
///
/// A program that has the replaced file open for writing is given a quarter of a second to finish, and what it writes
/// until the backup is removed counts.
void settleReplaced(const FolderHandle& folder, const ReplacedFile& replaced, const std::string& expectedDigest,
                    const std::string& originalName, const RecoveryFileAccess& access, bool keepsBackup = false);

/// The name for a preserved file: a fresh identifier, a hyphen and the file's name. A name that would be too long for a
/// file system is shortened in front of its extension, between two characters.
std::string preservedName(const std::string& originalName);

}  // namespace penmark
