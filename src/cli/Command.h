// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cli/Arguments.h"
#include "cli/CommandContext.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark::cli {

/// One of penmarkctl's commands. Everything that is said about it or checked before it runs comes from here.
struct Command {
    static constexpr std::size_t any = static_cast<std::size_t>(-1);

    std::string_view name;
    std::string_view operands;  ///< as usage shows them
    std::size_t fewest;         ///< operands
    std::size_t most;           ///< operands, or `any`
    std::vector<const Option*> options;
    std::string_view summary;  ///< one line
    std::string_view details;  ///< more lines, each ended; may be empty

    /// Prints the result and returns the exit status. Throws RecoveryError, SystemError and UsageError.
    int (*run)(CommandContext& context, const Arguments& arguments);
};

/// All commands, in the order of help.
const std::vector<Command>& allCommands();

/// All options of all commands, each once, and those that every command has.
std::vector<const Option*> allOptions();

/// Null if there is no such command.
const Command* findCommand(std::string_view name);

namespace options {

inline constexpr Option help{"help", "", "show this help", 'h'};
inline constexpr Option version{"version", "", "show the version", 'V'};
inline constexpr Option library{"library", "DIR", "use the library in the folder DIR"};
inline constexpr Option json{"json", "", "print stored records, one JSON object a line"};
inline constexpr Option all{"all", "", "include discarded documents"};
inline constexpr Option title{"title", "TITLE", "call the document TITLE"};
inline constexpr Option language{"language", "NAME", "record NAME as the document's language"};
inline constexpr Option parent{"parent", "REVISION", "fail unless REVISION is the newest one"};
inline constexpr Option revision{"revision", "REVISION", "print this revision instead of the newest"};
inline constexpr Option limit{"limit", "N", "list at most N revisions, 0 for all (100 unless given)"};
inline constexpr Option offset{"offset", "N", "leave out the N newest revisions"};

}  // namespace options

namespace commands {

int status(CommandContext& context, const Arguments& arguments);
int documents(CommandContext& context, const Arguments& arguments);
int newDocument(CommandContext& context, const Arguments& arguments);
int import(CommandContext& context, const Arguments& arguments);
int open(CommandContext& context, const Arguments& arguments);
int write(CommandContext& context, const Arguments& arguments);
int cat(CommandContext& context, const Arguments& arguments);
int discard(CommandContext& context, const Arguments& arguments);
int save(CommandContext& context, const Arguments& arguments);
int history(CommandContext& context, const Arguments& arguments);
int exportDocuments(CommandContext& context, const Arguments& arguments);
int verify(CommandContext& context, const Arguments& arguments);

}  // namespace commands

}  // namespace penmark::cli
