// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/SessionAccess.h"

#include "base/SystemError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/Sessions.h"
#include "storage/RecoveryStore.h"
#include "storage/WindowStore.h"

#include <cerrno>
#include <filesystem>
#include <set>

namespace penmark::cli {

ListedSessions readSessions(Console& console, RecoveryStore& store)
{
    SessionLibraryStore::Loaded loaded = SessionLibraryStore(store).load();
    for (const std::string& problem : loaded.problems)
        console.say(problem);
    return {std::move(loaded.library), loaded.problems.empty()};
}

void changeSessions(RecoveryStore& store, FunctionRef<void(SessionLibrary&)> change)
{
    store.transaction([&] {
        SessionLibraryStore rows(store);
        SessionLibraryStore::Loaded loaded = rows.load();
        std::set<Uuid> gone = knownWindows(loaded.library);
        change(loaded.library);
        rows.save(loaded.stored, loaded.library);
        // What is left of a window would be taken for one of an older library, and shown.
        for (const Uuid& window : knownWindows(loaded.library))
            gone.erase(window);
        WindowStore(store).remove(gone);
    });
}

bool printItemRecords(Console& console, RecoveryStore& store, std::string_view kind)
{
    std::vector<std::string> records;
    bool isSound = true;
    store.forEachRow(
        "SELECT json, id FROM library_items WHERE kind=? ORDER BY rowid", {kind}, [&](const Statement& row) {
            if (parseJson(row.text(0), [](const JsonValue&) {})) {
                records.emplace_back(row.text(0));
                return;
            }
            console.say(std::string(kind) + " " + std::string(row.text(1)) + ": the record is not valid JSON");
            isSound = false;
        });
    for (const std::string& record : records)
        console.printRecord(record);
    return isSound;
}

std::string folderPath(const std::string& typed)
{
    std::error_code error;
    const auto path = std::filesystem::canonical(typed, error);
    if (error)
        throw SystemError(error.value(), typed);
    if (!std::filesystem::is_directory(path, error))
        throw SystemError(ENOTDIR, typed);
    return path.native();
}

std::string openOrClosed(bool isOpen)
{
    return isOpen ? "open" : "closed";
}

std::string pinnedOrAutomatic(bool isPinned)
{
    return isPinned ? "pinned" : "automatic";
}

}  // namespace penmark::cli
