// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchRun.h"

#include "base/Parallel.h"
#include "base/SystemError.h"
#include "base/TextSummary.h"
#include "search/TextSearchHits.h"
#include "storage/ContentStore.h"
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace penmark {

namespace {

constexpr std::chrono::milliseconds cadence(50);
constexpr std::chrono::milliseconds patience(10);  // before what was found in some sources of several is passed on
constexpr std::size_t bytesAhead = 4 << 20;        // of compressed texts that are read before their turn
constexpr int firstLookups = 64;                   // of files before it is asked whether lookups are worth it
constexpr int worthwhileShare = 16;                // one in so many has to find a filter

std::int64_t nanosecondsSince1970()
{
    using std::chrono::nanoseconds;
    return std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void stopIfAsked(const std::stop_token& stop)
{
    if (stop.stop_requested())
        throw Cancelled();
}

}  // namespace

TextSearchRun::TextSearchRun(TextSearchEngine& engine, const TextSearchRequest& request, const std::stop_token& stop,
                             const TextSearchEngine::Publish& publish)
    : engine_(engine), caches_(*engine.caches_), request_(request), rule_(request.rule), publish_(publish),
      matcher_(request.rule), stop_(inner_.get_token()), outer_(stop, [this] { inner_.request_stop(); }),
      sizeLimit_(searchSizeLimit(request.rule.largeFiles || request.largeFiles)), published_(began_)
{
    for (const TextSearchOverlay& overlay : request.overlays) {
        overlays_.emplace(overlay.document.document, &overlay);
        if (!overlay.document.path.empty())
            overlaysByPath_.emplace(overlay.document.path, &overlay);
    }
}

void TextSearchRun::go()
{
    bool wasStopped = false;
    try {
        findSources();
        counts_.sources = sources_->size();
        searchAll();
    } catch (const Cancelled&) {
        wasStopped = !counts_.limited;
    }
    caches_.index.release();
    endRun(wasStopped);
}

// ---- what is searched ----

void TextSearchRun::findSources()
{
    const ResolvedSearchTarget target = resolveScope(rule_.scope, request_.context, request_.library, {});
    if (!target.isAvailable)
        throw TextSearchError(target.message);
    if (target.kind == TextScopeKind::project)
        listFolder(target);
    else
        listStored(target);
}

void TextSearchRun::listFolder(const ResolvedSearchTarget& target)
{
    const FolderScanner::Options options{rule_.includeIgnored, rule_.includeHidden};
    if (request_.listsAnew)
        caches_.projectCatalog.forget(target.folder);
    FolderCatalogs::Listing listing = caches_.projectCatalog.find(target.folder, options);
    if (!listing) {
        const auto since = Clock::now();
        const FolderScanner scanner(engine_.configuration_.scanner);
        listing = std::make_shared<const FolderScanner::Listing>(scanner.list(target.folder, options, stop_));
        caches_.projectCatalog.put(target.folder, options, listing, since);
    }
    for (const std::string& problem : listing->problems)
        addIssue({problem, {}});
    if (rule_.fileTypes.empty() && rule_.pathFilter.empty())
        sources_ = std::shared_ptr<const TextSearchSources>(listing, &listing->files);
    else
        sources_ =
            std::make_shared<const TextSearchSources>(filterFiles(listing->files, rule_.fileTypes, rule_.pathFilter));
}

void TextSearchRun::listStored(const ResolvedSearchTarget& target)
{
    const bool isWhole = target.kind == TextScopeKind::allDocuments || target.kind == TextScopeKind::allHistory;
    const std::uint64_t version = engine_.store().searchVersion();
    if (isWhole) {
        const std::scoped_lock hold(caches_.libraryLock);
        const auto& known = caches_.libraries[target.kind];
        // In history open documents only have their titles.
        if (known.sources && known.version == version &&
            (target.kind == TextScopeKind::allHistory || areOpen(known.open))) {
            sources_ = known.sources;
            hashes_ = known.hashes;
            hashesAreKept_ = true;
        }
    }
    if (sources_)
        return;
    std::vector<OpenDocument> open;
    open.reserve(request_.overlays.size());
    for (const TextSearchOverlay& overlay : request_.overlays)
        open.push_back(overlay.document);
    StoredSources found = storedSources(engine_.store(), target, request_.library, open, stop_);
    sources_ = std::make_shared<const TextSearchSources>(std::move(found.sources));
    hashes_ = std::make_shared<TextSearchEngine::Caches::Hashes>();
    hashes_->blocks.resize((sources_->size() + hashBlock - 1) / hashBlock);
    for (const std::string& problem : found.problems)
        addIssue({problem, {}});
    if (isWhole && found.problems.empty()) {
        hashesAreKept_ = true;
        const std::scoped_lock hold(caches_.libraryLock);
        caches_.libraries[target.kind] = {version, std::move(open), sources_, hashes_};
    }
}

/// Whether these are the open documents, under the same titles.
bool TextSearchRun::areOpen(const std::vector<OpenDocument>& documents) const
{
    const auto isOpen = [this](const OpenDocument& document) {
        const auto found = overlays_.find(document.document);
        return found != overlays_.end() && found->second->document.title == document.title &&
               found->second->document.path == document.path;
    };
    return documents.size() == overlays_.size() && std::ranges::all_of(documents, isOpen);
}

/// The content hash of each of some stored sources; empty for one without a revision, or whose revision is gone.
std::vector<TextKey> TextSearchRun::contentHashes(std::size_t first, std::size_t count)
{
    static_assert(hashBlock % together == 0);
    const std::scoped_lock hold(hashes_->lock);
    auto& hashes = hashes_->blocks[first / hashBlock];
    if (!hashes)
        loadHashes(first / hashBlock);
    const auto begin = hashes->begin() + static_cast<std::ptrdiff_t>(first % hashBlock);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

void TextSearchRun::loadHashes(std::size_t number)
{
    const std::size_t first = number * hashBlock;
    const std::size_t count = std::min(hashBlock, sources_->size() - first);
    std::vector<TextKey> hashes(count);
    std::vector<std::size_t> unknown;
    if (hashesAreKept_) {
        unknown.resize(count);
        std::iota(unknown.begin(), unknown.end(), std::size_t{0});
    } else {
        const std::scoped_lock hold(caches_.libraryLock);
        for (std::size_t at = 0; at < count; ++at) {
            const auto known = caches_.hashes.find(sources_->stored(first + at).revision);
            if (known != caches_.hashes.end())
                hashes[at] = known->second;
            else
                unknown.push_back(at);
        }
    }
    if (!unknown.empty()) {
        const auto hold = engine_.store().lock();
        Statement select = engine_.store().prepare("SELECT hash FROM revisions WHERE id=?");
        for (const std::size_t at : unknown) {
            const std::string id = sources_->stored(first + at).revision.text();
            select.bind({id});
            if (select.step())
                hashes[at] = TextKey(select.text(0));
        }
    }
    hashes_->blocks[number] = hashes;
    if (hashesAreKept_)
        return;
    const std::scoped_lock hold(caches_.libraryLock);
    if (caches_.hashes.size() + unknown.size() > TextSearchEngine::Caches::hashLimit)
        caches_.hashes.clear();
    for (const std::size_t at : unknown) {
        if (!hashes[at].empty())
            caches_.hashes.emplace(sources_->stored(first + at).revision, hashes[at]);
    }
}

// ---- searching ----

void TextSearchRun::searchAll()
{
    std::vector<Worker> workers(workerLimit());
    const std::size_t count = sources_->size();
    parallelFor((count + together - 1) / together, [&](std::size_t number, std::size_t worker) {
        const std::size_t first = number * together;
        try {
            searchSome(first, std::min(together, count - first), workers[worker]);
        } catch (...) {
            const std::scoped_lock hold(lock_);
            failed_ = true;
            moved_.notify_all();
            throw;
        }
    });
}

/// Sources are taken in small numbers, which spares much of what each would cost by itself.
void TextSearchRun::searchSome(std::size_t first, std::size_t count, Worker& worker)
{
    if (!waitForTurn(first))
        throw Cancelled();
    if (searchesContents()) {
        sources_->areFiles() ? planFiles(first, count, worker) : planStored(first, count, worker);
        if (!engine_.configuration_.keepsFilters)  // nobody else may want the index, and whoever reads hits be slow
            caches_.index.release();
    }
    std::vector<Outcome> outcomes;
    auto delivered = Clock::now();
    for (std::size_t index = first; index < first + count; ++index) {
        search(index, first, worker, outcomes.emplace_back());
        if (const auto now = Clock::now(); now - delivered >= patience || index + 1 == first + count) {
            deliver(index + 1 - outcomes.size(), outcomes);
            outcomes.clear();
            delivered = now;
        }
    }
}

/// Cores do not run far ahead of a source that takes long, so that little waits to be put in order.
bool TextSearchRun::waitForTurn(std::size_t first)
{
    std::unique_lock hold(lock_);
    moved_.wait(hold, stop_, [&] {
        return failed_ || first == next_ || (first + together <= next_ + window && hitsWaiting_ <= request_.limit);
    });
    return !failed_ && !stop_.stop_requested();
}

/// Finds out for some stored texts which have to be read, and reads them as they are stored.
void TextSearchRun::planStored(std::size_t first, std::size_t count, Worker& worker)
{
    worker.plans.clear();
    worker.plans.resize(count);
    const std::vector<TextKey> hashes = contentHashes(first, count);
    const auto answers = caches_.index.lookUp(hashes, rule_.caseSensitive, matcher_.requiredAscii());
    std::vector<Plan*> unread;
    for (std::size_t at = 0; at < count; ++at) {
        stopIfAsked(stop_);
        Plan& plan = worker.plans[at];
        plan.key = hashes[at];
        plan.answer = answers[at];
        const TextSearchSources::Stored& stored = sources_->stored(first + at);
        const bool isOpen = !stored.isHistorical && overlays_.contains(stored.document);
        if (isOpen || plan.key.empty() || plan.answer == SearchIndexUse::Answer::absent)
            continue;
        plan.text = caches_.sourceCache.find(plan.key);
        if (!plan.text)
            unread.push_back(&plan);
    }
    if (unread.empty())
        return;
    // Holds the library's lock, so nothing that takes another one happens meanwhile.
    try {
        ContentReading reading(engine_.store());
        std::size_t bytes = 0;
        for (Plan* const plan : unread) {
            plan->compressed = reading.fetch(plan->key.text(), mostChunks());
            bytes += plan->compressed ? plan->compressed->size() : 0;
            if (bytes > bytesAhead || stop_.stop_requested())
                break;
        }
    } catch (const RecoveryError&) {
        // What is missing is tried again in its turn, and reported then.
    }
}

/// Finds out for some files which cannot match, and which have been read before.
void TextSearchRun::planFiles(std::size_t first, std::size_t count, Worker& worker)
{
    worker.plans.clear();
    worker.plans.resize(count);
    if (!mayLookUpFiles())
        return;
    std::vector<TextKey> keys(count);
    for (std::size_t at = 0; at < count; ++at) {
        const std::string path = sources_->absolutePath(first + at);
        if (!overlaysByPath_.contains(path))
            keys[at] = TextKey(fileStateKey(path.c_str(), nanosecondsSince1970()).value_or(std::string()));
    }
    const auto answers = caches_.index.lookUp(keys, rule_.caseSensitive, matcher_.requiredAscii());
    for (std::size_t at = 0; at < count; ++at) {
        Plan& plan = worker.plans[at];
        plan.key = keys[at];
        plan.answer = answers[at];
        if (!plan.key.empty() && plan.answer != SearchIndexUse::Answer::absent)
            plan.text = caches_.sourceCache.find(plan.key);
        ++lookups_;
        lookupsFound_ += plan.answer == SearchIndexUse::Answer::unknown && !plan.text ? 0 : 1;
    }
}

void TextSearchRun::search(std::size_t index, std::size_t first, Worker& worker, Outcome& outcome)
{
    stopIfAsked(stop_);
    try {
        if (sources_->areFiles())
            searchFile(index, index - first, worker, outcome);
        else
            searchStored(sources_->stored(index), index - first, worker, outcome);
        if (!outcome.hits.empty() && !sources_->areFiles() && sources_->stored(index).isHistorical)
            outcome.storedAt = storedAt(sources_->stored(index).revision);
    } catch (const std::exception& error) {
        outcome.kind = Outcome::Kind::failed;
        outcome.issues.push_back({error.what(), sources_->source(index).title});
    }
}

/// Asked for revisions with hits alone; listing it with all of them would cost each search of history.
std::optional<Date> TextSearchRun::storedAt(const Uuid& revision) const
{
    const auto rows = engine_.store().query("SELECT json FROM revisions WHERE id=?", {revision.text()});
    std::vector<RecoveryRevision> records;
    std::vector<std::string> problems;  // of its text nothing is missing
    if (!rows.empty())
        decodeStoredInto(records, problems, rows[0][0], "revision");
    return records.empty() ? std::nullopt : std::optional(records.front().createdAt);
}

/// Stored or typed, a text may have so many UTF-16 units, of up to three bytes each.
bool TextSearchRun::isTooLarge(std::string_view text) const
{
    return text.size() > sizeLimit_ && utf16Length(text) > sizeLimit_;
}

std::size_t TextSearchRun::mostChunks() const
{
    return 3 * sizeLimit_ / ContentStore::chunkSize;
}

std::size_t TextSearchRun::mostHits() const
{
    const std::size_t found = hitsFound_;
    const std::size_t left = request_.limit > found ? request_.limit - found : 0;
    // Exact matches that are left out must not take the place of others.
    const std::size_t more = request_.approximateOnly ? TextSearchRequest::moreHits : 0;
    return std::max<std::size_t>(left + std::min(more, SIZE_MAX - left), 1);
}

/// Fills worker.matches; what keeps the text from being searched wholly becomes an issue.
void TextSearchRun::match(std::string_view text, Worker& worker, Outcome& outcome, const std::string& location)
{
    worker.matches.clear();
    try {
        matcher_.find(text, mostHits(), stop_, worker.scratch, worker.matches);
    } catch (const TextSearchError& error) {
        outcome.issues.push_back({error.what(), location});
        if (error.which() != TextSearchError::Case::timeBudget)
            outcome.kind = Outcome::Kind::failed;
    }
    if (request_.approximateOnly)
        std::erase_if(worker.matches, [](const TextMatch& found) { return found.kind == TextMatchKind::exact; });
}

void TextSearchRun::searchNames(const std::string& title, std::string_view path, Worker& worker, Outcome& outcome)
{
    const auto searchName = [&](std::string_view name) {
        match(name, worker, outcome, title);
        appendNameHits(name, worker.matches, outcome.hits);
        return !worker.matches.empty();
    };
    // A bound file's path mostly ends with the title, and would find the same again; but what a title begins with, or
    // a word that it is, may be neither in the path.
    const bool isInPath = path.ends_with(title);
    if (!isInPath)
        searchName(title);
    if (!path.empty() && !searchName(path) && isInPath)
        searchName(title);
}

void TextSearchRun::searchContents(std::string_view text, const std::string& location, Worker& worker, Outcome& outcome)
{
    outcome.bytes += text.size();
    match(text, worker, outcome, location);
    appendHits(text, worker.matches, stop_, outcome.hits);
}

void TextSearchRun::searchOverlay(const TextSearchOverlay& overlay, const std::string& location, Worker& worker,
                                  Outcome& outcome)
{
    outcome.isUnsaved = true;
    if (overlay.utf16Units > sizeLimit_)
        return refuseSize(location, outcome);
    searchContents(overlay.text->part(0, overlay.text->size(), worker.room), location, worker, outcome);
}

void TextSearchRun::refuseSize(const std::string& location, Outcome& outcome) const
{
    outcome.kind = Outcome::Kind::failed;
    const bool isLarge = sizeLimit_ == searchSizeLimit(true);
    outcome.issues.push_back(
        {(isLarge ? "File exceeds 128 MiB search limit: " : "Large file requires the 128 MiB search option: ") +
             location,
         {}});
}

void TextSearchRun::searchStored(const TextSearchSources::Stored& stored, std::size_t at, Worker& worker,
                                 Outcome& outcome)
{
    const std::string& title = sources_->title(stored);
    if (searchesNames())
        searchNames(title, sources_->path(stored), worker, outcome);
    if (!searchesContents())
        return;
    if (!stored.isHistorical) {
        if (const auto open = overlays_.find(stored.document); open != overlays_.end())
            return searchOverlay(*open->second, title, worker, outcome);
    }
    Plan& plan = worker.plans[at];
    if (plan.key.empty()) {
        if (stored.revision != Uuid())
            throw RecoveryError(RecoveryError::Case::missingContent);
        return;
    }
    if (plan.answer == SearchIndexUse::Answer::absent) {
        outcome.kind = Outcome::Kind::skipped;
        return;
    }
    if (plan.text)
        return isTooLarge(*plan.text) ? refuseSize(title, outcome) : searchContents(*plan.text, title, worker, outcome);
    if (!plan.compressed)
        plan.compressed = ContentReading(engine_.store()).fetch(plan.key.text(), mostChunks());
    if (!plan.compressed)
        return refuseSize(title, outcome);
    const std::string_view text = plan.compressed->decode(worker.room);
    plan.compressed.reset();
    if (isTooLarge(text))
        return refuseSize(title, outcome);
    caches_.sourceCache.put(plan.key, text);
    searchContents(text, title, worker, outcome);
    if (engine_.configuration_.keepsFilters && plan.answer == SearchIndexUse::Answer::unknown &&
        !caches_.index.knows(plan.key))
        caches_.index.note(plan.key, text, stop_);
}

/// Files of which nothing is known yet are not asked about one by one.
bool TextSearchRun::mayLookUpFiles() const
{
    const int lookups = lookups_;
    return lookups < firstLookups || lookupsFound_ * worthwhileShare > lookups;
}

void TextSearchRun::searchFile(std::size_t index, std::size_t at, Worker& worker, Outcome& outcome)
{
    const std::string path = sources_->absolutePath(index);
    if (searchesNames())
        searchNames(std::string(sources_->relativePath(index)), {}, worker, outcome);
    if (!searchesContents())
        return;
    if (const auto open = overlaysByPath_.find(path); open != overlaysByPath_.end()) {
        outcome.boundDocument = open->second->document.document;
        return searchOverlay(*open->second, path, worker, outcome);
    }
    Plan& plan = worker.plans[at];
    if (plan.answer == SearchIndexUse::Answer::absent) {
        outcome.kind = Outcome::Kind::skipped;
        return;
    }
    if (plan.text)
        return searchContents(*std::exchange(plan.text, nullptr), path, worker, outcome);
    FileTextReader::Result file = worker.reader.read(path, sizeLimit_, stop_);
    switch (file.kind) {
    case FileTextReader::Result::Kind::problem:
        outcome.kind = Outcome::Kind::failed;
        outcome.issues.push_back({std::move(file.problem), {}});
        return;
    case FileTextReader::Result::Kind::binary:
        outcome.kind = Outcome::Kind::binary;
        outcome.bytes += file.bytes;
        return;
    case FileTextReader::Result::Kind::text:
        break;
    }
    searchContents(file.text, path, worker, outcome);
    if (!engine_.configuration_.keepsFilters || !file.key)
        return;
    const TextKey key(*file.key);
    if (caches_.index.knows(key)) {
        // It has been searched before, so it may well be again.
        caches_.sourceCache.put(key, file.text);
    } else if (plan.answer == SearchIndexUse::Answer::unknown) {
        const std::scoped_lock hold(caches_.filesLock);
        if (caches_.unfiltered.size() >= TextSearchIndex::rowLimit)
            caches_.unfiltered.pop_front();
        caches_.unfiltered.push_back(path);
    }
}

// ---- order ----

/// Takes the outcomes of sources that follow one another.
void TextSearchRun::deliver(std::size_t first, std::vector<Outcome>& outcomes)
{
    const std::scoped_lock hold(lock_);
    for (std::size_t at = 0; at < outcomes.size(); ++at) {
        hitsWaiting_ += outcomes[at].hits.size();
        waiting_[(first + at) % window] = std::move(outcomes[at]);
    }
    if (first != next_)
        return;
    for (auto* slot = &waiting_[next_ % window]; *slot; slot = &waiting_[next_ % window]) {
        hitsWaiting_ -= (*slot)->hits.size();
        if (!counts_.limited)
            merge(next_, std::move(**slot));
        slot->reset();
        ++next_;
    }
    moved_.notify_all();
    if (counts_.limited)
        inner_.request_stop();
    else if (Clock::now() - published_ >= cadence)
        publish();
}

void TextSearchRun::merge(std::size_t index, Outcome&& outcome)
{
    switch (outcome.kind) {
    case Outcome::Kind::searched:
        ++counts_.scanned;
        break;
    case Outcome::Kind::skipped:
        ++counts_.indexedSkips;
        break;
    case Outcome::Kind::binary:
        ++counts_.binarySkipped;
        break;
    case Outcome::Kind::failed:
        break;
    }
    ++counts_.done;
    counts_.bytesRead += outcome.bytes;
    for (TextSearchIssue& issue : outcome.issues)
        addIssue(std::move(issue));
    if (outcome.hits.empty())
        return;

    outcome.hits.resize(std::min(outcome.hits.size(), request_.limit - hitsFound_));
    TextSearchSource source = sources_->source(index);
    source.isUnsaved = outcome.isUnsaved;
    source.storedAt = outcome.storedAt;
    if (outcome.boundDocument)
        source.document = outcome.boundDocument;
    batch_.groups.push_back(
        {std::make_shared<const TextSearchSource>(std::move(source)), batch_.hits.size(), outcome.hits.size()});
    hitsFound_ += outcome.hits.size();
    std::ranges::move(outcome.hits, std::back_inserter(batch_.hits));
    counts_.limited = hitsFound_ >= request_.limit;
    if (!counts_.firstResultMS) {
        counts_.firstResultMS = elapsed();
        if (!counts_.limited)
            publish();
    }
}

void TextSearchRun::addIssue(TextSearchIssue issue)
{
    if (++counts_.problems <= TextSearchReport::issueLimit)
        batch_.issues.push_back(std::move(issue));
}

void TextSearchRun::publish()
{
    TextSearchBatch batch = counts_;
    batch.elapsedMS = elapsed();
    batch.hits = std::exchange(batch_.hits, {});
    batch.groups = std::exchange(batch_.groups, {});
    batch.issues = std::exchange(batch_.issues, {});
    publish_(std::move(batch));
    published_ = Clock::now();
}

void TextSearchRun::endRun(bool cancelled)
{
    counts_.cancelled = cancelled;
    counts_.finished = !cancelled && !counts_.limited;
    publish();
}

std::int64_t TextSearchRun::elapsed() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began_).count();
}

}  // namespace penmark
