// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryError.h"
#include "storage/StoredRecord.h"

#include <algorithm>

namespace penmark::cli {

namespace {

struct Listed {
    Date updatedAt;
    Console::Row row;
    std::string json;
};

}  // namespace

int commands::documents(CommandContext& context, const Arguments& arguments)
{
    const bool wantsRecords = arguments.has(options::json);
    const bool wantsAll = arguments.has(options::all);
    Console& console = context.console;
    bool isSound = true;
    std::vector<Listed> found;
    const auto add = [&](const Statement& stored) {
        const auto document = decodeStored<RecoveryDocument>(stored.text(0), "document");
        if (document.deleted && !wantsAll)
            return;
        Listed& listed = found.emplace_back();
        listed.updatedAt = document.updatedAt;
        if (wantsRecords) {
            listed.json = stored.text(0);
            return;
        }
        listed.row = {document.id.text(), document.shownTitle(), document.updatedAt.localText(),
                      document.externalPath.value_or("")};
        if (wantsAll)
            listed.row.emplace_back(document.deleted ? "discarded" : "");
    };
    context.openLibrary().forEachRow("SELECT json, id FROM documents ORDER BY id", {}, [&](const Statement& stored) {
        try {
            add(stored);
        } catch (const RecoveryError& error) {
            console.say("document " + std::string(stored.text(1)) + ": " + error.what());
            isSound = false;
        }
    });

    std::stable_sort(found.begin(), found.end(),
                     [](const Listed& a, const Listed& b) { return a.updatedAt > b.updatedAt; });
    std::vector<Console::Row> rows;
    for (Listed& listed : found) {
        if (wantsRecords)
            console.printRecord(listed.json);
        else
            rows.push_back(std::move(listed.row));
    }
    console.printTable(rows);
    return isSound ? 0 : 1;
}

}  // namespace penmark::cli
