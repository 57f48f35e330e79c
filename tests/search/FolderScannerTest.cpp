// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FolderScanner.h"

#include "base/SystemError.h"
#include "search/TextSearchError.h"
#include "storage/TemporaryFolder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::vector<std::string> pathsOf(const TextSearchSources& files)
{
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < files.size(); ++i)
        paths.emplace_back(files.relativePath(i));
    return paths;
}

using Paths = std::vector<std::string>;

}  // namespace

class FolderScannerTest : public testing::Test {
protected:
    void write(const std::string& path, const std::string& text = "text\n")
    {
        const fs::path file = project() / path;
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    /// A scanner that does what a script says.
    FolderScanner fake(const std::string& script)
    {
        const fs::path path = folder.path() / "scanner";
        std::ofstream(path) << "#!/bin/sh\n" << script << '\n';
        fs::permissions(path, fs::perms::owner_all);
        return FolderScanner(path);
    }

    static std::string failureOf(const FolderScanner& scanner, const std::string& project)
    {
        try {
            scanner.list(project, {}, {});
        } catch (const TextSearchError& error) {
            return error.what();
        }
        return "none";
    }

    fs::path project() const { return folder.path() / "project"; }
    FolderScanner::Listing list(const FolderScanner::Options& options = {})
    {
        return FolderScanner().list(project().native(), options, {});
    }

    void SetUp() override { fs::create_directory(project()); }

    TemporaryFolder folder;
};

// With the scanner that belongs to this build: what is ignored, hidden or git's own, and the order.
TEST_F(FolderScannerTest, ListsWhatTheOptionsAsk)
{
    for (const char* path : {"b.txt", "a/z.txt", "a/ü ñ.txt", ".hidden", ".git/config", "ignored.log", "a/.git/HEAD",
                             "a/.github/x", "nested/deep/.git/objects/12"})
        write(path);
    write(".gitignore", "*.log\n");
    fs::create_symlink("b.txt", project() / "link");

    EXPECT_EQ(pathsOf(list().files), (Paths{"a/z.txt", "a/ü ñ.txt", "b.txt"}));
    const std::set<std::string> all{"b.txt",      "a/z.txt",     "a/ü ñ.txt",  ".hidden",
                                    ".gitignore", "a/.github/x", "ignored.log"};
    const Paths listed = pathsOf(list({true, true}).files);
    EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()), all);
    EXPECT_EQ(pathsOf(list({true, false}).files).back(), "ignored.log");
    EXPECT_EQ(pathsOf(list({false, true}).files).front(), ".gitignore");
    EXPECT_EQ(list().files.folder(), project());
}

TEST_F(FolderScannerTest, TakesAnEmptyFolderForAnEmptyList)
{
    EXPECT_TRUE(list().files.empty());
    EXPECT_EQ(failureOf(FolderScanner(), folder.path() / "gone"), "Choose an available project folder.");
    write("file");
    EXPECT_EQ(failureOf(FolderScanner(), project() / "file"), "Choose an available project folder.");
    EXPECT_EQ(failureOf(FolderScanner(), "project"), "Choose an available project folder.");
}

TEST_F(FolderScannerTest, SaysThatTheScannerIsMissing)
{
    const std::string missing = "The bundled folder scanner is missing. Reinstall Penmark.";
    EXPECT_EQ(failureOf(FolderScanner(folder.path() / "none"), project()), missing);
    EXPECT_EQ(failureOf(FolderScanner(project()), project()), missing) << "a folder";
    const FolderScanner scanner = fake("exit 0");
    EXPECT_EQ(failureOf(scanner, project()), "none");
    // Root may run whatever somebody may run, so nobody may.
    fs::permissions(folder.path() / "scanner", fs::perms::owner_read);
    EXPECT_EQ(failureOf(scanner, project()), missing);
}

TEST_F(FolderScannerTest, RunsTheScannerWithItsArgumentsInTheFolder)
{
    const FolderScanner scanner = fake("printf '%s\\0' \"$PWD\" \"$@\"");
    const std::string words = "--files --null --no-config --threads 2 --sort path --glob !.git --glob !**/.git/**";
    const std::string optional = " --no-ignore --hidden";
    for (const bool all : {false, true}) {
        std::string said;
        for (const std::string& word : pathsOf(scanner.list(project().native(), {all, all}, {}).files))
            said += word + " ";
        EXPECT_EQ(said, project().native() + " " + words + (all ? optional : "") + " -- . ");
    }
}

// Names that are no UTF-8 are left out with one problem; a list may come in pieces of any size.
TEST_F(FolderScannerTest, ReadsPathsHoweverTheyCome)
{
    const auto listing = fake("printf './a\\0./.b/c\\0d/./e\\0\\0x\\377y\\0\\355\\240\\200\\0'; sleep 0.05; "
                              "printf 'sp'; sleep 0.05; printf 'lit\\0last'")
                             .list(project().native(), {}, {});
    EXPECT_EQ(pathsOf(listing.files), (Paths{"a", ".b/c", "d/./e", "split", "last"}));
    EXPECT_EQ(listing.problems, Paths{"A filename is not valid UTF-8; folder results are incomplete."});
    EXPECT_EQ(listing.files.absolutePath(1), project().native() + "/.b/c");

    write("ok");
    write("n\xff");
    EXPECT_EQ(pathsOf(list().files), Paths{"ok"});
    EXPECT_EQ(list().problems.size(), 1U);
}

