// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace penmark {

/// How a child process is started.
struct ProgramCall {
    std::vector<std::string> words;  ///< the program's path first
    std::string input;               ///< its standard input, unless there is a descriptor for that
    std::optional<int> inputStream;  ///< -1 closes it
    std::string folder;              ///< to start in; empty for this process's
    std::vector<std::pair<std::string, std::string>> environment;  ///< beside, or instead of, PATH and TERM
    std::optional<int> output;  ///< standard output goes to this descriptor; -1 closes it
    bool onTerminal = false;    ///< standard output and standard error are one terminal, 100 columns wide
};

/// How it ended. On a terminal `output` holds both streams, and line ends are "\r\n".
struct ProgramResult {
    int status = -1;  ///< the exit status, or 128 and the signal
    std::string output;
    std::string errors;
};

/// A child process under way.
class RunningProgram {
public:
    explicit RunningProgram(const ProgramCall& call);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    int processID() const { return process_; }

    /// What it has written so far.
    std::string outputUntilNow() const;

    /// Sends it a signal.
    void interrupt(int signal) const;

    /// Waits for its end.
    ProgramResult wait();

private:
    int process_ = -1;
    int output_ = -1;  // the file that it writes to, or the terminal's other end
    int errors_ = -1;
    bool isTerminal_ = false;
};

/// Runs a program to its end.
inline ProgramResult runProgram(const ProgramCall& call)
{
    return RunningProgram(call).wait();
}

}  // namespace penmark
