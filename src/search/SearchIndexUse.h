// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/SearchCaches.h"
#include "search/TextSearchIndex.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// What is known of texts before they are read: filters in memory, and behind them the filter index, which is opened
/// the first time it is needed and goes unused once it fails. Any thread; throws nothing but Cancelled.
class SearchIndexUse {
public:
    /// An empty folder: no index.
    explicit SearchIndexUse(std::filesystem::path folder) : folder_(std::move(folder)) {}

    enum class Answer {
        unknown,   ///< there is no filter of this text
        possible,  ///< it may match
        absent,    ///< it cannot
    };
    /// To be told when a run begins.
    void beginRun() { filters_.beginRun(); }
    /// Whether texts can match, one answer for each key; an empty key is unknown. A text with a match holds one of the
    /// words `required` (see TextMatcher::requiredAscii).
    std::vector<Answer> lookUp(std::span<const TextKey> keys, bool caseSensitive,
                               std::span<const std::string> required);
    /// Whether a filter of this text is in memory.
    bool knows(const TextKey& key) const { return filters_.contains(key); }

    /// Remembers the filter of a text that is being searched; the index gets it by store(). False if there is no room
    /// for it in memory.
    bool note(const TextKey& key, std::string_view text, const std::stop_token& stop);
    /// Writes what was noted into the index, until it is asked to stop.
    void store(const std::stop_token& stop);
    /// Lets other processes write to the index.
    void release();

private:
    using Filter = FilterCache::Filter;
    /// Calls with the index, if there is one that works.
    template <class Call>
    void withIndex(Call call);

    std::filesystem::path folder_;
    FilterCache filters_;
    std::mutex lock_;
    std::unique_ptr<TextSearchIndex> index_;
    bool attempted_ = false;
    int failures_ = 0;
    std::deque<std::pair<TextKey, Filter>> noted_;  // not in the index yet
};

}  // namespace penmark
