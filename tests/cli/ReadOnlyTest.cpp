// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"
#include "storage/Mount.h"

namespace penmark {
namespace {

class ReadOnlyTest : public PenmarkctlTest {};

TEST_F(ReadOnlyTest, WhatOnlyReadsWorksOnAReadOnlyDisk)
{
    const std::string id = line({"new", "--title", "a title"}, "text\n");
    const std::string session = line({"session", "new", "--title", "a session"});
    const std::string checkpoint = line({"checkpoint", "keep"});
    const std::vector<Words> reading{{"status"},        {"documents"},   {"cat", id},
                                     {"history", id},   {"verify"},      {"sessions"},
                                     {"workspaces"},    {"projects"},    {"closed"},
                                     {"calendar"},      {"checkpoints"}, {"checkpoint", "show", checkpoint},
                                     {"search", "text"}};
    std::vector<std::string> before;
    for (const Words& words : reading)
        before.push_back(output(words));
    const ReadOnlyMount disk(library());
    if (!disk.mounted())
        GTEST_SKIP() << "mounting is not permitted here";
    for (std::size_t i = 0; i < reading.size(); ++i)
        EXPECT_EQ(output(reading[i]), before[i]) << reading[i].front();
    EXPECT_EQ(output({"export", "out"}), "1\n");
    EXPECT_EQ(get("out/a title.txt"), "text\n");
    put("file.txt", "of a file");
    for (const Words& words : std::vector<Words>{{"new", "file.txt"},
                                                 {"write", id, "file.txt"},
                                                 {"discard", id},
                                                 {"session", "close", session},
                                                 {"checkpoint", "keep"},
                                                 {"checkpoint", "restore", checkpoint}})
        EXPECT_EQ(failure(words), "penmarkctl: Penmark could not complete the operation: The library is open for "
                                  "reading only.\n")
            << words.front();
}

}  // namespace
}  // namespace penmark
