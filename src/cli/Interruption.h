// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <signal.h>

namespace penmark::cli {

/// From now on SIGINT, SIGTERM and SIGHUP wait for the next call of stopIfInterrupted, so that files under way are
/// finished or cleared away; a second one ends the process at once. A signal that whoever started us had ignored
/// stays ignored. For a process with one thread that calls these functions; see InterruptionsElsewhere for others.
void deferInterruptions();

/// Whether a signal waits.
bool isInterrupted();

/// Throws Cancelled if a signal waits.
void stopIfInterrupted();

/// Ends the process by the signal that waits, as if it had never been deferred; returns if there is none.
void endIfInterrupted();

/// Threads that are started while this lives leave signals to the others, whose waiting they are to end.
class InterruptionsElsewhere {
public:
    InterruptionsElsewhere();
    ~InterruptionsElsewhere();
    InterruptionsElsewhere(const InterruptionsElsewhere&) = delete;
    InterruptionsElsewhere& operator=(const InterruptionsElsewhere&) = delete;

private:
    sigset_t before_{};
};

/// Ends the process by this signal.
[[noreturn]] void endBySignal(int signal);

}  // namespace penmark::cli
