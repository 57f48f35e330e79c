// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/StorageInitialization.h"

#include "storage/RecoveryError.h"

namespace penmark {

OpenedLibrary openLibrary(const RecoveryConfiguration& configuration, const Environment& environment)
{
    try {
        auto store = std::make_unique<RecoveryStore>(configuration);
        return {StorageInitializationStatus::ready({documentsFolder(environment)}), std::move(store)};
    } catch (const RecoveryError& error) {
        return {StorageInitializationStatus::failed(error.what()), nullptr};
    }
}

}  // namespace penmark
