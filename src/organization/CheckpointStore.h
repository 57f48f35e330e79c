// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "organization/SessionCheckpoint.h"
#include "organization/SessionLibrary.h"
#include "storage/Outbox.h"
#include "storage/Statement.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// The checkpoints of a library and the revisions that they protect. Each change is one transaction.
///
/// Threads: any; each call holds the library's lock. Failures are RecoveryErrors; a checkpoint that is not there is
/// SessionError::Case::checkpointGone.
class CheckpointStore {
public:
    explicit CheckpointStore(RecoveryStore& store, Clock clock = Date::now);

    /// A checkpoint of everything: what is given, the newest revision of every document that is not discarded and has
    /// one, and the saved searches. Stored at once. An empty name is none. Some 0.2 s for 10,000 documents; damaged
    /// document records are left out.
    CheckpointHeader keepLibrary(const SessionLibrary& library, std::optional<std::string> name, bool pinned);

    /// A pinned checkpoint of one document: of its newest revision, or of the one given, which must be the document's.
    /// Throws `storage` if there is none.
    CheckpointHeader keepDocument(const Uuid& document, std::optional<std::string> name,
                                  const std::optional<Uuid>& revision = {});

    /// Stores a checkpoint as it is given. One whose identity is there already is not written again. Throws `storage`
    /// if a revision that it covers is not there.
    void create(const SessionCheckpoint& checkpoint);

    struct Headers {
        std::vector<CheckpointHeader> headers;  ///< the newest first
        std::vector<std::string> problems;      ///< one sentence for each record that cannot be read
    };
    /// All checkpoints, read without what they hold: some 10 microseconds each, whatever their size.
    Headers headers() const;

    /// Absent if there is none. Decodes the whole: some 10 ms for 10,000 documents.
    std::optional<SessionCheckpoint> load(const Uuid& id) const;
    /// The stored record, as JSON. Absent if there is none.
    std::optional<std::string> loadRecord(const Uuid& id) const;
    bool contains(const Uuid& id) const;

    /// The checkpoints that protect a revision, the newest first, without what they hold.
    std::vector<CheckpointHeader> holding(const Uuid& revision) const;

    CheckpointHeader setPinned(const Uuid& id, bool pinned);
    /// An empty name is none.
    CheckpointHeader rename(const Uuid& id, std::optional<std::string> name);
    /// What is waiting to be told to other computers of it goes as well.
    void remove(const Uuid& id);
    std::int64_t count() const;

private:
    Headers readHeaders(std::string_view sql, SqlParameters parameters) const;
    void insert(const SessionCheckpoint& checkpoint);
    CheckpointHeader change(const Uuid& id, std::string_view member, const std::optional<RawJson>& value);

    RecoveryStore& store_;  // outlives this object
    Outbox outbox_;
    Clock clock_;
};

}  // namespace penmark
