// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryStore.h"

#include "base/SystemError.h"
#include "storage/LibrarySchema.h"
#include "storage/RecoveryError.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;

namespace {

constexpr auto databaseName = "recovery.sqlite";
constexpr auto lockName = "writer.lock";

// The folder's path, whatever the working folder will be. Dots in it are left to the system, which resolves links
// first.
fs::path absoluteRoot(const fs::path& root)
{
    std::error_code error;
    fs::path path = fs::absolute(root, error);
    if (error)
        throw RecoveryError::storage(root.native() + ": " + error.message());
    while (!path.has_filename() && path.has_relative_path())
        path = path.parent_path();  // "library/" names the same folder as "library"
    return path;
}

// Makes the names in a folder durable. A file system that cannot do that for folders has nothing to flush, as one that
// does not know the full flush. Throws SystemError for every other failure.
void syncNames(const FileDescriptor& folder)
{
    try {
        folder.sync();
    } catch (const SystemError& error) {
        if (error.errorNumber() != EINVAL && error.errorNumber() != ENOTSUP && error.errorNumber() != ENOSYS)
            throw;
    }
}

// Creates the folder and what is missing above it, for this user only, and makes each new name durable.
void createPrivateFolders(const fs::path& folder)
{
    std::error_code error;
    if (fs::is_directory(folder, error))
        return;
    fs::path made;
    for (const fs::path& part : folder) {
        made /= part;
        if (mkdir(made.c_str(), 0700) != 0) {
            const int reason = errno;
            if (fs::is_directory(made, error))
                continue;
            throw SystemError(reason == EEXIST ? ENOTDIR : reason, made.native());
        }
        // A folder above that may be written to but not read cannot be synced.
        if (access(made.parent_path().c_str(), R_OK) == 0)
            syncNames(FileDescriptor::open(made.parent_path(), O_RDONLY | O_DIRECTORY));
    }
}

// Whether a statement changes what search looks at; judged by its text, whoever issues it.
bool concernsSearch(std::string_view sql)
{
    const bool changes = sql.starts_with("INSERT") || sql.starts_with("UPDATE") || sql.starts_with("DELETE");
    return changes &&
           (sql.find("documents") != std::string_view::npos || sql.find("revisions") != std::string_view::npos);
}

int parseVersion(std::string_view text)
{
    if (text.starts_with('+'))
        text.remove_prefix(1);
    int version = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), version);
    return error == std::errc() && end == text.data() + text.size() ? version : 0;
}

}  // namespace

RecoveryStore::WriterLock::WriterLock(const fs::path& root)
{
    try {
        file_ = FileDescriptor::open(root / lockName, O_RDWR | O_CREAT, 0600);
    } catch (const SystemError&) {
        throw RecoveryError::storage("Cannot open library lock.");
    }
    while (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR)
            throw RecoveryError(RecoveryError::Case::locked);
    }
}

RecoveryStore::WriterLock::~WriterLock()
{
    flock(file_.get(), LOCK_UN);
}

RecoveryStore::RecoveryStore(const RecoveryConfiguration& configuration, LibraryAccess access)
    : root_(absoluteRoot(configuration.root)), isReadOnly_(access == LibraryAccess::readOnly), deviceID_(Uuid::random())
{
    if (isReadOnly_) {
        openForReading();
        return;
    }
    try {
        createPrivateFolders(root_);
        folder_ = FileDescriptor::open(root_, O_RDONLY | O_DIRECTORY);
    } catch (const SystemError& error) {
        throw RecoveryError::storage(error.what());
    }
    writerLock_.emplace(root_);
    openConnection();
    const int found = schemaVersion();
    if (found > librarySchemaVersion)
        throw RecoveryError(RecoveryError::Case::newerSchema, std::to_string(found));
    for (const auto pragma :
         {"PRAGMA journal_mode=DELETE", "PRAGMA synchronous=FULL", "PRAGMA fullfsync=ON", "PRAGMA foreign_keys=ON"})
        runStatement(pragma);
    if (found == librarySchemaVersion)
        noteMissingTables();
    createSchema(found);
    readDeviceID(found);
}

RecoveryStore::~RecoveryStore() = default;

void RecoveryStore::openForReading()
{
    const fs::path database = root_ / databaseName;
    struct stat status {};
    if (stat(database.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR))
        throw RecoveryError::storage("There is no library in " + root_.native() + ".");
    ReadOnlyDatabase opened = ReadOnlyDatabase::open(database, root_ / lockName);
    noWriter_ = std::move(opened.noWriter);
    connection_ = std::move(opened.connection);
    const int found = schemaVersion();
    if (found > librarySchemaVersion)
        throw RecoveryError(RecoveryError::Case::newerSchema, std::to_string(found));
    if (query("SELECT 1 FROM sqlite_schema WHERE type='table' AND name='documents'").empty())
        throw RecoveryError::storage("The database in " + root_.native() + " holds no library.");
    if (found == librarySchemaVersion)
        noteMissingTables();
    standInForMissingTables();
    try {
        deviceID_ = metadata<Uuid>("deviceID").value_or(deviceID_);
    } catch (const RecoveryError&) {
        // Texts can be read without it.
    }
}

