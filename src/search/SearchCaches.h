// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "search/FolderScanner.h"
#include "search/TextFilter.h"
#include "search/TextKey.h"
#include "search/TextSearchSource.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace penmark {

/// What a text can be told not to hold, in memory: like the rows of the filter index, but of texts in all scripts.
struct KnownFilter {
    TextFilter filter;
    bool isAscii = false;
    bool foldsToAscii = false;  ///< then the filter says nothing when case does not count
};

/// Filters of texts, some 45 MB at most. What a run has asked for is kept for the next: while the cache is full of
/// those, further ones are not taken, since a run through more texts than there is room for would otherwise find none
/// of them again. Any thread; those that look filters up do not wait for one another.
class FilterCache {
public:
    static constexpr std::size_t limit = 20'000;

    using Filter = std::shared_ptr<const KnownFilter>;

    void beginRun() { ++run_; }
    bool contains(const TextKey& key) const;
    /// Shows the filter of each of these texts, or null, while the cache is locked.
    void find(std::span<const TextKey> keys, FunctionRef<void(std::size_t at, const KnownFilter* filter)> visit) const;
    /// False if there is no room for it.
    bool put(const TextKey& key, Filter filter);
    std::size_t size() const;

private:
    struct Entry {
        Filter filter;
        mutable std::atomic<std::uint32_t> run = 0;  // that asked for it last
    };
    bool makeRoom();

    mutable std::shared_mutex lock_;
    std::unordered_map<TextKey, Entry, TextKey::Hash> entries_;
    std::deque<TextKey> order_;  // in which they make room for others
    std::atomic<std::uint32_t> run_ = 0;
};

/// Texts, 64 MiB at most. What a run has used is kept for the next: while the cache is full of
/// texts of this run and the one before, further ones are not taken, since a run that passes through more texts than
/// there is room for would otherwise find none of them again. Any thread.
class TextCache {
public:
    static constexpr std::size_t limit = 64 << 20;  ///< bytes
    static constexpr std::size_t largest = 4 << 20;

    void beginRun();
    std::shared_ptr<const std::string> find(const TextKey& key);
    void put(const TextKey& key, std::string_view text);

private:
    struct Entry {
        std::shared_ptr<const std::string> text;
        std::uint64_t run = 0;  // that used it last
    };
    std::mutex lock_;
    std::unordered_map<TextKey, Entry, TextKey::Hash> entries_;
    std::size_t bytes_ = 0;
    std::uint64_t run_ = 0;
    std::uint64_t fullSince_ = 0;  // the run in which nothing could be made room for
};

/// The lists of the folders searched last. One is used again for a few seconds: while somebody types a query, and not
/// so long that a new file would be missed. Any thread.
class FolderCatalogs {
public:
    static constexpr std::chrono::seconds lifetime{5};
    static constexpr std::size_t limit = 4;

    using Listing = std::shared_ptr<const FolderScanner::Listing>;
    /// Null if it has to be listed.
    Listing find(const std::string& folder, const FolderScanner::Options& options) const;
    /// However old; null if there is none.
    Listing findAny(const std::string& folder) const;
    /// `since`: when the listing was begun.
    void put(const std::string& folder, const FolderScanner::Options& options, Listing listing,
             std::chrono::steady_clock::time_point since);
    void forget(const std::string& folder);

private:
    struct Catalog {
        std::string folder;
        FolderScanner::Options options;
        Listing listing;
        std::chrono::steady_clock::time_point since;
        bool isValid = true;
    };
    mutable std::mutex lock_;
    std::list<Catalog> catalogs_;                                           // the latest first
    std::map<std::string, std::chrono::steady_clock::time_point> changed_;  // when a folder was last forgotten
};

}  // namespace penmark
