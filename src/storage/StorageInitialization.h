// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace penmark {

struct AppStoragePaths {
    std::filesystem::path documentsDirectory;
};

/// How opening the library went, for whoever shows it: ready with the paths, or failed with the sentence for the user.
class StorageInitializationStatus {
public:
    static StorageInitializationStatus ready(AppStoragePaths paths) { return {std::move(paths)}; }
    static StorageInitializationStatus failed(RecoveryError error) { return {std::move(error)}; }

    /// Null if it failed.
    const AppStoragePaths* paths() const { return std::get_if<AppStoragePaths>(&state_); }

    /// Empty if it is ready.
    std::string message() const { return paths() ? std::string() : std::get<RecoveryError>(state_).what(); }

    /// Absent if it is ready.
    std::optional<RecoveryError::Case> failure() const
    {
        return paths() ? std::nullopt : std::optional(std::get<RecoveryError>(state_).which());
    }

private:
    StorageInitializationStatus(std::variant<AppStoragePaths, RecoveryError> state) : state_(std::move(state)) {}

    std::variant<AppStoragePaths, RecoveryError> state_;
};

struct OpenedLibrary {
    StorageInitializationStatus status;
    std::unique_ptr<RecoveryStore> store;  ///< null if it failed
};

/// Whether there is a database file to read. One that is cut off within its header does not count.
bool hasLibrary(const RecoveryConfiguration& configuration);

/// Opens the library, or creates it. One that is there and lies where this user cannot write, on a read-only disk for
/// instance, is opened for reading only; one that is damaged, newer or open elsewhere is not. Throws RecoveryError.
std::unique_ptr<RecoveryStore> openStore(const RecoveryConfiguration& configuration);

/// Opens the library as openStore does, or for reading only if that is wanted, and turns a failure into a status.
/// Nothing is reset or made anew after one.
OpenedLibrary openLibrary(const RecoveryConfiguration& configuration, const Environment& environment,
                          LibraryAccess access = LibraryAccess::readWrite);

}  // namespace penmark
