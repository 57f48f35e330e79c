// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <memory>

namespace penmark {

/// SIGTERM, SIGINT and SIGHUP as a signal of the event loop, however many come: none of them ends the process any more,
/// so that everything can be stored first. A write that nobody reads (SIGPIPE) is answered with an error.
///
/// Programs that are started later get the usual behaviour: a handler, unlike an ignored or blocked signal, is not
/// passed on to them. What whoever started us had ignored, as `nohup` does, stays ignored. One object at a time, on the
/// main thread; its destructor puts back what was before.
class TerminationSignals final : public QObject {
    Q_OBJECT

public:
    /// Throws SystemError.
    TerminationSignals();
    ~TerminationSignals() override;

signals:
    /// For each time that signals came; several that came together may be one.
    void terminationRequested(int signal);

private:
    void receive();

    static constexpr std::array<int, 4> handled{SIGTERM, SIGINT, SIGHUP, SIGPIPE};

    FileDescriptor readEnd_;
    FileDescriptor writeEnd_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::array<struct sigaction, handled.size()> before_{};
};

}  // namespace penmark
