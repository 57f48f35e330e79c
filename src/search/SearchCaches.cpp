// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/SearchCaches.h"

#include <algorithm>

namespace penmark {

bool FilterCache::contains(const TextKey& key) const
{
    const std::shared_lock hold(lock_);
    return entries_.contains(key);
}

void FilterCache::find(std::span<const TextKey> keys,
                       FunctionRef<void(std::size_t at, const KnownFilter* filter)> visit) const
{
    const std::shared_lock hold(lock_);
    for (std::size_t at = 0; at < keys.size(); ++at) {
        const auto found = entries_.find(keys[at]);
        if (found == entries_.end()) {
            visit(at, nullptr);
            continue;
        }
        found->second.run.store(run_, std::memory_order_relaxed);
        visit(at, found->second.filter.get());
    }
}

bool FilterCache::put(const TextKey& key, Filter filter)
{
    const std::unique_lock hold(lock_);
    auto entry = entries_.find(key);
    if (entry == entries_.end()) {
        if (entries_.size() >= limit && !makeRoom())
            return false;
        entry = entries_.try_emplace(key).first;
        order_.push_back(key);
    }
    entry->second.filter = std::move(filter);
    entry->second.run = run_.load();
    return true;
}

/// Lets go of one that neither this run nor the one before has asked for. Not all are looked at: what is asked for
/// together mostly stands together.
bool FilterCache::makeRoom()
{
    constexpr int looks = 256;
    for (int look = 0; look < looks; ++look) {
        const TextKey key = order_.front();
        order_.pop_front();
        const auto entry = entries_.find(key);
        if (entry->second.run + 1 < run_) {
            entries_.erase(entry);
            return true;
        }
        order_.push_back(key);
    }
    return false;
}

std::size_t FilterCache::size() const
{
    const std::shared_lock hold(lock_);
    return entries_.size();
}

void TextCache::beginRun()
{
    const std::scoped_lock hold(lock_);
    ++run_;
}

std::shared_ptr<const std::string> TextCache::find(const TextKey& key)
{
    const std::scoped_lock hold(lock_);
    const auto found = entries_.find(key);
    if (found == entries_.end())
        return nullptr;
    found->second.run = run_;
    return found->second.text;
}

void TextCache::put(const TextKey& key, std::string_view text)
{
    const std::size_t size = text.size();
    if (size > largest)
        return;
    const std::scoped_lock hold(lock_);
    if (const auto known = entries_.find(key); known != entries_.end()) {
        known->second.run = run_;
        return;
    }
    if (bytes_ + size > limit) {
        if (fullSince_ == run_)
            return;
        std::erase_if(entries_, [&](const auto& entry) {
            if (entry.second.run + 1 >= run_)
                return false;
            bytes_ -= entry.second.text->size();
            return true;
        });
        if (bytes_ + size > limit) {
            fullSince_ = run_;
            return;
        }
    }
    entries_.try_emplace(key, Entry{std::make_shared<const std::string>(text), run_});
    bytes_ += size;
}

namespace {

bool areSame(const FolderScanner::Options& one, const FolderScanner::Options& other)
{
    return one.includeHidden == other.includeHidden && one.includeIgnored == other.includeIgnored;
}

}  // namespace

FolderCatalogs::Listing FolderCatalogs::find(const std::string& folder, const FolderScanner::Options& options) const
{
    const std::scoped_lock hold(lock_);
    const auto now = std::chrono::steady_clock::now();
    for (const Catalog& catalog : catalogs_) {
        if (catalog.isValid && catalog.folder == folder && areSame(catalog.options, options) &&
            now - catalog.since < lifetime)
            return catalog.listing;
    }
    return nullptr;
}

FolderCatalogs::Listing FolderCatalogs::findAny(const std::string& folder) const
{
    const std::scoped_lock hold(lock_);
    for (const Catalog& catalog : catalogs_) {
        if (catalog.folder == folder)
            return catalog.listing;
    }
    return nullptr;
}

void FolderCatalogs::put(const std::string& folder, const FolderScanner::Options& options, Listing listing,
                         std::chrono::steady_clock::time_point since)
{
    const std::scoped_lock hold(lock_);
    catalogs_.remove_if(
        [&](const Catalog& catalog) { return catalog.folder == folder && areSame(catalog.options, options); });
    const auto changed = changed_.find(folder);
    const bool isValid = changed == changed_.end() || changed->second < since;
    catalogs_.push_front({folder, options, std::move(listing), since, isValid});
    if (catalogs_.size() > limit)
        catalogs_.pop_back();
}

void FolderCatalogs::forget(const std::string& folder)
{
    const std::scoped_lock hold(lock_);
    changed_[folder] = std::chrono::steady_clock::now();
    for (Catalog& catalog : catalogs_) {
        if (catalog.folder == folder)
            catalog.isValid = false;
    }
}

}  // namespace penmark
