// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/PenmarkctlTest.h"

namespace penmark {
namespace {

// Wrong usage is told apart from failure, points at help, and touches nothing.
TEST_F(PenmarkctlTest, WrongUsageEndsWithTwoAndAHint)
{
    struct {
        Words words;
        std::string message;
        std::string hint;
    } const cases[] = {
        {{}, "a command is missing", ""},
        {{"docments"}, "unknown command “docments”; did you mean “documents”?", ""},
        {{"xyzzy"}, "unknown command “xyzzy”", ""},
        {{"sta\x1b[2Jtus"}, "unknown command “sta\\x1B[2Jtus”", ""},
        {{"documents", "--alll"}, "unknown option “--alll”; did you mean “--all”?", ""},
        {{"documents", "--lib", "x"}, "unknown option “--lib”; did you mean “--library”?", ""},
        {{"documents", "-x"}, "unknown option “-x”", ""},
        {{"documents", "--all=yes"}, "“--all” takes no value", ""},
        {{"new", "--title"}, "“--title” needs a value: TITLE", ""},
        {{"status", "--all"}, "“status” has no option “--all”", " status"},
        {{"status", "more"}, "“more” is one argument too many", " status"},
        {{"cat"}, "“cat” needs ID", " cat"},
        {{"import"}, "“import” needs PATH...", " import"},
        {{"cat", "xyz"}, "“xyz” is neither an identifier nor the first 4 or more digits of one", " cat"},
        {{"cat", "abc"}, "“abc” is neither an identifier nor the first 4 or more digits of one", " cat"},
        {{"cat", "abcd", "--revision", "1"},
         "“1” is neither an identifier nor the first 4 or more digits of one",
         " cat"},
        {{"history", "abcd", "--limit", "-1"}, "“--limit” takes a whole number from 0 on, not “-1”", " history"},
        {{"history", "abcd", "--offset=2x"}, "“--offset” takes a whole number from 0 on, not “2x”", " history"},
        {{"new", "--title", "\xff"}, "the value of “--title” is not valid UTF-8", " new"},
        {{"status", "--library="}, "“--library” needs the name of a folder", " status"},
        {{"import", "-"}, "“import” reads files and folders; “new” stores standard input", " import"},
        {{"session"}, "“session” needs one of: show, new, rename, close, reopen, move, delete", " session"},
        {{"checkpoint", "kepe"}, "unknown command “checkpoint kepe”; did you mean “checkpoint keep”?", " checkpoint"},
        {{"project", "new", "."}, "unknown command “project new”", " project"},
        {{"sesions"}, "unknown command “sesions”; did you mean “sessions”?", ""},
        {{"session", "rename", "abcd"}, "“session rename” needs ID NAME", " session rename"},
        {{"session", "rename", "abcd", "\xff"}, "“\\xFF” is not valid UTF-8", " session rename"},
        {{"session", "new", "--title", "\xff"}, "the value of “--title” is not valid UTF-8", " session new"},
        {{"session", "new", "--language", "x"}, "“session new” has no option “--language”", " session new"},
        {{"workspace", "link", "abcd"}, "“workspace link” needs ID MEMBER...", " workspace link"},
        {{"checkpoint", "restore", "abcd", "x"},
         "“x” is neither an identifier nor the first 4 or more digits of one",
         " checkpoint restore"},
        {{"diff", "abcd"}, "“diff” needs ID REVISION [REVISION]", " diff"},
        {{"open", "-"}, "“open” needs the name of a file; one named “-” is written “./-”", " open"},
    };
    for (const auto& [words, message, hint] : cases) {
        const ProgramResult result = run(words);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "penmarkctl: " + message + "\nTry 'penmarkctl" + hint + " --help'.\n");
    }
    EXPECT_FALSE(std::filesystem::exists(library()));
}

TEST_F(PenmarkctlTest, OptionsMayStandAnywhere)
{
    put("note.txt", "text");
    put("--title", "a file with an unfortunate name");
    const std::string other = path("elsewhere");
    for (const Words& words : {Words{"--library", other, "new", "--title", "T", "note.txt"},
                               Words{"new", "note.txt", "--title=T", "--library=" + other},
                               Words{"--title", "wrong", "new", "--title=T", "--library", other, "--", "note.txt"}}) {
        const std::string id = line(words);
        EXPECT_EQ(output({"--library", other, "cat", id}), "text");
    }
    EXPECT_EQ(column(output({"documents", "--library", other}), 1), "T|T|T");
    EXPECT_EQ(column(output({"--json", "--library", other, "documents"}), 0).find("{\"id\":"), 0u);
    EXPECT_FALSE(std::filesystem::exists(library()));
    line({"new", "--", "--title"});
    EXPECT_EQ(column(output({"documents"}), 1), "--title");
}

// Help, manual and completions know every command and option, and the manual nothing else.
TEST_F(PenmarkctlTest, EverythingIsDocumented)
{
    const std::string sources = PENMARK_TEST_DATA "/../..";
    const std::string manual = readFile(sources + "/docs/penmarkctl.1");
    const std::string bash = readFile(sources + "/packaging/completions/penmarkctl.bash");
    const std::string zsh = readFile(sources + "/packaging/completions/_penmarkctl");
    const std::string help = output({"--help"});
    EXPECT_EQ(output({"-h"}), help);
    EXPECT_EQ(output({"-V"}), output({"--version"}));
    EXPECT_EQ(output({"--version"}).find("penmarkctl "), 0u);

    const auto lineWith = [](const std::string& text, const std::string& beginning) {
        const auto at = text.find(beginning);
        return at == std::string::npos ? std::string() : text.substr(at, text.find('\n', at) - at);
    };
    const auto isAmong = [](const std::string& word, const std::string& assignment) {
        const std::string words = " " + assignment.substr(std::min(assignment.find('"') + 1, assignment.size()));
        return words.find(" " + word + " ") != std::string::npos || words.find(" " + word + "\"") != std::string::npos;
    };
    for (const cli::Command& command : cli::allCommands()) {
        const std::string name(command.name);
        const std::string first(command.firstWord());
        const std::string action(command.action());
        const bool isSingle = action.empty();
        SCOPED_TRACE(name);
        EXPECT_NE(help.find("\n  " + name + " "), std::string::npos);
        const std::string own = output(isSingle ? Words{name, "--help"} : Words{first, action, "--help"});
        EXPECT_TRUE(isSingle || output({first, "--help"}).find("\n  " + name + " ") != std::string::npos);
        EXPECT_EQ(own.find("Usage: penmarkctl " + name), 0u);
        const std::string inManual = lineWith(manual, ".It Cm " + name);
        const std::string inCaseOfZsh = isSingle ? name : "'" + name + "'";
        const std::string inCaseOfBash = isSingle ? name : "\"" + name + "\"";
        const std::string inZsh = zsh.substr(std::min(zsh.find("                " + inCaseOfZsh + ")"), zsh.size()));
        EXPECT_NE(inManual, "");
        EXPECT_TRUE(isAmong(first, lineWith(bash, "local commands=")));
        EXPECT_TRUE(isSingle || isAmong(action, lineWith(bash, "local " + first + "=")));
        EXPECT_NE(zsh.find("\n        '" + first + ":"), std::string::npos);
        const std::string actionsOfZsh = zsh.substr(std::min(zsh.find("    " + first + "=(\n"), zsh.size()));
        EXPECT_TRUE(isSingle ||
                    actionsOfZsh.substr(0, actionsOfZsh.find("    )")).find("'" + action + ":") != std::string::npos);
        EXPECT_NE(inZsh, "");
        for (const cli::Option* option : cli::allOptions()) {
            const bool isCommon =
                option == &cli::options::library || option == &cli::options::help || option == &cli::options::version;
            if (isCommon)
                continue;
            const std::string optionName(option->name);
            const auto& accepted = command.options;
            const auto found = std::find_if(accepted.begin(), accepted.end(),
                                            [&](const cli::Option* other) { return other->name == option->name; });
            const bool has = found != accepted.end();
            EXPECT_TRUE(!has || (*found)->value.empty() == option->value.empty()) << optionName;
            EXPECT_EQ(own.find("\n  --" + optionName) != std::string::npos, has) << optionName;
            EXPECT_EQ(inManual.find("Fl -" + optionName) != std::string::npos, has) << optionName;
            EXPECT_EQ(lineWith(bash, "            " + inCaseOfBash + ") options+=").find("--" + optionName) !=
                          std::string::npos,
                      has)
                << optionName;
            EXPECT_EQ(inZsh.substr(0, inZsh.find(";;")).find("'--" + optionName) != std::string::npos, has)
                << optionName;
        }
    }
}

// A mistyped folder must not look like an empty library, and asking must not make one.
TEST_F(PenmarkctlTest, OnlyStoringCreatesALibrary)
{
    const std::string id = "0123";
    for (const Words& words : {Words{"documents"}, Words{"verify"}, Words{"cat", id}, Words{"write", id},
                               Words{"discard", id}, Words{"save", id}, Words{"history", id}, Words{"export", "out"},
                               Words{"sessions"}, Words{"session", "close", id}, Words{"workspaces"},
                               Words{"checkpoints"}, Words{"checkpoint", "keep"}, Words{"calendar"}})
        EXPECT_EQ(failure(words),
                  "penmarkctl: Penmark could not complete the operation: There is no library in " + library() + ".\n");
    EXPECT_FALSE(std::filesystem::exists(library()));
    EXPECT_FALSE(std::filesystem::exists(path("out")));

    const std::string json = output({"status", "--json"});
    const std::string expected = "{\"path\":\"" + library() + "\",\"schemaVersion\":4,\"deviceID\":\"" +
                                 openLibrary()->deviceID().text() +
                                 "\",\"documents\":0,\"revisions\":0,\"chunks\":0,\"bytes\":" +
                                 std::to_string(std::filesystem::file_size(path("library/recovery.sqlite"))) + "}\n";
    EXPECT_EQ(json, expected);
    EXPECT_EQ(output({"documents"}), "");
    EXPECT_EQ(output({"verify"}), "ok\n");
    EXPECT_EQ(output({"export", "out"}), "0\n");
    line({"new"}, "a");
    line({"new"}, "b");
    line({"new"}, "a");
    EXPECT_EQ(column(output({"status"}), 0), "library|schema version|device|documents|revisions|chunks|bytes");
    EXPECT_NE(column(output({"status"}), 1).find("|3|3|2|"), std::string::npos);
}

}  // namespace
}  // namespace penmark
