// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryFileAccess.h"
#include "storage/TemporaryFolder.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {

/// A folder with files to save and, beside it, a library folder.
class SaveFixture {
public:
    explicit SaveFixture(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) : folder(parent)
    {
        std::filesystem::create_directories(files);
        std::filesystem::create_directories(library);
    }

    static void write(const std::filesystem::path& file, std::string_view bytes)
    {
        FileDescriptor::open(file, O_WRONLY | O_CREAT | O_TRUNC).writeAll(bytes);
    }

    /// Every regular file below the folder by its path relative to it, with its content.
    static std::map<std::string, std::string> contents(const std::filesystem::path& folder)
    {
        std::map<std::string, std::string> result;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.symlink_status().type() == std::filesystem::file_type::regular)
                result[entry.path().lexically_relative(folder).native()] = readFile(entry.path());
        }
        return result;
    }

    /// What saveFile says: the sentence of its error, or nothing when it succeeds.
    std::string save(std::string_view bytes, const std::optional<std::string>& expectedDigest,
                     BeforeSystemCall before = {}) const
    {
        return save(target, bytes, expectedDigest, std::move(before));
    }

    std::string save(const std::filesystem::path& file, std::string_view bytes,
                     const std::optional<std::string>& expectedDigest, BeforeSystemCall before = {}) const
    {
        try {
            RecoveryFileAccess(library, std::move(before)).saveFile(bytes, file, expectedDigest);
            return {};
        } catch (const RecoveryError& error) {
            return error.what();
        }
    }

    TemporaryFolder folder;
    std::filesystem::path files = folder.path() / "files";
    std::filesystem::path library = folder.path() / "library";
    std::filesystem::path target = files / "letter.txt";

    static constexpr std::string_view storageError = "Penmark could not complete the operation: ";
    static constexpr std::string_view externalChange =
        "The original file changed or moved. Your text is still open in Penmark. Save a copy or reload the original.";
    static constexpr std::string_view readOnly =
        "Penmark could not complete the operation: The original file is read-only. Save a copy.";
    static constexpr std::string_view notSynchronized =
        "Penmark could not complete the operation: Cannot synchronize saved file.";
};

using Contents = std::map<std::string, std::string>;

}  // namespace penmark
