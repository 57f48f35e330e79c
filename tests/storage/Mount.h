// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <utility>

#include <sys/mount.h>

namespace penmark {

/// A file system mounted for the length of a test.
class Mount {
public:
    Mount(const char* source, std::filesystem::path where, const char* type, unsigned long flags, const char* options)
        : where_(std::move(where)), mounted_(mount(source, where_.c_str(), type, flags, options) == 0)
    {}
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;
    ~Mount()
    {
        if (mounted_)
            umount2(where_.c_str(), MNT_DETACH);
    }

    bool mounted() const { return mounted_; }

private:
    std::filesystem::path where_;
    bool mounted_;
};

/// A folder that nobody can write into while this lives; by other paths to it, everybody still can.
class ReadOnlyMount {
public:
    explicit ReadOnlyMount(const std::filesystem::path& folder)
        : bind_(folder.c_str(), folder, nullptr, MS_BIND, nullptr),
          isReadOnly_(bind_.mounted() &&
                      mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0)
    {}

    /// False where mounting is not permitted.
    bool mounted() const { return isReadOnly_; }

private:
    Mount bind_;
    bool isReadOnly_;
};

}  // namespace penmark
