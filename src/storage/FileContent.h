// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/FolderHandle.h"

#include <string>
#include <string_view>

namespace penmark {

/// A file's whole content in pieces, however large it is, from the first byte and whatever the descriptor's position.
/// Failures are SystemErrors. `before` is told of each piece.

/// The digest of the content.
std::string digestContent(const FileDescriptor& file, const BeforeSystemCall& before);

/// Makes the content of `to` equal to that of `from`, and returns its digest. `to` is not synced.
std::string copyContent(const FileDescriptor& from, const FileDescriptor& to, const BeforeSystemCall& before);

/// Makes the bytes the content of the file. Old bytes are overwritten before the length changes, so that a file that
/// does not grow needs no space. Not synced.
void writeContent(const FileDescriptor& file, std::string_view bytes, const BeforeSystemCall& before);

/// fsync.
void syncContent(const FileDescriptor& file, const BeforeSystemCall& before);

}  // namespace penmark
