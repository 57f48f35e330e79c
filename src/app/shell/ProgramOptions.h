// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/OpenTarget.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark {

/// The program's exit statuses.
enum class ExitStatus { done = 0, wrongUsage = 1, fileRefused = 2, libraryUnavailable = 3 };

/// A command line that cannot be followed. what() is a clause without the program's name.
class CommandLineError : public std::exception {
public:
    CommandLineError(std::string message, ExitStatus status) : message_(std::move(message)), status_(status) {}
    const char* what() const noexcept override { return message_.c_str(); }
    ExitStatus status() const noexcept { return status_; }

    /// What to print on standard error: the clause on a line of its own, made printable, and where it is a matter of
    /// usage, a hint at the help.
    std::string report() const;

private:
    std::string message_;
    ExitStatus status_;
};

/// An option of the program as help, manual and completions know it.
struct ProgramOption {
    std::string_view name;   ///< without the dashes
    char letter;             ///< of the short form, or 0
    std::string_view value;  ///< what stands for its value in help; empty if it takes none
    std::string_view help;
};

/// All options, in the order of help.
std::span<const ProgramOption> programOptions();

/// What the command line says, told apart before there is a QApplication. Uses no Qt.
struct ProgramOptions {
    std::vector<OpenTarget> targets;  ///< in the order given; at most one is standard input
    bool wait = false;                ///< until the documents are closed
    bool newWindow = false;
    bool newDraft = false;
    bool noRestore = false;
    bool checkLibrary = false;
    bool version = false;
    bool help = false;
    std::optional<std::string> standardInputTitle;
    std::optional<std::filesystem::path> library;  ///< absolute
    std::vector<std::string> toolkitWords;         ///< for QApplication, behind the program's name

    /// The words behind the program's name. Relative paths start from `workingFolder`, which is absolute. Looks at the
    /// file system only to tell a name that ends in ":12" from a position. Throws CommandLineError.
    static ProgramOptions parse(std::span<const std::string> words, const std::filesystem::path& workingFolder);

    bool readsStandardInput() const;

    static std::string helpText();
    static std::string versionText();
};

}  // namespace penmark
