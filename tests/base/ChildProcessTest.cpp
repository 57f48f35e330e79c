// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/ChildProcess.h"

#include "base/SystemError.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

ChildProcess::Call shell(const std::string& script)
{
    return {"/bin/sh", {"-c", script}, {}};
}

/// All that a program says.
ChildProcess::Output readAll(ChildProcess& process)
{
    ChildProcess::Output all;
    while (!all.atEnd) {
        ChildProcess::Output part = process.read(-1ms);
        all.output += part.output;
        all.errors += part.errors;
        all.atEnd = part.atEnd;
    }
    return all;
}

std::ptrdiff_t openFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

bool hasChildren()
{
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

}  // namespace

// The two pipes are told apart, more comes through them than they hold, and arguments arrive as they are.
TEST(ChildProcessTest, PassesWhatTheProgramSaysAndHowItEnds)
{
    ChildProcess process(
        {"/bin/sh",
         {"-c", "printf '%s|' \"$@\" \"$PWD\"; head -c 300000 /dev/zero >&2; exit 7", "sh", "a b", "*"},
         "/usr"});
    const ChildProcess::Output all = readAll(process);
    EXPECT_EQ(all.output, "a b|*|/usr|");
    EXPECT_EQ(all.errors, std::string(300'000, '\0'));
    EXPECT_EQ(process.wait(), 7);
    EXPECT_EQ(process.wait(), 7);
    ChildProcess killed(shell("kill -TERM $$"));
    EXPECT_EQ(killed.wait(), 128 + SIGTERM);
}

// A program must neither keep files of this process open nor inherit that signals are ignored or blocked.
TEST(ChildProcessTest, StartsFromAnEmptySheet)
{
    const int inheritable = dup(STDERR_FILENO);
    signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    // The folder that is listed is open too, as number 3.
    ChildProcess files({"/bin/ls", {"/proc/self/fd"}, {}});
    EXPECT_EQ(readAll(files).output, "0\n1\n2\n3\n");
    for (const int number : {SIGUSR1, SIGUSR2}) {
        ChildProcess signalled(shell("kill -" + std::to_string(number) + " $$; exit 0"));
        EXPECT_EQ(signalled.wait(), 128 + number);
    }
    ChildProcess input(shell("cat"));
    EXPECT_EQ(input.wait(), 0) << "waits for standard input";
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    signal(SIGUSR1, SIG_DFL);
    close(inheritable);
}

// As this process may have been left by whoever started it.
TEST(ChildProcessTest, LearnsHowAProgramEndsWhereTheEndOfChildrenIsIgnored)
{
    signal(SIGCHLD, SIG_IGN);
    ChildProcess process(shell("exit 3"));
    EXPECT_EQ(process.wait(), 3);
    signal(SIGCHLD, SIG_DFL);
}

TEST(ChildProcessTest, WakesAtDataAtTheTimeAndAtTheDescriptor)
{
    ChildProcess process(shell("printf begun; exec sleep 60"));
    const auto start = Clock::now();
    EXPECT_EQ(process.read(30s).output, "begun");
    EXPECT_EQ(process.read(20ms).output, "");

    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    std::jthread waker([&writeEnd] {
        std::this_thread::sleep_for(20ms);
        writeEnd.reset();
    });
    const ChildProcess::Output output = process.read(30s, readEnd.get());
    EXPECT_TRUE(output.output.empty() && !output.atEnd);
    process.terminate();
    EXPECT_EQ(process.wait(), 128 + SIGKILL);
    EXPECT_LT(Clock::now() - start, 15s);
}

// However a program or its start ends, neither a process nor a file of it stays.
TEST(ChildProcessTest, LeavesNothingBehind)
{
    const auto before = openFiles();
    for (const char* script : {"exit 0", "exec sleep 60", "trap '' TERM; printf x; sleep 60 >/dev/null 2>&1"}) {
        SCOPED_TRACE(script);
        {
            ChildProcess process(shell(script));
            process.read(1ms);
        }
        EXPECT_EQ(openFiles(), before);
        EXPECT_FALSE(hasChildren());
    }
    for (const ChildProcess::Call& call :
         {ChildProcess::Call{"/no/such/program", {}, {}}, ChildProcess::Call{"/bin/true", {}, "/no/such/folder"},
          ChildProcess::Call{"/etc/passwd", {}, {}}}) {
        EXPECT_THROW(ChildProcess{call}, SystemError) << call.program;
        EXPECT_EQ(openFiles(), before);
        EXPECT_FALSE(hasChildren());
    }
}

}  // namespace penmark
