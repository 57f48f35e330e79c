// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/DocumentStore.h"

#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

namespace penmark {

namespace {

constexpr std::string_view insertRevisionRow = "INSERT INTO revisions(id,document_id,hash,json) VALUES(?,?,?,?)";

template <class R>
std::optional<R> decodeFirst(const std::vector<RecoveryStore::Row>& rows, std::string_view kind)
{
    if (rows.empty())
        return std::nullopt;
    return decodeStored<R>(rows.front().front(), kind);
}

}  // namespace

DocumentStore::DocumentStore(RecoveryStore& store, Clock clock)
    : store_(store), content_(store), outbox_(store), clock_(std::move(clock))
{}

DocumentStore::Documents DocumentStore::loadDocuments() const
{
    Documents loaded;
    store_.forEachRow("SELECT json FROM documents", {}, [&](const Statement& row) {
        decodeStoredInto(loaded.documents, loaded.problems, row.text(0), "document");
    });
    return loaded;
}

std::vector<std::string> DocumentStore::forEachHeader(FunctionRef<void(RecoveryDocumentHeader&& header)> visit) const
{
    std::vector<std::string> problems;
    std::vector<RecoveryDocumentHeader> one;
    store_.forEachRow("SELECT json FROM documents", {}, [&](const Statement& row) {
        one.clear();
        decodeStoredInto(one, problems, row.text(0), "document");
        if (!one.empty())
            visit(std::move(one.front()));
    });
    return problems;
}

std::optional<RecoveryDocument> DocumentStore::loadDocument(const Uuid& id) const
{
    return decodeFirst<RecoveryDocument>(store_.query("SELECT json FROM documents WHERE id=?", {id.text()}),
                                         "document");
}

std::optional<RecoveryDocument> DocumentStore::findBoundTo(std::string_view externalPath) const
{
    // The same expression as in the index documents_by_path, or it is not used.
    Documents candidates;
    store_.forEachRow("SELECT json FROM documents WHERE CASE WHEN json_valid(CAST(json AS TEXT)) THEN "
                      "json_extract(CAST(json AS TEXT),'$.externalPath') END=?",
                      {externalPath}, [&](const Statement& row) {
                          decodeStoredInto(candidates.documents, candidates.problems, row.text(0), "document");
                      });
    std::optional<RecoveryDocument> found;
    for (RecoveryDocument& document : candidates.documents) {
        const bool matches = !document.deleted && document.externalPath == externalPath;
        if (matches && (!found || found->updatedAt < document.updatedAt))
            found = std::move(document);
    }
    return found;
}

RecoveryDocument DocumentStore::newDocument(std::string title) const
{
    RecoveryDocument document;
    document.id = Uuid::random();
    document.title = std::move(title);
    document.createdAt = document.updatedAt = clock_();
    return document;
}

void DocumentStore::createDocument(const RecoveryDocument& document)
{
    store_.execute("INSERT INTO documents(id,json) VALUES(?,?)", {document.id.text(), Blob{encodeStored(document)}});
}

RecoveryDocument DocumentStore::changeDocument(const Uuid& id, const Change& change)
{
    return store_.transaction([&] {
        RecoveryDocument document = requireDocument(id);
        const RecoveryDocument before = document;
        applyChange(document, change);
        if (document != before) {
            replaceRecord(document);
            queueMetadata(document);
        }
        return document;
    });
}

DocumentStore::Written DocumentStore::writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent,
                                                    std::string_view text, const Change& change)
{
    return writeRevision(documentID, expectedParent, content_.prepareText(text), change);
}

DocumentStore::Written DocumentStore::createWithText(const RecoveryDocument& document, std::string_view text)
{
    return createWithText(document, content_.prepareText(text));
}

DocumentStore::Written DocumentStore::writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent,
                                                    const TextSource& text, const Change& change)
{
    return writeRevision(documentID, expectedParent, content_.prepareText(text), change);
}

DocumentStore::Written DocumentStore::createWithText(const RecoveryDocument& document, const TextSource& text)
{
    return createWithText(document, content_.prepareText(text));
}

