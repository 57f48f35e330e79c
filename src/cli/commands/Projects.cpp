// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Projects.h"

#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/SessionAccess.h"

namespace penmark::cli {

int commands::projects(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    if (arguments.has(options::json))
        return printItemRecords(console, store, "project") ? 0 : 1;
    const auto [library, isSound] = readSessions(console, store);
    std::vector<Console::Row> rows;
    for (const PenmarkProject& project : library.projects)
        rows.push_back({project.id.text(), project.name, project.path});
    console.printTable(rows);
    return isSound ? 0 : 1;
}

int commands::projectAdd(CommandContext& context, const Arguments& arguments)
{
    const std::string path = folderPath(arguments.operands()[0]);
    Uuid id;
    changeSessions(context.openOrCreateLibrary(), [&](SessionLibrary& library) { id = addProject(library, path); });
    context.console.printLine(id.text());
    return 0;
}

int commands::projectRemove(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    changeSessions(context.openLibrary(), [&](SessionLibrary& library) {
        removeProject(library, typed.findAmongRecords(library.projects, "project"));
    });
    return 0;
}

}  // namespace penmark::cli
