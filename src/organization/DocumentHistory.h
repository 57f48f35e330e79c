// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "organization/SessionCheckpoint.h"
#include "storage/RecoveryDocument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// One retained revision of a document and what protects it.
struct DocumentHistoryEntry {
    RecoveryRevision revision;
    std::vector<CheckpointHeader> checkpoints;  ///< the newest first
};

/// Revisions of a document, the newest first.
struct DocumentHistoryPage {
    std::vector<DocumentHistoryEntry> entries;
    bool hasEarlier = false;
    std::vector<std::string> problems;  ///< one sentence for each record that cannot be read
};

constexpr std::int64_t historyPageSize = 50;

/// The page that begins behind `offset` newer revisions. Some 1 ms, whatever the number of revisions; 8 ms behind
/// 100,000. Throws RecoveryError. Any thread.
DocumentHistoryPage documentHistory(RecoveryStore& store, const Uuid& document, std::int64_t offset = 0,
                                    std::int64_t limit = historyPageSize);

/// Why a text is taken up again; says what follows the title of the copy.
enum class RestoredAs {
    copy,             ///< " — restored copy": from a document's history
    recoveredVersion  ///< " — recovered version": from an item of the library that was recovered
};

/// Makes a new document, without a file, with the text of a revision. The document that it comes from and its file stay
/// as they are. Text is not stored again. Throws `missingContent` if the text is damaged, `storage` if there is no such
/// revision of this document.
RecoveryDocument restoreRevision(RecoveryStore& store, const Uuid& document, const Uuid& revision,
                                 RestoredAs as = RestoredAs::copy, const Clock& clock = Date::now);

}  // namespace penmark
