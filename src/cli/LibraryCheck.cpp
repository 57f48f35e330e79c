// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/LibraryCheck.h"

#include "base/Sha256.h"
#include "organization/ClosedPenmarkItem.h"
#include "organization/SessionCheckpoint.h"
#include "organization/SessionRun.h"
#include "storage/ChunkCodec.h"
#include "storage/ContentStore.h"
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/RecoveryWindow.h"

#include <array>
#include <sstream>
#include <unordered_set>

namespace penmark::cli {

namespace {

class LibraryCheck {
public:
    using Report = FunctionRef<void(const std::string& item)>;
    using Progress = FunctionRef<void(std::size_t done, std::size_t total, std::string_view what)>;

    LibraryCheck(RecoveryStore& store, Report report, Progress progress)
        : store_(store), content_(store), report_(report), progress_(progress)
    {}

    void run()
    {
        // A part that the database cannot even list is one damaged item; the others are looked at all the same.
        for (const auto part :
             {&LibraryCheck::checkDatabase, &LibraryCheck::checkReferences, &LibraryCheck::checkDocuments,
              &LibraryCheck::checkRevisions, &LibraryCheck::checkOrganization, &LibraryCheck::checkOtherRecords,
              &LibraryCheck::checkTexts, &LibraryCheck::checkOtherChunks}) {
            try {
                (this->*part)();
            } catch (const RecoveryError& error) {
                report_(std::string("database: ") + error.what());
            }
        }
    }

private:
    void checkDatabase()
    {
        progress_(0, 1, "database");
        for (const std::string& item : store_.repairedAtOpening())
            report_("database: " + item + (store_.isReadOnly() ? " is missing" : " was missing and is new now"));
        for (const auto& row : store_.query("PRAGMA integrity_check")) {
            // SQLite puts many findings into one row.
            std::istringstream lines(row.front());
            for (std::string line; std::getline(lines, line);) {
                if (line != "ok")
                    report_("database: " + line);
            }
        }
    }

    void checkReferences()
    {
        for (const auto& row : store_.query("PRAGMA foreign_key_check")) {
            // A revision without its text is named where the texts are checked, and there by more than a row number.
            if (row[0] != "revisions")
                report_(row[0] + " row " + row[1] + ": what it refers to in " + row[2] + " is missing");
        }
    }

    template <class R>
    std::optional<R> decode(std::string_view json, const std::string& item)
    {
        try {
            return decodeRecord<R>(json);
        } catch (const RecordError& error) {
            report_(item + ": " + error.what());
            return std::nullopt;
        }
    }

    void checkDocuments()
    {
        const auto hold = store_.lock();
        Statement revision = store_.prepare("SELECT document_id FROM revisions WHERE id=?");
        Statement anyRevision = store_.prepare("SELECT 1 FROM revisions WHERE document_id=? LIMIT 1");
        store_.forEachRow("SELECT id, json FROM documents", {}, [&](const Statement& row) {
            const std::string id(row.text(0));
            const std::string item = "document " + id;
            progress_(0, 1, item);
            const auto document = decode<RecoveryDocument>(row.text(1), item);
            if (!document)
                return;
            if (document->id.text() != id)
                report_(item + ": its record is that of " + document->id.text());
            if (!document->head) {
                anyRevision.bind({id});
                if (anyRevision.step())
                    report_(item + ": it has revisions, and its record names none as the newest");
                return;
            }
            const std::string head = document->head->text();
            revision.bind({head});
            if (!revision.step())
                report_(item + ": its newest revision " + head + " is missing");
            else if (revision.text(0) != id)
                report_(item + ": its newest revision " + head + " belongs to document " +
                        std::string(revision.text(0)));
        });
    }

    void checkRevisions()
    {
        for (const auto& row : store_.query("SELECT document_id, count(*) FROM revisions WHERE document_id NOT IN "
                                            "(SELECT id FROM documents) GROUP BY document_id"))
            report_("document " + row[0] + ": it is missing, and has " + row[1] + " revisions");
        store_.forEachRow("SELECT id, document_id, hash, json FROM revisions", {}, [&](const Statement& row) {
            const std::string item = "revision " + std::string(row.text(0));
            progress_(0, 1, item);
            const auto revision = decode<RecoveryRevision>(row.text(3), item);
            if (!revision)
                return;
            if (revision->id.text() != row.text(0))
                report_(item + ": its record is that of " + revision->id.text());
            if (revision->documentID.text() != row.text(1))
                report_(item + ": its record names another document");
            if (revision->contentHash != row.text(2))
                report_(item + ": its record names another text");
        });
    }

    // Rows of an identity and a record, with what else there is to check of a sound one.
    template <class R, class Check>
    void checkRecords(std::string_view noun, std::string_view sql, SqlParameters parameters, Check&& check)
    {
        store_.forEachRow(sql, parameters, [&](const Statement& row) {
            const std::string item = std::string(noun) + " " + std::string(row.text(0));
            progress_(0, 1, item);
            const auto record = decode<R>(row.text(1), item);
            if (!record)
                return;
            if (record->id.text() != row.text(0))
                report_(item + ": its record is that of " + record->id.text());
            check(*record, item);
        });
    }

