// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryFileAccess.h"

#include "base/SystemError.h"
#include "base/Utf8.h"
#include "base/Uuid.h"
#include "storage/ExternalOriginals.h"
#include "storage/FileAttributes.h"
#include "storage/FileContent.h"
#include "storage/FileReplacement.h"
#include "storage/RecoveryError.h"

#include <cerrno>

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

/// Where the bytes go: behind every symbolic link, also one whose target does not exist.
fs::path resolveLinks(fs::path path)
{
    constexpr int mostLinks = 40;  // as the kernel has it
    path = fs::absolute(path);
    for (int i = 0; i < mostLinks; ++i) {
        std::error_code error;
        const fs::path link = fs::read_symlink(path, error);
        if (error)  // no link; if there is another trouble, the calls that follow meet it too
            return path;
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

    void run(const std::optional<std::string>& expectedDigest)
    {
        const auto status = folder_.status(name_);
        const FileDescriptor original = checkOriginal(status, expectedDigest);
        TemporaryFile temporary(folder_, status ? 0600 : 0666);
        writeTemporary(temporary, original);
        if (!status)
            putAtNewName(temporary);
        else if (status->st_nlink > 1)
            overwrite(*expectedDigest);
        else
            replace(temporary, *expectedDigest);
    }

private:
    /// Throws unless the target is as expected and may be written; returns it opened, if it exists.
    FileDescriptor checkOriginal(const std::optional<struct stat>& status,
                                 const std::optional<std::string>& expectedDigest) const;
    void writeTemporary(const TemporaryFile& temporary, const FileDescriptor& original) const;
    void putAtNewName(TemporaryFile& temporary) const;
    void reserveAndRename(TemporaryFile& temporary) const;
    void overwrite(const std::string& expectedDigest) const;
    void replace(TemporaryFile& temporary, const std::string& expectedDigest) const;
    void syncByName(const std::string& name) const;

    const RecoveryFileAccess& access_;
    std::string_view bytes_;
    FolderHandle folder_;
    std::string name_;
};

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
        original = folder_.open(name_, O_RDONLY);
        digest = digestContent(original, folder_.before());
    }
    // A file that nobody may write was made so on purpose; that a privileged process could is no reason to.
    const bool writableForNobody = (status->st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    if (writableForNobody || !folder_.mayWrite(name_))
        throw RecoveryError::storage("The original file is read-only. Save a copy.");
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
        if (refusal.errorNumber() == EEXIST)
            throw externalChange();
        reserveAndRename(temporary);
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
    try {
        folder_.open(name_, O_WRONLY | O_CREAT | O_EXCL, 0666).reset();
    } catch (const SystemError& error) {
        if (error.errorNumber() == EEXIST)
            throw externalChange();
        throw;
    }
    try {
        const auto reserved = folder_.status(name_);
        if (!reserved || reserved->st_size != 0)
            throw externalChange();
        folder_.rename(temporary.name(), name_);
    } catch (const SystemError&) {
        folder_.tryRemove(name_);
        throw;
    }
    temporary.release();
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
    syncByName(name_);
    settleReplaced(folder_, *replaced, expectedDigest, name_, access_);
    folder_.trySync();
}

}  // namespace

void RecoveryFileAccess::saveFile(std::string_view bytes, const fs::path& target,
                                  const std::optional<std::string>& expectedDigest) const
{
    fs::path resolved = target;
    try {
        resolved = resolveLinks(target);
        Save(*this, beforeCall_, bytes, resolved).run(expectedDigest);
    } catch (const SystemError& error) {
        if (expectedDigest && isNoFileAnyMore(error))
            throw externalChange();
        throw systemFailure(resolved, error);
    }
}

/// The full flush to the device is what fsync does here: there is no further request, so none can fail.
void RecoveryFileAccess::syncFile(const fs::path& file) const
{
    try {
        announceCall(beforeCall_, "open", file);
        const FileDescriptor descriptor = FileDescriptor::open(file, O_RDONLY | O_NONBLOCK | O_NOCTTY);
        syncContent(descriptor, beforeCall_);
    } catch (const SystemError&) {
        throw RecoveryError::storage("Cannot synchronize saved file.");
    }
}

}  // namespace penmark
