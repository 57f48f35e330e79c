// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/CommandContext.h"

#include "base/SystemError.h"
#include "cli/Interruption.h"
#include "storage/RecoveryError.h"
#include "storage/StorageInitialization.h"

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

namespace penmark::cli {

RecoveryConfiguration CommandContext::configuration() const
{
    if (!library_)
        return RecoveryConfiguration::fromEnvironment(currentEnvironment());
    std::error_code error;
    const auto root = std::filesystem::absolute(*library_, error);
    if (error)
        throw SystemError(error.value(), *library_);
    return {root, std::nullopt};
}

RecoveryStore& CommandContext::open(const RecoveryConfiguration& configuration)
{
    deferInterruptions();
    store_ = openStore(configuration);
    return *store_;
}

RecoveryStore& CommandContext::openOrCreateLibrary()
{
    return open(configuration());
}

RecoveryStore& CommandContext::openLibrary()
{
    const RecoveryConfiguration configured = configuration();
    struct stat status {};
    const auto database = configured.root / "recovery.sqlite";
    if (stat(database.c_str(), &status) != 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            throw SystemError(errno, database.native());
        throw RecoveryError::storage("There is no library in " + configured.root.native() + ".");
    }
    // What opening would fill with new tables and find nothing wrong with.
    constexpr off_t databaseHeader = 100;  // bytes
    if (status.st_size < databaseHeader)
        throw RecoveryError::storage("The library's database in " + configured.root.native() +
                                     " is empty or was cut off. It has not been changed.");
    return open(configured);
}

}  // namespace penmark::cli
