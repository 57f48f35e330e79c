// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/OriginalFile.h"

#include "base/SystemError.h"
#include "base/Utf8.h"
#include "storage/FileContent.h"
#include "storage/RecoveryError.h"

#include <algorithm>
#include <cerrno>

namespace penmark {

namespace {

// The coarsest date of any file system in use (FAT) and then some for its clock's ticks.
constexpr double dateResolution = 2.0;

FileDescriptor openForReading(const std::filesystem::path& file)
{
    FileDescriptor descriptor = openPromptly(file, O_RDONLY);
    struct stat status {};
    if (fstat(descriptor.get(), &status) != 0)
        throw SystemError(errno, file.native());
    if (!S_ISREG(status.st_mode))
        throw SystemError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, file.native());
    return descriptor;
}

bool isSettled(const DocumentFileSnapshot& remembered, const DocumentFileSnapshot& present)
{
    if (!remembered.exists || !remembered.modifiedAt || !remembered.statusChangedAt ||
        remembered.modifiedAt != present.modifiedAt || remembered.statusChangedAt != present.statusChangedAt ||
        remembered.fileSize != present.fileSize || remembered.fileNumber != present.fileNumber)
        return false;
    const double lastChange = std::max(remembered.modifiedAt->seconds, remembered.statusChangedAt->seconds);
    return remembered.takenAt.seconds > lastChange + dateResolution;
}

}  // namespace

DocumentFileSnapshot takeSnapshot(const std::filesystem::path& file, const Clock& clock)
{
    DocumentFileSnapshot snapshot;
    snapshot.fileURL = file;
    snapshot.takenAt = clock();
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return snapshot;
    snapshot.exists = true;
    snapshot.modifiedAt = Date::fromUnix(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    snapshot.statusChangedAt = Date::fromUnix(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
    snapshot.fileSize = status.st_size;
    snapshot.fileNumber = status.st_ino;
    return snapshot;
}

std::string fileDigest(const std::filesystem::path& file)
{
    try {
        return digestContent(openForReading(file), {});
    } catch (const SystemError& error) {
        throw RecoveryError::storage(repairUtf8(error.what()));
    }
}

std::string readOriginal(const std::filesystem::path& file)
{
    try {
        return openForReading(file).readToEnd();
    } catch (const SystemError& error) {
        throw RecoveryError::storage(repairUtf8(error.what()));
    }
}

OriginalCheck checkOriginal(const DocumentFileSnapshot& remembered, const std::string& expectedDigest,
                            const Clock& clock)
{
    using Availability = OriginalFileAvailability;
    OriginalCheck check;
    // Taken before reading: a change during the reading then shows at the next check.
    check.snapshot = takeSnapshot(remembered.fileURL, clock);
    if (!check.snapshot.exists)
        return check;
    if (isSettled(remembered, check.snapshot)) {
        check.availability = Availability::current;
        return check;
    }
    try {
        const bool same = fileDigest(remembered.fileURL) == expectedDigest;
        check.availability = same ? Availability::current : Availability::changed;
    } catch (const RecoveryError&) {
        check.availability = Availability::unavailable;
    }
    return check;
}

std::string_view originalStatusText(std::optional<OriginalFileAvailability> availability, bool hasUnsavedChanges)
{
    if (!availability)
        return originalStatus::noFile;
    switch (*availability) {
    case OriginalFileAvailability::checking:
        return originalStatus::checking;
    case OriginalFileAvailability::changed:
        return originalStatus::changed;
    case OriginalFileAvailability::unavailable:
        return originalStatus::unavailable;
    case OriginalFileAvailability::current:
        break;
    }
    return hasUnsavedChanges ? originalStatus::unsaved : originalStatus::saved;
}

}  // namespace penmark
