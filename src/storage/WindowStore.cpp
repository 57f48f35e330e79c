// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/WindowStore.h"

#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

namespace penmark {

void WindowStore::saveAll(std::span<const RecoveryWindow> windows)
{
    std::vector<std::string> records;
    for (const RecoveryWindow& window : windows)
        records.push_back(encodeStored(window));
    store_.transaction([&] {
        store_.execute("DELETE FROM windows");
        for (std::size_t i = 0; i < windows.size(); ++i)
            store_.execute("INSERT INTO windows(id,json) VALUES(?,?)", {windows[i].id.text(), Blob{records[i]}});
    });
}

void WindowStore::remove(const std::set<Uuid>& windows)
{
    store_.transaction([&] {
        for (const Uuid& window : windows)
            store_.execute("DELETE FROM windows WHERE id=?", {window.text()});
    });
}

WindowStore::Loaded WindowStore::load() const
{
    Loaded loaded;
    store_.forEachRow("SELECT json FROM windows ORDER BY rowid", {}, [&](const Statement& row) {
        decodeStoredInto(loaded.windows, loaded.problems, row.text(0), "window");
    });
    return loaded;
}

}  // namespace penmark
