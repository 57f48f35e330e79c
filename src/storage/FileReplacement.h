// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/FolderHandle.h"

#include <optional>
#include <string>
#include <string_view>

namespace penmark {

/// The file that holds the new text until the target does. It is removed with its owner, unless it was given away or
/// its name has come to stand for another file.
class TemporaryFile {
public:
    /// Creates ".penmark-write-UUID"; fails if that exists. Throws SystemError.
    TemporaryFile(const FolderHandle& folder, mode_t mode);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    const std::string& name() const { return name_; }
    const FileDescriptor& file() const { return file_; }

    /// The name now stands for something else, or for nothing: leave it alone.
    void release() { owned_ = false; }
    /// The name stands for the new text again.
    void own() { owned_ = true; }

private:
    const FolderHandle& folder_;
    std::string name_;
    FileDescriptor file_;
    bool owned_ = true;
};

/// The file that a save took the place of. Its content may be newer than what was checked before the save.
struct ReplacedFile {
    std::string backupName;      ///< in the target's folder; empty if nothing there holds the content
    FileDescriptor content;      ///< of the file itself, opened for reading
    int openError = 0;           ///< why it is not open
    bool backupIsCopy = false;   ///< made before the last comparison, so that it lacks what was written later
    bool textIsAtTarget = true;  ///< false if another program took the name again
};

/// Puts the temporary file in the place of the target and keeps the replaced file; of the two names, every moment shows
/// either the old or the new content at the target. The ways, the first that the file system knows:
///
/// 1. The two files exchange their names in one step, whatever the target is by then, and the old one is renamed.
/// 2. The old file gets a second name, and the temporary file is renamed over the first.
/// 3. The old file is copied durably, and the temporary file is renamed over it.
///
/// Behind 2 and 3 the content is compared once more just before the step; a file that another program puts at the
/// target within the microseconds between the two is lost with it.
///
/// Absent, with nothing changed, if the target cannot be renamed over, as the target of a bind mount. Throws
/// RecoveryError `externalChange` if the target is another file than expected or no file any more, RecoveryError
/// `storage` with the hidden file's path if what was found at the target could not be put back, SystemError for other
/// failures, also if it is gone; then the target is untouched.
std::optional<ReplacedFile> replaceFile(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target,
                                        std::string_view expectedDigest);

/// Overwrites the target's own bytes, for a file whose name cannot be replaced or that has several names. Before the
/// first byte is written, the old content is durable in a backup beside the target; it is removed once the new
/// content is durable and was read back. On a failure between the two the old content is put back. No other descriptor
/// of this process should be open on the file: then other programs that open it can be made to wait, where the file
/// system and its owner permit.
///
/// Throws RecoveryError `externalChange` if the content is not the expected one, with nothing changed; SystemError if
/// the target holds its old content; RecoveryError `storage` with the backup's path if neither content is certain.
void writeInPlace(const FolderHandle& folder, const std::string& target, std::string_view bytes,
                  std::string_view expectedDigest);

}  // namespace penmark
