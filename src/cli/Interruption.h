// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace penmark::cli {

/// From now on SIGINT, SIGTERM and SIGHUP wait for the next call of stopIfInterrupted, so that files under way are
/// finished or cleared away; a second one ends the process at once. A signal that whoever started us had ignored
/// stays ignored. For a process with one thread that calls these functions.
void deferInterruptions();

/// Throws Cancelled if a signal waits.
void stopIfInterrupted();

/// Ends the process by the signal that waits, as if it had never been deferred; returns if there is none.
void endIfInterrupted();

/// Ends the process by this signal.
[[noreturn]] void endBySignal(int signal);

}  // namespace penmark::cli
