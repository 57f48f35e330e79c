// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/TerminationSignals.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <cerrno>

#include <gtest/gtest.h>
#include <unistd.h>

namespace penmark {
namespace {

TEST(TerminationSignalsTest, ComeInTheEventLoopHoweverOften)
{
    TerminationSignals caught;
    QSignalSpy spy(&caught, &TerminationSignals::terminationRequested);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGTERM, SIGTERM}) {
        spy.clear();
        raise(signal);
        EXPECT_EQ(spy.size(), 0) << "not before the event loop's turn";
        ASSERT_TRUE(spy.wait(60'000)) << signal;
        EXPECT_EQ(spy[0][0].toInt(), signal);
    }
    // More than a pipe holds must neither block nor kill.
    for (int i = 0; i < 100'000; ++i)
        raise(SIGTERM);
    ASSERT_TRUE(spy.wait(60'000));

    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[1]);
}

TEST(TerminationSignalsTest, WhatWasIgnoredStaysSoAndWhatWasIsPutBack)
{
    const auto before = std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, SIG_IGN);
    {
        TerminationSignals caught;
        QSignalSpy spy(&caught, &TerminationSignals::terminationRequested);
        raise(SIGHUP);
        raise(SIGINT);
        ASSERT_TRUE(spy.wait(60'000));
        EXPECT_EQ(spy.size(), 1);
        EXPECT_EQ(spy[0][0].toInt(), SIGINT);
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGTERM, before), SIG_DFL);
}

// A command that is run from the window must end by its signals as from a terminal.
TEST(TerminationSignalsTest, ChildrenHaveTheUsualSignals)
{
    const TerminationSignals caught;
    QProcess child;
    child.start(QStringLiteral("/bin/grep"), {QStringLiteral("Sig[BI]"), QStringLiteral("/proc/self/status")});
    ASSERT_TRUE(child.waitForFinished());
    EXPECT_EQ(child.readAll().toStdString(), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

}  // namespace
}  // namespace penmark
