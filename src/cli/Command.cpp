// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"

#include <algorithm>

namespace penmark::cli {

const std::vector<Command>& allCommands()
{
    using namespace options;
    static const std::vector<Command> table{
        {"status",
         "",
         0,
         0,
         {&json},
         "Open the library, or create it, and tell what it holds",
         "Documents are counted with the discarded ones; bytes are the size of the database file.\n",
         commands::status},
        {"documents",
         "",
         0,
         0,
         {&json, &all},
         "List the documents, the one changed last first",
         "Prints identifier, title, date of the last change and the file it is bound to, and with --all also\n"
         "“discarded” where it applies. Fields are separated by tabs, on a terminal aligned. In a field “\\t”, “\\n”,\n"
         "“\\\\” and “\\xHH” stand for a tab, a line break, a backslash and any other byte that is not printable.\n",
         commands::documents},
        {"new",
         "[FILE]",
         0,
         1,
         {&title, &language},
         "Store FILE or standard input as a document without a file and print its identifier",
         "Without --title it is called after FILE, or after the first line of the text that is not blank.\n",
         commands::newDocument},
        {"import",
         "PATH...",
         1,
         Command::any,
         {},
         "Store files, and all text files in folders, as documents without a file",
         "Prints an identifier a line, in the order of the files, each as soon as its document is safely stored.\n"
         "Folders are searched to any depth, in the order of names. Links to folders are not followed, folders of\n"
         "version control (.git, .hg, .svn, .bzr, .jj, _darcs, CVS) not entered unless they are named as a PATH.\n"
         "What is not a text file is named on standard error and skipped. The exit status is 1 if something could\n"
         "not be read or if nothing was stored.\n",
         commands::import},
        {"open",
         "FILE",
         1,
         1,
         {},
         "Bind a document to FILE, store its text and print the document's identifier",
         "A file that a document is bound to already finds that document; if the file has changed since, its text\n"
         "becomes a new revision.\n",
         commands::open},
        {"write",
         "ID [FILE]",
         1,
         2,
         {&parent},
         "Store FILE or standard input as the newest revision of a document and print the revision's identifier",
         "A text that is the newest already adds no revision. Writing to a discarded document restores it.\n",
         commands::write},
        {"cat", "ID", 1, 1, {&revision}, "Print the text of a document, byte for byte", "", commands::cat},
        {"discard",
         "ID",
         1,
         1,
         {},
         "Discard a document",
         "Its history stays in the library, and writing to it brings it back.\n",
         commands::discard},
        {"save",
         "ID [PATH]",
         1,
         2,
         {},
         "Save a document to its file, or bind it to PATH and save it there, and print the path",
         "The text is written in the encoding that the document has recorded.\n",
         commands::save},
        {"history",
         "ID",
         1,
         1,
         {&json, &limit, &offset},
         "List the revisions of a document, the newest first",
         "Prints identifier, date and the size of the text in bytes.\n",
         commands::history},
        {"export",
         "DIR",
         1,
         1,
         {&all},
         "Write every document as a file into DIR and print how many",
         "Creates DIR; a file that is there already is never overwritten. A document that is bound to a file goes by\n"
         "that file's name, any other by its title; names that differ at most in case are numbered.\n",
         commands::exportDocuments},
        {"verify",
         "",
         0,
         0,
         {},
         "Check the database, every record and every stored text",
         "Prints “ok”, or one line for each damaged item with exit status 1. Changes nothing.\n",
         commands::verify},
    };
    return table;
}

std::vector<const Option*> allOptions()
{
    std::vector<const Option*> found{&options::library, &options::help, &options::version};
    for (const Command& command : allCommands()) {
        for (const Option* option : command.options) {
            if (std::find(found.begin(), found.end(), option) == found.end())
                found.push_back(option);
        }
    }
    return found;
}

const Command* findCommand(std::string_view name)
{
    for (const Command& command : allCommands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

}  // namespace penmark::cli
