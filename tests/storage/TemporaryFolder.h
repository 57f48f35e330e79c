// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/SystemError.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace penmark {

/// A fresh empty folder below the system's temporary folder, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "penmark-test-XXXXXX").native();
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

private:
    std::filesystem::path path_;
};

}  // namespace penmark
