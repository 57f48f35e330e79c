// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Record.h"
#include "base/Sha256.h"
#include "cli/PenmarkctlTest.h"
#include "cli/SessionAccess.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iterator>
#include <thread>

#include <unistd.h>

namespace penmark {
namespace {

/// What --json prints of a hit, as a reader would take it.
struct ReadHit {
    std::string source;
    std::optional<Uuid> document;
    std::optional<Uuid> revision;
    std::optional<std::string> path;
    std::optional<std::string> title;
    std::int64_t start = 0;
    std::int64_t length = 0;
    std::int64_t line = 0;
    std::int64_t column = 0;
    std::string match;
    std::string text;
    std::optional<std::string> where;

    static constexpr auto fields()
    {
        using R = ReadHit;
        return std::tuple{field("source", &R::source), field("document", &R::document), field("revision", &R::revision),
                          field("path", &R::path),     field("title", &R::title),       field("start", &R::start),
                          field("length", &R::length), field("line", &R::line),         field("column", &R::column),
                          field("match", &R::match),   field("text", &R::text),         field("field", &R::where)};
    }
};

class SearchTest : public PenmarkctlTest {
protected:
    Uuid create(const std::string& title, const std::string& text) const
    {
        return Uuid::parse(line({"new", "--title", title}, text)).value();
    }

    /// Lines in alphabetical order: documents come by their identifiers.
    static std::string sorted(const std::string& lines)
    {
        std::vector<std::string> all = split(lines);
        std::sort(all.begin(), all.end());
        std::string joined;
        for (const std::string& one : all)
            joined += one + "\n";
        return joined;
    }

    std::string found(Words options, const std::string& query = "needle") const
    {
        options.insert(options.begin(), {"search", query});
        return sorted(output(options));
    }

    std::vector<ReadHit> hits(Words options) const
    {
        options.insert(options.begin(), {"search", "--json"});
        std::vector<ReadHit> read;
        for (const std::string& object : split(output(options)))
            read.push_back(decodeRecord<ReadHit>(object));
        return read;
    }

    std::string report(Words options, std::string_view status) const
    {
        options.insert(options.begin(), {"search", "--report"});
        const ProgramResult result = run(options);
        EXPECT_EQ(result.errors, std::string(status) + "\n");
        return result.output;
    }

