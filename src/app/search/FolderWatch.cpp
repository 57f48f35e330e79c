// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/FolderWatch.h"

#include "app/documents/PoolWork.h"

#include <utility>

namespace penmark {

namespace {

struct Made {
    std::unique_ptr<FolderWatcher> watcher;
    FolderWatcher::Result result;
};

Made make(const FolderScanner::Listing& listing)
{
    Made made{std::make_unique<FolderWatcher>(), {}};
    made.result = made.watcher->addAll(listing);
    return made;
}

/// Ends a watch in the pool: the kernel takes some 10 ms or more for that.
void letGo(std::unique_ptr<FolderWatcher> watcher)
{
    if (watcher)
        startInPool([shared = std::shared_ptr<FolderWatcher>(std::move(watcher))]() mutable { shared.reset(); });
}

}  // namespace

void FolderWatch::watch(const std::string& path, std::shared_ptr<const FolderScanner::Listing> listing)
{
    if (path != path_)
        stop();
    path_ = path;
    inPool(
        this, [listing = std::move(listing)] { return make(*listing); },
        [this, serial = ++serial_](Made made) {
            if (serial == serial_)
                take(std::move(made.watcher), made.result);
            else
                letGo(std::move(made.watcher));
        });
}

void FolderWatch::stop()
{
    ++serial_;
    path_.clear();
    isComplete_ = true;
    notifier_.reset();
    letGo(std::move(watcher_));
}

void FolderWatch::take(std::unique_ptr<FolderWatcher> watcher, FolderWatcher::Result result)
{
    // What the one before has to tell would go with it.
    const bool hasChanged = (watcher_ && watcher_->drain()) || result.hasChanged;
    notifier_.reset();
    letGo(std::exchange(watcher_, std::move(watcher)));
    if (watcher_->descriptor() >= 0) {
        notifier_ = std::make_unique<QSocketNotifier>(watcher_->descriptor(), QSocketNotifier::Read);
        connect(notifier_.get(), &QSocketNotifier::activated, this, [this] {
            if (watcher_->drain())
                emit changed();
        });
    }
    isComplete_ = result.isComplete;
    if (!result.isComplete)
        emit incomplete();
    if (hasChanged)
        emit changed();
}

}  // namespace penmark
