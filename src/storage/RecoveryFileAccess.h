// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/FolderHandle.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace penmark {

/// The path that a save to this one really writes: behind every symbolic link at its end, also one whose target does
/// not exist. Throws RecoveryError `storage` for what is no path of a file and for links that may not be followed.
std::filesystem::path resolveOriginal(const std::filesystem::path& path);

/// Writes documents to their original files, so that neither the text nor a change that another program made to the
/// file meanwhile is lost. docs/saving.md follows a save through each of its steps.
///
/// A value; any thread, but one save of a document at a time. Every failure is a RecoveryError.
class RecoveryFileAccess {
public:
    /// Versions that other programs wrote during a save are kept in "External originals" below `recoveryRoot`.
    explicit RecoveryFileAccess(std::filesystem::path recoveryRoot, BeforeSystemCall beforeCall = {})
        : recoveryRoot_(std::move(recoveryRoot)), beforeCall_(std::move(beforeCall))
    {}

    const std::filesystem::path& recoveryRoot() const { return recoveryRoot_; }

    /// Writes the bytes, already encoded, to the file at the end of the target's symbolic links; when it returns they
    /// are on the disk. `expectedDigest` is that of the file as last read or saved; absent if there should be no file.
    ///
    /// Throws `externalChange` if the file is not the expected one, with nothing written; `storage` if it is read-only
    /// (nobody may write it by its permission bits, or this process may not), no regular file, or with the system's
    /// reason, and then the file is as it was; `storage` with the place of the other version if another program wrote
    /// the file during the save.
    void saveFile(std::string_view bytes, const std::filesystem::path& target,
                  const std::optional<std::string>& expectedDigest) const;

    /// Makes a written file durable. Throws `storage`.
    void syncFile(const std::filesystem::path& file) const;

private:
    std::filesystem::path recoveryRoot_;
    BeforeSystemCall beforeCall_;
};

}  // namespace penmark
