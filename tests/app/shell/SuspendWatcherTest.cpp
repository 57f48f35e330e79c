// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/SuspendWatcher.h"

#include "app/shell/SleepBus.h"

#include <QElapsedTimer>
#include <QTest>
#include <array>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace penmark {

SleepBus::SleepBus() : own_(QString()), client_(QString())
{
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    if (!daemon_.waitForReadyRead())
        return;
    const QString address = QString::fromUtf8(daemon_.readLine()).trimmed();
    own_ = QDBusConnection::connectToBus(address, QStringLiteral("sleep-manager"));
    own_.registerService(QStringLiteral("org.freedesktop.login1"));
    own_.registerObject(QStringLiteral("/org/freedesktop/login1"), this,
                        QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    client_ = QDBusConnection::connectToBus(address, QStringLiteral("sleep-client"));
}

SleepBus::~SleepBus()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("sleep-manager"));
    QDBusConnection::disconnectFromBus(QStringLiteral("sleep-client"));
    daemon_.kill();
    daemon_.waitForFinished();
    if (readEnd_ >= 0)
        close(readEnd_);
}

bool SleepBus::isInhibited() const
{
    pollfd waited{readEnd_, POLLIN, 0};
    return readEnd_ >= 0 && poll(&waited, 1, 0) == 0;
}

QDBusUnixFileDescriptor SleepBus::Inhibit(const QString& what, const QString& who, const QString& why,
                                          const QString& mode)
{
    inhibitions << QStringList{what, who, why, mode}.join(QLatin1Char('|'));
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return {};
    if (readEnd_ >= 0)
        close(readEnd_);
    readEnd_ = ends[0];
    QDBusUnixFileDescriptor inhibitor(ends[1]);
    close(ends[1]);
    return inhibitor;
}

namespace {

class SuspendWatcherTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.client().isConnected());
        QObject::connect(&watcher, &SuspendWatcher::aboutToSuspend, &watcher,
                         [this](const std::function<void()>& done) { dones.push_back(done); });
        watcher.start(bus.client());
        ASSERT_TRUE(isInhibitedSoon(true));
    }

    bool isInhibitedSoon(bool expected, int patience = 3000)
    {
        return QTest::qWaitFor([&] { return bus.isInhibited() == expected; }, patience);
    }

    bool sleepIsToldTimes(std::size_t count)
    {
        emit bus.PrepareForSleep(true);
        return QTest::qWaitFor([&] { return dones.size() == count; }, 3000);
    }

    // The manager's record of the delay, once the call has been answered.
    void wake()
    {
        const qsizetype before = bus.inhibitions.size();
        emit bus.PrepareForSleep(false);
        ASSERT_TRUE(QTest::qWaitFor([&] { return bus.inhibitions.size() > before; }, 60'000));
        QTest::qWait(50);
        ASSERT_TRUE(bus.isInhibited());
    }

    static constexpr std::chrono::milliseconds longestDelay{400};

    SleepBus bus;
    SuspendWatcher watcher{longestDelay};
    std::vector<std::function<void()>> dones;
};

TEST_F(SuspendWatcherTest, DelaysSleepUntilEverythingIsStored)
{
    EXPECT_EQ(bus.inhibitions, QStringList{QStringLiteral("sleep|Penmark|Storing texts|delay")});
    ASSERT_TRUE(sleepIsToldTimes(1));
    QTest::qWait(100);
    EXPECT_TRUE(bus.isInhibited()) << "not before it is done";
    dones[0]();
    EXPECT_TRUE(isInhibitedSoon(false));

    wake();
    dones[0]();
    QTest::qWait(100);
    EXPECT_TRUE(bus.isInhibited()) << "a late call belongs to the sleep before";
    ASSERT_TRUE(sleepIsToldTimes(2));
    dones[1]();
    EXPECT_TRUE(isInhibitedSoon(false));
}

TEST_F(SuspendWatcherTest, DoesNotDelaySleepForEver)
{
    ASSERT_TRUE(sleepIsToldTimes(1));
    QElapsedTimer since;
    since.start();
    EXPECT_TRUE(isInhibitedSoon(false));
    EXPECT_GT(since.elapsed(), longestDelay.count() / 2);
    wake();
    QTest::qWait(2 * static_cast<int>(longestDelay.count()));
    EXPECT_TRUE(bus.isInhibited()) << "the limit belongs to a sleep that is ahead";
}

TEST(SuspendWatcherWithoutBusTest, StaysSilent)
{
    SuspendWatcher watcher;
    watcher.start(QDBusConnection(QStringLiteral("nothing")));
    std::function<void()> late;
    {
        SleepBus bus;
        SuspendWatcher shortLived;
        QObject::connect(&shortLived, &SuspendWatcher::aboutToSuspend, &shortLived,
                         [&](const std::function<void()>& done) { late = done; });
        shortLived.start(bus.client());
        ASSERT_TRUE(QTest::qWaitFor([&] { return bus.isInhibited(); }));
        emit bus.PrepareForSleep(true);
        ASSERT_TRUE(QTest::qWaitFor([&] { return late != nullptr; }));
    }
    late();  // the watcher is gone
}

}  // namespace
}  // namespace penmark
