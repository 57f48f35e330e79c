// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextFilter.h"
#include "search/TextSearchError.h"
#include "search/TextSearchRule.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace penmark {

/// A cache beside the library that says of texts, by a filter each, that a word is not in them:
/// "search-index-v1.sqlite" in a folder of caches. Losing it, or any row, costs time and never results.
///
/// Threads: any; each call takes a lock. Every failure of SQLite is a TextSearchError "Search index unavailable: …". A
/// file that proves to be damaged is removed when the index is closed.
class TextSearchIndex {
public:
    static constexpr const char* fileName = "search-index-v1.sqlite";
    static constexpr std::size_t rowLimit = 16'000;        ///< kept when the table is trimmed
    static constexpr std::size_t rowsOfTransaction = 256;  ///< then they are committed

    enum class Answer {
        absent,    ///< the text cannot hold the query
        possible,  ///< it has to be searched
        unknown,   ///< likewise
    };

    /// The folder is made if need be, for this user only.
    explicit TextSearchIndex(const std::filesystem::path& folder);
    /// Commits.
    ~TextSearchIndex();
    TextSearchIndex(const TextSearchIndex&) = delete;
    TextSearchIndex& operator=(const TextSearchIndex&) = delete;

    /// Whether a text may match a rule.
    Answer lookUp(std::string_view key, const TextSearchRule& rule);

    /// The filter of a text, to be asked for any ASCII word; absent without a row, for a text that is not ASCII, and
    /// for a row that is damaged.
    std::optional<TextFilter> filter(std::string_view key);

    /// Keeps the filter of a text, unless it has one. The filter is made outside the lock. Throws Cancelled, with
    /// nothing stored. Where there is no room for it, what was recorded since the last commit may go too.
    void record(std::string_view key, std::string_view text, const std::stop_token& stop);

    /// The same with a filter that was made before; null for a text that is not ASCII.
    void recordFilter(std::string_view key, const TextFilter* filter);

    /// Ends the transaction that lookups and records share, so that other processes can write. If that fails, what was
    /// recorded since the last one is gone and the index can be used on.
    void commit();

private:
    struct Connection;
    std::mutex lock_;
    std::unique_ptr<Connection> connection_;
};

}  // namespace penmark
