// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cli/Console.h"
#include "storage/RecoveryStore.h"

#include <memory>
#include <optional>
#include <string>

namespace penmark::cli {

/// What a command works with: the console and the library, which is opened when the command asks for it. Input is read
/// before that, so that nothing which waits for it keeps others out of the library. One thread.
class CommandContext {
public:
    /// `library` is the folder that the user named; otherwise the environment decides.
    explicit CommandContext(std::optional<std::string> library) : library_(std::move(library)) {}

    Console console;

    /// Opens the library, or creates it; one that cannot be written to for reading only. Throws as RecoveryStore does.
    RecoveryStore& openOrCreateLibrary();

    /// The same without creating one. Throws `storage` if there is none: a mistyped folder is not an empty library.
    RecoveryStore& openLibrary();

private:
    RecoveryConfiguration configuration() const;
    RecoveryStore& open(const RecoveryConfiguration& configuration);

    std::optional<std::string> library_;
    std::unique_ptr<RecoveryStore> store_;
};

}  // namespace penmark::cli
