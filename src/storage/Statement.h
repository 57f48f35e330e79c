// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

namespace penmark {

/// Bytes that a statement binds as a blob; an empty one as a blob of no bytes, never as NULL.
struct Blob {
    std::string_view bytes;
};

/// What takes the place of a "?": a text, a blob, or a number. Refers to its bytes, so it lives for one call only.
using SqlParameter = std::variant<std::string_view, Blob, std::int64_t, double>;
using SqlParameters = std::initializer_list<SqlParameter>;

/// One prepared statement, finalised on every path. Used by RecoveryStore, and under its lock by classes that run one
/// statement for many rows within an operation. Every failure is RecoveryError's `storage` with SQLite's own message.
class Statement {
public:
    /// Throws "SQLite unavailable" if there is no connection.
    Statement(sqlite3* connection, std::string_view sql);

    /// Binds from position 1 on, after a reset. The bytes must live until the next bind or the end of this object.
    void bind(SqlParameters parameters);

    /// Goes on to the next row; false at the end.
    bool step();

    /// Runs to the end, whatever rows come.
    void run();

    /// Whether it cannot change the database.
    bool isReadOnly() const noexcept;

    // Columns of the present row, counted from 0; the views hold until the next step.
    int columnCount() const noexcept;
    std::string_view text(int column) const;  ///< of a blob its bytes; of NULL nothing
    std::int64_t integer(int column) const noexcept;
    double real(int column) const noexcept;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    [[noreturn]] void fail() const;

    sqlite3* connection_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

}  // namespace penmark
