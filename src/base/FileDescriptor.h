// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/types.h>

namespace penmark {

/// Owns one open file or folder and closes it. Every function repeats calls that a signal interrupted, and every
/// failure is a SystemError that names the path. Each descriptor is used by one thread at a time.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor, std::filesystem::path path = {})
        : descriptor_(descriptor), path_(std::move(path))
    {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_))
    {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor() { reset(); }

    /// Opens with O_CLOEXEC added to the flags. Throws SystemError.
    static FileDescriptor open(const std::filesystem::path& path, int flags, mode_t mode = 0666);

    bool isOpen() const noexcept { return descriptor_ >= 0; }
    int get() const noexcept { return descriptor_; }
    const std::filesystem::path& path() const noexcept { return path_; }

    /// Closes, ignoring what close() says: whoever needs the bytes on disk calls sync() first.
    void reset() noexcept;

    /// Reads from the present position to the end; also pipes. Throws SystemError, also when there is not enough
    /// memory.
    std::string readToEnd() const;

    /// Writes all of the bytes, however few each call takes. Throws SystemError; then some of them may be written.
    void writeAll(std::string_view bytes) const;

    /// fsync. Throws SystemError.
    void sync() const;

private:
    int descriptor_ = -1;
    std::filesystem::path path_;
};

/// The whole file. Throws SystemError.
std::string readFile(const std::filesystem::path& path);

/// Makes the names inside a folder durable. Throws SystemError.
void syncFolder(const std::filesystem::path& folder);

}  // namespace penmark