    static bool contains(const std::string& text, std::string_view part)
    {
        return text.find(part) != std::string::npos;
    }
};

TEST_F(SearchTest, LooksWhereItIsTold)
{
    const Uuid one = create("one", "first needle\n");
    output({"write", one.text()}, "a\nthe needle\n");
    output({"write", one.text()}, "first needle\n");
    const Uuid two = create("two", "needle of two");
    const Uuid gone = create("gone", "needle of gone");
    const std::string checkpoint = line({"checkpoint", "keep"});
    output({"write", two.text()}, "nothing here");
    output({"discard", gone.text()});
    const Uuid alone = create("alone", "needle, alone");
    Uuid parent;
    Uuid workspace;
    cli::changeSessions(*openLibrary(), [&](SessionLibrary& library) {
        parent = createSession(library, "Parent", {}, Date::now());
        for (const Uuid& other : {one, alone}) {
            RecoveryWindow window;
            window.id = Uuid::random();
            window.isOpen = true;
            window.sessionID = createSession(library, "Child", parent, Date::now());
            window.documents = {one, other};
            window.documents.resize(other == one ? 1 : 2);
            putWindow(library, window, Date::now());
            if (other == one)
                workspace = createWorkspace(library, window.id, "Links");
        }
    });

    const std::string current = "alone:1:1:needle, alone\none:1:7:first needle\n";
    EXPECT_EQ(found({}), current);
    EXPECT_EQ(found({"--all"}), current);
    EXPECT_EQ(found({"--session", parent.text()}), current);
    EXPECT_EQ(found({"--workspace", workspace.text().substr(0, 8)}), "one:1:7:first needle\n");
    EXPECT_EQ(found({"--document", alone.text()}), "alone:1:1:needle, alone\n");
    EXPECT_EQ(split(found({"--checkpoint", checkpoint})).size(), 3u);

    // Of one document a text counts once, and it is told which revision has it.
    const auto history = split(found({"--history"}));
    ASSERT_EQ(history.size(), 5u);
    const std::string newest = column(output({"history", one.text()}), 0);
    for (const std::size_t i : {2u, 3u}) {
        ASSERT_EQ(history[i].substr(0, 4), "one@");
        EXPECT_TRUE(contains(newest, history[i].substr(4, 8)));
    }
    EXPECT_EQ(history[0].substr(history[0].find(':')), ":1:1:needle, alone");
    EXPECT_EQ(history[4].substr(0, 4), "two@");

    const ProgramResult discarded = run({"search", "needle", "--document", gone.text()});
    EXPECT_EQ(discarded.status, 2);
    EXPECT_EQ(discarded.errors, "penmarkctl: This document is discarded; --history searches what was in it.\n");
}

TEST_F(SearchTest, LooksIntoFoldersWithoutAddingThem)
{
    put("d/a.txt", "needle\n");
    put("d/sub/b.MD", "x\n  needle");
    put("d/binary", std::string("needle\0", 7));
    put("d/.hidden", "needle");
    put("d/.ignore", "ignored.txt\n");
    put("d/ignored.txt", "needle");
    put("outside.txt", "needle");
    std::filesystem::create_symlink(path("outside.txt"), path("d/link.txt"));
    const std::string usual = "d/a.txt:1:1:needle\nd/sub/b.MD:2:3:  needle\n";
    EXPECT_EQ(found({"--folder", "d"}), usual);
    EXPECT_EQ(found({"--folder", "d", "--type", "md", "--type", ".rs"}), "d/sub/b.MD:2:3:  needle\n");
    EXPECT_EQ(found({"--folder", "d/", "--path-filter", "SUB/"}), "d/sub/b.MD:2:3:  needle\n");
    EXPECT_EQ(found({"--folder", "d", "--hidden"}), "d/.hidden:1:1:needle\n" + usual);
    EXPECT_EQ(found({"--folder", "d", "--no-ignore", "--type=txt"}), "d/a.txt:1:1:needle\nd/ignored.txt:1:1:needle\n");
    EXPECT_EQ(found({"--folder", "d", "--field", "names"}, "b.m"), "d/sub/b.MD:\n");
    EXPECT_TRUE(contains(report({"needle", "--folder", "d"}, "Complete for local content"), "\"binarySkipped\":1"));

    // Without a library, which is not made, and while another program works with it.
    EXPECT_FALSE(std::filesystem::exists(library()));
    line({"session", "new"});
    {
        const auto holder = openLibrary();
        EXPECT_EQ(found({"--folder", "d"}), usual);
    }
    EXPECT_EQ(output({"projects"}), "");
    const std::string project = line({"project", "add", "d"});
    const std::string root = std::filesystem::canonical(path("d")).native();
    EXPECT_EQ(found({"--project", project, "--type", "txt"}), root + "/a.txt:1:1:needle\n");
    std::filesystem::remove_all(path("d"));
    const ProgramResult result = run({"search", "needle", "--folder", "d"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "penmarkctl: d: No such file or directory\n");
}

TEST_F(SearchTest, MatchesAsItIsTold)
{
    create("texts", "Résumé\nneedle needles\nneadle\n");
    const std::vector<std::pair<Words, std::string>> cases{
        {{"NEEDLE", "--whole-word"}, "2:1"},
        {{"NEEDLE", "--case-sensitive"}, ""},
        {{"N[a-z]+s\\b", "--mode", "regex"}, "2:8"},
        {{"resume", "--mode", "normalized"}, "1:1"},
        {{"needle", "--mode", "typo", "--whole-word"}, "2:1 2:8 3:1"},
        {{"--", "needles"}, "2:8"},
        {{"needle", "--limit", "1"}, "2:1"},
        {{"needle", "--limit", "0"}, "2:1 2:8"},
        {{"ext", "--field", "both"}, "-"},
    };
    for (const auto& [options, places] : cases) {
        Words words = options;
        words.insert(words.begin(), "search");
        const ProgramResult result = run(words);
        std::string seen;
        for (const std::string& hit : split(result.output)) {
            const auto parts = split(hit, ':');
            seen += (seen.empty() ? "" : " ") + (parts.size() > 2 ? parts[1] + ":" + parts[2] : "-");
        }
        EXPECT_EQ(seen, places) << options[0];
        EXPECT_EQ(result.status, places.empty() ? 1 : 0) << options[0];
        EXPECT_EQ(result.errors, "") << options[0];
    }
}

TEST_F(SearchTest, PrintsHitsAsObjects)
{
    const Uuid id = create("a \"title\"", "x\n😀 a needle\tof text\n");
    put("bound needle.txt", "needle");
    const Uuid bound = Uuid::parse(line({"open", "bound needle.txt"})).value();

    const auto inText = hits({"needle", "--document", id.text()});
    ASSERT_EQ(inText.size(), 1u);
    EXPECT_EQ(inText[0].source, "document");
    EXPECT_EQ(inText[0].document, id);
    EXPECT_TRUE(inText[0].revision.has_value());
    EXPECT_EQ(inText[0].title, "a \"title\"");
    EXPECT_EQ(inText[0].start, 7);  // in UTF-16 units, of which the emoji takes two
    EXPECT_EQ(inText[0].length, 6);
    EXPECT_EQ(inText[0].line, 2);
    EXPECT_EQ(inText[0].column, 6);
    EXPECT_EQ(inText[0].match, "exact");
    EXPECT_EQ(inText[0].text, "😀 a needle\tof text");
    EXPECT_FALSE(inText[0].path || inText[0].where);

    const auto inName = hits({"needle", "--field", "names", "--document", bound.text()});
    ASSERT_EQ(inName.size(), 1u);
    EXPECT_EQ(inName[0].where, "Names / paths");
    EXPECT_EQ(inName[0].line, 1);
    EXPECT_EQ(inName[0].path, std::filesystem::canonical(path("bound needle.txt")).native());
    EXPECT_EQ(hits({"needle", "--history"}).at(0).source, "historical");
}

TEST_F(SearchTest, ReportsOnTheSearchInstead)
{
    create("one", "needle needle");
    create("two", "other");
    const std::string whole = report({"needle"}, "Complete for local content");
    EXPECT_EQ(whole.find("{\"hits\":2,\"scanned\":2,\"indexedSkips\":0,\"binarySkipped\":0,\"bytesRead\":18,"
                         "\"issues\":[],\"limited\":false,\"cancelled\":false,\"finished\":true,\"firstResultMS\":"),
              0u)
        << whole;
    EXPECT_FALSE(contains(report({"absent"}, "Complete for local content"), "firstResultMS"));
    EXPECT_TRUE(
        contains(report({"needle", "--limit", "1"}, "Result limit reached · refine or show more"), "\"limited\":true"));
    openLibrary()->execute("UPDATE chunks SET body=x'00' WHERE rowid IN (SELECT rowid FROM chunks LIMIT 1)");
    EXPECT_TRUE(contains(report({"e"}, "Incomplete · see reported problems"),
                         std::string("\"issues\":[\"one: ") + missingContent));
}

TEST_F(SearchTest, TellsByItsStatusWhatCameOfIt)
{
    create("sound", "needle");
    create("damaged", "another text");
    openLibrary()->execute("UPDATE content SET body=x'00' WHERE hash=?", {sha256("another text")});
    const std::string problem = std::string("penmarkctl: damaged: ") + missingContent + "\n";

    const ProgramResult some = run({"search", "needle"});
    EXPECT_EQ(some.status, 2) << "what was found may not be all";
    EXPECT_EQ(some.output, "sound:1:1:needle\n");
    EXPECT_EQ(some.errors, problem);
    const ProgramResult none = run({"search", "text"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.errors, problem);

    for (const Words& words : std::vector<Words>{{"", "--all"},
                                                 {"(", "--mode", "regex"},
                                                 {"x", "--mode", "Regex"},
                                                 {"x", "--field", "name"},
                                                 {"x", "--limit", "-1"},
                                                 {"x", "--all", "--history"},
                                                 {"x", "--document", "0123", "--folder", "."},
                                                 {"x", "--session", std::string(nobody)},
                                                 {"x", "--checkpoint", std::string(nobody)},
                                                 {"x", "y"},
                                                 {"\xff"}}) {
        Words all = words;
        all.insert(all.begin(), "search");
        const ProgramResult result = run(all);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.output, "") << testing::PrintToString(words);
        EXPECT_EQ(result.errors.find("penmarkctl: "), 0u) << testing::PrintToString(words);
    }
}

// Nothing that a title, a file name or a text holds reaches a terminal as a command or as a line of its own.
TEST_F(SearchTest, ColoursAreForTerminals)
{
    create("a\nb", "one\ttwo \x1b[2J three");
    ProgramCall terminal = call({"search", "two", "--field", "both"});
    terminal.onTerminal = true;
    EXPECT_EQ(runProgram(terminal).output, "\x1b[35ma\\x0Ab\x1b[m:\x1b[32m1\x1b[m:\x1b[32m5\x1b[m:one\t\x1b[1;31mtwo"
                                           "\x1b[m \\x1B[2J three\r\n");
    terminal.environment.emplace_back("NO_COLOR", "1");
    EXPECT_EQ(runProgram(terminal).output, "a\\x0Ab:1:5:one\ttwo \\x1B[2J three\r\n");
    EXPECT_EQ(output({"search", "two"}), "a\\x0Ab:1:5:one\ttwo \x1b[2J three\n");
    terminal = call({"search", "b", "--field", "names"});
    terminal.onTerminal = true;
    EXPECT_EQ(runProgram(terminal).output, "\x1b[35ma\\x0A\x1b[m\x1b[1;31mb\x1b[m:\r\n");
}

TEST_F(SearchTest, ASignalOrAReaderThatGoesAwayEndsIt)
{
    // Each takes the whole time that one text may take, behind a hit.
    constexpr std::size_t texts = 300;
    for (std::size_t i = 0; i < texts; ++i)
        put("slow/" + std::to_string(i), "start " + std::string(40, 'x') + " " + std::to_string(i));
    output({"import", "slow"});
    const Words slow{"search", "start|(x+x+)+y", "--mode", "regex"};
    const auto isRunning = [](const RunningProgram& program) {
        const std::filesystem::directory_iterator threads("/proc/" + std::to_string(program.processID()) + "/task");
        return std::distance(threads, {}) > 1;
    };
    for (const bool reports : {false, true}) {
        Words words = slow;
        if (reports)
            words.emplace_back("--report");
        RunningProgram program(call(words));
        while (reports ? !isRunning(program) : program.outputUntilNow().empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        program.interrupt(SIGINT);
        const ProgramResult result = program.wait();
        EXPECT_EQ(result.status, 128 + SIGINT);
        EXPECT_LT(split(result.output).size(), texts);
        EXPECT_EQ(contains(result.output, "\"cancelled\":true,\"finished\":false"), reports);
        EXPECT_EQ(contains(result.errors, "Stopped · Refresh to search again\n"), reports);
    }

    // A full pipe holds the search up; a signal ends that too.
    std::string many;
    for (int i = 0; i < 50'000; ++i)
        many += "n\n";
    create("many", many);
    for (const bool isRead : {true, false}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        if (!isRead)
            close(ends[0]);
        ProgramCall toPipe = call({"search", "n", "--limit", "0"});
        toPipe.output = ends[1];
        RunningProgram program(toPipe);
        close(ends[1]);
        char byte = 0;
        if (isRead) {
            ASSERT_EQ(read(ends[0], &byte, 1), 1);
            program.interrupt(SIGTERM);
        }
        const ProgramResult result = program.wait();
        EXPECT_EQ(result.status, 128 + (isRead ? SIGTERM : SIGPIPE));
        EXPECT_EQ(result.errors, "");
        if (isRead)
            close(ends[0]);
    }
}

}  // namespace
}  // namespace penmark
