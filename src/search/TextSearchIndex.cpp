// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchIndex.h"

#include "base/Sha256.h"
#include "base/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <system_error>
#include <utility>

#include <sqlite3.h>
#include <sys/stat.h>

namespace penmark {

namespace {

constexpr std::size_t digestSize = 32;
constexpr std::size_t recordSize = TextFilter::bytes + digestSize;

/// Whether the file is no database, or a broken one.
bool isDamage(int result)
{
    const int primary = result & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

[[noreturn]] void fail(std::string_view reason)
{
    throw TextSearchError(std::string("Search index unavailable: ").append(reason));
}

/// The 32 bytes of a digest, which Sha256 gives as text.
std::string digestOf(std::string_view bytes)
{
    const std::string hexadecimal = sha256(bytes);
    const auto valueOf = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
    std::string digest;
    for (std::size_t i = 0; i < hexadecimal.size(); i += 2)
        digest += static_cast<char>(valueOf(hexadecimal[i]) * 16 + valueOf(hexadecimal[i + 1]));
    return digest;
}

std::string_view bytesOf(const TextFilter& filter)
{
    return {reinterpret_cast<const char*>(filter.bits().data()), filter.bits().size()};
}

/// The filter in a row; absent for a marker and for anything damaged.
std::optional<TextFilter> decode(std::string_view record)
{
    if (record.size() != recordSize)
        return std::nullopt;
    const std::string_view bits = record.substr(0, TextFilter::bytes);
    if (digestOf(bits) != record.substr(TextFilter::bytes))
        return std::nullopt;
    TextFilter filter;
    std::copy(bits.begin(), bits.end(), filter.bits().begin());
    return filter;
}

/// The row of a text: its filter, or for one that is not ASCII the marker, a byte 0.
std::string encode(const TextFilter* filter)
{
    if (!filter)
        return std::string(1, '\0');
    const std::string_view bits = bytesOf(*filter);
    return std::string(bits).append(digestOf(bits));
}

/// The length of the white space that a text begins with, or ends with; 0 if there is none. White space is what the
/// Unicode property of that name says.
std::size_t blankAtStart(std::string_view text)
{
    if (text.empty())
        return 0;
    const char first = text.front();
    if (first == ' ' || (first >= '\t' && first <= '\r'))
        return 1;
    for (const std::string_view blank :
         {"\u0085", "\u00a0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
          "\u2008", "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"}) {
        if (text.starts_with(blank))
            return blank.size();
    }
    return 0;
}

std::size_t blankAtEnd(std::string_view text)
{
    for (std::size_t length = 1; length <= std::min<std::size_t>(3, text.size()); ++length) {
        if (blankAtStart(text.substr(text.size() - length)) == length)
            return length;
    }
    return 0;
}

std::string_view trimmed(std::string_view text)
{
    while (const std::size_t blank = blankAtStart(text))
        text.remove_prefix(blank);
    while (const std::size_t blank = blankAtEnd(text))
        text.remove_suffix(blank);
    return text;
}

/// The word of a rule that a filter can be asked for; absent if there is none.
std::optional<std::string_view> wordOf(const TextSearchRule& rule)
{
    const std::string_view word = trimmed(rule.query);
    const bool isAscii = std::all_of(word.begin(), word.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
    if (rule.mode != TextMatchMode::literal || !isAscii || word.size() < 3)
        return std::nullopt;
    return word;
}

void makeFolder(const std::filesystem::path& folder)
{
    std::error_code error;
    if (folder.has_parent_path())
        std::filesystem::create_directories(folder.parent_path(), error);
    if (!error && mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        error = std::error_code(errno, std::generic_category());
    if (error)
        fail(SystemError(error.value(), folder.native()).what());
}

}  // namespace

/// The database, its statements and the transaction that lookups and records share. Used under the index's lock.
struct TextSearchIndex::Connection {
    explicit Connection(std::filesystem::path theFile) : file(std::move(theFile))
    {
        constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        try {
            check(sqlite3_open_v2(file.c_str(), &database, flags, nullptr));
            // Another process that is busy with the index is never waited for by more than a glance.
            check(sqlite3_busy_timeout(database, 20));
            run("PRAGMA journal_mode=DELETE");
            run("PRAGMA synchronous=NORMAL");
            run("PRAGMA cache_size=-4096");
            run("PRAGMA max_page_count=24576");
            run("CREATE TABLE IF NOT EXISTS filters(hash TEXT PRIMARY KEY, bits BLOB NOT NULL, touched INTEGER NOT "
                "NULL)");
            lookup = prepare("SELECT bits FROM filters WHERE hash=?");
            presence = prepare("SELECT 1 FROM filters WHERE hash=?");
            insert = prepare("INSERT OR REPLACE INTO filters VALUES(?,?,?)");
        } catch (...) {
            close();
            throw;
        }
    }
    ~Connection() { close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // SQLite itself says whether there is one: some failures end it.
    bool isInTransaction() const { return sqlite3_get_autocommit(database) == 0; }

    void begin()
    {
        if (isInTransaction())
            return;
        rows = 0;
        run("BEGIN");
    }

    void commit()
    {
        if (!isInTransaction())
            return;
        rows = 0;
        try {
            run("COMMIT");
        } catch (const TextSearchError&) {
            if (isInTransaction())
                sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }

    /// Steps a statement for a key and gives what `use` makes of whether there is a row; the statement is then reset.
    template <class Use>
    auto step(sqlite3_stmt* statement, std::string_view key, Use use)
    {
        struct Reset {
            sqlite3_stmt* statement;
            ~Reset()
            {
                sqlite3_reset(statement);
                sqlite3_clear_bindings(statement);
            }
        } const reset{statement};
        check(sqlite3_bind_text64(statement, 1, key.empty() ? "" : key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8));
        const int result = sqlite3_step(statement);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
            check(result);
        return use(result == SQLITE_ROW);
    }

    std::string recordOf(std::string_view key)
    {
        return step(lookup, key, [this](bool isThere) {
            const void* blob = isThere ? sqlite3_column_blob(lookup, 0) : nullptr;
            const int size = isThere ? sqlite3_column_bytes(lookup, 0) : 0;
            return blob == nullptr ? std::string()
                                   : std::string(static_cast<const char*>(blob), static_cast<std::size_t>(size));
        });
    }

    bool hasRow(std::string_view key)
    {
        return step(presence, key, [](bool isThere) { return isThere; });
    }

    void add(std::string_view key, std::string_view record)
    {
        begin();
        if (rows == 0)
            run("DELETE FROM filters WHERE hash IN (SELECT hash FROM filters ORDER BY touched DESC LIMIT -1 OFFSET "
                "16000)");
        check(sqlite3_bind_blob64(insert, 2, record.data(), record.size(), SQLITE_STATIC));
        check(sqlite3_bind_int64(insert, 3, static_cast<sqlite3_int64>(std::time(nullptr))));
        step(insert, key, [](bool) {});
        if (++rows == rowsOfTransaction)
            commit();
    }

    void run(const char* sql) { check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr)); }

    sqlite3_stmt* prepare(const char* sql)
    {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
        return statement;
    }

    void check(int result)
    {
        isDamaged = isDamaged || isDamage(result);
        if (result != SQLITE_OK)
            fail(database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result));
    }

    void close() noexcept
    {
        for (sqlite3_stmt* statement : {lookup, presence, insert})
            sqlite3_finalize(statement);
        sqlite3_close(database);
        // It would stay as it is for ever. Whoever has it open besides goes on with what has lost its name.
        std::error_code ignored;
        if (isDamaged)
            std::filesystem::remove(file, ignored);
    }

    std::filesystem::path file;
    bool isDamaged = false;
    sqlite3* database = nullptr;
    sqlite3_stmt* lookup = nullptr;
    sqlite3_stmt* presence = nullptr;
    sqlite3_stmt* insert = nullptr;
    std::size_t rows = 0;  // written in the open transaction
};

TextSearchIndex::TextSearchIndex(const std::filesystem::path& folder)
{
    makeFolder(folder);
    connection_ = std::make_unique<Connection>(folder / fileName);
}

TextSearchIndex::~TextSearchIndex()
{
    try {
        commit();
    } catch (const TextSearchError&) {
        // What is lost is found out again.
    }
}

TextSearchIndex::Answer TextSearchIndex::lookUp(std::string_view key, const TextSearchRule& rule)
{
    const auto word = wordOf(rule);
    const auto known = word ? filter(key) : std::nullopt;
    if (!known)
        return Answer::unknown;
    return known->mayHold(*word) ? Answer::possible : Answer::absent;
}

std::optional<TextFilter> TextSearchIndex::filter(std::string_view key)
{
    std::string record;
    {
        const std::lock_guard guard(lock_);
        connection_->begin();
        record = connection_->recordOf(key);
    }
    return decode(record);
}

void TextSearchIndex::record(std::string_view key, std::string_view text, const std::stop_token& stop)
{
    {
        const std::lock_guard guard(lock_);
        if (connection_->hasRow(key))
            return;
    }
    // Other threads look up meanwhile; one that records the same text records the same filter.
    TextFilter filter;
    const bool isAscii = filter.addAscii(text, stop);
    recordFilter(key, isAscii ? &filter : nullptr);
}

void TextSearchIndex::recordFilter(std::string_view key, const TextFilter* filter)
{
    const std::lock_guard guard(lock_);
    if (!connection_->hasRow(key))
        connection_->add(key, encode(filter));
}

void TextSearchIndex::commit()
{
    const std::lock_guard guard(lock_);
    connection_->commit();
}

}  // namespace penmark
