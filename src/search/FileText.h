// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

struct stat;

namespace penmark {

/// What names a state of a file without its content: a digest of device, inode, size, and the times of change and
/// modification in nanoseconds. Absent for a file that changed within the last two seconds, since such a change can
/// leave the times as they were, and for anything but a regular file. `now` in nanoseconds since 1970.
std::optional<std::string> fileStateKey(const struct stat& status, std::int64_t now);
/// Of the file at a path, which is neither opened nor followed if it is a symbolic link; absent too if there is none.
/// One system call.
std::optional<std::string> fileStateKey(const char* path, std::int64_t now);

/// Reads files for a search, one after another, into memory that is used again. One thread at a time.
class FileTextReader {
public:
    static constexpr std::size_t pieceLimit = 1'048'576;  ///< bytes read at once, and the most between looks at `stop`

    struct Result {
        enum class Kind { text, binary, problem };
        Kind kind = Kind::problem;
        std::string_view text;           ///< valid UTF-8; until the next call
        std::string problem;             ///< a sentence
        std::size_t bytes = 0;           ///< read
        std::optional<std::string> key;  ///< fileStateKey of what was read, text or not
    };

    /// Neither follows a symbolic link nor waits for a pipe. The limit in bytes. Throws Cancelled.
    Result read(const std::string& path, std::size_t limit, const std::stop_token& stop);

private:
    static constexpr std::size_t keptRoom = 33'554'432;  // more is given back once a file needs less

    void makeRoom(std::size_t bytes);
    std::optional<std::string> readAll(int descriptor, const std::string& path, std::size_t piece, std::size_t limit,
                                       const std::stop_token& stop);

    // Never filled with zeros, which would cost more than reading small files into it.
    std::unique_ptr<char[]> room_;
    std::size_t roomSize_ = 0;
    std::size_t length_ = 0;
    std::string decoded_;
};

}  // namespace penmark
