// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/ProgramOptions.h"

#include "base/FileDescriptor.h"

#include <QTemporaryDir>
#include <fstream>

#include <gtest/gtest.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

class ProgramOptionsTest : public testing::Test {
protected:
    ProgramOptionsTest()
    {
        for (const char* name : {"a.c", "a.c:12", "b:3:4", "--wait", "-", "+7"})
            std::ofstream(folder / name) << "x";
        fs::create_symlink("nowhere", folder / "dangling:5");
    }

    ProgramOptions parse(const Words& words) const { return ProgramOptions::parse(words, folder); }

    // Targets as they would be typed, relative to the folder, positions in brackets.
    std::string targets(const Words& words) const
    {
        std::string text;
        for (const OpenTarget& target : parse(words).targets) {
            if (!text.empty())
                text += ' ';
            text += target.standardInput ? "<input>" : fs::path(target.path).lexically_relative(folder).native();
            if (target.line)
                text += "[" + std::to_string(*target.line);
            if (target.column)
                text += "," + std::to_string(*target.column);
            if (target.line)
                text += "]";
        }
        return text;
    }

    QTemporaryDir temporary;
    const fs::path folder = temporary.path().toStdString();
};

// A name is taken as it is if there is such a file, and as a position otherwise.
TEST_F(ProgramOptionsTest, TellsNamesFromPositions)
{
    struct {
        Words words;
        std::string expected;
    } const cases[] = {
        {{"a.c"}, "a.c"},
        {{"a.c:7"}, "a.c[7]"},
        {{"a.c:7:3"}, "a.c[7,3]"},
        {{"a.c:7:"}, "a.c[7]"},
        {{"a.c:7:3:"}, "a.c[7,3]"},
        {{"a.c:12"}, "a.c:12"},
        {{"a.c:12:5"}, "a.c:12[5]"},
        {{"b:3:4"}, "b:3:4"},
        {{"b:3"}, "b[3]"},
        {{"dangling:5"}, "dangling:5"},
        {{"new.txt:9:2"}, "new.txt[9,2]"},
        {{"new:x:2"}, "new:x[2]"},
        {{"new:2:x"}, "new:2:x"},
        {{"new:"}, "new:"},
        {{":5"}, ":5"},
        {{"new:0:0"}, "new[1,1]"},
        {{"new:-3"}, "new:-3"},
        {{"new:99999999999"}, "new:99999999999"},
        {{"+3", "a.c", "b"}, "a.c[3] b"},
        {{"+3:9", "a.c:12"}, "a.c:12[3,9]"},
        {{"+3", "new:4"}, "new:4[3]"},
        {{"+3", "-"}, "<input>[3]"},
        {{"+x", "+"}, "+x +"},
        {{"--", "--wait", "-", "+7"}, "--wait - +7"},
        {{"./-", "-"}, "./- <input>"},
    };
    for (const auto& [words, expected] : cases)
        EXPECT_EQ(targets(words), expected);
    EXPECT_EQ(parse({"sub/../a.c"}).targets[0].path, folder / "sub/../a.c")
        << "only the system knows where a link leads";
    EXPECT_EQ(parse({"/etc/hosts:1"}).targets[0].path, "/etc/hosts");
}

TEST_F(ProgramOptionsTest, TakesOptionsAnywhere)
{
    const ProgramOptions none = parse({});
    EXPECT_FALSE(none.wait || none.newWindow || none.newDraft || none.noRestore || none.checkLibrary || none.help ||
                 none.version || none.library || none.standardInputTitle || none.readsStandardInput());

    const ProgramOptions some = parse({"a", "-w", "--new-window", "--library=lib", "-", "--stdin-title", "-x"});
    EXPECT_TRUE(some.wait && some.newWindow && some.readsStandardInput());
    EXPECT_FALSE(some.newDraft || some.noRestore || some.checkLibrary);
    EXPECT_EQ(some.library, folder / "lib");
    EXPECT_EQ(some.standardInputTitle, "-x");
    EXPECT_EQ(some.targets.size(), 2u);

    const ProgramOptions others =
        parse({"--no-restore", "--new-draft", "--check-library", "--library", "/l", "-h", "-V"});
    EXPECT_TRUE(others.noRestore && others.newDraft && others.checkLibrary && others.help && others.version);
    EXPECT_FALSE(others.wait || others.newWindow);
    EXPECT_EQ(others.library, "/l");

    EXPECT_TRUE(parse({"--wait"}).newDraft) << "nothing else could be closed";
    EXPECT_FALSE(parse({"--wait", "a"}).newDraft);
    EXPECT_EQ(parse({"-platform", "xcb", "a", "--style=fusion", "-reverse", "-session", "12_3"}).toolkitWords,
              (Words{"-platform", "xcb", "-style", "fusion", "-reverse", "-session", "12_3"}));
    EXPECT_EQ(targets({"-platform", "xcb", "a"}), "a");
}

