// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointStore.h"

#include "organization/CheckpointBeginning.h"
#include "organization/SessionError.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

namespace penmark {

namespace {

constexpr std::string_view selectRecord = "SELECT json FROM checkpoints WHERE id=?";
constexpr std::string_view selectRevision = "SELECT json FROM revisions WHERE id=?";

// What a checkpoint takes of a document.
struct Candidate {
    Uuid id;
    std::string title;
    std::optional<std::string> displayTitle;
    std::optional<Uuid> head;
    bool deleted = false;

    static constexpr auto fields()
    {
        using R = Candidate;
        return std::tuple{field("id", &R::id), field("title", &R::title), field("displayTitle", &R::displayTitle),
                          field("head", &R::head), field("deleted", &R::deleted)};
    }
};

std::optional<std::string> nameOrNone(std::optional<std::string> name)
{
    return name && name->empty() ? std::nullopt : std::move(name);
}

CheckpointHeader headerOf(const SessionCheckpoint& checkpoint)
{
    CheckpointHeader header{checkpoint.id, checkpoint.createdAt, checkpoint.pinned, checkpoint.name, std::nullopt};
    if (checkpoint.coversOneDocument())
        header.document = checkpoint.documents.front().documentID;
    return header;
}

RecoveryError unreadable(const RecordError& error)
{
    return RecoveryError::storage(std::string("A checkpoint record cannot be read: ") + error.what() + ".");
}

// Of one that waits in the outbox.
std::string outboxID(const Uuid& checkpoint)
{
    return "checkpoint-" + checkpoint.text();
}

// Every document with a text that is not discarded, in the caller's transaction. One whose newest revision is missing
// is left out, as a damaged record is: the others are to be protected all the same.
std::vector<CheckpointDocument> newestRevisions(RecoveryStore& store)
{
    std::vector<CheckpointDocument> covered;
    Statement revision = store.prepare(selectRevision);
    store.forEachRow("SELECT json FROM documents", {}, [&](const Statement& row) {
        Candidate document;
        try {
            document = decodeRecord<Candidate>(row.text(0));
        } catch (const RecordError&) {
            return;
        }
        if (document.deleted || !document.head)
            return;
        const std::string head = document.head->text();
        revision.bind({head});
        if (revision.step())
            covered.push_back({document.id,
                               *document.head,
                               document.displayTitle ? std::move(document.displayTitle) : std::move(document.title),
                               {}});
    });
    return covered;
}

std::vector<RawJson> savedSearches(RecoveryStore& store)
{
    std::vector<RawJson> views;
    store.forEachRow("SELECT json FROM search_views ORDER BY rowid", {}, [&](const Statement& row) {
        const std::string_view json = row.text(0);
        if (parseJson(json, [](const JsonValue&) {}))
            views.push_back({std::string(json)});
    });
    return views;
}

template <class T>
std::vector<T> copyOf(const ItemList<T>& list)
{
    return {list.begin(), list.end()};
}

// The record with one member replaced, added or taken away; everything else stays, also what this version does not
// know. Added ones come before "pinned", where a name has its place. Throws RecordError if it is no record.
std::string withMember(std::string_view record, std::string_view member, const std::optional<RawJson>& value)
{
    std::string out = "{";
    bool isFirst = true;
    bool isWritten = !value;
    const auto write = [&](std::string_view key, const std::string& json) {
        if (!std::exchange(isFirst, false))
            out += ',';
        appendJsonString(out, key);
        (out += ':') += json;
    };
    bool isObject = false;
    const bool isJson = parseJson(record, [&](const JsonValue& root) {
        isObject = root.forEachMember([&](std::string_view key, const JsonValue& present) {
            if (!isWritten && (key == member || key == "pinned")) {
                write(member, value->text);
                isWritten = true;
            }
            if (key != member)
                write(key, present.text());
        });
    });
    if (!isJson || !isObject)
        throw RecordError("the record is not valid JSON");
    if (!isWritten)
        write(member, value->text);
    return out + "}";
}

}  // namespace

CheckpointStore::CheckpointStore(RecoveryStore& store, Clock clock)
    : store_(store), outbox_(store), clock_(std::move(clock))
{}

CheckpointHeader CheckpointStore::keepLibrary(const SessionLibrary& library, std::optional<std::string> name,
                                              bool pinned)
{
    SessionCheckpoint checkpoint;
    checkpoint.id = Uuid::random();
    checkpoint.deviceID = store_.deviceID();
    checkpoint.name = nameOrNone(std::move(name));
    checkpoint.pinned = pinned;
    checkpoint.sessions = copyOf(library.sessions);
    checkpoint.workspaces = copyOf(library.workspaces);
    checkpoint.projects = copyOf(library.projects);
    checkpoint.focusedWindowID = library.settings.focusedWindowID;
    store_.transaction([&] {
        checkpoint.createdAt = clock_();
        checkpoint.documents = newestRevisions(store_);
        checkpoint.searchViews = savedSearches(store_);
        insert(checkpoint);
    });
    return headerOf(checkpoint);
}

CheckpointHeader CheckpointStore::keepDocument(const Uuid& document, std::optional<std::string> name,
                                               const std::optional<Uuid>& revision)
{
    SessionCheckpoint checkpoint;
    checkpoint.id = Uuid::random();
    checkpoint.deviceID = store_.deviceID();
    checkpoint.name = nameOrNone(std::move(name));
    checkpoint.pinned = true;
    store_.transaction([&] {
        const DocumentStore documents(store_);
        const auto record = documents.loadDocument(document);
        if (!record)
            throw RecoveryError::storage("There is no document " + document.text() + ".");
        const auto wanted = revision ? revision : record->head;
        if (!wanted || !documents.loadRevision(*wanted, document))
            throw RecoveryError::storage("The document has no such version.");
        checkpoint.createdAt = clock_();
        checkpoint.documents.push_back({document, *wanted, record->shownTitle(), {}});
        insert(checkpoint);
    });
    return headerOf(checkpoint);
}

void CheckpointStore::create(const SessionCheckpoint& checkpoint)
{
    store_.transaction([&] {
        if (loadRecord(checkpoint.id))
            return;
        Statement revision = store_.prepare(selectRevision);
        for (const CheckpointDocument& covered : checkpoint.documents) {
            const std::string id = covered.revisionID.text();
            revision.bind({id});
            if (!revision.step())
                throw RecoveryError::storage("A version that the checkpoint covers is not in the library.");
        }
        insert(checkpoint);
    });
}

// Inside the caller's transaction, who has seen that the revisions are there.
void CheckpointStore::insert(const SessionCheckpoint& checkpoint)
{
    const std::string id = checkpoint.id.text();
    const std::string json = encodeStored(checkpoint);
    store_.execute("INSERT INTO checkpoints(id,created,pinned,json) VALUES(?,?,?,?)",
                   {id, checkpoint.createdAt.seconds, std::int64_t{checkpoint.pinned}, Blob{json}});
    Statement protect =
        store_.prepare("INSERT OR IGNORE INTO checkpoint_revisions(checkpoint_id,revision_id) VALUES(?,?)");
    for (const CheckpointDocument& covered : checkpoint.documents) {
        const std::string revision = covered.revisionID.text();
        protect.bind({id, revision});
        protect.run();
    }
    if (outbox_.isSyncOn() && !store_.applyingSync)
        outbox_.add(outboxID(checkpoint.id), "sessionCheckpoint", json);
}

CheckpointStore::Headers CheckpointStore::headers() const
{
    return readHeaders("SELECT rowid,id,created,pinned FROM checkpoints ORDER BY created DESC", {});
}

std::vector<CheckpointHeader> CheckpointStore::holding(const Uuid& revision) const
{
    return readHeaders("SELECT c.rowid,c.id,c.created,c.pinned FROM checkpoints c JOIN checkpoint_revisions r ON "
                       "r.checkpoint_id=c.id WHERE r.revision_id=? ORDER BY c.created DESC",
                       {revision.text()})
        .headers;
}

CheckpointStore::Headers CheckpointStore::readHeaders(std::string_view sql, SqlParameters parameters) const
{
    Headers read;
    store_.forEachRow(sql, parameters, [&](const Statement& row) {
        try {
            const auto id = Uuid::parse(row.text(1));
            if (!id)
                throw RecordError("its row has no identifier");
            const auto start = store_.readBeginning("checkpoints", "json", row.integer(0), CheckpointBeginning::bytes);
            auto found = CheckpointBeginning::parse(start.bytes);
            if (!found)
                found = CheckpointBeginning::parseWhole(start.isAll ? start.bytes : loadRecord(*id).value_or(""));
            read.headers.push_back({*id, {row.real(2)}, row.integer(3) != 0, std::move(found->name), found->document});
        } catch (const RecordError& error) {
            read.problems.push_back(unreadable(error).what());
        } catch (const RecoveryError& error) {
            read.problems.emplace_back(error.what());
        }
    });
    return read;
}

std::optional<SessionCheckpoint> CheckpointStore::load(const Uuid& id) const
{
    const auto record = loadRecord(id);
    if (!record)
        return std::nullopt;
    return decodeStored<SessionCheckpoint>(*record, "checkpoint");
}

std::optional<std::string> CheckpointStore::loadRecord(const Uuid& id) const
{
    std::optional<std::string> record;
    store_.forEachRow(selectRecord, {id.text()}, [&](const Statement& row) { record = row.text(0); });
    return record;
}

bool CheckpointStore::contains(const Uuid& id) const
{
    return !store_.query("SELECT 1 FROM checkpoints WHERE id=?", {id.text()}).empty();
}

CheckpointHeader CheckpointStore::setPinned(const Uuid& id, bool pinned)
{
    return store_.transaction([&] {
        store_.execute("UPDATE checkpoints SET pinned=? WHERE id=?", {std::int64_t{pinned}, id.text()});
        return change(id, "pinned", RawJson{pinned ? "true" : "false"});
    });
}

CheckpointHeader CheckpointStore::rename(const Uuid& id, std::optional<std::string> name)
{
    name = nameOrNone(std::move(name));
    std::optional<RawJson> json;
    if (name)
        json.emplace(RawJson{encodeStored(*name)});
    return store_.transaction([&] { return change(id, "name", json); });
}

CheckpointHeader CheckpointStore::change(const Uuid& id, std::string_view member, const std::optional<RawJson>& value)
{
    const auto record = loadRecord(id);
    if (!record)
        throw SessionError(SessionError::Case::checkpointGone);
    std::string changed;
    try {
        changed = withMember(*record, member, value);
    } catch (const RecordError& error) {
        throw unreadable(error);
    }
    store_.execute("UPDATE checkpoints SET json=?2 WHERE id=?1", {id.text(), Blob{changed}});
    // If it has not been collected yet, it is told as it is now.
    store_.execute("UPDATE outbox SET payload=?2 WHERE id=?1", {outboxID(id), Blob{changed}});
    Headers read = readHeaders("SELECT rowid,id,created,pinned FROM checkpoints WHERE id=?", {id.text()});
    if (read.headers.empty())  // JSON, but no checkpoint
        throw RecoveryError::storage("This checkpoint cannot be read.");
    return std::move(read.headers.front());
}

void CheckpointStore::remove(const Uuid& id)
{
    store_.transaction([&] {
        if (!contains(id))
            throw SessionError(SessionError::Case::checkpointGone);
        store_.execute("DELETE FROM checkpoint_revisions WHERE checkpoint_id=?", {id.text()});
        store_.execute("DELETE FROM checkpoints WHERE id=?", {id.text()});
        store_.execute("DELETE FROM outbox WHERE id=? OR id=?", {id.text(), outboxID(id)});
    });
}

std::int64_t CheckpointStore::count() const
{
    std::int64_t count = 0;
    store_.forEachRow("SELECT count(*) FROM checkpoints", {}, [&](const Statement& row) { count = row.integer(0); });
    return count;
}

}  // namespace penmark
