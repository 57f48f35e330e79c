// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryStore.h"

#include <filesystem>
#include <memory>
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
    static StorageInitializationStatus failed(std::string message) { return {std::move(message)}; }

    /// Null if it failed.
    const AppStoragePaths* paths() const { return std::get_if<AppStoragePaths>(&state_); }

    /// Empty if it is ready.
    std::string message() const { return paths() ? std::string() : std::get<std::string>(state_); }

private:
    StorageInitializationStatus(std::variant<AppStoragePaths, std::string> state) : state_(std::move(state)) {}

    std::variant<AppStoragePaths, std::string> state_;
};

struct OpenedLibrary {
    StorageInitializationStatus status;
    std::unique_ptr<RecoveryStore> store;  ///< null if it failed
};

/// Opens the library and turns a failure into a status. Nothing is reset or made anew after one.
OpenedLibrary openLibrary(const RecoveryConfiguration& configuration, const Environment& environment);

}  // namespace penmark
