// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/StorageInitialization.h"

#include "storage/ReadOnlyDatabase.h"

#include <sys/stat.h>

namespace penmark {

namespace {

using Case = RecoveryError::Case;

std::filesystem::path databaseOf(const RecoveryConfiguration& configuration)
{
    return configuration.root / "recovery.sqlite";
}

}  // namespace

bool hasLibrary(const RecoveryConfiguration& configuration)
{
    constexpr off_t databaseHeader = 100;  // bytes
    struct stat status {};
    return stat(databaseOf(configuration).c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size >= databaseHeader;
}

std::unique_ptr<RecoveryStore> openStore(const RecoveryConfiguration& configuration)
{
    try {
        return std::make_unique<RecoveryStore>(configuration);
    } catch (const RecoveryError& error) {
        // Looked at only now, so that opening costs what it did and writing is never given up for a doubt.
        if (error.which() != Case::storage || !hasLibrary(configuration) ||
            !cannotBeWritten(databaseOf(configuration), configuration.root / "writer.lock"))
            throw;
    }
    return std::make_unique<RecoveryStore>(configuration, LibraryAccess::readOnly);
}

OpenedLibrary openLibrary(const RecoveryConfiguration& configuration, const Environment& environment,
                          LibraryAccess access)
{
    try {
        auto store = access == LibraryAccess::readOnly ? std::make_unique<RecoveryStore>(configuration, access)
                                                       : openStore(configuration);
        return {StorageInitializationStatus::ready({documentsFolder(environment)}), std::move(store)};
    } catch (const RecoveryError& error) {
        return {StorageInitializationStatus::failed(error), nullptr};
    }
}

}  // namespace penmark
