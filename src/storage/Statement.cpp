// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/Statement.h"

#include "storage/RecoveryError.h"

#include <sqlite3.h>

namespace penmark {

namespace {

int bindOne(sqlite3_stmt* statement, int position, const SqlParameter& parameter)
{
    struct Binder {
        sqlite3_stmt* statement;
        int position;

        // A null pointer would bind NULL, and an empty view may carry one.
        int operator()(std::string_view text) const
        {
            return sqlite3_bind_text64(statement, position, text.empty() ? "" : text.data(), text.size(), SQLITE_STATIC,
                                       SQLITE_UTF8);
        }
        int operator()(Blob blob) const
        {
            if (blob.bytes.empty())
                return sqlite3_bind_zeroblob(statement, position, 0);
            return sqlite3_bind_blob64(statement, position, blob.bytes.data(), blob.bytes.size(), SQLITE_STATIC);
        }
        int operator()(std::int64_t number) const { return sqlite3_bind_int64(statement, position, number); }
        int operator()(double number) const { return sqlite3_bind_double(statement, position, number); }
    };
    return std::visit(Binder{statement, position}, parameter);
}

}  // namespace

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept
{
    sqlite3_finalize(statement);
}

Statement::Statement(sqlite3* connection, std::string_view sql) : connection_(connection)
{
    if (connection == nullptr)
        throw RecoveryError::storage("SQLite unavailable");
    sqlite3_stmt* prepared = nullptr;
    const char* rest = nullptr;
    if (sqlite3_prepare_v2(connection, sql.data(), static_cast<int>(sql.size()), &prepared, &rest) != SQLITE_OK)
        fail();
    statement_.reset(prepared);
    if (prepared == nullptr || rest != sql.data() + sql.size())
        throw RecoveryError::storage("not exactly one statement: " + std::string(sql));
}

void Statement::bind(SqlParameters parameters)
{
    sqlite3_reset(statement_.get());
    if (static_cast<int>(parameters.size()) != sqlite3_bind_parameter_count(statement_.get()))
        throw RecoveryError::storage(std::string("wrong number of values for ") + sqlite3_sql(statement_.get()));
    int position = 0;
    for (const SqlParameter& parameter : parameters) {
        if (bindOne(statement_.get(), ++position, parameter) != SQLITE_OK)
            fail();
    }
}

bool Statement::step()
{
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail();
    return result == SQLITE_ROW;
}

void Statement::run()
{
    while (step()) {}
}

bool Statement::isReadOnly() const noexcept
{
    return sqlite3_stmt_readonly(statement_.get()) != 0;
}

int Statement::columnCount() const noexcept
{
    return sqlite3_column_count(statement_.get());
}

std::string_view Statement::text(int column) const
{
    // The pointer first, then the size: in this order both speak of the same form of the value.
    const void* bytes = sqlite3_column_type(statement_.get(), column) == SQLITE_BLOB
                            ? sqlite3_column_blob(statement_.get(), column)
                            : sqlite3_column_text(statement_.get(), column);
    const int size = sqlite3_column_bytes(statement_.get(), column);
    if (bytes == nullptr) {  // NULL, a blob of no bytes, or no memory for converting
        if (sqlite3_errcode(connection_) == SQLITE_NOMEM)
            fail();
        return {};
    }
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

std::int64_t Statement::integer(int column) const noexcept
{
    return sqlite3_column_int64(statement_.get(), column);
}

double Statement::real(int column) const noexcept
{
    return sqlite3_column_double(statement_.get(), column);
}

void Statement::fail() const
{
    // Only a connection that reads is refused for that; SQLite's own message speaks of writing.
    if (sqlite3_extended_errcode(connection_) == SQLITE_READONLY_ROLLBACK)
        throw RecoveryError::storage("Another process was cut off while it changed the library. Open it again.");
    throw RecoveryError::storage(sqlite3_errmsg(connection_));
}

}  // namespace penmark
