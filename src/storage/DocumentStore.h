// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/FunctionRef.h"
#include "storage/ContentStore.h"
#include "storage/Outbox.h"
#include "storage/RecoveryDocument.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class RecoveryStore;

/// Documents and their revisions. A document's revisions form a chain from its head back to the first; they are only
/// ever added. Each change is one transaction together with the row that tells other computers of it.
///
/// Threads: any; each call holds the library's lock, but for the hashing and compressing of a text, which comes first.
/// Failures are RecoveryErrors.
class DocumentStore {
public:
    explicit DocumentStore(RecoveryStore& store, Clock clock = Date::now);

    struct Documents {
        std::vector<RecoveryDocument> documents;
        std::vector<std::string> problems;  ///< one sentence for each record that cannot be read
    };

    /// All documents, discarded ones included, in no particular order. A damaged record does not take the others with
    /// it. About 2 microseconds a document.
    Documents loadDocuments() const;

    /// The headers of all documents, in no particular order, one after another and without keeping them. Returns one
    /// sentence for each record that cannot be read; one that is damaged elsewhere has a header all the same. Holds the
    /// library's lock meanwhile, so `visit` only takes what it needs. About 1 microsecond a document.
    std::vector<std::string> forEachHeader(FunctionRef<void(RecoveryDocumentHeader&& header)> visit) const;

    /// Absent if there is none. Throws `storage` if its record is damaged.
    std::optional<RecoveryDocument> loadDocument(const Uuid& id) const;

    /// The document that is bound to this path and not discarded; of several the one changed last. Takes
    /// some 20 microseconds. Damaged records are passed over.
    std::optional<RecoveryDocument> findBoundTo(std::string_view externalPath) const;

    /// Adds a document without a text. The id, the dates and the title are the caller's; one that exists already is a
    /// `storage` failure.
    void createDocument(const RecoveryDocument& document);

    /// A document as new ones are: fresh id, this title, both dates now. Not stored.
    RecoveryDocument newDocument(std::string title) const;

    /// Changes fields of a record. May not touch id, head and createdAt: they are put back.
    using Change = std::function<void(RecoveryDocument&)>;

    /// Changes the record alone and queues it for sync; nothing is written if nothing changed. Returns the record.
    /// Throws `storage` if there is no such document.
    RecoveryDocument changeDocument(const Uuid& id, const Change& change);

    struct Written {
        RecoveryDocument document;
        std::optional<RecoveryRevision> revision;  ///< absent if the text was the head's already
    };

    /// Stores a text, in valid UTF-8, as the new head. `expectedParent` is the head that the text derives from; if the
    /// document has another by now nothing is written and `revisionConflict` thrown. A text that equals the head's adds
    /// no revision; the record with its changes is written all the same. Writing to a discarded document restores it.
    ///
    /// When COMMIT fails the revision may have been stored nevertheless: read the head again before a retry.
    Written writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent, std::string_view text,
                          const Change& change = {});

    /// Creates the document and writes its first revision, in one transaction.
    Written createWithText(const RecoveryDocument& document, std::string_view text);

    // The same with a text that is not one string.
    Written writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent, const TextSource& text,
                          const Change& change = {});
    Written createWithText(const RecoveryDocument& document, const TextSource& text);

    // The same with a text that was prepared before, for callers that join several steps in one transaction.
    Written writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent,
                          const ContentStore::Prepared& text, const Change& change = {});
    Written createWithText(const RecoveryDocument& document, const ContentStore::Prepared& text);

    struct FromContent {
        RecoveryDocument document;
        std::string contentHash;
    };

    /// Creates documents whose first revision has a text that the library holds already: nothing is read or stored
    /// again. Their heads are set. All or none; throws `missingContent` if a text is not there. Some 50 microseconds
    /// each.
    void createFromContent(std::span<FromContent> documents);

    /// Marks the document as discarded and records that in its history; its text stays. Discarding it again changes
    /// nothing.
    RecoveryDocument discard(const Uuid& id);

    /// The newest revision of a document; absent if nothing was ever written to it. Throws `missingContent` if the one
    /// that the record names is not there, or if it names none although there are revisions.
    std::optional<RecoveryRevision> loadHead(const RecoveryDocument& document) const;

    std::optional<RecoveryRevision> loadRevision(const Uuid& id) const;
    std::optional<RecoveryRevision> loadRevision(const Uuid& id, const Uuid& documentID) const;

    struct HistoryPage {
        std::vector<RecoveryRevision> revisions;
        std::vector<std::string> problems;  ///< one sentence for each record that cannot be read
    };

    /// Revisions of a document, newest first; those of one moment by insertion, newest first. 0.1 ms for a first page,
    /// and about as much more for each 1,000 revisions that the offset passes over. Where a record is no JSON at all
    /// they come by insertion alone.
    HistoryPage history(const Uuid& documentID, std::int64_t limit, std::int64_t offset) const;

    /// The same as the records stand in the library, as JSON. A negative limit is none.
    std::vector<std::string> historyRecords(const Uuid& documentID, std::int64_t limit, std::int64_t offset) const;

    /// The checkpoint records that hold a revision, newest first, as JSON.
    std::vector<std::string> checkpointsHolding(const Uuid& revisionID) const;

private:
    Written write(const Uuid& documentID, const std::optional<Uuid>& expectedParent, const ContentStore::Prepared& text,
                  const Change& change);
    RecoveryRevision insertRevision(RecoveryDocument& document, std::string_view contentHash, bool deleted);
    RecoveryRevision nextRevision(RecoveryDocument& document, std::string_view contentHash, bool deleted) const;
    void replaceRecord(const RecoveryDocument& document);
    void queueMetadata(const RecoveryDocument& document);
    RecoveryDocument requireDocument(const Uuid& id) const;
    void applyChange(RecoveryDocument& document, const Change& change) const;

    RecoveryStore& store_;  // outlives this object
    ContentStore content_;
    Outbox outbox_;
    Clock clock_;
};

}  // namespace penmark
