// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryFileAccess.h"

#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "base/Uuid.h"
#include "storage/ExternalOriginals.h"
#include "storage/FileAttributes.h"
#include "storage/FileContent.h"
#include "storage/FileReplacement.h"
#include "storage/RecoveryError.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

RecoveryError systemFailure(const fs::path& file, const SystemError& error)
{
    return RecoveryError::storage(repairUtf8(file.native()) + ": " + SystemError::reason(error.errorNumber()));
}

RecoveryError externalChange()
{
    return RecoveryError(RecoveryError::Case::externalChange);
}

/// What the system says when a file that was there has become something else.
bool isNoFileAnyMore(const SystemError& error)
{
    const int number = error.errorNumber();
    return number == ENOENT || number == ENOTDIR || number == EISDIR || number == ELOOP;
}

/// resolveOriginal with SystemErrors for what the system says.
fs::path resolveLinks(fs::path path)
{
    constexpr int mostLinks = 40;  // as the kernel has it
    if (path.empty() || path.native().find('\0') != std::string::npos)
        throw RecoveryError::storage("This is not the path of a file.");
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    if (error)  // the working folder is gone
        throw SystemError(error.value(), path.native());
    path = absolute;
    for (int i = 0; i < mostLinks; ++i) {
        const fs::path link = fs::read_symlink(path, error);
        if (error)  // no link; if there is another trouble, the calls that follow meet it too
            return path;
        // In a folder like /tmp the kernel does not follow other users' links, and neither do we by hand.
        struct stat status {};
        if (stat(path.c_str(), &status) != 0 && errno == EACCES)
            throw SystemError(EACCES, path.native());
        path = path.parent_path() / link;
    }
    throw SystemError(ELOOP, path.native());
}

/// One save on its way. The functions follow one another in the order of the steps.
class Save {
public:
    Save(const RecoveryFileAccess& access, const BeforeSystemCall& before, std::string_view bytes,
         const fs::path& resolved)
        : access_(access), bytes_(bytes), folder_(resolved.parent_path(), before),
          name_(resolved.filename().empty() ? "." : resolved.filename().native())
    {}

    /// Throws unless the target is as expected and may be written. Nothing is changed.
    void check(const std::optional<std::string>& expectedDigest)
    {
        status_ = folder_.status(name_);
        original_ = checkOriginal(status_, expectedDigest);
    }

    /// After check.
    void write(const std::optional<std::string>& expectedDigest)
    {
        TemporaryFile temporary(folder_, status_ ? 0600 : 0666);
        writeTemporary(temporary, original_);
        original_.reset();  // an open descriptor would stand in the way of a lease
        if (!status_)
            putAtNewName(temporary);
        else if (status_->st_nlink > 1 || takingOverHidesIt(temporary))
            overwrite(*expectedDigest);
        else
            replace(temporary, *expectedDigest);
    }

    /// Whether what is at the target now is no file; false if that cannot be told.
    bool originalIsGone() const
    {
        try {
            const auto status = folder_.status(name_);
            return !status || !S_ISREG(status->st_mode);
        } catch (const SystemError& error) {
            return isNoFileAnyMore(error);
        }
    }

private:
    /// The target opened, if it exists.
    FileDescriptor checkOriginal(const std::optional<struct stat>& status,
                                 const std::optional<std::string>& expectedDigest) const;
    FileDescriptor openOriginal() const;
    bool takingOverHidesIt(const TemporaryFile& temporary) const;
    void writeTemporary(const TemporaryFile& temporary, const FileDescriptor& original) const;
    void putAtNewName(TemporaryFile& temporary) const;
    void reserveAndRename(TemporaryFile& temporary) const;
    void overwrite(const std::string& expectedDigest) const;
    void replace(TemporaryFile& temporary, const std::string& expectedDigest) const;
    void syncReplaced(const ReplacedFile& replaced, const std::string& expectedDigest) const;
    void syncByName(const std::string& name) const;

    const RecoveryFileAccess& access_;
    std::string_view bytes_;
    FolderHandle folder_;
    std::string name_;
    std::optional<struct stat> status_;  // of the target before the save
    FileDescriptor original_;
};

RecoveryError readOnly()
{
    return RecoveryError::storage("The original file is read-only. Save a copy.");
}

FileDescriptor Save::openOriginal() const
{
    try {
        return folder_.open(name_, O_RDONLY);
    } catch (const SystemError& error) {
        // What may be neither read nor written is read-only in the first place.
        if (error.errorNumber() == EACCES && !folder_.mayWrite(name_))
            throw readOnly();
        throw;
    }
}

/// Whether the file belongs to somebody else, would become ours by a replacement, and has permissions that its owner
/// could not work with: they were meant for that owner.
bool Save::takingOverHidesIt(const TemporaryFile& temporary) const
{
    constexpr mode_t ownersRights = S_IRUSR | S_IWUSR;
    struct stat mine {};
    return (status_->st_mode & ownersRights) != ownersRights && fstat(temporary.file().get(), &mine) == 0 &&
           mine.st_uid != status_->st_uid;
}

