// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/FileDescriptor.h"

#include "base/SystemError.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace penmark {
namespace {

// A pipe hands over what it has, so both sides see many partial calls.
TEST(FileDescriptor, WritesAndReadsAllOfItThroughAPipe)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const FileDescriptor reader(ends[0], "pipe");
    std::string sent(3'000'000, '\0');
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 31);
    std::jthread writer([&] { FileDescriptor(ends[1], "pipe").writeAll(sent); });
    EXPECT_EQ(reader.readToEnd(), sent);
}

TEST(FileDescriptor, FailuresNameThePathAndTheReason)
{
    try {
        readFile("/nonexistent/file");
        ADD_FAILURE();
    } catch (const SystemError& error) {
        EXPECT_EQ(error.errorNumber(), ENOENT);
        EXPECT_STREQ(error.what(), "/nonexistent/file: No such file or directory");
    }
    const auto full = FileDescriptor::open("/dev/full", O_WRONLY);
    EXPECT_THROW(full.writeAll("x"), SystemError);
}

}  // namespace
}  // namespace penmark
