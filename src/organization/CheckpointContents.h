// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionCheckpoint.h"

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// A document of a checkpoint beside what it is now.
struct CheckpointEntry {
    enum class State {
        unchanged,
        changed,    ///< its text is another now
        discarded,  ///< it has been discarded since
        gone,       ///< there is no such document any more
    };
    Uuid document;
    Uuid revision;
    std::string title;                     ///< as it was shown then
    std::optional<std::int64_t> bytes;     ///< of its text then; absent if that cannot be read
    std::optional<std::int64_t> bytesNow;  ///< of its text now; absent without one
    State state = State::unchanged;
};

/// What a checkpoint holds and how it differs from now.
struct CheckpointContents {
    SessionCheckpoint checkpoint;
    std::vector<CheckpointEntry> entries;  ///< by title
    std::size_t changed = 0;
    std::size_t discardedOrGone = 0;
    std::size_t newSince = 0;  ///< documents that are there now and were not then; of a document checkpoint 0
};

/// Absent if there is no such checkpoint. Reads no text: some 30 microseconds a document. Throws RecoveryError;
/// stopped, it returns nothing.
std::optional<CheckpointContents> checkpointContents(RecoveryStore& store, const Uuid& checkpoint,
                                                     std::stop_token stop = {});

}  // namespace penmark
