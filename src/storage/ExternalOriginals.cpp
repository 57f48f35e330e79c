// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ExternalOriginals.h"

#include "base/SystemError.h"
#include "base/Utf8.h"
#include "base/Uuid.h"
#include "storage/FileContent.h"
#include "storage/RecoveryError.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <system_error>
#include <thread>

namespace penmark {

namespace {

namespace fs = std::filesystem;

/// Waits until nobody has the file open for writing; true if that is certain. The file has a name that nobody else
/// looks for, so nobody opens it later either.
bool waitForWriters(const FileDescriptor& file)
{
    constexpr int attempts = 25;
    // The kernel grants a read lease only for a file that has no writer. Should one come while it is held, it would
    // tell by SIGIO, which ends a process; SIGURG is ignored.
    if (fcntl(file.get(), F_SETSIG, SIGURG) != 0)
        return false;
    for (int i = 0; i < attempts; ++i) {
        if (fcntl(file.get(), F_SETLEASE, F_RDLCK) == 0)
            return fcntl(file.get(), F_SETLEASE, F_UNLCK) == 0;
        if (errno != EAGAIN)  // leases are for a file's owner, and not for every file system
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

RecoveryError racedWrite(const fs::path& place)
{
    return RecoveryError::storage("An external write raced with Save. Its original is preserved at " +
                                  repairUtf8(place.native()) + ". Penmark has also kept your version.");
}

struct PreservedFile {
    fs::path path;
    std::string digest;
};

/// Copies the file into "External originals" durably. Throws SystemError or RecoveryError.
PreservedFile preserve(const FileDescriptor& content, const std::string& originalName, const RecoveryFileAccess& access,
                       const BeforeSystemCall& before)
{
    const fs::path place = access.recoveryRoot() / "External originals";
    announceCall(before, "mkdir", place);
    std::error_code error;
    fs::create_directories(place, error);
    if (error)
        throw SystemError(error.value(), place.native());
    const FolderHandle originals(place, before);
    const std::string name = preservedName(originalName);
    std::string digest;
    try {
        const FileDescriptor copy = originals.open(name, O_WRONLY | O_CREAT | O_EXCL, 0600);
        digest = copyContent(content, copy, before);
        access.syncFile(originals.pathOf(name));
    } catch (...) {
        originals.tryRemove(name);
        throw;
    }
    originals.trySync();
    FolderHandle(access.recoveryRoot(), before).trySync();
    return {originals.pathOf(name), std::move(digest)};
}

/// Whether the content is another than this digest's; false if that cannot be told.
bool differs(const FileDescriptor& content, const std::string& digest, const BeforeSystemCall& before)
{
    try {
        return digestContent(content, before) != digest;
    } catch (const SystemError&) {
        return false;
    }
}

}  // namespace

std::string preservedName(const std::string& originalName)
{
    constexpr std::size_t longestExtension = 32;
    const std::string prefix = Uuid::random().text() + "-";
    const std::size_t room = NAME_MAX - prefix.size();
    if (originalName.size() <= room)
        return prefix + originalName;
    const std::size_t dot = originalName.rfind('.');
    const bool hasExtension = dot != std::string::npos && originalName.size() - dot <= longestExtension;
    const std::string extension = hasExtension ? originalName.substr(dot) : std::string();
    std::size_t cut = room - extension.size();
    const auto continues = [&](std::size_t at) {
        return (static_cast<unsigned char>(originalName[at]) & 0xc0U) == 0x80;
    };
    for (int i = 0; i < 3 && continues(cut); ++i)
        --cut;
    return prefix + originalName.substr(0, cut) + extension;
}

void settleReplaced(const FolderHandle& folder, const ReplacedFile& replaced, const std::string& expectedDigest,
                    const std::string& originalName, const RecoveryFileAccess& access)
{
    const BeforeSystemCall& before = folder.before();
    const fs::path backup = folder.pathOf(replaced.backupName);
    const FileDescriptor& content = replaced.content;
    const bool settled = content.isOpen() && waitForWriters(content);
    bool raced = true;
    try {
        if (!content.isOpen())
            throw SystemError(EIO, backup.native());
        raced = digestContent(content, before) != expectedDigest;
    } catch (const SystemError& error) {
        throw RecoveryError::storage("The replaced file cannot be read: " + SystemError::reason(error.errorNumber()) +
                                     ". It is preserved at " + repairUtf8(backup.native()) +
                                     ". Penmark has also kept your version.");
    }
    if (!raced) {
        folder.tryRemove(replaced.backupName);
        if (settled || !differs(content, expectedDigest, before))
            return;
    }

    PreservedFile preserved;
    try {
        preserved = preserve(content, originalName, access, before);
        folder.tryRemove(replaced.backupName);
        if (!settled && differs(content, preserved.digest, before))
            preserved = preserve(content, originalName, access, before);
    } catch (const std::exception& error) {
        if (raced && preserved.path.empty())
            throw racedWrite(backup);
        throw RecoveryError::storage("An external write raced with Save and could not be preserved as a whole: " +
                                     std::string(error.what()));
    }
    folder.trySync();
    throw racedWrite(preserved.path);
}

}  // namespace penmark
