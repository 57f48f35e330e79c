// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "storage/DocumentFiles.h"
#include "storage/RecoveryError.h"

#include <sys/stat.h>

namespace penmark::cli {

namespace {

// "-" means standard input elsewhere, so here it is more likely a mistake than a file's name.
void requireFileName(const std::string& name, std::string_view command)
{
    if (name == "-" || name.empty())
        throw UsageError("“" + std::string(command) + "” needs the name of a file; one named “-” is written “./-”");
}

}  // namespace

int commands::open(CommandContext& context, const Arguments& arguments)
{
    const std::string& file = arguments.operands()[0];
    requireFileName(file, "open");
    struct stat status {};
    // A pipe would be waited for, and a device has no text that it could be bound to.
    if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
        throw RecoveryError::storage(file + ": Not a regular file");
    context.console.printLine(DocumentFiles(context.openOrCreateLibrary()).open(file).id.text());
    return 0;
}

int commands::save(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    std::optional<std::filesystem::path> file;
    if (arguments.operands().size() > 1) {
        requireFileName(arguments.operands()[1], "save");
        file = arguments.operands()[1];
    }
    RecoveryStore& store = context.openLibrary();
    const RecoveryDocument saved = DocumentFiles(store).save(typed.findDocument(store), file);
    context.console.printLine(saved.externalPath.value_or(""));
    return 0;
}

}  // namespace penmark::cli
