// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/FolderWatcher.h"

#include <QObject>
#include <QPointer>
#include <QSocketNotifier>
#include <cstdint>
#include <memory>
#include <string>

namespace penmark {

/// Tells when something in a folder, or in those below, changes. Main thread.
class FolderWatch final : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// Watches the folders of a listing, and tells of what has changed since it was begun. What was watched before is
    /// let go.
    void watch(const std::string& path, std::shared_ptr<const FolderScanner::Listing> listing);
    void stop();
    /// Empty while nothing is watched.
    const std::string& watchedPath() const { return path_; }
    /// False once incomplete() has been said of what is watched.
    bool isComplete() const { return isComplete_; }

signals:
    void changed();
    /// Not all of it can be watched; the part that can is.
    void incomplete();

private:
    void take(std::unique_ptr<FolderWatcher> watcher, FolderWatcher::Result result);

    std::string path_;
    bool isComplete_ = true;
    std::uint64_t serial_ = 0;
    std::unique_ptr<FolderWatcher> watcher_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace penmark
