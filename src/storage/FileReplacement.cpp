// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/FileReplacement.h"

#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "base/Uuid.h"
#include "storage/FileAttributes.h"
#include "storage/FileContent.h"
#include "storage/RecoveryError.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <initializer_list>
#include <thread>
#include <utility>

#include <unistd.h>

namespace penmark {

namespace {

bool isOneOf(int error, std::initializer_list<int> errors)
{
    for (const int known : errors) {
        if (error == known)
            return true;
    }
    return false;
}

/// The file system or a sandbox does not offer the call; a call that is offered fails otherwise.
bool isRefused(const SystemError& error)
{
    return isOneOf(error.errorNumber(), {EINVAL, ENOSYS, EOPNOTSUPP, EPERM, EMLINK, ENOTTY, EXDEV});
}

bool isRegular(const FileDescriptor& file)
{
    struct stat status {};
    return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string newBackupName()
{
    return ".penmark-original-" + Uuid::random().text();
}

[[noreturn]] void throwExternalChange()
{
    throw RecoveryError(RecoveryError::Case::externalChange);
}

/// A name beside the target that is removed again unless it turns out to be needed.
class Backup {
public:
    explicit Backup(const FolderHandle& folder) : folder_(folder), name_(newBackupName()) {}
    Backup(const Backup&) = delete;
    Backup& operator=(const Backup&) = delete;
    ~Backup()
    {
        if (exists_)
            folder_.tryRemove(name_);
    }

    const std::string& name() const { return name_; }

    void linkTo(const std::string& target)
    {
        folder_.link(target, name_);
        exists_ = true;
    }

    /// Copies the content durably and returns its digest.
    std::string copyFrom(const FileDescriptor& original)
    {
        const FileDescriptor copy = folder_.open(name_, O_WRONLY | O_CREAT | O_EXCL, 0600);
        exists_ = true;
        copyAttributes(original, copy, folder_.before());
        std::string digest = copyContent(original, copy, folder_.before());
        syncContent(copy, folder_.before());
        folder_.trySync();
        return digest;
    }

    /// Undoes a half-finished change of the file; false if that fails as well.
    bool putBackInto(const FileDescriptor& original) const
    {
        try {
            const FileDescriptor copy = folder_.open(name_, O_RDONLY);
            const std::string digest = copyContent(copy, original, folder_.before());
            syncContent(original, folder_.before());
            return digestContent(original, folder_.before()) == digest;
        } catch (const SystemError&) {
            return false;
        }
    }

    std::string keep()
    {
        exists_ = false;
        return name_;
    }

private:
    const FolderHandle& folder_;
    std::string name_;
    bool exists_ = false;
};

/// Throws unless the target still holds what the save is based on.
void compareOnceMore(const FolderHandle& folder, const std::string& target, std::string_view expectedDigest)
{
    const FileDescriptor file = folder.open(target, O_RDONLY);
    if (!isRegular(file) || digestContent(file, folder.before()) != expectedDigest)
        throwExternalChange();
}

/// Keeps other programs from opening a file that is overwritten: they wait until it is done, for as long as the kernel
/// lets them. It is granted when nobody else has the file open.
class WriteLease {
public:
    WriteLease(const FileDescriptor& file, const BeforeSystemCall& before) : file_(file), held_(obtain(file, before)) {}
    WriteLease(const WriteLease&) = delete;
    WriteLease& operator=(const WriteLease&) = delete;
    ~WriteLease()
    {
        if (held_)
            fcntl(file_.get(), F_SETLEASE, F_UNLCK);
    }

    bool isHeld() const { return held_; }

private:
    static bool obtain(const FileDescriptor& file, const BeforeSystemCall& before)
    {
        try {
            announceCall(before, "lease", file.path());
        } catch (const SystemError&) {
            return false;
        }
        // Whoever comes is announced by SIGIO, which ends a process; SIGURG is ignored.
        if (fcntl(file.get(), F_SETSIG, SIGURG) != 0)
            return false;
        constexpr int attempts = 25;  // a quarter of a second for a program that is writing
        for (int i = 0; i < attempts; ++i) {
            if (fcntl(file.get(), F_SETLEASE, F_WRLCK) == 0)
                return true;
            if (errno != EAGAIN)  // leases are for a file's owner, and not for every file system
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    const FileDescriptor& file_;
    bool held_;
};

/// Exchanges the two files. A call that took effect and reports an error all the same, as a file system of the network
/// may, has succeeded. Throws SystemError if it has not.
void exchangeFiles(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    try {
        folder.exchange(temporary.name(), target);
    } catch (const SystemError&) {
        if (!folder.isNameOf(temporary.file(), target))
            throw;
    }
}

/// Undoes an exchange that brought back no file. True if that is done; false if by now another program had put a file
/// at the target, which then lies under the temporary name. Throws RecoveryError.
bool exchangeBack(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    std::string reason;
    try {
        folder.exchange(temporary.name(), target);
    } catch (const SystemError& error) {
        reason = SystemError::reason(error.errorNumber());
    }
    if (folder.isNameOf(temporary.file(), temporary.name()))
        return true;
    if (reason.empty())
        return false;
    const auto shown = [&](const std::string& name) { return repairUtf8(folder.pathOf(name).native()); };
    throw RecoveryError::storage(shown(target) + " was replaced during the save by something that is no file, which " +
                                 "could not be put back: " + reason + ". It is preserved at " +
                                 shown(temporary.name()) + ".");
}

ReplacedFile replaceByExchange(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    exchangeFiles(folder, temporary, target);
    // From here on the temporary name stands for the replaced file: whatever fails, it stays.
    temporary.release();
    std::optional<struct stat> replaced;
    try {
        replaced = folder.status(temporary.name());
    } catch (const SystemError&) {
        replaced.reset();
    }
    ReplacedFile result;
    if (replaced && !S_ISREG(replaced->st_mode)) {
        if (exchangeBack(folder, temporary, target)) {
            temporary.own();
            throwExternalChange();
        }
        result.textIsAtTarget = false;
    }
    result.backupName = newBackupName();
    try {
        folder.rename(temporary.name(), result.backupName);
    } catch (const SystemError&) {
        result.backupName = temporary.name();  // the old file is as safe under the one name as under the other
    }
    try {
        result.content = folder.open(result.backupName, O_RDONLY);
    } catch (const SystemError& error) {
        result.openError = error.errorNumber();  // the caller cannot read it either, and keeps it
    }
    return result;
}

/// Renames over the target; false if its name cannot be replaced.
bool renameOver(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    try {
        folder.rename(temporary.name(), target);
    } catch (const SystemError& error) {
        if (!folder.isNameOf(temporary.file(), target)) {  // it may have taken effect and report an error all the same
            if (isOneOf(error.errorNumber(), {EBUSY, EPERM}))
                return false;
            throw;
        }
    }
    temporary.release();
    return true;
}

std::optional<ReplacedFile> replaceByLink(const FolderHandle& folder, TemporaryFile& temporary,
                                          const std::string& target, std::string_view expectedDigest)
{
    // Where only owners may remove names, a link to another's file could not be removed again.
    const auto status = folder.status(target);
    if (status && status->st_uid != geteuid())
        throw SystemError(EPERM, folder.pathOf(target).native());
    Backup backup(folder);
    backup.linkTo(target);
    FileDescriptor content = folder.open(backup.name(), O_RDONLY);
    compareOnceMore(folder, target, expectedDigest);
    if (!renameOver(folder, temporary, target))
        return std::nullopt;
    ReplacedFile replaced;
    replaced.backupName = backup.keep();
    replaced.content = std::move(content);
    return replaced;
}

std::optional<ReplacedFile> replaceByCopy(const FolderHandle& folder, TemporaryFile& temporary,
                                          const std::string& target, std::string_view expectedDigest)
{
    FileDescriptor content = folder.open(target, O_RDONLY);
    if (!isRegular(content))
        throwExternalChange();
    Backup backup(folder);
    if (backup.copyFrom(content) != expectedDigest)
        throwExternalChange();
    compareOnceMore(folder, target, expectedDigest);
    if (!renameOver(folder, temporary, target))
        return std::nullopt;
    ReplacedFile replaced;
    replaced.backupName = backup.keep();
    replaced.backupIsCopy = true;
    replaced.content = std::move(content);
    return replaced;
}

/// Durably. Throws SystemError; then some of the bytes may be written.
void overwriteContent(const FileDescriptor& file, std::string_view bytes, const BeforeSystemCall& before)
{
    struct stat status {};
    const bool known = fstat(file.get(), &status) == 0;
    writeContent(file, bytes, before);
    // Writing takes the set-id bits away from unprivileged processes. Their owner may set them again.
    if (known && (status.st_mode & (S_ISUID | S_ISGID)) != 0 && fchmod(file.get(), status.st_mode & 07777U) != 0 &&
        errno != EPERM)
        throw SystemError(errno, file.path().native());
    syncContent(file, before);
}

}  // namespace

TemporaryFile::TemporaryFile(const FolderHandle& folder, mode_t mode)
    : folder_(folder), name_(".penmark-write-" + Uuid::random().text()),
      file_(folder.open(name_, O_WRONLY | O_CREAT | O_EXCL, mode))
{}

TemporaryFile::~TemporaryFile()
{
    // A rename that took effect and reported an error has left another file here, perhaps the only copy of it.
    if (owned_ && folder_.isNameOf(file_, name_))
        folder_.tryRemove(name_);
}

std::optional<ReplacedFile> replaceFile(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target,
                                        std::string_view expectedDigest)
{
    try {
        return replaceByExchange(folder, temporary, target);
    } catch (const SystemError& error) {
        // EPERM: in a folder like /tmp, only its owner may rename the file.
        if (isOneOf(error.errorNumber(), {EBUSY, EPERM}))
            return std::nullopt;
        if (!isRefused(error))
            throw;
    }
    try {
        return replaceByLink(folder, temporary, target, expectedDigest);
    } catch (const SystemError& error) {
        if (!isRefused(error))
            throw;
    }
    return replaceByCopy(folder, temporary, target, expectedDigest);
}

void writeInPlace(const FolderHandle& folder, const std::string& target, std::string_view bytes,
                  std::string_view expectedDigest)
{
    const BeforeSystemCall& before = folder.before();
    const FileDescriptor file = folder.open(target, O_RDWR);
    if (!isRegular(file))
        throwExternalChange();
    Backup backup(folder);
    if (backup.copyFrom(file) != expectedDigest)
        throwExternalChange();
    const WriteLease lease(file, before);
    if (!lease.isHeld())
        compareOnceMore(folder, target, expectedDigest);
    else if (digestContent(file, before) != expectedDigest)  // opening it once more would wait for the lease
        throwExternalChange();
    if (!folder.isNameOf(file, target))
        throwExternalChange();

    const std::string preserved = " preserved at " + repairUtf8(folder.pathOf(backup.name()).native()) + ".";
    const std::string targetPath = repairUtf8(folder.pathOf(target).native());
    try {
        overwriteContent(file, bytes, before);
    } catch (const SystemError& error) {
        if (backup.putBackInto(file))
            throw;
        backup.keep();
        throw RecoveryError::storage(targetPath + ": " + SystemError::reason(error.errorNumber()) +
                                     ". The file is damaged; what it held is" + preserved);
    }
    bool written = false;
    try {
        written = digestContent(file, before) == sha256(bytes);
    } catch (const SystemError&) {
        written = false;
    }
    if (!written) {
        backup.keep();
        throw RecoveryError::storage(targetPath + " does not hold what was written to it. What it held before is" +
                                     preserved);
    }
}

}  // namespace penmark
