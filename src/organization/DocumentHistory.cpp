// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/DocumentHistory.h"

#include "organization/CheckpointRestore.h"
#include "organization/CheckpointStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

#include <algorithm>
#include <limits>

namespace penmark {

namespace {

constexpr std::string_view suffixOf(RestoredAs as)
{
    switch (as) {
    case RestoredAs::copy:
        return restoredCopySuffix;
    case RestoredAs::recoveredVersion:
        return " — recovered version";
    }
    return {};
}

}  // namespace

DocumentHistoryPage documentHistory(RecoveryStore& store, const Uuid& document, std::int64_t offset, std::int64_t limit)
{
    const auto hold = store.lock();  // a version and what protects it are of one moment
    limit = std::clamp<std::int64_t>(limit, 0, std::numeric_limits<std::int32_t>::max());
    auto records = DocumentStore(store).historyRecords(document, limit + 1, offset);
    DocumentHistoryPage page;
    page.hasEarlier = static_cast<std::int64_t>(records.size()) > limit;
    if (page.hasEarlier)
        records.pop_back();
    std::vector<RecoveryRevision> revisions;
    for (const std::string& json : records)
        decodeStoredInto(revisions, page.problems, json, "revision");
    const CheckpointStore checkpoints(store);
    for (RecoveryRevision& revision : revisions) {
        auto holding = checkpoints.holding(revision.id);
        page.entries.push_back({std::move(revision), std::move(holding)});
    }
    return page;
}

namespace {

// A record that is damaged does not keep its texts from coming back.
std::optional<RecoveryDocument> readable(const DocumentStore& documents, const Uuid& document)
{
    try {
        return documents.loadDocument(document);
    } catch (const RecoveryError&) {
        return std::nullopt;
    }
}

}  // namespace

RecoveryDocument restoreRevision(RecoveryStore& store, const Uuid& document, const Uuid& revision, RestoredAs as,
                                 const Clock& clock)
{
    DocumentStore documents(store, clock);
    const auto wanted = documents.loadRevision(revision, document);
    if (!wanted)
        throw RecoveryError::storage("The document has no such version.");
    // The text is not needed, but whether it can be read: a copy must not turn out to be damaged.
    ContentStore(store).loadText(wanted->contentHash);

    return store.transaction([&] {
        const auto original = readable(documents, document);
        const std::string title = original ? original->shownTitle() : "Untitled";
        RecoveryDocument copy = documents.newDocument(title + std::string(suffixOf(as)));
        if (original) {
            copy.languageName = original->languageName;
            copy.encoding = original->encoding;
            copy.originPath = original->originPath;
        }
        DocumentStore::FromContent made{std::move(copy), wanted->contentHash};
        documents.createFromContent({&made, 1});
        return std::move(made.document);
    });
}

}  // namespace penmark
