// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Sha256.h"
#include "base/SystemError.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "search/TextSearchError.h"
#include "search/TextSearchScopes.h"
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <unordered_map>

namespace penmark {

namespace {

/// Looks now and then whether the work is to stop; throws Cancelled.
class StopCheck {
public:
    explicit StopCheck(const std::stop_token& stop) : stop_(stop) {}

    void operator()()
    {
        if (++count_ % 1'000 == 1 && stop_.stop_requested())
            throw Cancelled{};
    }

private:
    const std::stop_token& stop_;
    std::size_t count_ = 0;
};

/// A revision as it is told apart from others of its document: by the first half of its text's hash.
struct HistoryEntry {
    Uuid document;
    Uuid revision;
    std::array<std::uint64_t, 2> text{};
};

// A hash that is none counts as a text of its own, which will be found missing when it is searched.
std::array<std::uint64_t, 2> firstHalf(std::string_view hash)
{
    std::array<std::uint64_t, 2> half{};
    const auto digits = [&](std::size_t start, std::uint64_t& number) {
        const char* const end = hash.data() + start + 16;
        return std::from_chars(hash.data() + start, end, number, 16).ptr == end;
    };
    if (hash.size() != 64 || !digits(0, half[0]) || !digits(16, half[1])) {
        const std::string other = sha256(hash);
        hash = other;
        digits(0, half[0]);
        digits(16, half[1]);
    }
    return half;
}

/// Collects the sources of one target. Used under the library's lock.
class SourceCollection {
public:
    SourceCollection(RecoveryStore& store, std::span<const OpenDocument> open, const std::stop_token& stop)
        : store_(store), checkStop_(stop)
    {
        for (const OpenDocument& document : open)
            open_.insert_or_assign(document.document, &document);
    }

    void addAllDocuments()
    {
        forAllDocuments([&](RecoveryDocumentHeader&& header) { addCurrent(std::move(header)); });
        for (const auto& [id, document] : open_)
            addUnlessHeld(id);
    }

    void addDocuments(std::vector<Uuid> ids)
    {
        makeSet(ids);
        forDocuments(ids, [&](RecoveryDocumentHeader&& header) { addCurrent(std::move(header)); });
        for (const Uuid& id : ids)
            addUnlessHeld(id);
    }

    void addHistory()
    {
        std::vector<HistoryEntry> entries = readRevisions("SELECT id,document_id,hash FROM revisions", {});
        std::sort(entries.begin(), entries.end(), [&](const HistoryEntry& a, const HistoryEntry& b) {
            checkStop_();
            return std::tie(a.document, a.text, a.revision) < std::tie(b.document, b.text, b.revision);
        });
        const auto isSameText = [](const HistoryEntry& a, const HistoryEntry& b) {
            return std::tie(a.document, a.text) == std::tie(b.document, b.text);
        };
        entries.erase(std::unique(entries.begin(), entries.end(), isSameText), entries.end());
        addEntries(entries);
    }

    void addCheckpoint(const Uuid& checkpoint)
    {
        addEntries(readRevisions("SELECT r.id,r.document_id,r.hash FROM checkpoint_revisions c JOIN revisions r ON "
                                 "r.id=c.revision_id WHERE c.checkpoint_id=?",
                                 {checkpoint.text()}));
    }

    StoredSources take()
    {
        // Identities inside damaged records may repeat one another.
        std::sort(collected_.begin(), collected_.end(), isBefore);
        sources_.reserve(collected_.size());
        const Uuid* last = nullptr;
        for (const TextSearchSources::Stored& stored : collected_) {
            if (stored.isHistorical || last == nullptr || *last != stored.document)
                sources_.add(stored);
            last = &stored.document;
        }
        return {std::move(sources_), std::move(problems_)};
    }

private:
    using Visit = FunctionRef<void(RecoveryDocumentHeader&&)>;
    using Stored = TextSearchSources::Stored;

    static void makeSet(std::vector<Uuid>& ids)
    {
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    }

    static bool isBefore(const Stored& a, const Stored& b)
    {
        return std::tie(a.document, a.revision) < std::tie(b.document, b.revision);
    }

    void forAllDocuments(Visit visit)
    {
        store_.forEachRow("SELECT json FROM documents", {}, [&](const Statement& row) { decode(row.text(0), visit); });
    }

    // Of some documents, in sorted order. Looking for one costs as much as passing several on the way through all.
    void forDocuments(const std::vector<Uuid>& ids, Visit visit)
    {
        const auto inAll = static_cast<std::size_t>(std::stoull(store_.query("SELECT count(*) FROM documents")[0][0]));
        if (ids.size() > inAll / 8) {
            store_.forEachRow("SELECT id,json FROM documents", {}, [&](const Statement& row) {
                const auto id = Uuid::parse(row.text(0));
                if (id && std::binary_search(ids.begin(), ids.end(), *id))
                    decode(row.text(1), visit);
            });
            return;
        }
        Statement row = store_.prepare("SELECT json FROM documents WHERE id=?");
        for (const Uuid& id : ids) {
            const std::string text = id.text();
            row.bind({text});
            if (row.step())
                decode(row.text(0), visit);
        }
    }

    void decode(std::string_view json, Visit visit)
    {
        checkStop_();
        decoded_.clear();
        decodeStoredInto(decoded_, problems_, json, "document");
        if (!decoded_.empty())
            visit(std::move(decoded_.front()));
    }

