// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"

namespace penmark {
namespace {

class DiffTest : public PenmarkctlTest {
protected:
    // The identifiers of all revisions, the first one first.
    Words revisions(const std::string& id) const
    {
        Words found = split(column(output({"history", id}), 0), '|');
        return {found.rbegin(), found.rend()};
    }

    ProgramResult onTerminal(Words words, const std::string& name, const std::string& value) const
    {
        ProgramCall terminal = call(std::move(words));
        terminal.onTerminal = true;
        terminal.environment.emplace_back(name, value);
        return runProgram(terminal);
    }
};

TEST_F(DiffTest, ComparesRevisionsAndTellsByItsStatus)
{
    const std::string id = line({"new", "--title", "a\tname"}, "one\ntwo\n");
    line({"write", id}, "one\n2\n");
    line({"write", id}, "one\ntwo\n");
    line({"write", id}, "one\n2\nthree");
    const Words all = revisions(id);
    EXPECT_EQ(output({"diff", id, all[0], all[2]}), "");
    EXPECT_EQ(output({"diff", id, all[3]}), "");

    const ProgramResult newest = run({"diff", id, all[0].substr(0, 13)});
    EXPECT_EQ(newest.status, 1);
    EXPECT_EQ(newest.errors, "");
    const auto lines = split(newest.output);
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0].find("--- a\\tname\t20"), 0u);
    EXPECT_EQ(lines[1].find("+++ a\\tname\t20"), 0u);
    EXPECT_EQ(newest.output.substr(newest.output.find("@@")),
              "@@ -1,2 +1,3 @@\n one\n-two\n+2\n+three\n\\ No newline at end of file\n");
    EXPECT_NE(run({"diff", id, all[1], all[0]}).output.find("-2\n+two\n"), std::string::npos);

    const std::string other = line({"new"}, "another document");
    for (const Words& words : {Words{"diff", id, std::string(nobody)}, Words{"diff", std::string(nobody), all[0]},
                               Words{"diff", id, revisions(other)[0]}, Words{"diff", id}}) {
        const ProgramResult result = run(words);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors, "");
    }
}

// Whatever the text, `patch` makes the later one of the earlier one.
TEST_F(DiffTest, PatchAppliesIt)
{
    const std::string patch = "/usr/bin/patch";
    if (!std::filesystem::exists(patch))
        GTEST_SKIP() << "there is no patch";
    std::string numbers;
    for (int i = 0; i < 500; ++i)
        numbers += std::to_string(i) + "\n";
    std::string changed = numbers;
    for (const std::string number : {"\n7\n", "\n250\n", "\n251\n", "\n499\n"})
        changed.replace(changed.find(number), number.size(), "\nelse\r\n\t\x1b[31m\nmore\n");
    const std::pair<std::string, std::string> cases[] = {
        {numbers, changed}, {changed, numbers},       {"", "text\n"},           {"text", ""},
        {"a\nb", "a\nb\n"}, {"a\r\nb\r\n", "a\nb\n"}, {"ü\n-- x\n", "+++ ö\n"},
    };
    for (const auto& [before, after] : cases) {
        SCOPED_TRACE(before.substr(0, 10));
        const std::string id = line({"new", "--title", "text with blanks"}, before);
        line({"write", id}, after);
        put("text", before);
        put("difference", run({"diff", id, revisions(id).front()}).output);
        ProgramCall apply;
        apply.words = {patch, "--binary", "--silent", path("text"), path("difference")};
        apply.folder = folder.path();
        EXPECT_EQ(runProgram(apply).status, 0);
        EXPECT_TRUE(after.empty() ? !std::filesystem::exists(path("text")) || get("text").empty()
                                  : get("text") == after);
    }
}

TEST_F(DiffTest, ATerminalGetsColoursAndHarmlessText)
{
    const std::string id = line({"new", "--title", "\x1b]0;owned\a"}, "same\n\told \x1b[2J\r\n");
    line({"write", id}, "same\n\tnew\n");
    const std::string revision = revisions(id).front();
    const std::string coloured = "\x1b[36m@@ -1,2 +1,2 @@\x1b[m\r\n same\r\n"
                                 "\x1b[31m-\told \\x1B[2J\\x0D\x1b[m\r\n\x1b[32m+\tnew\x1b[m\r\n";
    const std::string plain = "@@ -1,2 +1,2 @@\r\n same\r\n-\told \\x1B[2J\\x0D\r\n+\tnew\r\n";
    struct {
        std::string name;
        std::string value;
        std::string expected;
    } const cases[] = {
        {"NO_COLOR", "", coloured},
        {"NO_COLOR", "1", plain},
        {"TERM", "dumb", plain},
    };
    for (const auto& [name, value, expected] : cases) {
        const ProgramResult result = onTerminal({"diff", id, revision}, name, value);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output.find("--- \\x1B]0;owned\\x07\t20"), 0u) << result.output;
        EXPECT_TRUE(result.output.ends_with("\r\n" + expected)) << result.output;
    }
}

TEST_F(DiffTest, RestoringMakesAnotherDocument)
{
    put("notes.md", "one");
    const std::string id = line({"open", "notes.md"});
    line({"write", id}, "two");
    const std::string before = output({"history", id});
    const std::string restored = line({"restore", id, revisions(id).front()});
    EXPECT_EQ(output({"cat", restored}), "one");
    EXPECT_EQ(column(output({"documents"}), 1), "notes.md — restored copy|notes.md");
    EXPECT_EQ(split(split(output({"documents"}))[0], '\t').size(), 3u) << "it has a file";
    EXPECT_EQ(output({"history", id}), before);
    EXPECT_EQ(output({"cat", id}), "two");
    EXPECT_EQ(get("notes.md"), "one");
    EXPECT_EQ(failure({"restore", id, std::string(nobody)}),
              "penmarkctl: Penmark could not complete the operation: There is no revision of this document " +
                  std::string(nobody) + ".\n");
}

}  // namespace
}  // namespace penmark
