// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/Interruption.h"
#include "cli/LibraryCheck.h"

namespace penmark::cli {

int commands::verify(CommandContext& context, const Arguments&)
{
    Console& console = context.console;
    std::size_t damaged = 0;
    checkLibrary(
        context.openLibrary(),
        [&](const std::string& item) {
            ++damaged;
            console.printTable({{item}});
            console.flush();
        },
        [&](std::size_t done, std::size_t total, std::string_view what) {
            stopIfInterrupted();
            console.progress(done, total, what);
        });
    console.endProgress();
    if (damaged == 0) {
        console.printLine("ok");
        return 0;
    }
    console.flush();
    console.say("Damaged items: " + std::to_string(damaged) + ". Nothing has been changed.");
    return 1;
}

}  // namespace penmark::cli
