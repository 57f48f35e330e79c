// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/DocumentStore.h"

#include "base/Sha256.h"
#include "storage/FaultyVfs.h"
#include "storage/LibrarySchema.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"
#include "storage/WindowStore.h"

#include <algorithm>
#include <map>
#include <thread>

#include <gtest/gtest.h>

namespace penmark {
namespace {

RecoveryError::Case caseOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const RecoveryError& error) {
        return error.which();
    }
    throw std::logic_error("no failure");
}

class DocumentStoreTest : public testing::Test {
protected:
    RecoveryDocument create(const std::string& title = "Draft")
    {
        RecoveryDocument document = documents.newDocument(title);
        documents.createDocument(document);
        return document;
    }
    std::string count(const std::string& table) { return library.query("SELECT count(*) FROM " + table)[0][0]; }

    // The outbox as "entity payload-id" lines in the order queued.
    std::vector<std::string> outbox()
    {
        std::vector<std::string> lines;
        for (const auto& row : library.query("SELECT entity,json_extract(CAST(payload AS TEXT),'$.id') FROM outbox "
                                             "ORDER BY rowid"))
            lines.push_back(row[0] + " " + row[1]);
        return lines;
    }

    TemporaryFolder folder;
    RecoveryStore library{{folder.path(), {}}};
    Date now{800'000'000};
    DocumentStore documents{library, [this] { return now; }};
    ContentStore content{library};
};

TEST_F(DocumentStoreTest, RevisionsFormAChain)
{
    const auto document = create();
    now = {800'000'001};
    const auto first = documents.writeRevision(document.id, {}, "one");
    ASSERT_TRUE(first.revision);
    EXPECT_FALSE(first.revision->parent);
    EXPECT_EQ(first.revision->deviceID, library.deviceID());
    EXPECT_EQ(first.revision->documentID, document.id);
    EXPECT_EQ(first.revision->createdAt, now);
    EXPECT_EQ(first.document.head, first.revision->id);
    EXPECT_EQ(first.document.updatedAt, now);
    EXPECT_EQ(first.document.createdAt, document.createdAt);

    const auto second = documents.writeRevision(document.id, first.document.head, "two",
                                                [](RecoveryDocument& d) { d.displayTitle = "Named"; });
    ASSERT_TRUE(second.revision);
    EXPECT_EQ(second.revision->parent, first.revision->id);
    EXPECT_EQ(documents.loadDocument(document.id), second.document);
    EXPECT_EQ(second.document.displayTitle, "Named");
    EXPECT_EQ(documents.loadRevision(second.revision->id), second.revision);
    EXPECT_EQ(documents.loadRevision(second.revision->id, document.id), second.revision);
    EXPECT_FALSE(documents.loadRevision(second.revision->id, Uuid::random()));
    EXPECT_EQ(content.loadText(second.revision->contentHash), "two");

    // The row of a revision is named after it and carries its record.
    const auto rows = library.query("SELECT id,entity,payload FROM outbox ORDER BY rowid DESC LIMIT 1");
    EXPECT_EQ(rows[0],
              (RecoveryStore::Row{second.revision->id.text(), "documentRevision", encodeRecord(*second.revision)}));
    EXPECT_EQ(library.query("SELECT id,document_id,hash FROM revisions ORDER BY rowid DESC LIMIT 1")[0],
              (RecoveryStore::Row{second.revision->id.text(), document.id.text(), sha256("two")}));
}

TEST_F(DocumentStoreTest, AnUnchangedTextAddsNoHistory)
{
    const auto document = create();
    const auto first = documents.writeRevision(document.id, {}, "same");
    now = {800'000'005};
    const auto again = documents.writeRevision(document.id, first.document.head, "same");
    EXPECT_FALSE(again.revision);
    EXPECT_EQ(again.document, first.document);
    const auto renamed = documents.writeRevision(document.id, first.document.head, "same",
                                                 [](RecoveryDocument& d) { d.languageName = "Markdown"; });
    EXPECT_FALSE(renamed.revision);
    EXPECT_EQ(renamed.document.updatedAt, now);
    EXPECT_EQ(documents.loadDocument(document.id)->languageName, "Markdown");
    EXPECT_EQ(count("revisions"), "1");
    EXPECT_EQ(count("content"), "1");
    EXPECT_EQ(outbox(), (std::vector<std::string>{"documentRevision " + first.revision->id.text(),
                                                  "documentMetadata " + document.id.text(),
                                                  "documentMetadata " + document.id.text()}));
}

