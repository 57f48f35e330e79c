// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"

#include <filesystem>
#include <memory>

struct sqlite3;

namespace penmark {

/// A connection that can only read, to a database file that is there already. Making it changes no byte in the
/// database's folder and leaves no file behind, there or elsewhere; only where another program has left a write-ahead
/// log with something in it, which no library of ours has, SQLite makes its index beside it.
///
/// Threads: any, one at a time. Not while this process writes to the same database by another connection: the system
/// drops a process's locks of a file whenever one of its descriptors is closed.
class ReadOnlyDatabase {
public:
    /// Throws RecoveryError: `storage` if the database cannot be read, `locked` if a writer may be at work where only
    /// its absence would make reading safe.
    static ReadOnlyDatabase open(const std::filesystem::path& database, const std::filesystem::path& lock);

    struct Close {
        void operator()(sqlite3* handle) const noexcept;
    };
    using Connection = std::unique_ptr<sqlite3, Close>;

    FileDescriptor noWriter;  ///< keeps writers away while it is open, if that is needed; closed behind the connection
    Connection connection;
};

/// Whether an existing library cannot be written to because of where it lies: the disk is read-only, or the folder, its
/// lock file or its database is not this user's to change. Creates nothing.
bool cannotBeWritten(const std::filesystem::path& database, const std::filesystem::path& lock);

}  // namespace penmark
