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

    std::string_view name;      ///< one word, or two with a blank between: "session new"
    std::string_view operands;  ///< as usage shows them
    std::size_t fewest;         ///< operands
    std::size_t most;           ///< operands, or `any`
    std::vector<const Option*> options;
    std::string_view summary;  ///< one line
    std::string_view details;  ///< more lines, each ended; may be empty

    /// Prints the result and returns the exit status. Throws RecoveryError, SessionError, SystemError
    /// and UsageError.
    int (*run)(CommandContext& context, const Arguments& arguments);

    int failureStatus = 1;  ///< the exit status when it throws anything but a UsageError

    std::string_view firstWord() const;
    std::string_view action() const;  ///< the second word; empty without one
};

/// All commands, in the order of help: those that work with documents, then those with their organization.
const std::vector<Command>& allCommands();
std::vector<Command> documentCommands();
std::vector<Command> organizationCommands();

/// All options of all commands, each name once, and those that every command has.
std::vector<const Option*> allOptions();

/// The command that the first words name.
struct NamedCommand {
    const Command* command = nullptr;   ///< null if there are no words, or the second is missing or unknown
    std::size_t words = 0;              ///< that the name takes
    std::vector<const Command*> group;  ///< then those that begin with the first
};

/// Throws UsageError if no command begins with the first word.
NamedCommand findCommand(const std::vector<std::string>& words);

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
inline constexpr Option sessionName{"title", "NAME", "call the session NAME"};
inline constexpr Option enclosing{"parent", "ID", "nest it in the session ID"};
inline constexpr Option document{"document", "ID", "cover the newest revision of this document alone"};
inline constexpr Option limit{"limit", "N", "list at most N revisions, 0 for all (100 unless given)"};
inline constexpr Option offset{"offset", "N", "leave out the N newest revisions"};

// Of a search: where,
inline constexpr Option searchAll{"all", "", "search the newest texts of all documents (unless told otherwise)"};
inline constexpr Option searchHistory{"history", "", "search all stored revisions, of discarded documents too"};
inline constexpr Option inDocument{"document", "ID", "search this document"};
inline constexpr Option inSession{"session", "ID", "search this session and those nested in it"};
inline constexpr Option inWorkspace{"workspace", "ID", "search what this workspace links"};
inline constexpr Option inProject{"project", "ID", "search the files of this project folder"};
inline constexpr Option inCheckpoint{"checkpoint", "ID", "search the revisions that this checkpoint keeps"};
inline constexpr Option inFolder{"folder", "PATH", "search the files of the folder PATH"};
// how,
inline constexpr Option matchMode{"mode", "MODE", "literal (unless given), regex, normalized or typo"};
inline constexpr Option searchedField{"field", "FIELD", "contents (unless given), names or both"};
inline constexpr Option caseSensitive{"case-sensitive", "", "tell capital letters from small ones"};
inline constexpr Option wholeWord{"whole-word", "", "find whole words only"};
// among which files,
inline constexpr Option fileType{"type", "EXT", "search files with this extension; may be repeated"};
inline constexpr Option pathFilter{"path-filter", "TEXT", "search files whose path in the folder holds TEXT"};
inline constexpr Option hidden{"hidden", "", "search hidden files too"};
inline constexpr Option noIgnore{"no-ignore", "", "search files that ignore rules exclude too"};
inline constexpr Option largeFiles{"large-files", "", "search texts up to 128 MiB instead of 16"};
// and what is printed.
inline constexpr Option hitLimit{"limit", "N", "find at most N hits, 0 for all (10,000 unless given)"};
inline constexpr Option hitObjects{"json", "", "print one JSON object a hit"};
inline constexpr Option searchReport{"report", "", "print one JSON object about the search instead of hits"};

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
int diff(CommandContext& context, const Arguments& arguments);
int search(CommandContext& context, const Arguments& arguments);
int restore(CommandContext& context, const Arguments& arguments);
int exportDocuments(CommandContext& context, const Arguments& arguments);
int verify(CommandContext& context, const Arguments& arguments);

int sessions(CommandContext& context, const Arguments& arguments);
int sessionShow(CommandContext& context, const Arguments& arguments);
int sessionNew(CommandContext& context, const Arguments& arguments);
int sessionRename(CommandContext& context, const Arguments& arguments);
int sessionClose(CommandContext& context, const Arguments& arguments);
int sessionReopen(CommandContext& context, const Arguments& arguments);
int sessionMove(CommandContext& context, const Arguments& arguments);
int sessionDelete(CommandContext& context, const Arguments& arguments);
int workspaces(CommandContext& context, const Arguments& arguments);
int workspaceShow(CommandContext& context, const Arguments& arguments);
int workspaceNew(CommandContext& context, const Arguments& arguments);
int workspaceRename(CommandContext& context, const Arguments& arguments);
int workspaceLink(CommandContext& context, const Arguments& arguments);
int workspaceUnlink(CommandContext& context, const Arguments& arguments);
int workspaceClose(CommandContext& context, const Arguments& arguments);
int workspaceReopen(CommandContext& context, const Arguments& arguments);
int workspaceRemove(CommandContext& context, const Arguments& arguments);
int projects(CommandContext& context, const Arguments& arguments);
int projectAdd(CommandContext& context, const Arguments& arguments);
int projectRemove(CommandContext& context, const Arguments& arguments);
int closed(CommandContext& context, const Arguments& arguments);
int reopen(CommandContext& context, const Arguments& arguments);
int checkpoints(CommandContext& context, const Arguments& arguments);
int checkpointShow(CommandContext& context, const Arguments& arguments);
int checkpointKeep(CommandContext& context, const Arguments& arguments);
int checkpointRestore(CommandContext& context, const Arguments& arguments);
int checkpointPin(CommandContext& context, const Arguments& arguments);
int checkpointUnpin(CommandContext& context, const Arguments& arguments);
int checkpointRename(CommandContext& context, const Arguments& arguments);
int checkpointDelete(CommandContext& context, const Arguments& arguments);
int calendar(CommandContext& context, const Arguments& arguments);

}  // namespace commands

}  // namespace penmark::cli
