// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/SuspendWatcher.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>

namespace penmark {

namespace {

QString service()
{
    return QStringLiteral("org.freedesktop.login1");
}
QString path()
{
    return QStringLiteral("/org/freedesktop/login1");
}
QString interface()
{
    return QStringLiteral("org.freedesktop.login1.Manager");
}

}  // namespace

SuspendWatcher::SuspendWatcher(std::chrono::milliseconds longestDelay) : bus_(QString())
{
    limit_.setSingleShot(true);
    limit_.setInterval(longestDelay);
    connect(&limit_, &QTimer::timeout, this, [this] { release(sleep_); });
}

void SuspendWatcher::start(const QDBusConnection& bus)
{
    bus_ = bus;
    if (!bus_.isConnected())
        return;
    bus_.connect(service(), path(), interface(), QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    inhibit();
}

void SuspendWatcher::inhibit()
{
    QDBusMessage call = QDBusMessage::createMethodCall(service(), path(), interface(), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << QStringLiteral("Penmark") << tr("Storing texts") << QStringLiteral("delay");
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, sleep = sleep_] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        // One that is granted only when the sleep has begun would hold it up for nothing.
        if (reply.isValid() && sleep == sleep_)
            inhibitor_ = reply.value();
    });
}

void SuspendWatcher::prepareForSleep(bool isAhead)
{
    if (!isAhead) {
        limit_.stop();
        ++sleep_;
        inhibit();
        return;
    }
    const int sleep = ++sleep_;
    limit_.start();
    emit aboutToSuspend([watcher = QPointer<SuspendWatcher>(this), sleep] {
        if (watcher)
            watcher->release(sleep);
    });
}

void SuspendWatcher::release(int sleep)
{
    if (sleep != sleep_)
        return;
    limit_.stop();
    inhibitor_ = {};
}

}  // namespace penmark