TEST_F(DocumentStoreTest, AMovedHeadIsAConflictAndNothingIsWritten)
{
    const auto document = create();
    const auto first = documents.writeRevision(document.id, {}, "one");
    const auto before = library.query("SELECT json FROM documents");
    for (const std::optional<Uuid>& parent : {std::optional<Uuid>(), std::optional<Uuid>(Uuid::random())})
        EXPECT_EQ(caseOf([&] { documents.writeRevision(document.id, parent, "two"); }),
                  RecoveryError::Case::revisionConflict);
    const auto fresh = create();
    EXPECT_EQ(caseOf([&] { documents.writeRevision(fresh.id, Uuid::random(), "two"); }),
              RecoveryError::Case::revisionConflict);
    EXPECT_EQ(count("revisions"), "1");
    EXPECT_EQ(count("content"), "1");
    EXPECT_EQ(count("chunks"), "1");
    EXPECT_EQ(library.query("SELECT json FROM documents WHERE id=?", {document.id.text()}), before);
    EXPECT_EQ(caseOf([&] { documents.writeRevision(Uuid::random(), {}, "x"); }), RecoveryError::Case::storage);
}

TEST_F(DocumentStoreTest, DocumentsCanBeMadeOfTextsThatAreThere)
{
    const auto original = documents.createWithText(documents.newDocument("A"), "text");
    const std::string hash = original.revision->contentHash;
    const auto version = library.searchVersion();
    std::vector<DocumentStore::FromContent> made{{documents.newDocument("B"), hash},
                                                 {documents.newDocument("C"), hash}};
    made[1].document.head = original.document.head;  // of another document: it is not taken over
    documents.createFromContent(made);
    EXPECT_GT(library.searchVersion(), version);
    for (const auto& [document, contentHash] : made) {
        EXPECT_EQ(documents.loadDocument(document.id), document);
        const auto head = documents.loadHead(document);
        ASSERT_TRUE(head);
        EXPECT_EQ(head->contentHash, hash);
        EXPECT_EQ(head->documentID, document.id);
        EXPECT_FALSE(head->parent);
        EXPECT_EQ(library.query("SELECT payload FROM outbox WHERE id=?", {head->id.text()})[0][0], encodeRecord(*head));
    }

    made = {{documents.newDocument("D"), hash}, {documents.newDocument("E"), sha256("nowhere")}};
    EXPECT_EQ(caseOf([&] { documents.createFromContent(made); }), RecoveryError::Case::missingContent);
    EXPECT_EQ(count("documents"), "3");
    EXPECT_EQ(count("outbox"), "3");
}

// Of writers that start from one head exactly one gets through each time; no text that was accepted is lost.
TEST_F(DocumentStoreTest, WritersAtOnceNeverOverwriteEachOther)
{
    const auto document = create();
    std::atomic<int> conflicts = 0;
    {
        std::vector<std::jthread> writers;
        for (int w = 0; w < 3; ++w)
            writers.emplace_back([&, w] {
                for (int i = 0; i < 15;) {
                    const auto head = documents.loadDocument(document.id)->head;
                    try {
                        documents.writeRevision(document.id, head, std::to_string(w) + "/" + std::to_string(i));
                        ++i;
                    } catch (const RecoveryError& error) {
                        ASSERT_EQ(error.which(), RecoveryError::Case::revisionConflict);
                        ++conflicts;
                    }
                }
            });
    }
    std::size_t length = 0;
    auto head = documents.loadDocument(document.id)->head;
    for (; head; head = documents.loadRevision(*head)->parent)
        ++length;
    EXPECT_EQ(length, 45u);
    EXPECT_EQ(count("revisions"), "45");
}

