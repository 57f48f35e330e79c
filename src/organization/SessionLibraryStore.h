// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// The rows of a SessionLibrary: one for each record in `library_items`, and the metadata value "sessionLibrary".
/// A kind's order is that of its rows, so a changed record keeps its row, and a new one comes last.
///
/// Threads: any; each call holds the library's lock. Failures are RecoveryErrors and SessionErrors.
class SessionLibraryStore {
public:
    explicit SessionLibraryStore(RecoveryStore& store) : store_(store) {}

    struct Loaded {
        SessionLibrary library;
        SessionLibrary stored;  ///< the same without identities that had to be changed; for the first `save`
        std::vector<std::string> problems;  ///< one sentence for each record that cannot be read; it stays where it is
    };

    /// A library without any is empty and has the settings of a new one. Some 10 microseconds a session.
    /// What does not fit together is made to in memory, with a sentence: a session without its parent stands at the
    /// top, a window that is there twice gets an identity of its own. Settings that cannot be read are those of a new
    /// library; their row stays until they change.
    Loaded load() const;

    /// Writes what differs from `stored`, which is what the last `load` or `save` left, in one transaction. Nothing is
    /// written if nothing does. Throws SessionError if the library is not valid; then, and after a failure, the rows
    /// are as they were. While sync is on the whole library is queued for it, in place of what was queued before and
    /// has not been collected. A commit that fails may still have been stored: load before the next save then.
    void save(const SessionLibrary& stored, const SessionLibrary& library);

private:
    RecoveryStore& store_;  // outlives this object
};

}  // namespace penmark
