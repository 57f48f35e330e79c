// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"
#include "base/FunctionRef.h"
#include "base/Record.h"
#include "storage/ReadOnlyDatabase.h"
#include "storage/RecoveryConfiguration.h"
#include "storage/Statement.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace penmark {

enum class LibraryAccess { readWrite, readOnly };

/// The library: its folder, its lock against other processes, its one database connection and its transactions. What
/// the tables hold belongs to other classes (ContentStore, DocumentStore, WindowStore, …), which are given this one.
///
/// What is reported as done survives a power cut: a transaction, or a statement outside of one, returns only after the
/// library's folder has been synced behind COMMIT, since SQLite does not make the removal of its rollback journal
/// durable, and a journal that comes back takes the last commit back with it.
///
/// Open for reading only, it changes nothing on disk and holds no lock against writers: what others store meanwhile is
/// seen. Tables that an older library does not have yet read as empty. Whatever would write throws `storage`.
///
/// Threads: any. Each call takes the recursive lock for its whole length, so nothing slow that is not SQLite belongs
/// into a transaction's body. Every failure is a RecoveryError.
class RecoveryStore {
public:
    /// Opens or creates the library. Throws `locked`, `newerSchema` (the file is then untouched) or `storage`.
    /// For reading only it has to be there: `storage` if it is not, or is none; never `locked` beside a writer that
    /// keeps a rollback journal, as this class does.
    explicit RecoveryStore(const RecoveryConfiguration& configuration, LibraryAccess access = LibraryAccess::readWrite);

    /// Closes the connection, then releases the lock.
    ~RecoveryStore();
    RecoveryStore(const RecoveryStore&) = delete;
    RecoveryStore& operator=(const RecoveryStore&) = delete;

    const std::filesystem::path& root() const noexcept { return root_; }

    bool isReadOnly() const noexcept { return isReadOnly_; }

    /// This library's identity among the user's computers; the same at every opening, unless
    /// it is damaged and open for reading only.
    Uuid deviceID() const noexcept { return deviceID_; }

    /// Grows whenever a statement that changes documents or revisions completes. Any thread, without the lock.
    std::uint64_t searchVersion() const noexcept { return searchVersion_; }

    /// The version that the database declares.
    int schemaVersion() const;

    /// What a library of this version should have had and did not when it was opened ("table chunks"): a sign of
    /// damage, since opening has made it anew, and empty. For reading only it is missing on disk as before.
    const std::vector<std::string>& repairedAtOpening() const noexcept { return repairedAtOpening_; }

    /// Runs a statement that returns no rows.
    void execute(std::string_view sql, SqlParameters parameters = {});

    using Row = std::vector<std::string>;

    /// All rows, each column as text (a blob as its bytes, NULL as nothing).
    std::vector<Row> query(std::string_view sql, SqlParameters parameters = {});

    /// The same row by row, without copies; the lock is held until the last one.
    void forEachRow(std::string_view sql, SqlParameters parameters, FunctionRef<void(const Statement& row)> visit);

    struct Beginning {
        std::string bytes;
        bool isAll = false;  ///< nothing follows
    };

    /// The first bytes, at most `limit`, of a text or blob of a row. What follows is not read from disk, so that it
    /// costs the same for a value of any length: some 5 microseconds. Throws `storage` if there is no such value.
    Beginning readBeginning(const char* table, const char* column, std::int64_t rowid, std::size_t limit);

    /// Runs the body as one change: with BEGIN IMMEDIATE and COMMIT, or ROLLBACK if anything throws. A transaction
    /// inside another joins it, and a failure inside it undoes the outer one too, even if somebody catches it on the
    /// way; so does a failed statement for which SQLite itself has rolled back. Returns what the body returns and
    /// throws what it throws.
    ///
    /// A COMMIT that fails may still have been stored (the sync behind it can fail after the fact). Whoever retries
    /// reads what is there first.
    template <class Body>
    auto transaction(Body&& body) -> std::invoke_result_t<Body&>
    {
        if constexpr (std::is_void_v<std::invoke_result_t<Body&>>) {
            runTransaction(body);
        } else {
            std::optional<std::invoke_result_t<Body&>> result;
            runTransaction([&] { result.emplace(body()); });
            return std::move(*result);
        }
    }

    /// Called inside each outermost transaction just before COMMIT; what it throws rolls the transaction back.
    /// Unset in normal operation. Set it while nothing else uses the store.
    std::function<void()> beforeCommit;

    /// Prepares a statement that an operation runs for many rows. Only inside `transaction` or while holding `lock`.
    Statement prepare(std::string_view sql);

    /// Holds off every other thread's use of the store for as long as the returned object lives.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() const { return std::unique_lock(lock_); }

    /// Whether SQLite finds the database sound. Reads all of it.
    bool integrityCheck();

    /// The value of a metadata key; absent if there is none or it does not decode.
    template <class T>
    std::optional<T> metadata(std::string_view key)
    {
        const auto json = metadataJson(key);
        if (!json)
            return std::nullopt;
        try {
            return decodeRecord<T>(*json);
        } catch (const RecordError&) {
            return std::nullopt;
        }
    }

    template <class T>
    void setMetadata(std::string_view key, const T& value)
    {
        setMetadataJson(key, encodeRecord(value));
    }

    void removeMetadata(std::string_view key);

    /// True while the sync engine writes what other computers changed. Used under the lock.
    bool applyingSync = false;

private:
    /// The lock file, locked for as long as this lives.
    class WriterLock {
    public:
        explicit WriterLock(const std::filesystem::path& root);
        ~WriterLock();
        WriterLock(const WriterLock&) = delete;
        WriterLock& operator=(const WriterLock&) = delete;

    private:
        FileDescriptor file_;
    };
    struct LibraryTable {
        std::string_view name;
        std::string_view columns;  // with what else follows the name when it is made
    };

    void openForReading();
    void standInForMissingTables();
    void openConnection();
    void createSchema(int found);
    void createIndexes();
    void readDeviceID(int found);
    std::vector<LibraryTable> missingTables();
    void noteMissingTables();
    void runTransaction(FunctionRef<void()> body);
    [[noreturn]] static void refuseWriting();
    void refuseOutsideOfTransaction();
    void noteFailureInside();
    void commit();
    void rollBack() noexcept;
    void runStatement(std::string_view sql);
    void syncFolderBehindCommit();
    std::optional<std::string> metadataJson(std::string_view key);
    void setMetadataJson(std::string_view key, std::string_view json);

    std::filesystem::path root_;
    bool isReadOnly_;
    mutable std::recursive_mutex lock_;
    FileDescriptor folder_;
    std::optional<WriterLock> writerLock_;  // released behind the connection
    FileDescriptor noWriter_;               // likewise; open only where reading needs it
    ReadOnlyDatabase::Connection connection_;
    std::vector<std::string> repairedAtOpening_;
    Uuid deviceID_;
    std::atomic<std::uint64_t> searchVersion_ = 0;
    int transactionDepth_ = 0;
    std::exception_ptr failureInside_;  // that somebody may have caught; the outermost transaction must not commit
};

}  // namespace penmark
