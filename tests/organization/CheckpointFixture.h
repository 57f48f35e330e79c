// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Sha256.h"
#include "organization/CheckpointStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <map>

#include <gtest/gtest.h>

namespace penmark {

/// A library in memory with a clock that goes on by a second at each look.
class CheckpointFixture : public testing::Test {
protected:
    /// Stores a text as a new document.
    RecoveryDocument write(const std::string& title, const std::string& text)
    {
        return documents.createWithText(documents.newDocument(title), std::string_view(text)).document;
    }
    RecoveryDocument rewrite(const RecoveryDocument& document, const std::string& text)
    {
        return documents.writeRevision(document.id, document.head, std::string_view(text)).document;
    }
    std::string textOf(const Uuid& document) const
    {
        return ContentStore(store).loadText(documents.loadHead(*documents.loadDocument(document))->contentHash);
    }
    void makeUnreadable(const std::string& text)
    {
        store.execute("UPDATE content SET body=x'00' WHERE hash=?", {sha256(text)});
    }

    using Rows = std::map<std::string, std::vector<RecoveryStore::Row>>;
    /// Everything that the library holds.
    Rows rows() const
    {
        Rows all;
        for (const auto& table : store.query("SELECT name FROM sqlite_schema WHERE type='table'"))
            all[table[0]] = store.query("SELECT * FROM " + table[0] + " ORDER BY rowid");
        return all;
    }

    /// Lets the first row that an action writes fail, then the second, … until it gets through. Each failure must leave
    /// the library as it was. Returns how many there were.
    int failAtEachRow(const std::function<void()>& action)
    {
        store.execute("CREATE TEMP TABLE countdown(n)");
        for (const auto& table : store.query("SELECT name FROM sqlite_schema WHERE type='table'")) {
            for (const std::string change : {"INSERT", "UPDATE", "DELETE"})
                store.execute("CREATE TEMP TRIGGER fail_" + change + table[0] + " BEFORE " + change + " ON main." +
                              table[0] +
                              " BEGIN UPDATE countdown SET n=n-1; SELECT RAISE(ABORT,'fault') FROM countdown "
                              "WHERE n=0; END");
        }
        const Rows before = rows();
        for (int failures = 0;; ++failures) {
            store.execute("DELETE FROM countdown");
            store.execute("INSERT INTO countdown VALUES(?)", {std::int64_t{failures} + 1});
            try {
                action();
                store.execute("DELETE FROM countdown");
                return failures;
            } catch (const RecoveryError&) {
                EXPECT_EQ(rows(), before) << "at row " << failures + 1;
            }
        }
    }

    TemporaryFolder folder{TemporaryFolder::inMemory()};
    mutable RecoveryStore store{{folder.path(), {}}};
    Date now{800'000'000};
    Clock clock = [this] { return Date{now.seconds++}; };
    DocumentStore documents{store, clock};
    CheckpointStore checkpoints{store, clock};
};

}  // namespace penmark
