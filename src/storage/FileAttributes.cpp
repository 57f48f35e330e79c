// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/FileAttributes.h"

#include "base/SystemError.h"

#include <cerrno>
#include <string>
#include <vector>

#include <linux/limits.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace penmark {

namespace {

constexpr const char* accessList = "system.posix_acl_access";

[[noreturn]] void fail(const FileDescriptor& file)
{
    throw SystemError(errno, file.path().native());
}

/// Whether an attribute is out of reach rather than the disk in trouble.
bool notForUs(int error)
{
    return error == ENOTSUP || error == EPERM || error == EACCES || error == EINVAL || error == ENOSYS;
}

struct stat statusOf(const FileDescriptor& file)
{
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        fail(file);
    return status;
}

std::vector<std::string> attributeNames(const FileDescriptor& file)
{
    std::string list;
    for (;;) {
        const ssize_t needed = flistxattr(file.get(), nullptr, 0);
        if (needed < 0 && notForUs(errno))
            return {};
        if (needed < 0)
            fail(file);
        list.resize(static_cast<std::size_t>(needed));
        const ssize_t got = flistxattr(file.get(), list.data(), list.size());
        if (got >= 0) {
            list.resize(static_cast<std::size_t>(got));
            break;
        }
        if (errno != ERANGE)  // the list may have grown between the two calls
            fail(file);
    }
    std::vector<std::string> names;
    for (std::size_t from = 0; from < list.size(); from += names.back().size() + 1)
        names.emplace_back(list.c_str() + from);
    return names;
}

/// False if the attribute is gone or may not be read.
bool readAttribute(const FileDescriptor& file, const std::string& name, std::string& value)
{
    value.resize(XATTR_SIZE_MAX);
    const ssize_t got = fgetxattr(file.get(), name.c_str(), value.data(), value.size());
    if (got < 0 && (errno == ENODATA || notForUs(errno)))
        return false;
    if (got < 0)
        fail(file);
    value.resize(static_cast<std::size_t>(got));
    return true;
}

void copyOwner(const struct stat& wanted, const FileDescriptor& to, const BeforeSystemCall& before)
{
    announceCall(before, "fchown", to.path());
    const struct stat present = statusOf(to);
    if (present.st_uid == wanted.st_uid && present.st_gid == wanted.st_gid)
        return;
    if (fchown(to.get(), wanted.st_uid, wanted.st_gid) == 0)
        return;
    if (!notForUs(errno))
        fail(to);
    if (fchown(to.get(), static_cast<uid_t>(-1), wanted.st_gid) != 0 && !notForUs(errno))
        fail(to);
}

void copyExtendedAttributes(const FileDescriptor& from, const FileDescriptor& to, const BeforeSystemCall& before)
{
    announceCall(before, "fsetxattr", to.path());
    // The folder's default list may have given the new file one that the original does not have.
    if (fremovexattr(to.get(), accessList) != 0 && errno != ENODATA && !notForUs(errno))
        fail(to);
    std::string value;
    for (const std::string& name : attributeNames(from)) {
        if (readAttribute(from, name, value) && fsetxattr(to.get(), name.c_str(), value.data(), value.size(), 0) != 0 &&
            !notForUs(errno))
            fail(to);
    }
}

}  // namespace

void copyAttributes(const FileDescriptor& from, const FileDescriptor& to, const BeforeSystemCall& before)
{
    const struct stat wanted = statusOf(from);
    copyOwner(wanted, to, before);
    copyExtendedAttributes(from, to, before);

    // Last, since a change of owner clears the set-id bits.
    const struct stat reached = statusOf(to);
    mode_t mode = wanted.st_mode & 07777U;
    if (reached.st_uid != wanted.st_uid)
        mode = (mode & ~static_cast<mode_t>(S_ISUID)) | S_IRUSR | S_IWUSR;  // it is ours, and must stay readable
    if (reached.st_gid != wanted.st_gid)
        mode &= ~static_cast<mode_t>(S_ISGID) & (~static_cast<mode_t>(S_IRWXG) | ((mode & S_IRWXO) << 3U));
    announceCall(before, "fchmod", to.path());
    if (fchmod(to.get(), mode) != 0 && !notForUs(errno))
        fail(to);
}

}  // namespace penmark