    void checkOrganization()
    {
        const auto nothingElse = [](const auto&, const std::string&) {};
        checkRecords<RecoveryWindow>("window", "SELECT id, json FROM windows", {}, nothingElse);
        constexpr std::string_view items = "SELECT id, json FROM library_items WHERE kind=?";
        checkRecords<PenmarkSession>("session", items, {"session"}, nothingElse);
        checkRecords<PenmarkWorkspace>("workspace", items, {"workspace"}, nothingElse);
        checkRecords<PenmarkProject>("project", items, {"project"}, nothingElse);
        checkRecords<SessionRun>("visit", items, {"run"}, nothingElse);
        checkRecords<ClosedPenmarkItem>("closed item", items, {"closed"}, nothingElse);

        // These rows alone keep what a checkpoint covers from cleanup.
        const auto hold = store_.lock();
        Statement covers = store_.prepare("SELECT 1 FROM checkpoint_revisions WHERE checkpoint_id=? AND revision_id=?");
        checkRecords<SessionCheckpoint>("checkpoint", "SELECT id, json FROM checkpoints", {},
                                        [&](const SessionCheckpoint& checkpoint, const std::string& item) {
                                            const std::string id = checkpoint.id.text();
                                            for (const CheckpointDocument& document : checkpoint.documents) {
                                                const std::string revision = document.revisionID.text();
                                                covers.bind({id, revision});
                                                if (!covers.step())
                                                    report_(item + ": it does not protect revision " + revision);
                                            }
                                        });
    }

    void checkOtherRecords()
    {
        // Of these only the form is known here.
        struct Records {
            std::string_view name;
            std::string_view sql;
        };
        constexpr std::array<Records, 4> others{{
            {"metadata", "SELECT key, value FROM metadata"},
            {"item",
             "SELECT id, json FROM library_items WHERE kind NOT IN ('session','workspace','project','run','closed')"},
            {"view", "SELECT id, json FROM search_views"},
            {"change to be synced", "SELECT id, payload FROM outbox"},
        }};
        for (const auto& [name, sql] : others) {
            store_.forEachRow(sql, {}, [&, kind = name](const Statement& row) {
                if (!parseJson(row.text(1), [](const JsonValue&) {}))
                    report_(std::string(kind) + " " + std::string(row.text(0)) + ": the record is not valid JSON");
            });
        }
    }

    // Each text that is stored and each that a revision names.
    void checkTexts()
    {
        std::vector<std::string> hashes;
        store_.forEachRow("SELECT hash FROM content UNION SELECT hash FROM revisions", {},
                          [&](const Statement& row) { hashes.emplace_back(row.text(0)); });
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            const std::string item = "text " + hashes[i];
            progress_(i, hashes.size(), item);
            try {
                content_.loadText(hashes[i]);
            } catch (const RecoveryError& error) {
                report_(item + ": " + error.what() + usersOf(hashes[i]));
            }
            noteChunks(hashes[i]);
        }
    }

    std::string usersOf(const std::string& hash)
    {
        const auto users = store_.query("SELECT id, document_id FROM revisions WHERE hash=?", {hash});
        if (users.empty())
            return " No revision uses it.";
        std::string text = " Used by revision " + users[0][0] + " of document " + users[0][1];
        if (users.size() > 1)
            text += " and by others: " + std::to_string(users.size() - 1);
        return text + ".";
    }

    void noteChunks(const std::string& hash)
    {
        const auto rows = store_.query("SELECT body FROM content WHERE hash=?", {hash});
        if (rows.empty())
            return;
        try {
            for (std::string& chunk : decodeRecord<std::vector<std::string>>(rows.front().front()))
                checkedChunks_.insert(std::move(chunk));
        } catch (const RecordError&) {
            // Reported with its text; the chunks are then checked as if it were not there.
        }
    }

    // Chunks that no text uses: the next text that contains one would rely on it.
    void checkOtherChunks()
    {
        std::vector<std::string> hashes;
        store_.forEachRow("SELECT hash FROM chunks", {}, [&](const Statement& row) {
            std::string hash(row.text(0));
            if (!checkedChunks_.contains(hash))
                hashes.push_back(std::move(hash));
        });
        ChunkCodec codec;
        std::string room(ContentStore::chunkSize, '\0');
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            const std::string item = "chunk " + hashes[i];
            progress_(i, hashes.size(), item);
            const auto rows = store_.query("SELECT body FROM chunks WHERE hash=?", {hashes[i]});
            const auto size = rows.empty() ? std::nullopt : codec.decompress(rows.front().front(), room);
            if (!size || sha256({room.data(), *size}) != hashes[i])
                report_(item + ": It is damaged. No text uses it.");
        }
    }

    RecoveryStore& store_;
    ContentStore content_;
    Report report_;
    Progress progress_;
    std::unordered_set<std::string> checkedChunks_;
};

}  // namespace

void checkLibrary(RecoveryStore& store, FunctionRef<void(const std::string& item)> report,
                  FunctionRef<void(std::size_t done, std::size_t total, std::string_view what)> progress)
{
    LibraryCheck(store, report, progress).run();
}

}  // namespace penmark::cli
