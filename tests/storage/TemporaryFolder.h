// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/SystemError.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace penmark {

/// A fresh empty folder, below the system's temporary folder if not elsewhere, removed with everything in it at the
/// end.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
    {
        std::string name = (parent / "penmark-test-XXXXXX").native();
        if (mkdtemp(name.data()) == nullptr)
            throw SystemError(errno, name);
        path_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

    /// Where files are kept in memory, if the system has such a folder: for tests of many steps that no disk matters
    /// to.
    static std::filesystem::path inMemory()
    {
        const std::filesystem::path memory = "/dev/shm";
        return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    }

private:
    std::filesystem::path path_;
};

}  // namespace penmark