TEST_F(ProgramOptionsTest, SaysWhatCannotBeFollowed)
{
    struct {
        Words words;
        std::string message;
    } const cases[] = {
        {{"--waits"}, "unknown option “--waits”"},
        {{"-x"}, "unknown option “-x”"},
        {{"-wn"}, "unknown option “-wn”"},
        {{"--wait=1"}, "“--wait” takes no value"},
        {{"--library"}, "“--library” needs a value: DIR"},
        {{"--library="}, "“--library” needs the name of a folder"},
        {{"-platform"}, "“-platform” needs a value: what the toolkit is to use"},
        {{"--stdin-title", "T", "a"}, "“--stdin-title” goes with “-”, which reads standard input"},
        {{"--stdin-title=\xff", "-"}, "the value of “--stdin-title” is not valid UTF-8"},
        {{"-", "-"}, "standard input can be read only once"},
        {{"a", "+3"}, "a file is missing behind “+3”"},
        {{""}, "the name of a file is empty"},
        {{"--\x1b\n"}, "unknown option “--??”"},
    };
    for (const auto& [words, message] : cases) {
        try {
            parse(words);
            ADD_FAILURE() << message;
        } catch (const CommandLineError& error) {
            EXPECT_EQ(error.status(), ExitStatus::wrongUsage);
            EXPECT_EQ(error.report(), "penmark: " + message + "\nTry 'penmark --help'.\n");
        }
    }
    try {
        parse({"good", "bad\xff"});
        ADD_FAILURE();
    } catch (const CommandLineError& error) {
        EXPECT_EQ(error.status(), ExitStatus::fileRefused);
        EXPECT_EQ(error.report(), "penmark: “bad\uFFFD” cannot be opened: its name is not valid UTF-8\n");
    }
}

// Help, manual and completions know every option, and the manual and the completions nothing else.
TEST_F(ProgramOptionsTest, EveryOptionIsDocumented)
{
    const std::string sources = PENMARK_TEST_DATA "/../..";
    const std::string manual = readFile(sources + "/docs/penmark.1");
    const std::string bash = readFile(sources + "/packaging/completions/penmark.bash");
    const std::string zsh = readFile(sources + "/packaging/completions/_penmark");
    const std::string help = ProgramOptions::helpText();
    const auto count = [](const std::string& text, const std::string& part) {
        std::size_t found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++found;
        return found;
    };
    for (const ProgramOption& option : programOptions()) {
        const std::string name(option.name);
        SCOPED_TRACE(name);
        const std::string value(option.value);
        const std::string letter = option.letter == 0 ? "" : std::string(1, option.letter);
        EXPECT_EQ(count(help, (letter.empty() ? "" : "-" + letter + ", ") + "--" + name + " " + value), 1u);
        EXPECT_EQ(count(manual, "\n.It Fl " + (letter.empty() ? "" : letter + " , ") + "-" + name +
                                    (value.empty() ? "" : " Ar " + value) + "\n"),
                  1u);
        EXPECT_EQ(count(bash, "--" + name), value.empty() ? 1u : 2u) << "one more to complete its value";
        EXPECT_EQ(count(zsh, "--" + name), letter.empty() ? 1u : 2u) << "one more to exclude the short form";
    }
    EXPECT_EQ(count(manual, "\n.It Fl "), programOptions().size());
    EXPECT_EQ(ProgramOptions::versionText().find("penmark "), 0u);
}

}  // namespace
}  // namespace penmark
