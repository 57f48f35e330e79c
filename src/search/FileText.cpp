// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FileText.h"

#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "base/SystemError.h"
#include "storage/RecoveryEncoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

namespace {

std::int64_t nanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t nanosecondsNow()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now);
}

/// What tells two states of a file apart.
std::array<std::int64_t, 5> stateOf(const struct stat& status)
{
    return {static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino),
            static_cast<std::int64_t>(status.st_size), nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

FileTextReader::Result problem(std::string sentence)
{
    FileTextReader::Result result;
    result.problem = std::move(sentence);
    return result;
}

int openForReading(const std::string& path)
{
    for (;;) {
        const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor >= 0 || errno != EINTR)
            return descriptor;
    }
}

std::string cannotRead(const std::string& path)
{
    return "Cannot read " + path;
}

std::string notRegular(const std::string& path)
{
    return "Not a regular file: " + path;
}

}  // namespace

std::optional<std::string> fileStateKey(const struct stat& status, std::int64_t now)
{
    // Times of files advance in steps of some milliseconds, on some file systems of two seconds; a time to come may be
    // that of another computer's clock.
    constexpr std::int64_t unsettled = 2'000'000'000;
    const auto state = stateOf(status);
    const std::int64_t latest = std::max(state[3], state[4]);
    if (!S_ISREG(status.st_mode) || latest > now - unsettled)
        return std::nullopt;
    constexpr std::string_view tag = "file state 1";
    std::array<char, tag.size() + sizeof state> bytes{};
    std::memcpy(bytes.data(), tag.data(), tag.size());
    std::memcpy(bytes.data() + tag.size(), state.data(), sizeof state);
    return sha256({bytes.data(), bytes.size()});
}

std::optional<std::string> fileStateKey(const char* path, std::int64_t now)
{
    struct stat status {};
    if (fstatat(AT_FDCWD, path, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return fileStateKey(status, now);
}

FileTextReader::Result FileTextReader::read(const std::string& path, std::size_t limit, const std::stop_token& stop)
{
    // Before the file is looked at: however long reading takes, a change after it must not look settled.
    const std::int64_t now = nanosecondsNow();
    length_ = 0;
    if (decoded_.capacity() > keptRoom)
        decoded_ = std::string();

    const FileDescriptor file(openForReading(path));
    // A symbolic link, and a socket or a device that nothing is behind.
    if (!file.isOpen())
        return problem(errno == ELOOP || errno == ENXIO ? notRegular(path) : cannotRead(path));
    struct stat before {};
    if (fstat(file.get(), &before) != 0)
        return problem(cannotRead(path));
    if (!S_ISREG(before.st_mode))
        return problem(notRegular(path));
    const auto size = static_cast<std::size_t>(before.st_size);
    if (size > limit)
        return problem("File exceeds " + std::to_string(limit / 1'048'576) + " MiB search limit: " + path);

    const std::size_t piece = std::clamp<std::size_t>(size, 1, pieceLimit);
    makeRoom(size + piece);
    if (auto failure = readAll(file.get(), path, piece, limit, stop))
        return problem(std::move(*failure));
    struct stat after {};
    if (fstat(file.get(), &after) != 0 || stateOf(after) != stateOf(before))
        return problem("File changed while it was read: " + path);

    Result result;
    const auto text = decodeTextInto({room_.get(), length_}, decoded_);
    result.kind = text ? Result::Kind::text : Result::Kind::binary;
    result.text = text.value_or(std::string_view());
    result.bytes = length_;
    result.key = fileStateKey(after, now);
    return result;
}

/// Reads to the end; returns a problem if there is one.
std::optional<std::string> FileTextReader::readAll(int descriptor, const std::string& path, std::size_t piece,
                                                   std::size_t limit, const std::stop_token& stop)
{
    for (;;) {
        if (stop.stop_requested())
            throw Cancelled();
        makeRoom(length_ + piece);
        const ssize_t got = ::read(descriptor, room_.get() + length_, piece);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return "Read failed: " + SystemError::reason(errno);
        if (got == 0)
            return std::nullopt;
        length_ += static_cast<std::size_t>(got);
        if (length_ > limit)
            return "File grew beyond the search limit: " + path;
    }
}

/// Makes the room as large as that, keeping what has been read.
void FileTextReader::makeRoom(std::size_t bytes)
{
    const bool isWasteful = length_ == 0 && roomSize_ > keptRoom && bytes <= keptRoom;
    if (bytes <= roomSize_ && !isWasteful)
        return;
    const std::size_t size = isWasteful ? bytes : std::max({bytes, 2 * length_, std::size_t{65'536}});
    auto room = std::make_unique_for_overwrite<char[]>(size);
    if (length_ > 0)
        std::memcpy(room.get(), room_.get(), length_);
    room_ = std::move(room);
    roomSize_ = size;
}

}  // namespace penmark
