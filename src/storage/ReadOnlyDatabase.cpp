// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ReadOnlyDatabase.h"

#include "base/SystemError.h"
#include "storage/RecoveryError.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>

#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;

namespace {

using Connection = ReadOnlyDatabase::Connection;

fs::path besides(const fs::path& database, const char* ending)
{
    return database.native() + ending;
}

Connection connect(const std::string& name, int flags)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(name.c_str(), &opened, flags | SQLITE_OPEN_FULLMUTEX, nullptr);
    Connection connection(opened);
    if (result != SQLITE_OK)
        throw RecoveryError::storage("Cannot open SQLite library.");
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_timeout(opened, 5000);
    return connection;
}

// Opening alone reads nothing. Returns SQLite's extended result.
int readOnce(const Connection& connection)
{
    return sqlite3_exec(connection.get(), "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr);
}

[[noreturn]] void fail(const Connection& connection)
{
    throw RecoveryError::storage(sqlite3_errmsg(connection.get()));
}

// Whether the database's header asks for a write-ahead log, which no library of ours does for long.
bool wantsLog(const fs::path& database)
{
    std::array<unsigned char, 20> header{};
    constexpr std::size_t readVersion = 19;  // 1: rollback journal, 2: log
    try {
        const FileDescriptor file = FileDescriptor::open(database, O_RDONLY);
        return ::pread(file.get(), header.data(), header.size(), 0) == static_cast<ssize_t>(header.size()) &&
               header[readVersion] == 2;
    } catch (const SystemError& error) {
        throw RecoveryError::storage(error.what());
    }
}

bool hasContent(const fs::path& file)
{
    struct stat status {};
    return stat(file.c_str(), &status) == 0 && status.st_size > 0;
}

bool isOnReadOnlyDisk(const fs::path& file)
{
    struct statvfs status {};
    return statvfs(file.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

// A share of the writer's lock, so that no writer of this computer begins: a folder that is read-only here may be
// reached by another way. Nothing if there is no such file or its file system knows no locks.
FileDescriptor keepWritersAway(const fs::path& lock)
{
    FileDescriptor file;
    try {
        file = FileDescriptor::open(lock, O_RDONLY);
    } catch (const SystemError&) {
        return file;
    }
    if (flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw RecoveryError(RecoveryError::Case::locked);
    return file;
}

// SQLite then takes no locks, looks for no journal and makes no files, and trusts that nobody else writes.
Connection connectImmutable(const fs::path& database)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char c : database.native()) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '%' || c == '?' || c == '#')
            uri.append({'%', digits[byte >> 4], digits[byte & 15]});
        else
            uri += c;
    }
    Connection connection = connect(uri + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    if (readOnce(connection) != SQLITE_OK)
        fail(connection);
    return connection;
}

ReadOnlyDatabase openImmutable(const fs::path& database, const fs::path& lock)
{
    ReadOnlyDatabase opened;
    opened.noWriter = keepWritersAway(lock);
    opened.connection = connectImmutable(database);
    return opened;
}

// A folder of this process alone, gone at the end with what is in it.
class PrivateFolder {
public:
    PrivateFolder()
    {
        std::error_code error;
        std::string name = (fs::temp_directory_path(error) / "penmark-XXXXXX").native();
        if (error)
            throw SystemError(error.value(), "TMPDIR");
        if (mkdtemp(name.data()) == nullptr)
            throw SystemError(errno, name);
        path_ = name;
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

void copyFile(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::copy_file(from, to, error);
    if (error)
        throw SystemError(error.value(), from.native());
    // A copy of what nobody may write has its mode.
    if (::chmod(to.c_str(), 0600) != 0)
        throw SystemError(errno, to.native());
}

struct FileState {
    explicit FileState(const fs::path& file)
    {
        struct stat status {};
        if (stat(file.c_str(), &status) == 0)
            value = {static_cast<long long>(status.st_ino), static_cast<long long>(status.st_size),
                     static_cast<long long>(status.st_mtim.tv_sec), static_cast<long long>(status.st_mtim.tv_nsec)};
    }
    friend bool operator==(const FileState&, const FileState&) = default;

    std::array<long long, 4> value{};
};

// A transaction that was cut off has left its rollback journal, and the database holds half of what it wrote. Whoever
// may write undoes that when opening; ignoring the journal would show half a change and call it the library. So the
// journal is applied to a private copy, whose names are gone again before anybody reads. Absent if somebody has changed
// the originals meanwhile.
std::optional<ReadOnlyDatabase> openUndoneCopy(const fs::path& database)
{
    try {
        const fs::path journal = besides(database, "-journal");
        const std::array before{FileState(database), FileState(journal)};
        const PrivateFolder folder;
        const fs::path copy = folder.path() / database.filename();
        try {
            copyFile(database, copy);
            copyFile(journal, besides(copy, "-journal"));
        } catch (const SystemError& error) {
            if (error.errorNumber() == ENOENT)
                return std::nullopt;  // the journal has gone: somebody has undone it
            throw;
        }
        if (std::array{FileState(database), FileState(journal)} != before)
            return std::nullopt;
        {
            const Connection undoing = connect(copy.native(), SQLITE_OPEN_READWRITE);
            sqlite3_exec(undoing.get(), "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
            if (readOnce(undoing) != SQLITE_OK)
                fail(undoing);
        }
        ReadOnlyDatabase opened;
        // Others could make files of the names that are gone again; it must not be asked for any.
        opened.connection = connectImmutable(copy);
        return opened;
    } catch (const SystemError& error) {
        throw RecoveryError::storage("The last change to the library was cut off. Undoing it in a copy, below the "
                                     "folder that TMPDIR names, has failed: " +
                                     std::string(error.what()));
    }
}

bool isRefusal(int reason)
{
    return reason == EROFS || reason == EACCES || reason == EPERM;
}

}  // namespace

void ReadOnlyDatabase::Close::operator()(sqlite3* handle) const noexcept
{
    sqlite3_close_v2(handle);
}

ReadOnlyDatabase ReadOnlyDatabase::open(const fs::path& database, const fs::path& lock)
{
    // With a log SQLite makes files beside the database even for reading, and fails where it cannot. Without anything
    // in the log the database is all there is.
    if (wantsLog(database) && !hasContent(besides(database, "-wal")))
        return openImmutable(database, lock);
    constexpr int attempts = 3;
    for (int attempt = 1;; ++attempt) {
        ReadOnlyDatabase opened;
        opened.connection = connect(database.native(), SQLITE_OPEN_READONLY);
        const int result = readOnce(opened.connection);
        if (result == SQLITE_OK)
            return opened;
        if (result == SQLITE_READONLY_ROLLBACK && attempt < attempts) {
            // It is nobody's transaction: SQLite has seen that no process holds its lock.
            if (auto copy = openUndoneCopy(database))
                return std::move(*copy);
            continue;
        }
        // Read-only network disks may know no locks. Where nothing can be written, and nothing is left to be undone,
        // none are needed.
        const int kind = result & 0xFF;
        if ((kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN) && isOnReadOnlyDisk(database) &&
            !hasContent(besides(database, "-journal")) && !hasContent(besides(database, "-wal")))
            return openImmutable(database, lock);
        fail(opened.connection);
    }
}

bool cannotBeWritten(const fs::path& database, const fs::path& lock)
{
    if (faccessat(AT_FDCWD, database.parent_path().c_str(), W_OK | X_OK, AT_EACCESS) != 0 && isRefusal(errno))
        return true;
    for (const fs::path& file : {database, lock}) {
        const int opened = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
        if (opened < 0 && isRefusal(errno))
            return true;
        FileDescriptor(opened).reset();
    }
    return false;
}

}  // namespace penmark
