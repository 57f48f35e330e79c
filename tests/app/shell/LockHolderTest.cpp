// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/LockHolder.h"

#include "base/FileDescriptor.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {
namespace {

TEST(LockHolderTest, NamesTheProcessThatHoldsTheLock)
{
    const QTemporaryDir temporary;
    const std::filesystem::path folder = temporary.path().toStdString();
    const std::filesystem::path path = folder / "writer.lock";
    EXPECT_EQ(lockHolder(path), std::nullopt);
    const FileDescriptor file = FileDescriptor::open(path, O_RDWR | O_CREAT);
    const FileDescriptor other = FileDescriptor::open(folder / "other.lock", O_RDWR | O_CREAT);
    ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
    EXPECT_EQ(lockHolder(path), std::nullopt);

    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        const FileDescriptor own = FileDescriptor::open(path, O_RDWR);
        flock(own.get(), LOCK_EX);
        [[maybe_unused]] const ssize_t written = write(ready[1], "x", 1);
        while (true)
            pause();
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(lockHolder(path), child);
    EXPECT_EQ(lockHolder(folder / "other.lock"), getpid());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(lockHolder(path), std::nullopt);
    close(ready[0]);
    close(ready[1]);
}

}  // namespace
}  // namespace penmark