TEST_F(DocumentStoreTest, HistoryIsNewestFirstInPages)
{
    const auto document = create();
    std::vector<Uuid> ids;
    std::optional<Uuid> head;
    // Three revisions within one tick, then a clock that was set back.
    for (const double at : {10.0, 10.0, 10.0, 9.0, 2e9}) {
        now = {at};
        head = documents.writeRevision(document.id, head, std::to_string(ids.size())).document.head;
        ids.push_back(*head);
    }
    const std::vector<Uuid> expected{ids[4], ids[2], ids[1], ids[0], ids[3]};
    const auto idsOf = [&](std::int64_t limit, std::int64_t offset) {
        std::vector<Uuid> got;
        for (const auto& revision : documents.history(document.id, limit, offset).revisions)
            got.push_back(revision.id);
        return got;
    };
    EXPECT_EQ(idsOf(100, 0), expected);
    EXPECT_EQ(idsOf(2, 1), (std::vector<Uuid>{ids[2], ids[1]}));
    EXPECT_TRUE(idsOf(10, 5).empty());
    EXPECT_TRUE(documents.history(Uuid::random(), 10, 0).revisions.empty());

    std::string plan;
    for (const auto& row : library.query("EXPLAIN QUERY PLAN SELECT json FROM revisions WHERE document_id=? ORDER BY "
                                         "json_extract(CAST(json AS TEXT),'$.createdAt') DESC, rowid DESC LIMIT 50",
                                         {document.id.text()}))
        plan += row[3];
    EXPECT_EQ(plan, "SEARCH revisions USING INDEX revisions_by_date (document_id=?)");
}

TEST_F(DocumentStoreTest, ADamagedRevisionDoesNotHideTheRestOfTheHistory)
{
    const auto document = create();
    std::optional<Uuid> head;
    for (const char* text : {"0", "1", "2"})
        head = documents.writeRevision(document.id, head, text).document.head;
    for (const char* json : {R"({"id":1})", "{broken"}) {
        library.execute("DROP INDEX IF EXISTS revisions_by_date");  // it would refuse such a record
        library.execute("UPDATE revisions SET json=? WHERE hash=?", {Blob{json}, sha256("1")});
        const auto page = documents.history(document.id, 10, 0);
        EXPECT_EQ(page.revisions.size(), 2u) << json;
        EXPECT_EQ(page.problems.size(), 1u) << json;
        EXPECT_EQ(page.revisions.front().id, head);
    }
}

// Rows of a text went missing. Storing it again must not count as done because the head seems to have it.
TEST_F(DocumentStoreTest, StoringATextAgainMakesItWhole)
{
    const auto document = create();
    const auto first = documents.writeRevision(document.id, {}, "precious");
    library.execute("DELETE FROM chunks");
    EXPECT_FALSE(documents.writeRevision(document.id, first.document.head, "precious").revision);
    EXPECT_EQ(content.loadText(first.revision->contentHash), "precious");
    library.execute("PRAGMA foreign_keys=OFF");
    library.execute("DELETE FROM content");
    library.execute("PRAGMA foreign_keys=ON");
    EXPECT_TRUE(documents.discard(document.id).deleted);  // also what is damaged can be put away
}

TEST_F(DocumentStoreTest, DiscardingIsRecordedAndWritingRestores)
{
    const auto document = create();
    const auto first = documents.writeRevision(document.id, {}, "text");
    const auto discarded = documents.discard(document.id);
    EXPECT_TRUE(discarded.deleted);
    const auto tombstone = documents.loadRevision(*discarded.head);
    EXPECT_TRUE(tombstone->deleted);
    EXPECT_EQ(tombstone->parent, first.revision->id);
    EXPECT_EQ(tombstone->contentHash, first.revision->contentHash);
    EXPECT_EQ(documents.discard(document.id), discarded);
    EXPECT_EQ(count("revisions"), "2");
    EXPECT_EQ(outbox().back(), "documentRevision " + tombstone->id.text());

    const auto restored = documents.writeRevision(document.id, discarded.head, "text");
    EXPECT_FALSE(restored.document.deleted);
    ASSERT_TRUE(restored.revision);
    EXPECT_FALSE(restored.revision->deleted);

    const auto empty = create();
    EXPECT_TRUE(documents.discard(empty.id).deleted);
    EXPECT_EQ(outbox().back(), "documentMetadata " + empty.id.text());
}

