// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextSource.h"
#include "search/FolderScanner.h"
#include "search/TextSearchReport.h"
#include "search/TextSearchScopes.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// The text of an open document as it is now.
struct TextSearchOverlay {
    OpenDocument document;
    std::shared_ptr<const TextSource> text;
    std::size_t utf16Units = 0;  ///< its length
};

/// All that a run needs, taken when it is started: what changes later does not change it.
struct TextSearchRequest {
    /// How many hits a run collects unless more are asked for, and how many more it then collects.
    static constexpr std::size_t baseLimit = 10'000;
    static constexpr std::size_t moreHits = 50'000;

    TextSearchRule rule;
    SessionLibrary library;
    TextSearchContext context;
    std::vector<TextSearchOverlay> overlays;
    std::size_t limit = baseLimit;
    bool largeFiles = false;       ///< besides the rule's own option
    bool approximateOnly = false;  ///< leaves exact matches out: only normalized ones and typos are reported
    bool listsAnew = false;        ///< a folder, whatever was found in it a moment ago
};

/// Runs searches over a library and over folders. Its caches belong to all runs: filters of 20,000 texts (2 KiB each),
/// up to 64 MiB of texts, and the lists of the four folders searched last.
///
/// Threads: any; runs may overlap. A run uses all cores; a text that is being searched is held by the core that
/// searches it.
class TextSearchEngine {
public:
    struct Configuration {
        std::filesystem::path indexFolder;  ///< of the filter index; empty: there is none
        std::filesystem::path scanner = FolderScanner::bundledScanner();
        /// Whether texts that were searched get filters (see recordFilters).
        bool keepsFilters = true;
    };

    /// The library outlives the engine.
    TextSearchEngine(RecoveryStore& store, Configuration configuration);
    /// Without a library: only project folders can be searched.
    explicit TextSearchEngine(Configuration configuration);
    ~TextSearchEngine();
    TextSearchEngine(const TextSearchEngine&) = delete;
    TextSearchEngine& operator=(const TextSearchEngine&) = delete;

    using Publish = std::function<void(TextSearchBatch&& batch)>;

    /// Runs a search and publishes what it finds, from threads of the run but one batch at a time: with the first hit
    /// at once, then every 50 ms, and the last with `finished` or `cancelled` set. A source that fails is an issue.
    /// Throws TextSearchError if there is nothing to search or no way to match, RecoveryError if the library cannot
    /// list its texts. Being asked to stop ends the run within 50 ms.
    void run(const TextSearchRequest& request, const std::stop_token& stop, const Publish& publish);

    /// Keeps filters for texts that runs have searched and that had none, until that is done or it is asked to stop.
    /// Reads the texts again, so it is for times when nobody waits. Never throws.
    void recordFilters(const std::stop_token& stop);

    /// The next run lists this folder anew. Otherwise a list is used again for some seconds.
    void folderChanged(const std::string& folder);

    /// The last listing of a folder, however old; null if it was not listed.
    std::shared_ptr<const FolderScanner::Listing> lastListing(const std::string& folder) const;

private:
    friend class TextSearchRun;
    struct Caches;

    RecoveryStore& store();

    RecoveryStore* store_ = nullptr;
    Configuration configuration_;
    std::unique_ptr<Caches> caches_;
};

}  // namespace penmark
