// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ProjectTree.h"

#include "app/documents/PoolWork.h"

#include <QFile>
#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace penmark {
namespace {

/// What is as it was stays the same object, so that its row does not count as changed.
void keepEqual(FolderListing& listing, const FolderListing& before)
{
    std::unordered_map<std::string_view, const std::shared_ptr<const FolderEntry>*> known;
    for (const auto& entry : before.entries)
        known.emplace(entry->name, &entry);
    for (auto& entry : listing.entries)
        if (const auto found = known.find(entry->name); found != known.end() && **found->second == *entry)
            entry = *found->second;
}

}  // namespace

ProjectTree::ProjectTree(QObject* parent) : QObject(parent)
{
    timer_.setSingleShot(true);
    timer_.setInterval(100);  // changes come in swarms
    connect(&timer_, &QTimer::timeout, this, [this] {
        for (const std::string& path : std::exchange(changed_, {}))
            readAgain(path);
    });
}

const ProjectTree::Folder* ProjectTree::find(const Uuid& project, const std::string& path) const
{
    const auto found = folders_.find({project, path});
    return found == folders_.end() ? nullptr : &found->second;
}

void ProjectTree::read(const Uuid& project, const std::string& path, const Folder* around, bool isIgnored)
{
    Folder& folder = folders_[{project, path}];
    folder.project = project;
    folder.path = path;
    folder.isIgnored = isIgnored;
    if (folder.isReading)
        folder.isStale = true;
    else
        start(folder, around ? around->listing : nullptr);
}

void ProjectTree::start(Folder& folder, std::shared_ptr<const FolderListing> around)
{
    folder.isReading = true;
    folder.isStale = false;
    inPool(
        this,
        [path = folder.path, isIgnored = folder.isIgnored, around = std::move(around)] {
            return readFolder(path, around.get(), isIgnored);
        },
        [this, key = Key(folder.project, folder.path)](FolderListing listing) { take(key, std::move(listing)); });
}

void ProjectTree::take(const Key& key, FolderListing listing)
{
    const auto found = folders_.find(key);
    if (found == folders_.end())
        return;
    Folder& folder = found->second;
    folder.isReading = false;
    if (folder.listing)
        keepEqual(listing, *folder.listing);
    folder.listing = std::make_shared<const FolderListing>(std::move(listing));
    // What is below a folder that is gone would come back as it was.
    if (folder.listing->problem)
        for (auto below = folders_.upper_bound(key); below != folders_.end() && below->first.first == key.first;) {
            const bool isInside = below->first.second.compare(0, key.second.size() + 1, key.second + '/') == 0;
            below = isInside ? folders_.erase(below) : std::next(below);
        }
    if (folder.isStale)
        readAgain(key.second);
    emit changed();
}

void ProjectTree::readAgain(const std::string& path)
{
    for (auto& [key, folder] : folders_) {
        if (folder.path != path)
            continue;
        const Folder* const around = find(folder.project, path.substr(0, path.rfind('/')));
        read(folder.project, path, around, folder.isIgnored);
    }
}

void ProjectTree::refresh()
{
    for (const std::string& path : shown_)
        readAgain(path);
}

void ProjectTree::forget(const Uuid& project)
{
    std::erase_if(folders_, [&](const auto& each) { return each.first.first == project; });
}

bool ProjectTree::isBusy() const
{
    return timer_.isActive() || std::any_of(folders_.begin(), folders_.end(), [](const auto& each) {
               return each.second.isReading || each.second.isStale;
           });
}

void ProjectTree::setShown(const std::set<std::string>& paths)
{
    shown_ = paths;
    std::erase_if(watched_, [&](const std::string& path) {
        if (shown_.count(path))
            return false;
        watcher_->removePath(QFile::decodeName(path.c_str()));
        return true;
    });
    isUnwatched_ = false;
    for (const std::string& path : shown_)
        if (!watched_.count(path))
            watch(path);
}

/// Of a folder that has just been read, so its disk answers.
void ProjectTree::watch(const std::string& path)
{
    if (!watcher_) {
        watcher_ = std::make_unique<QFileSystemWatcher>();
        connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, [this](const QString& changed) {
            const std::string name = QFile::encodeName(changed).toStdString();
            // A folder that is gone is watched no longer; one that takes its place will be.
            if (!watcher_->directories().contains(changed))
                watched_.erase(name);
            changed_.insert(name);
            if (!timer_.isActive())
                timer_.start();
        });
    }
    if (watched_.size() >= watchLimit_ || !watcher_->addPath(QFile::decodeName(path.c_str()))) {
        isUnwatched_ = true;
        return;
    }
    watched_.insert(path);
    // What has changed between the reading and the watching.
    readAgain(path);
}

}  // namespace penmark