// Damaged records can be written while the index is there, and hide no other; without it the answers are the same.
TEST_F(DocumentStoreTest, FindsWhatIsBoundToAFileByItsIndex)
{
    const auto bind = [&](const std::string& path, double updatedAt, bool deleted) {
        auto document = documents.newDocument("Bound");
        document.externalPath = path;
        document.updatedAt = {updatedAt};
        document.deleted = deleted;
        documents.createDocument(document);
        return document;
    };
    const std::string awkward = "/tmp/“a”\"\\ \t\x01 é😀.txt";
    const auto odd = bind(awkward, 5, false);
    bind("/tmp/a", 1, false);
    const auto newest = bind("/tmp/a", 3, false);
    bind("/tmp/a", 2, false);
    bind("/tmp/a", 4, true);
    // As another program may write it: other spaces, and every character that can be escaped.
    const auto foreign = bind("/tmp/b/é", 1, false);
    std::string json = encodeRecord(foreign);
    const std::string plain = "\"externalPath\":\"/tmp/b/é\"";
    json.replace(json.find(plain), plain.size(), "\"externalPath\" : \"\\/tmp\\/b\\/\\u00e9\"");
    library.execute("UPDATE documents SET json=? WHERE id=?", {Blob{json}, foreign.id.text()});

    const auto expectAll = [&](const char* when) {
        SCOPED_TRACE(when);
        EXPECT_EQ(documents.findBoundTo(awkward), odd);
        EXPECT_EQ(documents.findBoundTo("/tmp/a"), newest);
        EXPECT_EQ(documents.findBoundTo("/tmp/b/é"), foreign);
        EXPECT_FALSE(documents.findBoundTo("/tmp/A"));
        EXPECT_FALSE(documents.findBoundTo(""));
    };
    int number = 0;
    for (const std::string damaged : {"", "{broken", "[]", "\"/tmp/a\"", "null", R"({"externalPath":"/tmp/a"})",
                                      R"({"externalPath":["/tmp/a"]})", "{\"externalPath\":\"/tmp/a\xff\"}"})
        library.execute("INSERT INTO documents(id,json) VALUES(?,?)", {std::to_string(++number), Blob{damaged}});
    library.execute("INSERT INTO documents(id,json) VALUES('deep',?)", {Blob{std::string(100'000, '[')}});
    expectAll("by the index");
    std::string plan;
    for (const auto& row : library.query(
             "EXPLAIN QUERY PLAN SELECT json FROM documents WHERE CASE WHEN json_valid(CAST(json AS TEXT)) THEN "
             "json_extract(CAST(json AS TEXT),'$.externalPath') END=?",
             {"/tmp/a"}))
        plan += row[3];
    EXPECT_EQ(plan, "SEARCH documents USING INDEX documents_by_path (<expr>=?)");

    library.execute("DROP INDEX documents_by_path");
    expectAll("without it");
    for (const LibraryIndex& index : libraryIndexes)
        library.execute(index.sql);
    expectAll("by one that was made afterwards");
    EXPECT_TRUE(library.integrityCheck());
}

// Headers are read for all documents that have what a list shows, however damaged the rest of a record is.
TEST_F(DocumentStoreTest, ReadsHeadersOfAllThatCanBeListed)
{
    auto full = documents.newDocument("Title");
    full.displayTitle = "Shown";
    full.externalPath = "/tmp/a";
    full.missingOriginal = full.deleted = true;
    full.updatedAt = {now.seconds + 7};
    documents.createDocument(full);
    const auto plain = create();
    library.execute("UPDATE documents SET json=CAST(replace(json,'\"utf8\"','\"unheard of\"') AS BLOB) WHERE id=?",
                    {plain.id.text()});
    library.execute("INSERT INTO documents(id,json) VALUES('x','{\"id\":1}'),('y','{broken')");
    EXPECT_THROW(documents.loadDocument(plain.id), RecoveryError);

    std::map<Uuid, RecoveryDocumentHeader> headers;
    const auto problems = documents.forEachHeader(
        [&](RecoveryDocumentHeader&& header) { headers.emplace(header.id, std::move(header)); });
    EXPECT_EQ(problems.size(), 2u);
    ASSERT_EQ(headers.size(), 2u);
    const RecoveryDocumentHeader expected{full.id, "Title", "Shown",        "/tmp/a",      full.head,
                                          true,    true,    full.createdAt, full.updatedAt};
    EXPECT_EQ(headers.at(full.id), expected);
    EXPECT_EQ(headers.at(full.id).shownTitle(), "Shown");
    EXPECT_EQ(headers.at(plain.id).shownTitle(), plain.title);
    EXPECT_FALSE(headers.at(plain.id).externalPath);
}

TEST_F(DocumentStoreTest, RecordChangesKeepWhatIsNotTheirs)
{
    const auto written = documents.createWithText(documents.newDocument("A"), "text");
    now = {800'000'009};
    const auto changed = documents.changeDocument(written.document.id, [](RecoveryDocument& document) {
        document.id = Uuid::random();
        document.head.reset();
        document.createdAt = {};
        document.externalPath = "/tmp/a.txt";
    });
    EXPECT_EQ(changed.id, written.document.id);
    EXPECT_EQ(changed.head, written.document.head);
    EXPECT_EQ(changed.createdAt, written.document.createdAt);
    EXPECT_EQ(changed.updatedAt, now);
    EXPECT_EQ(documents.findBoundTo("/tmp/a.txt"), changed);
    const auto queued = outbox().size();
    documents.changeDocument(written.document.id, [](RecoveryDocument&) {});
    EXPECT_EQ(outbox().size(), queued);
    documents.discard(written.document.id);
    EXPECT_FALSE(documents.findBoundTo("/tmp/a.txt"));
    EXPECT_EQ(caseOf([&] { documents.createDocument(changed); }), RecoveryError::Case::storage);
    EXPECT_EQ(caseOf([&] { documents.changeDocument(changed.id, [](RecoveryDocument& d) { d.title = "\xff"; }); }),
              RecoveryError::Case::storage);
}

TEST_F(DocumentStoreTest, TheOutboxIsDroppedOnlyWhenSyncIsSwitchedOff)
{
    const auto document = create();
    auto head = documents.writeRevision(document.id, {}, "0").document.head;
    const struct {
        std::string settings;
        std::size_t rows;
    } cases[] = {{R"({"enabled":true})", 2}, {R"({"other":1})", 3}, {R"({"enabled":false,"account":"a"})", 0}};
    for (const auto& [settings, rows] : cases) {
        library.execute("INSERT OR REPLACE INTO metadata(key,value) VALUES('syncSettings',?)", {Blob{settings}});
        head = documents.writeRevision(document.id, head, settings).document.head;
        EXPECT_EQ(outbox().size(), rows) << settings;
    }
}

TEST_F(DocumentStoreTest, OneDamagedRecordDoesNotHideTheOthers)
{
    const auto sound = create("sound");
    const auto broken = create("broken");
    library.execute("UPDATE documents SET json=? WHERE id=?", {Blob{R"({"id":"x"})"}, broken.id.text()});
    const auto loaded = documents.loadDocuments();
    ASSERT_EQ(loaded.documents.size(), 1u);
    EXPECT_EQ(loaded.documents[0], sound);
    EXPECT_EQ(loaded.problems,
              std::vector<std::string>{"Penmark could not complete the operation: A document record cannot be read: "
                                       "“id” is not an identifier."});
    EXPECT_EQ(caseOf([&] { documents.loadDocument(broken.id); }), RecoveryError::Case::storage);
    EXPECT_FALSE(documents.loadDocument(Uuid::random()));
}

TEST_F(DocumentStoreTest, FindsTheCheckpointsOfARevision)
{
    const auto written = documents.createWithText(documents.newDocument("A"), "text");
    for (const std::string id : {"1", "2", "3"}) {
        library.execute("INSERT INTO checkpoints VALUES(?,?,0,?)", {id, std::stod(id), Blob{"{\"id\":" + id + "}"}});
        if (id != "2")
            library.execute("INSERT INTO checkpoint_revisions VALUES(?,?)", {id, written.revision->id.text()});
    }
    EXPECT_EQ(documents.checkpointsHolding(written.revision->id),
              (std::vector<std::string>{"{\"id\":3}", "{\"id\":1}"}));
}

// Fails the first call to the disk, then the second, … until a revision gets through. After each the library is opened
// anew, as after a crash: the document, its revision, its text and its outbox row are all there or none of them.
TEST(DocumentStoreFaults, ARevisionIsWrittenWholeOrNotAtAll)
{
    const TemporaryFolder folder;
    FaultyVfs disk;
    std::optional<RecoveryStore> library;
    library.emplace(RecoveryConfiguration{folder.path(), {}});
    const auto document = DocumentStore(*library).newDocument("Draft");
    auto head = DocumentStore(*library).createWithText(document, "first").document.head;
    for (const auto mode : {FaultyVfs::Mode::once, FaultyVfs::Mode::fromThenOn}) {
        int n = 1;
        for (bool failed = true; failed; ++n) {
            SCOPED_TRACE(n);
            const std::string text =
                std::string(9000, static_cast<char>((mode == FaultyVfs::Mode::once ? 'a' : 'A') + n % 26)) +
                std::to_string(n);
            disk.failAt(n, mode);
            bool acknowledged = true;
            try {
                DocumentStore(*library).writeRevision(document.id, head, text);
            } catch (const RecoveryError& error) {
                EXPECT_EQ(error.which(), RecoveryError::Case::storage);
                acknowledged = false;
            }
            failed = disk.hasFailed();
            disk.failAt(0, mode);
            library.reset();
            library.emplace(RecoveryConfiguration{folder.path(), {}});
            ASSERT_TRUE(library->integrityCheck());
            ASSERT_TRUE(library->query("PRAGMA foreign_key_check").empty());

            const auto newHead = DocumentStore(*library).loadDocument(document.id)->head;
            const bool stored = newHead != head;
            EXPECT_TRUE(stored || !acknowledged);
            EXPECT_EQ(library->query("SELECT 1 FROM outbox WHERE id=?", {newHead->text()}).size(), 1u);
            const auto revision = DocumentStore(*library).loadRevision(*newHead);
            ASSERT_TRUE(revision);
            EXPECT_EQ(library->query("SELECT count(*) FROM revisions")[0][0],
                      library->query("SELECT count(*) FROM outbox")[0][0]);
            if (stored) {
                EXPECT_EQ(ContentStore(*library).loadText(revision->contentHash), text);
                EXPECT_EQ(revision->parent, head);
            }
            head = newHead;
        }
        EXPECT_GT(n, 6);
    }
}

TEST(WindowStore, ReplacesTheSetAndKeepsOrderAndUnknownKeys)
{
    const TemporaryFolder folder;
    RecoveryStore library({folder.path(), {}});
    WindowStore windows(library);
    std::vector<RecoveryWindow> saved(3);
    for (RecoveryWindow& window : saved)
        window.id = Uuid::random();
    const Uuid document = Uuid::random();
    saved[0].documents = {document, Uuid::random()};
    saved[0].selected = document;
    saved[0].isOpen = true;
    saved[0].tabIDs = {{document, Uuid::random()}};
    saved[0].editorStates = {{document, {R"({"caret":12,"folds":[1,2]})"}}};
    saved[0].placement = {1.5, 2, 300, 400, RawJson{R"("DP-1")"}, {}};
    saved[1].presentation.emplace();
    saved[2].presentation.emplace();
    saved[2].presentation->collapsedLibrarySections = {"recent", "drafts"};
    saved[2].presentation->markdownPreviewFraction = 0.5;
    saved[2].presentation->unknownMembers = {{"laterKey", {"[true]"}}};
    saved[2].unknownMembers = {{"zoomed", {"true"}}};
    windows.saveAll(saved);
    EXPECT_EQ(windows.load().windows, saved);
    EXPECT_EQ(encodeRecord(*saved[1].presentation), "{}");

    std::reverse(saved.begin(), saved.end());
    saved.pop_back();
    windows.saveAll(saved);
    EXPECT_EQ(windows.load().windows, saved);

    library.execute("UPDATE windows SET json='{}' WHERE id=?", {saved[0].id.text()});
    const auto loaded = windows.load();
    EXPECT_EQ(loaded.windows.size(), 1u);
    EXPECT_EQ(loaded.problems.size(), 1u);
    saved[1].id = saved[0].id;  // the set cannot be stored: the one before stays
    EXPECT_THROW(windows.saveAll(saved), RecoveryError);
    EXPECT_EQ(library.query("SELECT count(*) FROM windows")[0][0], "2");
}

}  // namespace
}  // namespace penmark