DocumentStore::Written DocumentStore::writeRevision(const Uuid& documentID, const std::optional<Uuid>& expectedParent,
                                                    const ContentStore::Prepared& text, const Change& change)
{
    return store_.transaction([&] { return write(documentID, expectedParent, text, change); });
}

DocumentStore::Written DocumentStore::createWithText(const RecoveryDocument& document,
                                                     const ContentStore::Prepared& text)
{
    return store_.transaction([&] {
        createDocument(document);
        return write(document.id, std::nullopt, text, {});
    });
}

DocumentStore::Written DocumentStore::write(const Uuid& documentID, const std::optional<Uuid>& expectedParent,
                                            const ContentStore::Prepared& text, const Change& change)
{
    RecoveryDocument document = requireDocument(documentID);
    if (document.head != expectedParent)
        throw RecoveryError(RecoveryError::Case::revisionConflict);

    const auto headRevision = document.head ? loadRevision(*document.head) : std::nullopt;
    const bool unchanged = headRevision && headRevision->contentHash == text.contentHash() && !headRevision->deleted;
    const auto restore = [&](RecoveryDocument& changed) {
        changed.deleted = false;
        if (change)
            change(changed);
    };
    // Also a text that seems to be there: should rows of it be missing, this is when it can be made whole.
    content_.storeText(text);
    if (unchanged) {
        applyChange(document, restore);
        replaceRecord(document);
        queueMetadata(document);
        return {std::move(document), std::nullopt};
    }

    applyChange(document, restore);
    RecoveryRevision revision = insertRevision(document, text.contentHash(), false);
    return {std::move(document), std::move(revision)};
}

void DocumentStore::createFromContent(std::span<FromContent> documents)
{
    store_.transaction([&] {
        Statement content = store_.prepare("SELECT 1 FROM content WHERE hash=?");
        Statement insert = store_.prepare(insertRevisionRow);
        Statement queue = store_.prepare(Outbox::insertRow);
        for (auto& [document, contentHash] : documents) {
            content.bind({contentHash});
            if (!content.step())
                throw RecoveryError(RecoveryError::Case::missingContent);
            document.head.reset();
            const RecoveryRevision revision = nextRevision(document, contentHash, false);
            const std::string id = revision.id.text();
            const std::string documentID = document.id.text();
            const std::string json = encodeStored(revision);
            insert.bind({id, documentID, contentHash, Blob{json}});
            insert.run();
            queue.bind({id, "documentRevision", Blob{json}});
            queue.run();
            createDocument(document);
        }
        outbox_.dropIfSyncIsOff();
    });
}

RecoveryDocument DocumentStore::discard(const Uuid& id)
{
    return store_.transaction([&] {
        RecoveryDocument document = requireDocument(id);
        if (document.deleted)
            return document;
        document.deleted = true;
        const auto headRevision = document.head ? loadRevision(*document.head) : std::nullopt;
        const bool hasText =
            headRevision && !store_.query("SELECT 1 FROM content WHERE hash=?", {headRevision->contentHash}).empty();
        if (hasText) {
            insertRevision(document, headRevision->contentHash, true);
        } else {  // no text whose end a revision could record, or it is damaged
            document.updatedAt = clock_();
            replaceRecord(document);
            queueMetadata(document);
        }
        return document;
    });
}

std::optional<RecoveryRevision> DocumentStore::loadHead(const RecoveryDocument& document) const
{
    auto revision = document.head ? loadRevision(*document.head) : std::nullopt;
    const auto hasRevisions = [&] {
        return !store_.query("SELECT 1 FROM revisions WHERE document_id=? LIMIT 1", {document.id.text()}).empty();
    };
    if (!revision && (document.head || hasRevisions()))
        throw RecoveryError(RecoveryError::Case::missingContent);
    return revision;
}

std::optional<RecoveryRevision> DocumentStore::loadRevision(const Uuid& id) const
{
    return decodeFirst<RecoveryRevision>(store_.query("SELECT json FROM revisions WHERE id=?", {id.text()}),
                                         "revision");
}

