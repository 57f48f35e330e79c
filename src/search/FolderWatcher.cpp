// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FolderWatcher.h"

#include "base/FunctionRef.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

namespace {

constexpr std::uint32_t changes =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

/// Tells what has changed since a moment, by the times of inodes.
class ChangesSince {
public:
    explicit ChangesSince(std::chrono::system_clock::time_point moment)
        // Those times advance in steps of some milliseconds.
        : from_(secondsOf(moment - std::chrono::milliseconds(20)))
    {}

    void look(const std::string& path) { hasChanged_ = hasChanged_ || isSince(path); }
    /// Looks at a folder that may have been empty at that moment: then nothing in it is older.
    void lookInto(const std::string& folder)
    {
        if (hasChanged_ || !isSince(folder))
            return;
        std::error_code error;
        for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
            if (!isSince(at->path().native()))
                return;
        }
        hasChanged_ = true;
    }
    bool hasChanged() const { return hasChanged_; }

private:
    /// A time to come is that of a clock that was wrong, and says nothing.
    bool isSince(const std::string& path) const
    {
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0)
            return false;
        const double changed =
            static_cast<double>(status.st_ctim.tv_sec) + static_cast<double>(status.st_ctim.tv_nsec) * 1e-9;
        return changed >= from_ && changed <= secondsOf(std::chrono::system_clock::now());
    }
    static double secondsOf(std::chrono::system_clock::time_point moment)
    {
        return std::chrono::duration<double>(moment.time_since_epoch()).count();
    }

    double from_;
    bool hasChanged_ = false;
};

/// Calls with the folders in a folder, symbolic links not among them.
void forEachFolderIn(const std::string& folder, FunctionRef<void(const std::string& path)> visit)
{
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;
        if (at->symlink_status(ignored).type() == std::filesystem::file_type::directory)
            visit(at->path().native());
    }
}

}  // namespace

FolderWatcher::FolderWatcher() : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

bool FolderWatcher::add(const std::string& folder)
{
    if (!events_.isOpen() || watches_.size() >= folderLimit)
        return false;
    const int watch = inotify_add_watch(events_.get(), folder.c_str(), changes | IN_ONLYDIR);
    if (watch < 0)
        return errno == ENOENT || errno == ENOTDIR;
    watches_.insert(watch);
    return true;
}

FolderWatcher::Result FolderWatcher::addAll(const FolderScanner::Listing& listing)
{
    const std::vector<std::string> folders = listing.files.folders();
    for (const std::string& folder : folders) {
        if (!add(folder))
            return {false, false};
    }
    Result result;
    ChangesSince since(listing.began);
    const std::unordered_set<std::string_view> withFiles(folders.begin(), folders.end());
    for (const std::string& folder : folders) {
        since.look(folder);
        forEachFolderIn(folder, [&](const std::string& path) {
            if (withFiles.contains(path) || path.ends_with("/.git"))
                return;
            std::error_code error;
            if (!std::filesystem::is_empty(path, error) || error)
                return since.lookInto(path);  // mostly it holds only what is ignored, which may change all the time
            result.isComplete = add(path) && result.isComplete;
            since.look(path);  // which may have changed before it was watched
        });
    }
    for (std::size_t file = 0; file < listing.files.size() && !since.hasChanged(); ++file)
        since.look(listing.files.absolutePath(file));
    result.hasChanged = since.hasChanged();
    return result;
}

bool FolderWatcher::drain()
{
    bool hasChanged = false;
    std::array<char, 16'384> room;  // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
    for (;;) {
        const ssize_t got = ::read(events_.get(), room.data(), room.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return hasChanged;
        for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
            inotify_event event{};
            std::memcpy(&event, room.data() + at, sizeof event);
            at += sizeof event + event.len;
            hasChanged = hasChanged || (event.mask & (changes | IN_Q_OVERFLOW | IN_UNMOUNT)) != 0;
            if ((event.mask & IN_IGNORED) != 0)
                watches_.erase(event.wd);
        }
    }
}

}  // namespace penmark