    std::vector<HistoryEntry> readRevisions(std::string_view sql, SqlParameters parameters)
    {
        std::vector<HistoryEntry> entries;
        store_.forEachRow(sql, parameters, [&](const Statement& row) {
            checkStop_();
            const auto revision = Uuid::parse(row.text(0));
            const auto document = Uuid::parse(row.text(1));
            if (revision && document)
                entries.push_back({*document, *revision, firstHalf(row.text(2))});
            else
                problems_.emplace_back("A revision record cannot be read: it has no identity.");
        });
        return entries;
    }

    void addEntries(const std::vector<HistoryEntry>& entries)
    {
        std::vector<Uuid> ids;
        for (const HistoryEntry& entry : entries) {
            if (ids.empty() || ids.back() != entry.document)
                ids.push_back(entry.document);
        }
        makeSet(ids);
        const std::size_t problems = problems_.size();
        forDocuments(ids, [&](RecoveryDocumentHeader&& header) { labelOf(std::move(header)); });
        problems_.resize(problems);  // of a document that cannot be read only the title is missing here

        collected_.reserve(entries.size());
        for (const HistoryEntry& entry : entries) {
            checkStop_();
            auto label = labels_.find(entry.document);
            if (label == labels_.end())
                label = labels_.emplace(entry.document, sources_.addLabel("Untitled", {})).first;
            collected_.push_back({entry.document, entry.revision, label->second, true});
        }
    }

    void addCurrent(RecoveryDocumentHeader&& header)
    {
        const Uuid id = header.id;
        const bool isOpen = open_.count(id) != 0;
        if (!isOpen && (header.deleted || !header.head))
            return;
        const Uuid head = header.head.value_or(Uuid());
        const std::uint32_t label = labelOf(std::move(header));
        collected_.push_back({id, head, label, false});
    }

    // An open document that has no record, or one that cannot be read.
    void addUnlessHeld(const Uuid& id)
    {
        const auto found = open_.find(id);
        if (found == open_.end() || labels_.count(id) != 0)
            return;
        const std::uint32_t label = sources_.addLabel(found->second->title, found->second->path);
        labels_.emplace(id, label);
        collected_.push_back({id, Uuid(), label, false});
    }

    std::uint32_t labelOf(RecoveryDocumentHeader&& header)
    {
        const Uuid id = header.id;
        const auto [at, isNew] = labels_.try_emplace(id, 0);
        if (!isNew)
            return at->second;
        const auto open = open_.find(id);
        if (open != open_.end())
            return at->second = sources_.addLabel(open->second->title, open->second->path);
        std::string title = header.displayTitle ? std::move(*header.displayTitle) : std::move(header.title);
        if (title.empty())
            title = "New Draft";
        return at->second = sources_.addLabel(std::move(title), std::move(header.externalPath).value_or(std::string()));
    }

    RecoveryStore& store_;
    StopCheck checkStop_;
    std::unordered_map<Uuid, const OpenDocument*> open_;
    std::unordered_map<Uuid, std::uint32_t> labels_;  // of the documents met so far
    std::vector<Stored> collected_;
    TextSearchSources sources_;
    std::vector<std::string> problems_;
    std::vector<RecoveryDocumentHeader> decoded_;  // at most one
};

const Uuid& require(const std::optional<Uuid>& id, bool isThere, const char* sentence)
{
    if (!id || !isThere)
        throw TextSearchError(sentence);
    return *id;
}

}  // namespace

StoredSources storedSources(RecoveryStore& store, const ResolvedSearchTarget& target, const SessionLibrary& library,
                            std::span<const OpenDocument> open, const std::stop_token& stop)
{
    const auto lock = store.lock();
    const std::optional<Uuid>& id = target.id;
    SourceCollection collection(store, open, stop);
    const auto exists = [&](std::string_view sql) { return id && !store.query(sql, {id->text()}).empty(); };

    switch (target.kind) {
    case TextScopeKind::currentFile:
    case TextScopeKind::file: {
        const bool isOpen =
            std::any_of(open.begin(), open.end(), [&](auto& document) { return document.document == id; });
        const bool isThere = isOpen || exists("SELECT 1 FROM documents WHERE id=?");
        collection.addDocuments({require(id, isThere, "Choose a document or activate an editor.")});
        break;
    }
    case TextScopeKind::currentSession:
    case TextScopeKind::session: {
        const bool isThere = id && library.sessions.find(*id) != nullptr;
        collection.addDocuments(documentsOfSession(library, require(id, isThere, "Choose a session.")));
        break;
    }
    case TextScopeKind::currentWorkspace:
    case TextScopeKind::workspace: {
        const bool isThere = id && library.workspaces.find(*id) != nullptr;
        const Uuid& workspace =
            require(id, isThere, "Choose a workspace. Current workspace follows the last workspace you activated.");
        collection.addDocuments(documentsOfWorkspace(library, workspace));
        break;
    }
    case TextScopeKind::project:
        throw TextSearchError("Choose an available project folder.");
    case TextScopeKind::checkpoint:
        collection.addCheckpoint(require(id, exists("SELECT 1 FROM checkpoints WHERE id=?"), "Choose a checkpoint."));
        break;
    case TextScopeKind::allDocuments:
        collection.addAllDocuments();
        break;
    case TextScopeKind::allHistory:
        collection.addHistory();
        break;
    }

    return collection.take();
}

}  // namespace penmark
