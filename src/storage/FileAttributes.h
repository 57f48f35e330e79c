// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/FolderHandle.h"

namespace penmark {

/// Gives `to` the permission bits, owner, extended attributes and access control list of `from`, as far as the process
/// may: an owner or an attribute that only a privileged process can set is left out. Nobody gains by what is left out:
/// without the old group its permissions shrink to everybody's, and set-id bits go with the owner or group that they
/// stand for. Throws SystemError for every other failure, such as a full disk.
void copyAttributes(const FileDescriptor& from, const FileDescriptor& to, const BeforeSystemCall& before);

}  // namespace penmark
