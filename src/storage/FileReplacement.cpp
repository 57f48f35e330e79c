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
#include <initializer_list>
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
    return isOneOf(error.errorNumber(), {EINVAL, ENOSYS, EOPNOTSUPP, EPERM, EMLINK, ENOTTY});
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

ReplacedFile replaceByExchange(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    folder.exchange(temporary.name(), target);
    // From here on the temporary name stands for the replaced file: whatever fails, it stays.
    temporary.release();
    std::optional<struct stat> replaced;
    try {
        replaced = folder.status(temporary.name());
    } catch (const SystemError&) {
        replaced.reset();
    }
    if (replaced && !S_ISREG(replaced->st_mode)) {
        folder.exchange(temporary.name(), target);
        temporary.own();
        throwExternalChange();
    }
    ReplacedFile result{newBackupName(), {}};
    try {
        folder.rename(temporary.name(), result.backupName);
    } catch (const SystemError&) {
        result.backupName = temporary.name();  // the old file is as safe under the one name as under the other
    }
    try {
        result.content = folder.open(result.backupName, O_RDONLY);
    } catch (const SystemError&) {
        result.content.reset();  // the caller cannot read it either, and keeps it
    }
    return result;
}

/// Renames over the target; false if its name cannot be replaced.
bool renameOver(const FolderHandle& folder, TemporaryFile& temporary, const std::string& target)
{
    try {
        folder.rename(temporary.name(), target);
    } catch (const SystemError& error) {
        if (isOneOf(error.errorNumber(), {EBUSY, EPERM}))
            return false;
        throw;
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
    return ReplacedFile{backup.keep(), std::move(content)};
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
    return ReplacedFile{backup.keep(), std::move(content)};
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
    if (owned_)
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
    compareOnceMore(folder, target, expectedDigest);

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
