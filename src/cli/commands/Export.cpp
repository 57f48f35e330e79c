// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/Interruption.h"
#include "storage/DocumentExport.h"

namespace penmark::cli {

int commands::exportDocuments(CommandContext& context, const Arguments& arguments)
{
    const std::string& target = arguments.operands()[0];
    if (target == "-" || target.empty())
        throw UsageError("“export” needs the name of a folder");
    Console& console = context.console;
    bool isComplete = true;
    const auto report = [&](const std::string& problem) {
        console.say(problem);
        isComplete = false;
    };
    const auto progress = [&](std::size_t done, std::size_t total, const std::string& title) {
        stopIfInterrupted();
        console.progress(done, total, title);
    };
    DocumentExport documents(context.openLibrary());
    const std::size_t written = documents.run(target, arguments.has(options::all), report, progress);
    console.endProgress();
    console.printLine(std::to_string(written));
    return isComplete ? 0 : 1;
}

}  // namespace penmark::cli
