// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Interruption.h"

#include "base/SystemError.h"

#include <csignal>

#include <unistd.h>

namespace penmark::cli {

namespace {

volatile std::sig_atomic_t received = 0;

}

void deferInterruptions()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = [](int which) {
            received = which;
            for (const int next : {SIGINT, SIGTERM, SIGHUP})
                std::signal(next, SIG_DFL);  // the second one, whichever it is, ends the process at once
        };
        action.sa_flags = 0;  // no SA_RESTART: a blocked write returns
        sigaction(signal, &action, nullptr);
    }
}

bool isInterrupted()
{
    return received != 0;
}

void stopIfInterrupted()
{
    if (isInterrupted())
        throw Cancelled();
}

void endIfInterrupted()
{
    if (received != 0)
        endBySignal(received);
}

InterruptionsElsewhere::InterruptionsElsewhere()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

InterruptionsElsewhere::~InterruptionsElsewhere()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void endBySignal(int signal)
{
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    raise(signal);
    _exit(128 + signal);
}

}  // namespace penmark::cli
