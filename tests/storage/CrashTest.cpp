// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/FileDescriptor.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {
namespace {

// A writer process of crash_writer with its standard output.
class Writer {
public:
    Writer(const std::filesystem::path& folder, unsigned seed)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        output_ = FileDescriptor(ends[0], "writer");
        const FileDescriptor input(ends[1], "writer");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
        std::string program = PENMARK_BIN "/crash_writer";
        std::string mode = "write";
        std::string library = folder.native();
        std::string number = std::to_string(seed);
        char* arguments[] = {program.data(), mode.data(), library.data(), number.data(), nullptr};
        if (posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ) != 0)
            throw std::runtime_error("cannot start " + program);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Writer()
    {
        if (process_ > 0)
            kill();
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Waits until it has printed something, at most ten seconds.
    void awaitOutput() const
    {
        pollfd waiting{output_.get(), POLLIN, 0};
        poll(&waiting, 1, 10'000);
    }

    // Returns all that it printed.
    std::string kill()
    {
        ::kill(process_, SIGKILL);
        std::string printed = output_.readToEnd();
        waitpid(process_, nullptr, 0);
        process_ = -1;
        return printed;
    }

private:
    pid_t process_ = -1;
    FileDescriptor output_;
};

int rounds()
{
    const char* wanted = std::getenv("PENMARK_CRASH_ROUNDS");
    return wanted != nullptr ? std::atoi(wanted) : PENMARK_CRASH_ROUNDS;
}

// Killed at any moment, opening included, the library holds every revision that was reported as stored.
TEST(Crash, NoReportedRevisionIsLostWhenTheWriterIsKilled)
{
    const TemporaryFolder folder;
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::size_t reported = 0;
    std::string everything;
    for (int round = 0; round < rounds(); ++round) {
        SCOPED_TRACE(round);
        Writer writer(folder.path(), static_cast<unsigned>(random()));
        // Every fourth is hit while it starts, the others while they store.
        if (round % 4 != 0)
            writer.awaitOutput();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 25'000));
        const std::string printed = writer.kill();
        everything += printed;

        RecoveryStore library({folder.path(), {}});  // the lock is free, and a journal left behind is played back
        const DocumentStore documents(library);
        std::istringstream lines(printed);
        for (std::string id, hash; lines >> id >> hash; ++reported) {
            const auto revision = documents.loadRevision(Uuid::parse(id).value());
            ASSERT_TRUE(revision) << id;
            ASSERT_EQ(revision->contentHash, hash);
            ASSERT_NO_THROW(ContentStore(library).loadText(hash));
        }
        if (round % 16 == 0) {
            ASSERT_TRUE(library.integrityCheck());
        }
    }
    // Without revisions the kills would prove nothing; three rounds of four wait for one.
    EXPECT_GE(reported, static_cast<std::size_t>(rounds() / 2));

    RecoveryStore library({folder.path(), {}});
    EXPECT_TRUE(library.integrityCheck());
    EXPECT_TRUE(library.query("PRAGMA foreign_key_check").empty());
    std::istringstream lines(everything);
    for (std::string id, hash; lines >> id >> hash;)
        ASSERT_EQ(library.query("SELECT hash FROM revisions WHERE id=?", {id}).at(0).at(0), hash);
    for (const auto& row : library.query("SELECT DISTINCT hash FROM revisions"))
        ASSERT_NO_THROW(ContentStore(library).loadText(row[0]));
    RecordProperty("reported", std::to_string(reported));
    std::cout << rounds() << " kills, " << reported << " revisions reported, none lost\n";
}

}  // namespace
}  // namespace penmark