std::optional<RecoveryRevision> DocumentStore::loadRevision(const Uuid& id, const Uuid& documentID) const
{
    return decodeFirst<RecoveryRevision>(
        store_.query("SELECT json FROM revisions WHERE id=? AND document_id=?", {id.text(), documentID.text()}),
        "revision");
}

DocumentStore::HistoryPage DocumentStore::history(const Uuid& documentID, std::int64_t limit, std::int64_t offset) const
{
    HistoryPage page;
    for (const std::string& json : historyRecords(documentID, limit, offset))
        decodeStoredInto(page.revisions, page.problems, json, "revision");
    return page;
}

std::vector<std::string> DocumentStore::historyRecords(const Uuid& documentID, std::int64_t limit,
                                                       std::int64_t offset) const
{
    std::vector<std::string> records;
    const auto read = [&](std::string_view sql) {
        records.clear();
        store_.forEachRow(sql, {documentID.text(), limit, offset},
                          [&](const Statement& row) { records.emplace_back(row.text(0)); });
    };
    try {
        read("SELECT json FROM revisions WHERE document_id=? ORDER BY json_extract(CAST(json AS TEXT),'$.createdAt') "
             "DESC, rowid DESC LIMIT ? OFFSET ?");
    } catch (const RecoveryError&) {
        // One record that is no JSON makes the whole query fail. The others are wanted all the same.
        read("SELECT json FROM revisions WHERE document_id=? ORDER BY rowid DESC LIMIT ? OFFSET ?");
    }
    return records;
}

std::vector<std::string> DocumentStore::checkpointsHolding(const Uuid& revisionID) const
{
    std::vector<std::string> records;
    store_.forEachRow("SELECT c.json FROM checkpoints c JOIN checkpoint_revisions r ON r.checkpoint_id=c.id WHERE "
                      "r.revision_id=? ORDER BY c.created DESC",
                      {revisionID.text()}, [&](const Statement& row) { records.emplace_back(row.text(0)); });
    return records;
}

RecoveryRevision DocumentStore::insertRevision(RecoveryDocument& document, std::string_view contentHash, bool deleted)
{
    RecoveryRevision revision = nextRevision(document, contentHash, deleted);
    const std::string json = encodeStored(revision);
    store_.execute(insertRevisionRow, {revision.id.text(), document.id.text(), contentHash, Blob{json}});
    replaceRecord(document);
    outbox_.add(revision.id.text(), "documentRevision", json);
    outbox_.dropIfSyncIsOff();
    return revision;
}

// Makes it the document's head; nothing is written.
RecoveryRevision DocumentStore::nextRevision(RecoveryDocument& document, std::string_view contentHash,
                                             bool deleted) const
{
    RecoveryRevision revision;
    revision.id = Uuid::random();
    revision.documentID = document.id;
    revision.parent = document.head;
    revision.deviceID = store_.deviceID();
    revision.contentHash = contentHash;
    revision.createdAt = clock_();
    revision.deleted = deleted;
    document.head = revision.id;
    document.updatedAt = revision.createdAt;
    return revision;
}

void DocumentStore::replaceRecord(const RecoveryDocument& document)
{
    store_.execute("INSERT OR REPLACE INTO documents(id,json) VALUES(?,?)",
                   {document.id.text(), Blob{encodeStored(document)}});
}

void DocumentStore::queueMetadata(const RecoveryDocument& document)
{
    outbox_.add(Uuid::random().text(), "documentMetadata", encodeStored(document));
    outbox_.dropIfSyncIsOff();
}

RecoveryDocument DocumentStore::requireDocument(const Uuid& id) const
{
    auto document = loadDocument(id);
    if (!document)
        throw RecoveryError::storage("There is no document " + id.text() + ".");
    return std::move(*document);
}

void DocumentStore::applyChange(RecoveryDocument& document, const Change& change) const
{
    const RecoveryDocument before = document;
    if (change)
        change(document);
    document.id = before.id;
    document.head = before.head;
    document.createdAt = before.createdAt;
    if (document != before)
        document.updatedAt = clock_();
}

}  // namespace penmark
