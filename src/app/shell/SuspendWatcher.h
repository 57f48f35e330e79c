// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

namespace penmark {

/// Tells when the computer is about to sleep and makes it wait until texts are stored, as logind's delay inhibitors
/// allow. Where there is no system bus or no logind it stays silent. On the main thread.
class SuspendWatcher final : public QObject {
    Q_OBJECT

public:
    /// Does nothing yet. The delay is to stay below the five seconds after which logind no longer waits.
    explicit SuspendWatcher(std::chrono::milliseconds longestDelay = std::chrono::seconds(4));

    /// Begins to listen; after the first frame, since connecting to a bus takes a few milliseconds.
    void start() { start(QDBusConnection::systemBus()); }

    /// The same on another bus.
    void start(const QDBusConnection& bus);

signals:
    /// The computer sleeps as soon as `done` is called, or the delay is over. `done` may be called at any time, also
    /// late and again.
    void aboutToSuspend(const std::function<void()>& done);

private slots:
    void prepareForSleep(bool isAhead);

private:
    void inhibit();
    void release(int sleep);

    QDBusConnection bus_;
    QDBusUnixFileDescriptor inhibitor_;  // closing it lets the computer sleep
    QTimer limit_;
    int sleep_ = 0;  // counts them, so that a late `done` does not release the next one's inhibitor
};

}  // namespace penmark
