// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/FolderListing.h"
#include "base/Uuid.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace penmark {

/// The folders of projects that have been looked into, and what they hold. Folders are read by a pool of threads and
/// read again when something in them changes, as long as they are shown. Paths are absolute, as bytes. Main thread.
class ProjectTree final : public QObject {
    Q_OBJECT

public:
    struct Folder {
        Uuid project;
        std::string path;
        std::shared_ptr<const FolderListing> listing;  ///< null until it has been read
        bool isIgnored = false;
        bool isReading = false;
        bool isStale = false;  ///< to be read again when the reading has ended
    };

    explicit ProjectTree(QObject* parent = nullptr);

    /// Null if it has not been looked into.
    const Folder* find(const Uuid& project, const std::string& path) const;
    /// Reads it, also again. `around` is the folder that it is in; null for the top of a project.
    void read(const Uuid& project, const std::string& path, const Folder* around, bool isIgnored);
    /// Reads the folder again wherever it is known.
    void readAgain(const std::string& path);
    /// Reads again all that is shown.
    void refresh();
    void forget(const Uuid& project);

    /// Those are shown, no others, and are watched for changes as far as that is possible.
    void setShown(const std::set<std::string>& paths);
    /// Something is being read, or will be for a change that was seen.
    bool isBusy() const;
    /// Some of them cannot be watched: there are too many.
    bool isUnwatched() const { return isUnwatched_; }
    /// How many folders are watched at most; the system may allow fewer.
    void setWatchLimit(std::size_t limit) { watchLimit_ = limit; }

signals:
    void changed();

private:
    using Key = std::pair<Uuid, std::string>;

    void start(Folder& folder, std::shared_ptr<const FolderListing> around);
    void take(const Key& key, FolderListing listing);
    void watch(const std::string& path);

    std::map<Key, Folder> folders_;
    std::set<std::string> shown_;
    std::set<std::string> watched_;
    std::size_t watchLimit_ = 1000;
    bool isUnwatched_ = false;
    std::unique_ptr<QFileSystemWatcher> watcher_;
    std::set<std::string> changed_;  // on disk, since the timer was started
    QTimer timer_;
};

}  // namespace penmark
