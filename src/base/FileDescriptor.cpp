// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/FileDescriptor.h"

#include "base/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other) {
        reset();
        descriptor_ = std::exchange(other.descriptor_, -1);
        path_ = std::move(other.path_);
    }
    return *this;
}

FileDescriptor FileDescriptor::open(const std::filesystem::path& path, int flags, mode_t mode)
{
    for (;;) {
        const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
        if (descriptor >= 0)
            return FileDescriptor(descriptor, path);
        if (errno != EINTR)
            throw SystemError(errno, path.native());
    }
}

void FileDescriptor::reset() noexcept
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = -1;
}

std::string FileDescriptor::readToEnd() const
{
    struct stat status {};
    if (fstat(descriptor_, &status) != 0)
        throw SystemError(errno, path_.native());
    // One byte more than the size says, so that the end is seen without growing the buffer; but a size is only a claim
    // (a file may be sparse), so beyond a point the bytes themselves must come first.
    constexpr std::size_t smallestRead = std::size_t{64} * 1024;
    constexpr std::size_t largestTrust = std::size_t{256} * 1024 * 1024;
    const std::size_t claimed = S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) + 1 : smallestRead;
    std::string bytes;
    std::size_t length = 0;
    try {
        bytes.resize(std::min(claimed, largestTrust));
        for (;;) {
            if (length == bytes.size())
                bytes.resize(bytes.size() + std::max(bytes.size(), smallestRead));
            const ssize_t got = ::read(descriptor_, bytes.data() + length, bytes.size() - length);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                throw SystemError(errno, path_.native());
            if (got == 0)
                break;
            length += static_cast<std::size_t>(got);
        }
    } catch (const std::bad_alloc&) {
        throw SystemError(ENOMEM, path_.native());
    } catch (const std::length_error&) {
        throw SystemError(EFBIG, path_.native());
    }
    bytes.resize(length);
    return bytes;
}

void FileDescriptor::writeAll(std::string_view bytes) const
{
    while (!bytes.empty()) {
        // A nearly full disk takes part of the bytes and reports success, so the count decides.
        const ssize_t put = ::write(descriptor_, bytes.data(), bytes.size());
        if (put < 0) {
            if (errno == EINTR)
                continue;
            throw SystemError(errno, path_.native());
        }
        if (put == 0)
            throw SystemError(EIO, path_.native());
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
}

void FileDescriptor::sync() const
{
    while (fsync(descriptor_) != 0) {
        if (errno != EINTR)
            throw SystemError(errno, path_.native());
    }
}

std::string readFile(const std::filesystem::path& path)
{
    return FileDescriptor::open(path, O_RDONLY).readToEnd();
}

void syncFolder(const std::filesystem::path& folder)
{
    FileDescriptor::open(folder, O_RDONLY | O_DIRECTORY).sync();
}

}  // namespace penmark
