// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"

#include <chrono>
#include <csignal>
#include <thread>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace penmark {
namespace {

using StreamsTest = PenmarkctlTest;

// What could not be printed was not done, as far as a script can tell.
TEST_F(StreamsTest, OutputThatCannotBeWrittenIsAFailure)
{
    const std::string id = line({"new"}, std::string(200'000, 'x'));
    const auto full = FileDescriptor::open("/dev/full", O_WRONLY);
    for (const Words& words :
         {Words{"status"}, Words{"documents"}, Words{"documents", "--json"}, Words{"cat", id}, Words{"history", id},
          Words{"new"}, Words{"verify"}, Words{"--help"}, Words{"session", "new"}, Words{"sessions"},
          Words{"checkpoint", "keep"}, Words{"checkpoints", "--json"}}) {
        ProgramCall toFull = call(words);
        toFull.output = full.get();
        const ProgramResult result = runProgram(toFull);
        EXPECT_EQ(result.status, 1) << words[0];
        EXPECT_EQ(result.errors, "penmarkctl: standard output: No space left on device\n") << words[0];
    }
    // Closed streams must not lend their numbers to a file of the library.
    ProgramCall closed = call({"cat", id});
    closed.inputStream = closed.output = -1;
    const ProgramResult result = runProgram(closed);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "penmarkctl: standard output: Bad file descriptor\n");
    EXPECT_EQ(output({"verify"}), "ok\n");
    EXPECT_EQ(get("library/writer.lock"), "");
}

TEST_F(StreamsTest, AReaderThatGoesAwayEndsItQuietly)
{
    const std::string id = line({"new"}, std::string(500'000, 'x'));
    for (const Words& words : {Words{"cat", id}, Words{"documents"}, Words{"status"}}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        ProgramCall toNobody = call(words);
        toNobody.output = ends[1];
        const ProgramResult result = runProgram(toNobody);
        close(ends[1]);
        EXPECT_EQ(result.status, 128 + SIGPIPE);
        EXPECT_EQ(result.errors, "");
    }
    EXPECT_EQ(output({"verify"}), "ok\n");
}

// Waiting for input is no reason to keep the editor out.
TEST_F(StreamsTest, InputIsReadBeforeTheLibraryIsOpened)
{
    const std::string id = line({"new"}, "first");
    for (const Words& words : {Words{"new"}, Words{"write", id}}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ProgramCall waiting = call(words);
        waiting.inputStream = ends[0];
        RunningProgram program(waiting);
        close(ends[0]);
        // It has read what was written once the pipe is empty.
        ASSERT_EQ(write(ends[1], "slow ", 5), 5);
        for (int left = 1; left > 0;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pollfd end{ends[1], 0, 0};
            ASSERT_EQ(poll(&end, 1, 0), 0) << "it is gone";
            ASSERT_EQ(ioctl(ends[1], FIONREAD, &left), 0);
        }
        EXPECT_EQ(output({"cat", id}), "first");
        ASSERT_EQ(write(ends[1], "text", 4), 4);
        close(ends[1]);
        EXPECT_EQ(program.wait().status, 0);
    }
    EXPECT_EQ(output({"cat", id}), "slow text");
}

TEST_F(StreamsTest, ALockedLibrarySaysSo)
{
    const std::string id = line({"new"}, "text");
    put("file", "text");
    const auto holder = openLibrary();
    for (const Words& words :
         {Words{"status"}, Words{"documents"}, Words{"new"}, Words{"import", "file"}, Words{"open", "file"},
          Words{"write", id}, Words{"cat", id}, Words{"discard", id}, Words{"save", id}, Words{"history", id},
          Words{"export", "out"}, Words{"verify"}, Words{"sessions"}, Words{"session", "new"},
          Words{"checkpoint", "keep"}, Words{"calendar"}})
        EXPECT_EQ(failure(words), "penmarkctl: This recovery library is already open in another Penmark process.\n");
    const ProgramResult compared = run({"diff", id, "0123"});
    EXPECT_EQ(compared.status, 2);
    EXPECT_EQ(compared.errors, "penmarkctl: This recovery library is already open in another Penmark process.\n");
    EXPECT_FALSE(std::filesystem::exists(path("out")));
}

// On a terminal columns line up and nothing that a title holds reaches the terminal as a command.
TEST_F(StreamsTest, ATerminalGetsAlignedAndHarmlessText)
{
    const std::string evil = "\x1b]0;owned\a\u009b2J";
    const std::string first = line({"new", "--title", evil}, "1");
    const std::string second = line({"new", "--title", "日本"}, std::string(100, '2'));
    const std::string third = line({"new", "--title", std::string(80, 'w')}, "3");
    line({"write", first}, std::string(12'345, 'x'));
    const auto onTerminal = [&](Words words) {
        ProgramCall terminal = call(std::move(words));
        terminal.onTerminal = true;
        const ProgramResult result = runProgram(terminal);
        EXPECT_EQ(result.status, 0);
        return result.output;
    };

    std::string dates;
    for (const std::string& row : split(output({"documents"})))
        dates += split(row, '\t')[2] + "|";
    const auto date = split(dates, '|');
    EXPECT_EQ(onTerminal({"documents"}), first + "  \\x1B]0;owned\\x07\\xC2\\x9B2J" + std::string(20, ' ') + date[0] +
                                             "\r\n" +                                                          //
                                             third + "  " + std::string(43, 'w') + "…  " + date[1] + "\r\n" +  //
                                             second + "  日本" + std::string(42, ' ') + date[2] + "\r\n");
    const std::string records = onTerminal({"documents", "--json"});
    EXPECT_EQ(records.find('\x1b'), std::string::npos);
    EXPECT_EQ(records.find("\u009b"), std::string::npos);
    EXPECT_NE(records.find("\\u009b2J"), std::string::npos);
    const auto sizes = split(onTerminal({"history", first}));
    ASSERT_EQ(sizes.size(), 2u);
    EXPECT_TRUE(sizes[0].ends_with("  12345\r")) << sizes[0];
    EXPECT_TRUE(sizes[1].ends_with("      1\r")) << sizes[1];
    EXPECT_EQ(onTerminal({"cat", first}), std::string(12'345, 'x'));
}

// Interrupted anywhere, an import has stored what it has printed, and the library is sound.
TEST_F(StreamsTest, AnInterruptedImportKeepsWhatItPrinted)
{
    for (int i = 0; i < 2000; ++i)
        put("tree/" + std::to_string(i) + ".txt", "text " + std::to_string(i));
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        RunningProgram program(call({"import", "tree"}));
        while (split(program.outputUntilNow()).size() < 20)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        program.interrupt(signal);
        const ProgramResult result = program.wait();
        EXPECT_EQ(result.status, 128 + signal);
        EXPECT_EQ(result.errors, "");
        const auto printed = split(result.output);
        EXPECT_LT(printed.size(), 2000u);
        EXPECT_EQ(output({"verify"}), "ok\n");
        const std::string listed = output({"documents"});
        for (const std::string& id : printed) {
            if (id.size() == 36) {
                EXPECT_NE(listed.find(id), std::string::npos) << id;
            }
        }
        EXPECT_EQ(output({"cat", printed.front()}), "text 0");
    }
}

}  // namespace
}  // namespace penmark
