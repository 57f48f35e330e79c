// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/FileText.h"
#include "search/SearchIndexUse.h"
#include "search/TextSearchEngine.h"
#include "storage/ContentReading.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

/// What runs of an engine share. Any thread.
struct TextSearchEngine::Caches {
    explicit Caches(const std::filesystem::path& indexFolder) : index(indexFolder) {}

    SearchIndexUse index;
    TextCache sourceCache;
    FolderCatalogs projectCatalog;

    /// Files that were searched and have no filter.
    std::mutex filesLock;
    std::deque<std::string> unfiltered;

    /// Content hashes of stored sources, block by block as they are needed.
    struct Hashes {
        static constexpr std::size_t block = 256;
        std::mutex lock;
        std::vector<std::optional<std::vector<TextKey>>> blocks;
    };
    /// The sources of all documents and of all history, while the library is as it was.
    struct Library {
        std::uint64_t version = 0;
        std::vector<OpenDocument> open;  // when it was listed
        std::shared_ptr<const TextSearchSources> sources;
        std::shared_ptr<Hashes> hashes;
    };
    std::mutex libraryLock;
    std::map<TextScopeKind, Library> libraries;
    /// Content hashes by revision, which never change, for other lists.
    static constexpr std::size_t hashLimit = 200'000;
    std::unordered_map<Uuid, TextKey> hashes;
};

/// One run: cores search sources beside one another, and what they find is put in order and published.
class TextSearchRun {
public:
    TextSearchRun(TextSearchEngine& engine, const TextSearchRequest& request, const std::stop_token& stop,
                  const TextSearchEngine::Publish& publish);

    /// As TextSearchEngine::run.
    void go();

private:
    using Clock = std::chrono::steady_clock;

    /// What came of one source.
    struct Outcome {
        enum class Kind { searched, skipped, binary, failed };
        Kind kind = Kind::searched;
        std::vector<TextSearchHit> hits;
        std::vector<TextSearchIssue> issues;
        std::uint64_t bytes = 0;
        bool isUnsaved = false;
        std::optional<Date> storedAt;       // of a revision with hits
        std::optional<Uuid> boundDocument;  // of a file
    };

    /// What is known of a text before its turn.
    struct Plan {
        TextKey key;  // of a stored one its hash, of a file its state; empty if there is none
        SearchIndexUse::Answer answer = SearchIndexUse::Answer::unknown;
        std::shared_ptr<const std::string> text;
        std::optional<CompressedText> compressed;
    };

    /// Of one core.
    struct Worker {
        TextMatcher::Scratch scratch;
        FileTextReader reader;
        std::vector<TextMatch> matches;
        std::string room;
        std::vector<Plan> plans;  // of the texts in work
    };

    void findSources();
    void listFolder(const ResolvedSearchTarget& target);
    void listStored(const ResolvedSearchTarget& target);
    bool areOpen(const std::vector<OpenDocument>& documents) const;
    void searchAll();

    void searchSome(std::size_t first, std::size_t count, Worker& worker);
    bool waitForTurn(std::size_t first);
    void planStored(std::size_t first, std::size_t count, Worker& worker);
    void planFiles(std::size_t first, std::size_t count, Worker& worker);
    void search(std::size_t index, std::size_t first, Worker& worker, Outcome& outcome);
    void searchNames(const std::string& title, std::string_view path, Worker& worker, Outcome& outcome);
    void searchContents(std::string_view text, const std::string& location, Worker& worker, Outcome& outcome);
    void searchOverlay(const TextSearchOverlay& overlay, const std::string& location, Worker& worker, Outcome& outcome);
    void refuseSize(const std::string& location, Outcome& outcome) const;
    void searchStored(const TextSearchSources::Stored& stored, std::size_t at, Worker& worker, Outcome& outcome);
    void searchFile(std::size_t index, std::size_t at, Worker& worker, Outcome& outcome);
    bool mayLookUpFiles() const;
    std::vector<TextKey> contentHashes(std::size_t first, std::size_t count);
    void loadHashes(std::size_t block);

    void match(std::string_view text, Worker& worker, Outcome& outcome, const std::string& location);
    std::optional<Date> storedAt(const Uuid& revision) const;
    std::size_t mostHits() const;
    bool isTooLarge(std::string_view text) const;
    std::size_t mostChunks() const;
    bool searchesNames() const { return rule_.field != TextSearchField::contents; }
    bool searchesContents() const { return rule_.field != TextSearchField::namesAndPaths; }

    void deliver(std::size_t first, std::vector<Outcome>& outcomes);
    void merge(std::size_t index, Outcome&& outcome);
    void addIssue(TextSearchIssue issue);
    void publish();
    void endRun(bool cancelled);
    std::int64_t elapsed() const;

    TextSearchEngine& engine_;
    TextSearchEngine::Caches& caches_;
    const TextSearchRequest& request_;
    const TextSearchRule& rule_;
    const TextSearchEngine::Publish& publish_;
    Clock::time_point began_ = Clock::now();
    TextMatcher matcher_;
    std::stop_source inner_;  // the run's own: also when there are hits enough
    std::stop_token stop_;
    std::stop_callback<std::function<void()>> outer_;
    std::size_t sizeLimit_;

    std::shared_ptr<const TextSearchSources> sources_;
    std::unordered_map<Uuid, const TextSearchOverlay*> overlays_;
    std::unordered_map<std::string_view, const TextSearchOverlay*> overlaysByPath_;

    static constexpr std::size_t hashBlock = TextSearchEngine::Caches::Hashes::block;
    std::shared_ptr<TextSearchEngine::Caches::Hashes> hashes_;  // of stored sources
    bool hashesAreKept_ = false;                                // with their list

    // Lookups of files that find nothing are given up.
    std::atomic<int> lookups_ = 0;
    std::atomic<int> lookupsFound_ = 0;

    // Outcomes on their way into order.
    static constexpr std::size_t together = 16;  // sources that a core takes at once
    static constexpr std::size_t window = 256;
    std::mutex lock_;
    std::condition_variable_any moved_;
    std::array<std::optional<Outcome>, window> waiting_;
    std::size_t next_ = 0;  // to be delivered
    std::size_t hitsWaiting_ = 0;
    std::atomic<std::size_t> hitsFound_ = 0;
    bool failed_ = false;
    TextSearchReport counts_;  // without hits, groups and issues
    TextSearchBatch batch_;
    Clock::time_point published_;
};

}  // namespace penmark
