// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/FolderHandle.h"

#include "base/SystemError.h"

#include <cerrno>
#include <cstdio>
#include <exception>

#include <unistd.h>

namespace penmark {

namespace {

FileDescriptor openFolder(const std::filesystem::path& folder, const BeforeSystemCall& before)
{
    announceCall(before, "open folder", folder);
    return FileDescriptor::open(folder, O_PATH | O_DIRECTORY);
}

FileDescriptor openAt(int folder, const std::filesystem::path& path, const char* name, int flags, mode_t mode)
{
    int waiting = O_NONBLOCK;
    for (;;) {
        const int descriptor = openat(folder, name, flags | waiting | O_CLOEXEC | O_NOCTTY, mode);
        if (descriptor >= 0)
            return FileDescriptor(descriptor, path);
        const int error = errno;
        if (error == EINTR)
            continue;
        // Somebody's lease on a regular file: its holder has been told and gives it up, or the kernel takes it back.
        struct stat status {};
        const int follow = (flags & O_NOFOLLOW) != 0 ? AT_SYMLINK_NOFOLLOW : 0;
        if (error == EWOULDBLOCK && waiting != 0 && fstatat(folder, name, &status, follow) == 0 &&
            S_ISREG(status.st_mode)) {
            waiting = 0;
            continue;
        }
        throw SystemError(error, path.native());
    }
}

}  // namespace

FileDescriptor openPromptly(const std::filesystem::path& file, int flags)
{
    return openAt(AT_FDCWD, file, file.c_str(), flags, 0);
}

void announceCall(const BeforeSystemCall& before, std::string_view call, const std::filesystem::path& subject)
{
    if (!before)
        return;
    if (const int error = before(call); error != 0)
        throw SystemError(error, subject.native());
}

FolderHandle::FolderHandle(const std::filesystem::path& folder, const BeforeSystemCall& before)
    : folder_(openFolder(folder, before)), before_(before)
{}

std::optional<struct stat> FolderHandle::status(const std::string& name) const
{
    announceCall(before_, "fstatat", pathOf(name));
    struct stat status {};
    if (fstatat(folder_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return status;
    if (errno == ENOENT)
        return std::nullopt;
    throw SystemError(errno, pathOf(name).native());
}

FileDescriptor FolderHandle::open(const std::string& name, int flags, mode_t mode) const
{
    announceCall(before_, "openat", pathOf(name));
    return openAt(folder_.get(), pathOf(name), name.c_str(), flags | O_NOFOLLOW, mode);
}

bool FolderHandle::isNameOf(const FileDescriptor& file, const std::string& name) const noexcept
{
    struct stat opened {};
    struct stat named {};
    return fstat(file.get(), &opened) == 0 && fstatat(folder_.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool FolderHandle::mayWrite(const std::string& name) const
{
    announceCall(before_, "faccessat", pathOf(name));
    if (faccessat(folder_.get(), name.c_str(), W_OK, AT_EACCESS) == 0)
        return true;
    if (errno == EACCES || errno == EPERM || errno == EROFS)
        return false;
    throw SystemError(errno, pathOf(name).native());
}

void FolderHandle::exchange(const std::string& one, const std::string& other) const
{
    announceCall(before_, "exchange", pathOf(other));
    renameWith(RENAME_EXCHANGE, one, other);
}

void FolderHandle::link(const std::string& from, const std::string& to) const
{
    announceCall(before_, "linkat", pathOf(to));
    if (linkat(folder_.get(), from.c_str(), folder_.get(), to.c_str(), 0) != 0)
        throw SystemError(errno, pathOf(to).native());
}

void FolderHandle::rename(const std::string& from, const std::string& to) const
{
    announceCall(before_, "renameat", pathOf(to));
    renameWith(0, from, to);
}

void FolderHandle::renameToNew(const std::string& from, const std::string& to) const
{
    announceCall(before_, "rename to new", pathOf(to));
    renameWith(RENAME_NOREPLACE, from, to);
}

void FolderHandle::renameWith(unsigned flags, const std::string& from, const std::string& to) const
{
    const int folder = folder_.get();
    const int result = flags == 0 ? renameat(folder, from.c_str(), folder, to.c_str())
                                  : renameat2(folder, from.c_str(), folder, to.c_str(), flags);
    if (result != 0)
        throw SystemError(errno, pathOf(to).native());
}

void FolderHandle::remove(const std::string& name) const
{
    announceCall(before_, "unlinkat", pathOf(name));
    if (unlinkat(folder_.get(), name.c_str(), 0) != 0)
        throw SystemError(errno, pathOf(name).native());
}

void FolderHandle::tryRemove(const std::string& name) const noexcept
{
    try {
        remove(name);
    } catch (const std::exception&) {
        return;  // what could not be removed is left over; nothing else depends on it
    }
}

void FolderHandle::trySync() const noexcept
{
    try {
        const FileDescriptor folder = open(".", O_RDONLY | O_DIRECTORY);
        announceCall(before_, "fsync folder", folder_.path());
        folder.sync();
    } catch (const std::exception&) {
        return;  // the file itself is durable; its name follows when the file system sees fit
    }
}

}  // namespace penmark
