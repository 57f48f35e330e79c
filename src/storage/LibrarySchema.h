// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <string_view>

namespace penmark {

/// The number that PRAGMA user_version holds; programs that know a smaller one refuse the library.
constexpr int librarySchemaVersion = 4;

/// Creates what is missing of the library's tables, in this order. Another order or wording is another schema.
constexpr std::array<std::string_view, 17> librarySchema{
    "CREATE TABLE IF NOT EXISTS documents(id TEXT PRIMARY KEY, json BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS content(hash TEXT PRIMARY KEY, body BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS chunks(hash TEXT PRIMARY KEY, body BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS revisions(id TEXT PRIMARY KEY, document_id TEXT NOT NULL, hash TEXT NOT NULL "
    "REFERENCES content(hash), json BLOB NOT NULL)",
    "CREATE INDEX IF NOT EXISTS revisions_by_document ON revisions(document_id)",
    "CREATE TABLE IF NOT EXISTS outbox(id TEXT PRIMARY KEY, entity TEXT NOT NULL, payload BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS metadata(key TEXT PRIMARY KEY, value BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS windows(id TEXT PRIMARY KEY, json BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS library_items(kind TEXT NOT NULL, id TEXT NOT NULL, json BLOB NOT NULL, PRIMARY "
    "KEY(kind,id))",
    "CREATE TABLE IF NOT EXISTS checkpoints(id TEXT PRIMARY KEY, created REAL NOT NULL, pinned INTEGER NOT NULL, json "
    "BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS checkpoint_revisions(checkpoint_id TEXT NOT NULL REFERENCES checkpoints(id) ON DELETE "
    "CASCADE, revision_id TEXT NOT NULL REFERENCES revisions(id), PRIMARY KEY(checkpoint_id,revision_id))",
    "CREATE TABLE IF NOT EXISTS search_views(id TEXT PRIMARY KEY, json BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS sync_objects(id TEXT PRIMARY KEY, kind TEXT NOT NULL, payload BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS sync_pending(id TEXT PRIMARY KEY, digest TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS sync_remote(id TEXT PRIMARY KEY, kind TEXT NOT NULL, payload TEXT NOT NULL, tag BLOB "
    "NOT NULL)",
    "CREATE TABLE IF NOT EXISTS sync_inbox(id TEXT PRIMARY KEY, payload BLOB NOT NULL)",
    "CREATE TABLE IF NOT EXISTS sync_manifests(hash TEXT PRIMARY KEY, payload BLOB NOT NULL)",
};
constexpr std::string_view librarySchemaSetVersion = "PRAGMA user_version=4";

struct LibraryIndex {
    std::string_view name;
    std::string_view sql;
};

/// Indexes beyond the schema. Nothing depends on them but speed, and a program that does not know them keeps them up
/// to date unawares. The first serves the history query: without it a document of 100,000 revisions is sorted for
/// every page. The second serves foreign keys when revisions and texts are deleted, as does the third. The last finds
/// the document that is bound to a file; a record that is no JSON is left out there rather than refused, so that it can
/// be written, by whatever program, and hinders no search.
constexpr std::array<LibraryIndex, 4> libraryIndexes{{
    {"revisions_by_date", "CREATE INDEX IF NOT EXISTS revisions_by_date ON revisions(document_id, "
                          "json_extract(CAST(json AS TEXT),'$.createdAt'))"},
    {"revisions_by_hash", "CREATE INDEX IF NOT EXISTS revisions_by_hash ON revisions(hash)"},
    {"checkpoint_revisions_by_revision",
     "CREATE INDEX IF NOT EXISTS checkpoint_revisions_by_revision ON checkpoint_revisions(revision_id)"},
    {"documents_by_path", "CREATE INDEX IF NOT EXISTS documents_by_path ON documents(CASE WHEN json_valid(CAST(json AS "
                          "TEXT)) THEN json_extract(CAST(json AS TEXT),'$.externalPath') END)"},
}};

}  // namespace penmark