FileDescriptor Save::checkOriginal(const std::optional<struct stat>& status,
                                   const std::optional<std::string>& expectedDigest) const
{
    if (!status) {
        if (expectedDigest)
            throw externalChange();
        return {};
    }
    if (!S_ISREG(status->st_mode)) {
        if (expectedDigest)
            throw externalChange();
        throw RecoveryError::storage(repairUtf8(folder_.pathOf(name_).native()) +
                                     (S_ISDIR(status->st_mode) ? " is a folder." : " is not a regular file.") +
                                     " Choose another name.");
    }
    FileDescriptor original;
    std::string digest;
    if (expectedDigest) {
        original = openOriginal();
        digest = digestContent(original, folder_.before());
    }
    // A file that nobody may write was made so on purpose; that a privileged process could is no reason to.
    const bool writableForNobody = (status->st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    if (writableForNobody || !folder_.mayWrite(name_))
        throw readOnly();
    if (!expectedDigest || digest != *expectedDigest)
        throw externalChange();
    return original;
}

void Save::writeTemporary(const TemporaryFile& temporary, const FileDescriptor& original) const
{
    writeContent(temporary.file(), bytes_, folder_.before());
    // Before the file has the target's name: nobody shall meet the text under wider permissions than it had.
    if (original.isOpen())
        copyAttributes(original, temporary.file(), folder_.before());
    syncByName(temporary.name());
}

/// syncFile, for a name in the target's folder.
void Save::syncByName(const std::string& name) const
{
    try {
        const FileDescriptor file = folder_.open(name, O_RDONLY);
        syncContent(file, folder_.before());
    } catch (const SystemError&) {
        throw RecoveryError::storage("Cannot synchronize saved file.");
    }
}

void Save::putAtNewName(TemporaryFile& temporary) const
{
    try {
        folder_.link(temporary.name(), name_);
    } catch (const SystemError& refusal) {
        // A file system of the network may repeat a request that took effect, and then finds our own file there.
        if (!folder_.isNameOf(temporary.file(), name_)) {
            if (refusal.errorNumber() == EEXIST)
                throw externalChange();
            reserveAndRename(temporary);
        }
    }
    folder_.trySync();
}

/// For file systems without hard links.
void Save::reserveAndRename(TemporaryFile& temporary) const
{
    try {
        folder_.renameToNew(temporary.name(), name_);
        temporary.release();
        return;
    } catch (const SystemError& error) {
        if (error.errorNumber() == EEXIST)
            throw externalChange();
        if (error.errorNumber() != EINVAL && error.errorNumber() != ENOSYS)
            throw;
    }
    // An empty file of our own keeps the name until the text replaces it.
    ReplacedFile reserved;  // should another program fill it, that is a raced write
    try {
        reserved.content = folder_.open(name_, O_RDONLY | O_CREAT | O_EXCL, 0666);
    } catch (const SystemError& error) {
        if (error.errorNumber() == EEXIST)
            throw externalChange();
        throw;
    }
    const auto isEmptyStill = [&] {
        struct stat status {};
        return folder_.isNameOf(reserved.content, name_) && fstat(reserved.content.get(), &status) == 0 &&
               status.st_size == 0;
    };
    if (!isEmptyStill())
        throw externalChange();
    try {
        folder_.rename(temporary.name(), name_);
    } catch (const SystemError&) {
        if (!folder_.isNameOf(temporary.file(), name_)) {
            if (isEmptyStill())
                folder_.tryRemove(name_);
            throw;
        }
    }
    temporary.release();
    settleReplaced(folder_, reserved, sha256(""), name_, access_);
}

void Save::overwrite(const std::string& expectedDigest) const
{
    writeInPlace(folder_, name_, bytes_, expectedDigest);
    folder_.trySync();
}

void Save::replace(TemporaryFile& temporary, const std::string& expectedDigest) const
{
    const auto replaced = replaceFile(folder_, temporary, name_, expectedDigest);
    if (!replaced)
        return overwrite(expectedDigest);
    if (replaced->textIsAtTarget)
        syncReplaced(*replaced, expectedDigest);
    settleReplaced(folder_, *replaced, expectedDigest, name_, access_);
    folder_.trySync();
}

/// Syncs the target. If that fails, the replaced file is settled all the same, but stays if it may still be needed.
void Save::syncReplaced(const ReplacedFile& replaced, const std::string& expectedDigest) const
{
    try {
        syncByName(name_);
    } catch (const RecoveryError& failure) {
        std::string said = failure.detail();
        try {
            settleReplaced(folder_, replaced, expectedDigest, name_, access_, true);
        } catch (const RecoveryError& race) {
            said += " " + race.detail();
        }
        throw RecoveryError::storage(said);
    }
}

}  // namespace

fs::path resolveOriginal(const fs::path& path)
{
    try {
        return resolveLinks(path);
    } catch (const SystemError& error) {
        throw systemFailure(path, error);
    }
}

void RecoveryFileAccess::saveFile(std::string_view bytes, const fs::path& target,
                                  const std::optional<std::string>& expectedDigest) const
{
    fs::path resolved = target;
    std::optional<Save> save;
    try {
        resolved = resolveLinks(target);
        save.emplace(*this, beforeCall_, bytes, resolved);
        save->check(expectedDigest);
    } catch (const SystemError& error) {
        if (expectedDigest && isNoFileAnyMore(error))
            throw externalChange();
        throw systemFailure(resolved, error);
    }
    try {
        save->write(expectedDigest);
    } catch (const SystemError& error) {
        // The same errors may tell of other files by now.
        if (expectedDigest && isNoFileAnyMore(error) && save->originalIsGone())
            throw externalChange();
        throw systemFailure(resolved, error);
    }
}

/// The full flush to the device is what fsync does here: there is no further request, so none can fail.
void RecoveryFileAccess::syncFile(const fs::path& file) const
{
    try {
        announceCall(beforeCall_, "open", file);
        const FileDescriptor descriptor = openPromptly(file, O_RDONLY);
        syncContent(descriptor, beforeCall_);
    } catch (const SystemError&) {
        throw RecoveryError::storage("Cannot synchronize saved file.");
    }
}

}  // namespace penmark
