// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/Interruption.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryError.h"
#include "storage/StoredRecord.h"

#include <unordered_map>

namespace penmark::cli {

namespace {

// Asks for the size of each text once: revisions that undo a change share it with an earlier one.
class TextSizes {
public:
    explicit TextSizes(RecoveryStore& store) : content_(store) {}

    std::size_t of(const std::string& contentHash)
    {
        const auto found = known_.find(contentHash);
        return found != known_.end() ? found->second : known_[contentHash] = content_.textSize(contentHash);
    }

private:
    ContentStore content_;
    std::unordered_map<std::string, std::size_t> known_;
};

}  // namespace

int commands::history(CommandContext& context, const Arguments& arguments)
{
    constexpr std::int64_t usualLimit = 100;
    const IdPrefix typed(arguments.operands()[0]);
    const std::int64_t limit = arguments.number(options::limit).value_or(usualLimit);
    const std::int64_t offset = arguments.number(options::offset).value_or(0);
    Console& console = context.console;

    RecoveryStore& store = context.openLibrary();
    const Uuid id = typed.findDocument(store);
    const std::vector<std::string> records = DocumentStore(store).historyRecords(id, limit > 0 ? limit : -1, offset);
    if (arguments.has(options::json)) {
        for (const std::string& record : records)
            console.printRecord(record);
        return 0;
    }

    bool isSound = true;
    TextSizes sizes(store);
    std::vector<Console::Row> rows;
    for (const std::string& record : records) {
        stopIfInterrupted();
        std::string size = "-";
        RecoveryRevision revision;
        try {
            revision = decodeStored<RecoveryRevision>(record, "revision");
        } catch (const RecoveryError& error) {
            console.say(error.what());
            isSound = false;
            continue;
        }
        try {
            size = std::to_string(sizes.of(revision.contentHash));
        } catch (const RecoveryError& error) {
            console.say("revision " + revision.id.text() + ": " + error.what());
            isSound = false;
        }
        rows.push_back({revision.id.text(), revision.createdAt.localText(), std::move(size)});
    }
    console.printTable(rows, {2});
    return isSound ? 0 : 1;
}

}  // namespace penmark::cli