TEST_F(FolderScannerTest, FailsWithWhatTheScannerSays)
{
    const std::string failed = "Folder scanner exited with status ";
    EXPECT_EQ(failureOf(fake("printf 'a\\0'; exit 1"), project()), failed + "1");
    EXPECT_EQ(failureOf(fake("echo ': no \377' >&2; exit 1"), project()), failed + "1: no \ufffd\n");
    EXPECT_EQ(failureOf(fake("kill -SEGV $$"), project()), failed + "139");
    const std::string most(FolderScanner::errorLimit, 'e');
    const std::string fill = "head -c 16384 /dev/zero | tr '\\0' e >&2; ";
    EXPECT_EQ(failureOf(fake(fill + "exit 2"), project()), failed + "2" + most);
    EXPECT_EQ(failureOf(fake(fill + "printf 1 >&2; " + fill + "exit 2"), project()),
              failed + "2" + most + "\nAdditional scanner errors omitted.");
    EXPECT_EQ(failureOf(fake("echo careless >&2; exit 0"), project()), "none");
}

TEST_F(FolderScannerTest, EndsAtAMillionFiles)
{
    const std::string million = "yes a | head -n 1000000 | tr '\\n' '\\0'; ";
    EXPECT_EQ(fake(million).list(project().native(), {}, {}).files.size(), FolderScanner::fileLimit);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failureOf(fake(million + "printf 'a\\0'; exec sleep 60"), project()),
              "Folder scan reached one million files. Narrow the project scope.");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the scanner is still there";
}

TEST_F(FolderScannerTest, StopsAtOnceWhenAsked)
{
    using Steady = std::chrono::steady_clock;
    const FolderScanner scanner = fake("printf 'a\\0'; exec sleep 60");
    // The quickest of some tries: a busy machine may keep any one of them waiting.
    auto quickest = Steady::duration::max();
    for (int i = 0; i < 5; ++i) {
        std::stop_source source;
        Steady::time_point asked;
        std::jthread user([&] {
            std::this_thread::sleep_for(50ms);
            asked = Steady::now();
            source.request_stop();
        });
        EXPECT_THROW(scanner.list(project().native(), {}, source.get_token()), Cancelled);
        const auto ended = Steady::now();
        user.join();
        quickest = std::min(quickest, ended - asked);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the scanner is still there";
        EXPECT_THROW(scanner.list(project().native(), {}, source.get_token()), Cancelled);
    }
    EXPECT_LT(quickest, 50ms);
}

TEST(FilterFilesTest, LetsTypesAndPathsPass)
{
    TextSearchSources files;
    files.setFolder("/project");
    for (const char* path : {"README.md", "a.tar.gz", "md", "src/main.cpp", "src/net/Main.CPP", "src/net/é.h",
                             "test/src/.gitignore", "x.cmd"})
        files.addFile(path);

    struct Case {
        std::vector<std::string> types;
        std::string filter;
        Paths passed;
    };
    const Paths sources{"src/main.cpp", "src/net/Main.CPP"};
    const std::vector<Case> cases{
        {{"md"}, "", {"README.md"}},
        {{" .MD ", "", "*.h"}, "", {"README.md", "src/net/é.h"}},
        {{"tar.gz"}, "", {"a.tar.gz"}},
        {{"gz", "gitignore"}, "", {"a.tar.gz", "test/src/.gitignore"}},
        {{"cpp"}, "NET", {"src/net/Main.CPP"}},
        {{"none"}, "", {}},
        {{}, "main.c", sources},
        {{}, " *.cpp ", sources},
        {{}, "src/*.cpp", sources},
        {{}, "main.???", sources},
        {{}, "net/?.h", {"src/net/é.h"}},
        {{}, "?.h", {"src/net/é.h"}},
        {{}, "src/.*", {"test/src/.gitignore"}},
        {{}, "/src/", {"src/main.cpp", "src/net/Main.CPP", "src/net/é.h", "test/src/.gitignore"}},
        {{}, "/src/*.h", {"src/net/é.h"}},
        {{}, "/*/.git*", {"test/src/.gitignore"}},
        {{}, "*a*i*.*p*p", sources},
        {{}, "mai*.md", {}},
        {{}, "É", {}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.filter + (one.types.empty() ? "" : " " + one.types.front()));
        const TextSearchSources passed = filterFiles(files, one.types, one.filter);
        EXPECT_EQ(pathsOf(passed), one.passed);
        EXPECT_EQ(passed.folder(), "/project");
    }
    EXPECT_EQ(filterFiles(files, {" ", "."}, " ").size(), files.size());
}

}  // namespace penmark
