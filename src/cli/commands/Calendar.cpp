// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/SessionAccess.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionCalendar.h"

namespace penmark::cli {

namespace {

// While this process holds the library, a visit of this computer that has no end can only have been interrupted; the
// next start of the program will say so.
void recoverInterrupted(SessionLibrary& library, const Uuid& deviceID)
{
    std::vector<Uuid> interrupted;
    for (const SessionRun& run : library.runs) {
        if (run.status == RunStatus::running && run.deviceID == deviceID)
            interrupted.push_back(run.id);
    }
    for (const Uuid& id : interrupted)
        library.runs.change(id, [](SessionRun& run) { run.status = RunStatus::recovered; });
}

}  // namespace

int commands::calendar(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    if (arguments.has(options::json))
        return printItemRecords(console, store, "run") ? 0 : 1;
    auto [library, isSound] = readSessions(console, store);
    if (!store.isReadOnly())
        recoverInterrupted(library, store.deviceID());
    const auto [headers, problems] = CheckpointStore(store).headers();
    for (const std::string& problem : problems)
        console.say(problem);
    std::vector<Console::Row> rows;
    for (const CalendarDay& day : sessionCalendar(library, headers).days) {
        for (const CalendarVisit& visit : day.visits)
            rows.push_back({day.dayKey, "visit", visit.run.text(), visit.label, "", ""});
        for (const CalendarCheckpoint& checkpoint : day.checkpoints)
            rows.push_back({day.dayKey, "checkpoint", checkpoint.header.id.text(), checkpoint.time,
                            pinnedOrAutomatic(checkpoint.header.pinned), checkpoint.header.name.value_or("")});
    }
    console.printTable(rows);
    return isSound && problems.empty() ? 0 : 1;
}

}  // namespace penmark::cli