// Empty ones in memory, so that no query has to know which version made a library.
void RecoveryStore::standInForMissingTables()
{
    runStatement("PRAGMA temp_store=MEMORY");
    for (const LibraryTable& table : missingTables())
        runStatement("CREATE TEMP TABLE " + std::string(table.name) + std::string(table.columns));
}

void RecoveryStore::openConnection()
{
    const fs::path database = root_ / databaseName;
    // SQLite would make a new file readable for whoever the umask lets; an existing one keeps its mode.
    const int made = ::open(database.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    FileDescriptor(made).reset();

    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_FULLMUTEX;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(database.c_str(), &opened, flags, nullptr);
    connection_.reset(opened);
    if (result != SQLITE_OK)
        throw RecoveryError::storage("Cannot open SQLite library.");
    sqlite3_busy_timeout(connection_.get(), 5000);
}

int RecoveryStore::schemaVersion() const
{
    const auto hold = lock();
    Statement statement(connection_.get(), "PRAGMA user_version");
    return statement.step() ? parseVersion(statement.text(0)) : 0;
}

void RecoveryStore::createSchema(int found)
{
    transaction([&] {
        for (const std::string_view sql : librarySchema)
            execute(sql);
        // Writing the number that is there already would change the file at every opening.
        if (found != librarySchemaVersion)
            execute(librarySchemaSetVersion);
    });
    createIndexes();
}

void RecoveryStore::createIndexes()
{
    for (const LibraryIndex& index : libraryIndexes) {
        if (!query("SELECT 1 FROM sqlite_schema WHERE type='index' AND name=?", {index.name}).empty())
            continue;
        try {
            transaction([&] { execute(index.sql); });
        } catch (const RecoveryError&) {
            // A damaged revision record cannot be indexed by its date, and a full disk has no room for an index. The
            // library is wanted all the same, only slower; verifying names the record.
        }
    }
}

std::vector<RecoveryStore::LibraryTable> RecoveryStore::missingTables()
{
    constexpr std::string_view beginning = "CREATE TABLE IF NOT EXISTS ";
    std::vector<LibraryTable> missing;
    for (const std::string_view sql : librarySchema) {
        if (!sql.starts_with(beginning))
            continue;
        const std::size_t columns = sql.find('(');
        const std::string_view name = sql.substr(beginning.size(), columns - beginning.size());
        if (query("SELECT 1 FROM sqlite_schema WHERE type='table' AND name=?", {name}).empty())
            missing.push_back({name, sql.substr(columns)});
    }
    return missing;
}

void RecoveryStore::noteMissingTables()
{
    for (const LibraryTable& table : missingTables())
        repairedAtOpening_.push_back("table " + std::string(table.name));
}

void RecoveryStore::readDeviceID(int found)
{
    if (const auto kept = metadata<Uuid>("deviceID")) {
        deviceID_ = *kept;
        return;
    }
    if (found == librarySchemaVersion)
        repairedAtOpening_.emplace_back("the library's identity");
    setMetadata("deviceID", deviceID_);
}

void RecoveryStore::refuseWriting()
{
    throw RecoveryError::storage("The library is open for reading only.");
}

void RecoveryStore::refuseOutsideOfTransaction()
{
    const bool isOpen = sqlite3_get_autocommit(connection_.get()) == 0;
    if (transactionDepth_ == 0 && isOpen)
        rollBack();  // an earlier rollback failed: what is done now must not become part of what it left
    if (transactionDepth_ == 0 || isOpen)
        return;
    // SQLite has rolled back by itself (a full disk, for instance), and somebody has caught that failure. Further
    // statements would be stored one by one.
    if (!failureInside_)
        failureInside_ = std::make_exception_ptr(RecoveryError::storage("The transaction was rolled back."));
    std::rethrow_exception(failureInside_);
}

void RecoveryStore::noteFailureInside()
{
    if (transactionDepth_ > 0 && !failureInside_ && sqlite3_get_autocommit(connection_.get()) != 0)
        failureInside_ = std::current_exception();
}

Statement RecoveryStore::prepare(std::string_view sql)
{
    refuseOutsideOfTransaction();
    Statement statement(connection_.get(), sql);
    if (isReadOnly_ && !statement.isReadOnly())
        refuseWriting();
    return statement;
}

void RecoveryStore::execute(std::string_view sql, SqlParameters parameters)
{
    const auto hold = lock();
    Statement statement = prepare(sql);
    statement.bind(parameters);
    try {
        statement.run();
    } catch (...) {
        noteFailureInside();
        throw;
    }
    if (concernsSearch(sql))
        ++searchVersion_;
    if (transactionDepth_ == 0 && !statement.isReadOnly())
        syncFolderBehindCommit();
}

std::vector<RecoveryStore::Row> RecoveryStore::query(std::string_view sql, SqlParameters parameters)
{
    std::vector<Row> rows;
    forEachRow(sql, parameters, [&](const Statement& row) {
        Row& values = rows.emplace_back();
        for (int column = 0; column < row.columnCount(); ++column)
            values.emplace_back(row.text(column));
    });
    return rows;
}

void RecoveryStore::forEachRow(std::string_view sql, SqlParameters parameters,
                               FunctionRef<void(const Statement& row)> visit)
{
    const auto hold = lock();
    Statement statement = prepare(sql);
    statement.bind(parameters);
    try {
        while (statement.step())
            visit(statement);
    } catch (...) {
        noteFailureInside();
        throw;
    }
}

RecoveryStore::Beginning RecoveryStore::readBeginning(const char* table, const char* column, std::int64_t rowid,
                                                      std::size_t limit)
{
    const auto hold = lock();
    refuseOutsideOfTransaction();
    sqlite3_blob* opened = nullptr;
    const int found = sqlite3_blob_open(connection_.get(), "main", table, column, rowid, 0, &opened);
    const std::unique_ptr<sqlite3_blob, decltype(&sqlite3_blob_close)> value(opened, sqlite3_blob_close);
    if (found != SQLITE_OK)
        throw RecoveryError::storage(sqlite3_errmsg(connection_.get()));
    const int whole = sqlite3_blob_bytes(opened);
    const int size = static_cast<int>(std::min(limit, static_cast<std::size_t>(whole)));
    Beginning beginning{std::string(static_cast<std::size_t>(size), '\0'), size == whole};
    if (sqlite3_blob_read(opened, beginning.bytes.data(), size, 0) != SQLITE_OK)
        throw RecoveryError::storage(sqlite3_errmsg(connection_.get()));
    return beginning;
}

void RecoveryStore::runTransaction(FunctionRef<void()> body)
{
    const auto hold = lock();
    if (transactionDepth_ > 0) {
        try {
            body();
        } catch (...) {
            if (!failureInside_)
                failureInside_ = std::current_exception();
            throw;
        }
        return;
    }

    if (isReadOnly_)
        refuseWriting();  // before the body: a change that cannot be stored need not be thought out
    refuseOutsideOfTransaction();
    runStatement("BEGIN IMMEDIATE");
    ++transactionDepth_;
    failureInside_ = nullptr;
    try {
        body();
        commit();
    } catch (...) {
        rollBack();
        --transactionDepth_;
        throw;
    }
    --transactionDepth_;
}

void RecoveryStore::commit()
{
    if (beforeCommit && !failureInside_)
        beforeCommit();
    if (failureInside_)
        std::rethrow_exception(failureInside_);
    runStatement("COMMIT");
    syncFolderBehindCommit();
}

void RecoveryStore::rollBack() noexcept
{
    try {
        runStatement("ROLLBACK");
    } catch (...) {
        // The failure that led here is the one to report; SQLite may have rolled back by itself already.
    }
}

void RecoveryStore::runStatement(std::string_view sql)
{
    Statement(connection_.get(), sql).run();
}

void RecoveryStore::syncFolderBehindCommit()
{
    try {
        syncNames(folder_);
    } catch (const SystemError& error) {
        throw RecoveryError::storage(error.what());
    }
}

bool RecoveryStore::integrityCheck()
{
    const auto rows = query("PRAGMA integrity_check");
    return !rows.empty() && !rows.front().empty() && rows.front().front() == "ok";
}

std::optional<std::string> RecoveryStore::metadataJson(std::string_view key)
{
    auto rows = query("SELECT value FROM metadata WHERE key=?", {key});
    if (rows.empty())
        return std::nullopt;
    return std::move(rows.front().front());
}

void RecoveryStore::setMetadataJson(std::string_view key, std::string_view json)
{
    execute("INSERT OR REPLACE INTO metadata(key,value) VALUES(?,?)", {key, Blob{json}});
}

void RecoveryStore::removeMetadata(std::string_view key)
{
    execute("DELETE FROM metadata WHERE key=?", {key});
}

}  // namespace penmark
