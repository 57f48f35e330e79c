// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/TerminationSignals.h"

#include "base/SystemError.h"

#include <atomic>
#include <cerrno>

#include <unistd.h>

namespace penmark {

namespace {

// What a handler may look at. Plain values, since a signal can come at any time.
std::atomic<int> pipe_end{-1};
std::atomic<pid_t> owner{0};

void noteSignal(int signal)
{
    const int savedError = errno;
    if (getpid() != owner.load()) {
        // A child that has not become another program yet: the signal is meant for that alone.
        std::signal(signal, SIG_DFL);
        raise(signal);
    } else {
        const char byte = static_cast<char>(signal);
        // A full pipe holds enough news of the kind.
        [[maybe_unused]] const ssize_t written = write(pipe_end.load(), &byte, 1);
    }
    errno = savedError;
}

void doNothing(int) {}

}  // namespace

TerminationSignals::TerminationSignals()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw SystemError(errno, "pipe");
    readEnd_ = FileDescriptor(ends[0]);
    writeEnd_ = FileDescriptor(ends[1]);
    pipe_end = ends[1];
    owner = getpid();
    notifier_ = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &TerminationSignals::receive);

    for (std::size_t i = 0; i < handled.size(); ++i) {
        sigaction(handled[i], nullptr, &before_[i]);
        if (before_[i].sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = handled[i] == SIGPIPE ? doNothing : noteSignal;
        action.sa_flags = SA_RESTART;
        sigaction(handled[i], &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    for (std::size_t i = 0; i < handled.size(); ++i)
        sigaction(handled[i], &before_[i], nullptr);
    owner = 0;
    pipe_end = -1;
}

void TerminationSignals::receive()
{
    std::array<char, 64> bytes{};
    const ssize_t got = read(readEnd_.get(), bytes.data(), bytes.size());
    if (got > 0)
        emit terminationRequested(bytes[0]);
}

}  // namespace penmark
