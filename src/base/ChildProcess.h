// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace penmark {

/// A program that was started, with its standard output and standard error on pipes and nothing on standard input. It
/// gets this process's environment, the default actions of all signals and no other open file. It is killed and waited
/// for at the latest when this goes. Where SIGCHLD is ignored, it is left to its default from then on. One thread at a
/// time.
class ChildProcess {
public:
    struct Call {
        std::filesystem::path program;       ///< looked up nowhere
        std::vector<std::string> arguments;  ///< without the program's own name
        std::filesystem::path folder;        ///< its working directory; empty: this process's own
    };

    /// Throws SystemError if it cannot be started.
    explicit ChildProcess(const Call& call);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// What has come through the pipes, at most 64 KiB of each.
    struct Output {
        std::string output;
        std::string errors;
        bool atEnd = false;  ///< both pipes are closed and all of it has been read
    };

    /// Waits until something comes through a pipe, one is closed, the time is over, or the descriptor `wakeUp` has
    /// something to read; nothing is read from that one. A negative time waits for ever. Throws SystemError.
    Output read(std::chrono::milliseconds wait, int wakeUp = -1);

    /// Its exit status, or 128 and the number of the signal that ended it. Waits for its end, so that a program which
    /// still writes has to be read from first. Throws SystemError.
    int wait();

    /// Kills it and waits for its end. Nothing happens if it has ended.
    void terminate() noexcept;

private:
    pid_t process_ = -1;
    std::optional<int> status_;
    FileDescriptor output_;
    FileDescriptor errors_;
};

}  // namespace penmark
