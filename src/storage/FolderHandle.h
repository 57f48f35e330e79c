// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace penmark {

/// Asked before each system call that a save depends on, with the call's name; a number other than 0 is the error that
/// the call then fails with, without being made. Empty in normal operation.
using BeforeSystemCall = std::function<int(std::string_view call)>;

/// Tells `before` of a call. Throws SystemError with the subject if the call is to fail.
void announceCall(const BeforeSystemCall& before, std::string_view call, const std::filesystem::path& subject);

/// Opens for reading or writing without ever waiting for the other end of a pipe; only for a program that has a lease
/// on a regular file, as the in-place save has. Links are followed. Throws SystemError.
FileDescriptor openPromptly(const std::filesystem::path& file, int flags);

/// One open folder. What a save does to names happens relative to it, so that all of it meets the same folder even if
/// the folder is moved meanwhile. Names are single components and are never followed when they are symbolic links.
/// Every failure is a SystemError that names the path.
class FolderHandle {
public:
    /// `before` outlives the object.
    FolderHandle(const std::filesystem::path& folder, const BeforeSystemCall& before);

    std::filesystem::path pathOf(std::string_view name) const { return folder_.path() / name; }
    const BeforeSystemCall& before() const { return before_; }

    /// Absent if nothing has this name.
    std::optional<struct stat> status(const std::string& name) const;

    /// Whether the name stands for this very file; false if that cannot be told.
    bool isNameOf(const FileDescriptor& file, const std::string& name) const noexcept;

    /// As openPromptly, but fails for links.
    FileDescriptor open(const std::string& name, int flags, mode_t mode = 0) const;

    /// Whether this process may write the file, by its effective user. Throws SystemError for other failures.
    bool mayWrite(const std::string& name) const;

    void exchange(const std::string& one, const std::string& other) const;
    void link(const std::string& from, const std::string& to) const;
    void rename(const std::string& from, const std::string& to) const;
    /// Fails with EEXIST if `to` exists.
    void renameToNew(const std::string& from, const std::string& to) const;
    void remove(const std::string& name) const;

    /// Removes the name if that is possible.
    void tryRemove(const std::string& name) const noexcept;

    /// Makes the names durable if the file system and the folder's permissions let it.
    void trySync() const noexcept;

private:
    void renameWith(unsigned flags, const std::string& from, const std::string& to) const;

    FileDescriptor folder_;  // O_PATH: a folder that may be written but not listed will do
    const BeforeSystemCall& before_;
};

}  // namespace penmark
