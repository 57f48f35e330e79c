// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/HandOver.h"

#include <chrono>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace penmark {

/// How a hand-over ended.
struct HandOverResult {
    enum class Outcome {
        notRunning,  ///< nobody listens for this library
        accepted,    ///< the other program does it, or, for one that waits, has done it
        refused,     ///< it says why not
        ending,      ///< it is about to end and has done nothing; whoever asks again soon may find nobody
        silent,      ///< somebody listens but does not answer; the request is withdrawn
        ended,       ///< the other program ended, or closed the connection, before it said what became of the request
    };

    Outcome outcome = Outcome::notRunning;
    int exitStatus = 0;    ///< for this process to end with, unless it goes on
    std::string sentence;  ///< for the user, unless accepted or notRunning
    pid_t server = 0;      ///< the process that listens; 0 if there is none
};

/// How long a hand-over may take.
struct HandOverPatience {
    std::chrono::milliseconds forListener{0};   ///< until somebody listens: another start may just be under way
    std::chrono::milliseconds forAnswer{5000};  ///< without any sign of the other program
};

/// Hands the request to the program that has the library open, and if it asks to wait, returns when its documents are
/// closed. Blocks; uses no Qt. What the request holds is kept whatever happens, so that text from standard input is not
/// lost if there is nobody to take it. Throws nothing but what memory throws.
HandOverResult handOver(const std::filesystem::path& library, const HandOverRequest& request,
                        const HandOverPatience& patience = {});

}  // namespace penmark
