// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace penmark {

class RecoveryStore;

/// Changes that the user's other computers must learn about, until the sync engine collects them. Rows are added in
/// the transaction of the change itself, so that there is never one without the other.
///
/// Threads: any; calls belong inside the caller's transaction.
class Outbox {
public:
    explicit Outbox(RecoveryStore& store) : store_(store) {}

    /// Adds a change; a row with this id must not be there. `entity` names the kind of record, `json` is the record.
    void add(std::string_view id, std::string_view entity, std::string_view json);

    /// What `add` runs, for operations that add many.
    static constexpr std::string_view insertRow = "INSERT INTO outbox(id,entity,payload) VALUES(?,?,?)";

    /// Whether the user has switched sync on. False as long as it was never set up.
    bool isSyncOn() const;

    /// Empties the outbox if the user has switched sync off: nobody would ever collect it, and switching sync on
    /// again starts from the library as it then is. While sync has never been set up the rows stay.
    void dropIfSyncIsOff();

private:
    RecoveryStore& store_;  // outlives this object
};

}  // namespace penmark
