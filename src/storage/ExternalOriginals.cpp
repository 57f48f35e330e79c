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
#include <optional>
#include <thread>

#include <sys/stat.h>

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

/// Whether the backup is the replaced file itself, with all that is written to it.
bool isBackedUp(const ReplacedFile& replaced)
{
    return !replaced.backupIsCopy && !replaced.backupName.empty();
}

/// What an error says, for a message that has its own beginning.
std::string reasonOf(const std::exception& error)
{
    if (const auto* own = dynamic_cast<const RecoveryError*>(&error)) {
        std::string detail = own->detail();
        if (detail.ends_with('.'))
            detail.pop_back();
        return detail;
    }
    return repairUtf8(error.what());
}

/// mkdir with the folders above it. The user's texts are nobody else's business.
void makeFolders(const fs::path& folder)
{
    if (mkdir(folder.c_str(), S_IRWXU) == 0)
        return;
    int error = errno;
    if (error == ENOENT && folder.has_relative_path()) {
        makeFolders(folder.parent_path());
        error = mkdir(folder.c_str(), S_IRWXU) == 0 ? 0 : errno;
    }
    if (error != 0 && error != EEXIST)
        throw SystemError(error, folder.native());
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
    makeFolders(place);
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

/// Copies the content beside the target durably, for want of a better place. The name; absent if that fails.
std::optional<std::string> keepBeside(const FolderHandle& folder, const FileDescriptor& content)
{
    const std::string name = ".penmark-original-" + Uuid::random().text();
    try {
        const FileDescriptor copy = folder.open(name, O_WRONLY | O_CREAT | O_EXCL, 0600);
        copyContent(content, copy, folder.before());
        syncContent(copy, folder.before());
    } catch (const SystemError&) {
        folder.tryRemove(name);
        return std::nullopt;
    }
    folder.trySync();
    return name;
}

RecoveryError cannotBeRead(const FolderHandle& folder, const ReplacedFile& replaced, const std::string& reason)
{
    return RecoveryError::storage(
        "The replaced file cannot be read: " + reason + ". " +
        (isBackedUp(replaced) ? "It is preserved at " + repairUtf8(folder.pathOf(replaced.backupName).native()) + "."
                              : "What another program may have written to it during the save could not be kept.") +
        " Penmark has also kept your version.");
}

/// The digest of the replaced file. Where nothing but the descriptor leads to it, a failure to read it is not taken for
/// final.
std::string digestReplaced(const ReplacedFile& replaced, const BeforeSystemCall& before)
{
    if (!replaced.content.isOpen())
        throw SystemError(replaced.openError, replaced.backupName);
    try {
        return digestContent(replaced.content, before);
    } catch (const SystemError&) {
        if (isBackedUp(replaced))
            throw;
    }
    return digestContent(replaced.content, before);
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
                    const std::string& originalName, const RecoveryFileAccess& access, bool keepsBackup)
{
    const BeforeSystemCall& before = folder.before();
    const FileDescriptor& content = replaced.content;
    const bool settled = content.isOpen() && waitForWriters(content);
    const auto removeBackup = [&] {
        if (!replaced.backupName.empty())
            folder.tryRemove(replaced.backupName);
    };
    bool raced = true;
    try {
        raced = digestReplaced(replaced, before) != expectedDigest || !replaced.textIsAtTarget;
    } catch (const SystemError& error) {
        throw cannotBeRead(folder, replaced, SystemError::reason(error.errorNumber()));
    }
    if (!raced) {
        if (!keepsBackup)
            removeBackup();
        if (settled || !differs(content, expectedDigest, before))
            return;
    }

    std::optional<PreservedFile> preserved;
    try {
        preserved = preserve(content, originalName, access, before);
        removeBackup();
        if (!settled && differs(content, preserved->digest, before))
            preserved = preserve(content, originalName, access, before);
    } catch (const std::exception& error) {
        const bool backupHoldsIt = !preserved && (raced || keepsBackup) && isBackedUp(replaced);
        if (backupHoldsIt)
            throw racedWrite(folder.pathOf(replaced.backupName));
        if (const auto beside = keepBeside(folder, content)) {
            if (raced)  // the copy that was made before the replacement holds what was expected
                removeBackup();
            throw racedWrite(folder.pathOf(*beside));
        }
        throw RecoveryError::storage(
            "An external write raced with Save, and its version could not be kept: " + reasonOf(error) + "." +
            (preserved ? " What it had written first is preserved at " + repairUtf8(preserved->path.native()) + "."
                       : std::string()) +
            " Penmark has kept your version.");
    }
    folder.trySync();
    throw racedWrite(preserved->path);
}

}  // namespace penmark
