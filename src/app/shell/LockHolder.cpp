// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/LockHolder.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

struct ListedLock {
    pid_t process = 0;
    unsigned major = 0;
    unsigned minor = 0;
    ino_t inode = 0;
};

// A line such as "3: FLOCK  ADVISORY  WRITE 1234 08:01:5678 0 EOF"; one with "->" only waits for its lock.
std::optional<ListedLock> parseLine(const std::string& line)
{
    std::istringstream words(line);
    std::string number, kind, manner, mode, file;
    long process = 0;
    if (!(words >> number >> kind >> manner >> mode >> process >> file) || kind != "FLOCK" || process <= 0)
        return std::nullopt;
    ListedLock lock;
    lock.process = static_cast<pid_t>(process);
    unsigned long long inode = 0;
    if (std::sscanf(file.c_str(), "%x:%x:%llu", &lock.major, &lock.minor, &inode) != 3)
        return std::nullopt;
    lock.inode = inode;
    return lock;
}

bool hasOpen(pid_t process, const struct stat& wanted)
{
    std::error_code error;
    for (fs::directory_iterator entry("/proc/" + std::to_string(process) + "/fd", error), end; entry != end && !error;
         entry.increment(error)) {
        struct stat found {};
        if (stat(entry->path().c_str(), &found) == 0 && found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino)
            return true;
    }
    return false;
}

}  // namespace

std::optional<pid_t> lockHolder(const fs::path& file)
{
    struct stat wanted {};
    if (stat(file.c_str(), &wanted) != 0)
        return std::nullopt;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        const auto lock = parseLine(line);
        if (!lock || lock->inode != wanted.st_ino)
            continue;
        // Layered file systems show another device here than stat does; then the process itself is looked at.
        const bool isSameDevice = lock->major == major(wanted.st_dev) && lock->minor == minor(wanted.st_dev);
        if (isSameDevice || hasOpen(lock->process, wanted))
            return lock->process;
    }
    return std::nullopt;
}

}  // namespace penmark
