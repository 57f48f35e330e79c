// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchEngine.h"

#include "organization/Projects.h"
#include "organization/SessionLibraryStore.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

namespace penmark {
namespace {

using namespace std::chrono_literals;

class TextSearchEngineTest : public testing::Test {
protected:
    TextSearchEngine& engine()
    {
        if (!engine_)
            engine_ = std::make_unique<TextSearchEngine>(
                store_, TextSearchEngine::Configuration{indexFolder(), FolderScanner::bundledScanner(), true});
        return *engine_;
    }
    std::filesystem::path indexFolder() const { return folder_.path() / "cache"; }

    Uuid write(std::string title, std::string_view text)
    {
        return documents_.createWithText(documents_.newDocument(std::move(title)), text).document.id;
    }

    std::filesystem::path file(const std::string& name, std::string_view text)
    {
        const std::filesystem::path path = folder_.path() / "project" / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    /// Older than what may still change unseen.
    static void age(const std::filesystem::path& path)
    {
        const auto hourAgo = std::time(nullptr) - 3'600;
        const timespec times[2] = {{hourAgo, 0}, {hourAgo, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    TextSearchRequest request(std::string query, TextScopeKind kind = TextScopeKind::allDocuments)
    {
        TextSearchRequest request;
        request.rule.query = std::move(query);
        request.rule.scope.kind = kind;
        request.library = library_;
        if (kind == TextScopeKind::project)
            request.rule.scope.id = addProject(request.library, (folder_.path() / "project").string());
        return request;
    }

    TextSearchReport run(const TextSearchRequest& request, const std::stop_token& stop = {})
    {
        TextSearchReport report;
        engine().run(request, stop, [&](TextSearchBatch&& batch) { append(report, std::move(batch)); });
        return report;
    }

    /// "title:line:column" of each hit.
    static std::vector<std::string> places(const TextSearchReport& report)
    {
        std::vector<std::string> places;
        for (const TextSearchGroup& group : report.groups) {
            for (std::size_t hit = group.firstHit; hit < group.firstHit + group.hits; ++hit)
                places.push_back(group.source->title + ":" + std::to_string(report.hits[hit].line) + ":" +
                                 std::to_string(report.hits[hit].column));
        }
        return places;
    }
    static std::vector<std::string> texts(const std::vector<TextSearchIssue>& issues)
    {
        std::vector<std::string> texts;
        for (const TextSearchIssue& issue : issues)
            texts.push_back(issue.text);
        return texts;
    }

    TemporaryFolder folder_{TemporaryFolder::inMemory()};
    RecoveryStore store_{{folder_.path() / "library", std::nullopt}};
    DocumentStore documents_{store_};
    SessionLibrary library_;
    std::unique_ptr<TextSearchEngine> engine_;
};

using Places = std::vector<std::string>;

TEST_F(TextSearchEngineTest, HitsComeInTheOrderOfSourcesWithTheirLines)
{
    std::vector<std::pair<Uuid, std::string>> written;
    for (int number = 0; number < 300; ++number) {
        const std::string title = "n" + std::to_string(number);
        // The earlier ones take longer, so that cores finish out of order.
        const std::string text = std::string(number < 20 ? 400'000 : 10, '\n') + "a word, and a word\r\nWORD\rword\n";
        written.emplace_back(write(title, text), title);
    }
    std::ranges::sort(written);
    const TextSearchReport report = run(request("word"));
    EXPECT_TRUE(report.finished);
    EXPECT_EQ(report.scanned, 300U);
    ASSERT_EQ(report.hits.size(), 1'200U);
    Places expected;
    for (const auto& [id, title] : written) {
        const std::size_t first = (title.size() <= 2 || std::stoi(title.substr(1)) < 20 ? 400'000 : 10) + 1;
        for (const auto& [line, column] : {std::pair(first, 3), {first, 15}, {first + 1, 1}, {first + 2, 1}})
            expected.push_back(title + ":" + std::to_string(line) + ":" + std::to_string(column));
    }
    EXPECT_EQ(places(report), expected);
}

TEST_F(TextSearchEngineTest, AHitShowsItsLineAndInItTheMatch)
{
    const std::string longLine = std::string(3'000, 'x') + "é word 😀" + std::string(3'000, 'y');
    write("one", "first\n  näh 😀 word here\nlast");
    write("two", longLine);
    write("three", "word " + std::string(5'000, 'z'));
    const TextSearchReport report = run(request("word"));
    ASSERT_EQ(report.hits.size(), 3U);
    for (const TextSearchGroup& group : report.groups) {
        const TextSearchHit& hit = report.hits[group.firstHit];
        EXPECT_EQ(hit.text.substr(hit.mark.start.value, hit.mark.size()), "word");
        if (group.source->title == "one") {
            EXPECT_EQ(hit.text, "  näh 😀 word here");
            EXPECT_EQ(hit.column, 10U);
            EXPECT_EQ(hit.match.range, (Utf16Range{Utf16Offset(15), Utf16Offset(19)}));
        } else if (group.source->title == "two") {
            EXPECT_EQ(hit.column, 3'003U);
            EXPECT_EQ(hit.textStart, 2'802U);
            EXPECT_TRUE(hit.text.ends_with("😀" + std::string(794, 'y'))) << hit.text.size();
        } else {
            EXPECT_EQ(hit.text, "word " + std::string(995, 'z'));
            EXPECT_EQ(hit.textStart, 0U);
        }
    }
}

TEST_F(TextSearchEngineTest, AHitInsideALineEndIsOnTheLineThatItEnds)
{
    write("n", "äb\r\n\r\ncd\rlast\n");
    TextSearchRequest search = request("\\n|last");
    search.rule.mode = TextMatchMode::regex;
    const TextSearchReport report = run(search);
    EXPECT_EQ(places(report), (Places{"n:1:4", "n:2:2", "n:4:1", "n:4:5"}));
    ASSERT_EQ(report.hits.size(), 4U);
    EXPECT_EQ(report.hits[0].text, "äb");
    EXPECT_EQ(report.hits[1].text, "");
    EXPECT_EQ(report.hits[3].text, "last");
}

TEST_F(TextSearchEngineTest, StopsAtTheLimit)
{
    for (int number = 0; number < 50; ++number)
        write("n", "word word word");
    TextSearchRequest exactly = request("word");
    exactly.limit = 150;
    TextSearchReport report = run(exactly);
    EXPECT_EQ(report.hits.size(), 150U);
    EXPECT_EQ(statusOf(report), "Result limit reached · refine or show more");
    EXPECT_FALSE(report.finished || report.cancelled);
    exactly.limit = 7;
    report = run(exactly);
    EXPECT_EQ(report.hits.size(), 7U);
    EXPECT_EQ(report.groups.size(), 3U);
    EXPECT_EQ(report.groups.back().hits, 1U);
    exactly.limit = 151;
    EXPECT_EQ(statusOf(run(exactly)), "Complete for local content");
}

TEST_F(TextSearchEngineTest, AnotherQueryFindsWhatFiltersAndCachesMustNotHide)
{
    write("plain", "The quick brown fox");
    write("accents", "Der schnelle Füchs, quick");
    write("kelvin", "5 \xE2\x84\xAA"
                    "elvin");
    write("sharp", "Stra\xC3\x9F"
                   "e");
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(run(request("QUICK")).hits.size(), 2U);
        EXPECT_EQ(run(request("kelvin")).hits.size(), 1U);
        EXPECT_EQ(run(request("strasse")).hits.size(), 1U);
        EXPECT_EQ(run(request("fo")).hits.size(), 1U);
        EXPECT_EQ(run(request(" quick ")).hits.size(), 1U);
        const std::pair<const char*, std::size_t> alternatives[] = {
            {"zyzzyva|quick", 2}, {"zyzzyva|kelvin", 1}, {"zyzzyva|fo", 1}, {"zyzzyva|f\u00fcchs", 1}};
        for (const auto& [pattern, hits] : alternatives) {
            TextSearchRequest regex = request(pattern);
            regex.rule.mode = TextMatchMode::regex;
            EXPECT_EQ(run(regex).hits.size(), hits) << pattern;
        }
        TextSearchRequest sensitive = request("kelvin");
        sensitive.rule.caseSensitive = true;
        EXPECT_EQ(run(sensitive).hits.size(), 0U);
        if (round == 1) {  // by the index on disk alone
            engine().recordFilters({});
            engine_.reset();
        }
    }
    const TextSearchReport rare = run(request("zyzzyva"));
    EXPECT_EQ(rare.indexedSkips, 2U) << "those that hold no character that could be of this word";
    EXPECT_EQ(rare.scanned + rare.indexedSkips, 4U);
    EXPECT_TRUE(rare.finished);
}

TEST_F(TextSearchEngineTest, ADamagedIndexIsNoIndex)
{
    write("plain", "The quick brown fox");
    std::filesystem::create_directories(indexFolder());
    std::ofstream(indexFolder() / "search-index-v1.sqlite") << std::string(10'000, 'x');
    for (int round = 0; round < 2; ++round) {
        const TextSearchReport report = run(request("fox"));
        EXPECT_EQ(report.hits.size(), 1U);
        EXPECT_EQ(statusOf(report), "Complete for local content");
        engine().recordFilters({});
    }
    for (int start = 0; start < 2; ++start) {  // makes another one, and uses it
        engine_.reset();
        EXPECT_EQ(run(request("zyzzyva")).indexedSkips, start == 0 ? 0U : 1U);
        engine().recordFilters({});
    }
}

TEST_F(TextSearchEngineTest, WhatCannotBeReadIsReportedAndTheRestIsSearched)
{
    write("sound", "word");
    const Uuid damaged = write("damaged", "another word");
    store_.execute("DELETE FROM chunks WHERE hash=(SELECT hash FROM revisions WHERE document_id=?)", {damaged.text()});
    TextSearchRequest large = request("word");
    const std::string text(16'777'217, ' ');
    for (const auto& [title, size] : {std::pair("fits", 16'777'216), {"exceeds", 16'777'217}}) {
        TextSearchOverlay overlay;
        overlay.document = {Uuid::random(), title, {}};
        overlay.text = std::make_shared<StringSource>(std::string_view(text).substr(0, static_cast<std::size_t>(size)));
        overlay.utf16Units = static_cast<std::size_t>(size);
        large.overlays.push_back(overlay);
    }
    TextSearchReport report = run(large);
    EXPECT_EQ(places(report), Places{"sound:1:1"});
    std::vector<std::string> issues = texts(report.issues);
    std::ranges::sort(issues);
    ASSERT_EQ(issues.size(), 2U);
    EXPECT_EQ(issues[0], "Large file requires the 128 MiB search option: exceeds");
    EXPECT_EQ(issues[1], RecoveryError(RecoveryError::Case::missingContent).what());
    EXPECT_EQ(statusOf(report), "Incomplete · see reported problems");
    large.rule.largeFiles = true;
    EXPECT_EQ(run(large).issues.size(), 1U);
}

// A document that is found while it is typed is found once it is stored.
TEST_F(TextSearchEngineTest, StoredTextsCountByUnitsToo)
{
    std::string wide;
    while (wide.size() <= 16'777'216)
        wide += "漢字";
    write("wide", wide + "needle");
    write("narrow", "needle" + std::string(16'777'216, ' '));
    const TextSearchReport report = run(request("needle"));
    EXPECT_EQ(places(report), Places{"wide:1:" + std::to_string(wide.size() / 3 + 1)});
    EXPECT_EQ(texts(report.issues), Places{"Large file requires the 128 MiB search option: narrow"});
}

TEST_F(TextSearchEngineTest, OpenTextsCountInsteadOfStoredOnes)
{
    const Uuid document = write("stored", "the old text");
    write("other", "an old text");
    TextSearchRequest search = request("old");
    search.overlays.push_back({{document, "stored", {}}, std::make_shared<StringSource>("the new text"), 12});
    EXPECT_EQ(places(run(search)), Places{"other:1:4"});
    search.rule.query = "new";
    const TextSearchReport report = run(search);
    EXPECT_EQ(places(report), Places{"stored:1:5"});
    EXPECT_TRUE(report.groups[0].source->isUnsaved);
    EXPECT_EQ(run(request("new")).hits.size(), 0U);

    // Listed while they are open, and not a moment longer.
    const Uuid discarded = write("gone", "a discarded text");
    documents_.discard(discarded);
    search = request("discarded|draft");
    search.rule.mode = TextMatchMode::regex;
    search.rule.field = TextSearchField::both;
    search.overlays.push_back({{discarded, "gone", {}}, std::make_shared<StringSource>("a discarded text"), 16});
    search.overlays.push_back({{Uuid::random(), "draft", {}}, std::make_shared<StringSource>("words"), 5});
    EXPECT_EQ(run(search).hits.size(), 2U);
    search.overlays[1].document.title = "renamed";
    EXPECT_EQ(places(run(search)), Places{"gone:1:3"});
    search.overlays.clear();
    EXPECT_EQ(places(run(search)), Places());

    file("open.txt", "on disk");
    search = request("edit", TextScopeKind::project);
    search.overlays.push_back({{document, "open.txt", (folder_.path() / "project/open.txt").string()},
                               std::make_shared<StringSource>("an edit"),
                               7});
    const TextSearchReport inFolder = run(search);
    EXPECT_EQ(places(inFolder), Places{"open.txt:1:4"});
    EXPECT_EQ(inFolder.groups[0].source->kind, TextSearchSource::Kind::file);
    EXPECT_EQ(inFolder.groups[0].source->document, document);
}

TEST_F(TextSearchEngineTest, NamesAndPaths)
{
    write("word list", "nothing here");
    write("nothing", "a word");
    TextSearchRequest search = request("word");
    search.rule.field = TextSearchField::namesAndPaths;
    TextSearchReport report = run(search);
    EXPECT_EQ(places(report), Places{"word list:1:1"});
    EXPECT_TRUE(report.hits[0].isInName);
    EXPECT_EQ(report.hits[0].text, "word list");
    EXPECT_EQ(report.bytesRead, 0U);
    search.rule.field = TextSearchField::both;
    EXPECT_EQ(run(search).hits.size(), 2U);

    // The path of a bound document ends with its title, but does not match where only the title begins.
    search = request("^notes|^/home");
    search.rule.field = TextSearchField::namesAndPaths;
    search.rule.mode = TextMatchMode::regex;
    search.overlays.push_back({{Uuid::random(), "notes.txt", "/srv/notes.txt"}, std::make_shared<StringSource>(""), 0});
    search.overlays.push_back({{Uuid::random(), "b.txt", "/home/b.txt"}, std::make_shared<StringSource>(""), 0});
    report = run(search);
    ASSERT_EQ(report.hits.size(), 2U);
    std::ranges::sort(report.hits, {}, &TextSearchHit::text);
    EXPECT_EQ(report.hits[0].text, "/home/b.txt");
    EXPECT_EQ(report.hits[1].text, "notes.txt");

    file("deep/word.txt", "x");
    search = request("DEEP/w", TextScopeKind::project);
    search.rule.field = TextSearchField::namesAndPaths;
    EXPECT_EQ(places(run(search)), Places{"deep/word.txt:1:1"});
}

TEST_F(TextSearchEngineTest, FilesOfAFolder)
{
    file("a.txt", "a word");
    file("sub/b.md", "no such\nword");
    file("sub/c.bin", std::string("word\0word", 9));
    file(".hidden", "word");
    std::filesystem::create_symlink("a.txt", folder_.path() / "project/link");
    TextSearchRequest search = request("word", TextScopeKind::project);
    TextSearchReport report = run(search);
    EXPECT_EQ(places(report), (Places{"a.txt:1:3", "sub/b.md:2:1"}));
    EXPECT_EQ(report.binarySkipped, 1U);
    EXPECT_EQ(texts(report.issues), Places());

    search.rule.includeHidden = true;
    EXPECT_EQ(run(search).hits.size(), 3U);
    search.rule.fileTypes = {"md"};
    EXPECT_EQ(places(run(search)), Places{"sub/b.md:2:1"});

    std::filesystem::remove_all(folder_.path() / "project");
    search.listsAnew = true;
    EXPECT_THROW(run(search), TextSearchError);
    const std::string folder = (folder_.path() / "project").string();
    EXPECT_EQ(engine().lastListing(folder)->files.folders(), (Places{folder, folder + "/sub"}));
}

TEST_F(TextSearchEngineTest, AFileThatCannotMatchIsNotOpened)
{
    TextSearchReport report;
    auto began = std::chrono::steady_clock::now();
    for (int tries = 0; tries < 20; ++tries) {  // a machine that stands still lets the files grow old
        began = std::chrono::steady_clock::now();
        age(file("old.txt", "nothing of interest"));
        file("fresh.txt", "nothing either");
        run(request("word", TextScopeKind::project));
        engine().recordFilters({});
        report = run(request("zyzzyva", TextScopeKind::project));
        if (std::chrono::steady_clock::now() - began < 1'900ms)
            break;
    }
    EXPECT_EQ(report.indexedSkips, 0U) << "the times of its inode are those of now";
    EXPECT_EQ(report.scanned, 2U);

    std::this_thread::sleep_for(2'100ms);
    run(request("word", TextScopeKind::project));
    engine().recordFilters({});
    report = run(request("zyzzyva", TextScopeKind::project));
    EXPECT_EQ(report.indexedSkips, 2U);
    EXPECT_EQ(report.bytesRead, 0U);

    TextSearchRequest either = request("zyzzyva|interest", TextScopeKind::project);
    either.rule.mode = TextMatchMode::regex;
    for (int round = 0; round < 3; ++round) {  // read, then kept
        report = run(either);
        EXPECT_EQ(places(report), Places{"old.txt:1:12"});
        EXPECT_EQ(report.indexedSkips, 1U);
    }
    std::ofstream(folder_.path() / "project/old.txt") << "a zyzzyva";
    EXPECT_EQ(places(run(either)), Places{"old.txt:1:3"});
    EXPECT_EQ(places(run(request("zyzzyva", TextScopeKind::project))), Places{"old.txt:1:3"});
}

TEST_F(TextSearchEngineTest, StopsSoonWhenAsked)
{
    const std::string text = std::string(30'000, 'a') + "\n";
    for (int number = 0; number < 400; ++number)
        write("n", text + std::to_string(number));
    TextSearchRequest search = request("(a+)+$");
    search.rule.mode = TextMatchMode::regex;
    std::stop_source stop;
    std::jthread asker([&] {
        std::this_thread::sleep_for(100ms);
        stop.request_stop();
    });
    const std::clock_t before = std::clock();
    const TextSearchReport report = run(search, stop.get_token());
    asker.join();
    EXPECT_TRUE(report.cancelled);
    EXPECT_LT(report.scanned, 400U);
    const double used = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    EXPECT_LT(used, 5) << "each of the 400 texts alone would take a quarter of a second";
    EXPECT_EQ(statusOf(report), "Stopped · Refresh to search again");
}

TEST_F(TextSearchEngineTest, APatternThatTakesTooLongIsReportedForEachText)
{
    write("slow", "found " + std::string(50'000, 'a') + "!");
    write("quick", "found");
    TextSearchRequest search = request("found|(a+)+$");
    search.rule.mode = TextMatchMode::regex;
    const TextSearchReport report = run(search);
    EXPECT_EQ(report.hits.size(), 2U) << "what was found before counts";
    EXPECT_EQ(texts(report.issues),
              Places{"This pattern exceeded its time budget. Simplify the regex; these results are incomplete."});
    EXPECT_EQ(report.issues[0].location, "slow");
    EXPECT_EQ(report.scanned, 2U);
}

TEST_F(TextSearchEngineTest, ApproximateOnly)
{
    write("n", "search serch search searchh");
    TextSearchRequest search = request("search");
    search.rule.mode = TextMatchMode::typoTolerant;
    search.rule.wholeWord = true;
    EXPECT_EQ(places(run(search)), (Places{"n:1:1", "n:1:14", "n:1:8", "n:1:21"}));
    search.approximateOnly = true;
    search.limit = 2;
    EXPECT_EQ(places(run(search)), (Places{"n:1:8", "n:1:21"}));
}

TEST_F(TextSearchEngineTest, RunsMayOverlapWithOneAnotherAndWithWriting)
{
    for (int number = 0; number < 200; ++number)
        write("n" + std::to_string(number), "word " + std::to_string(number));
    engine();
    std::atomic<std::size_t> least = SIZE_MAX;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&] {
                for (int round = 0; round < 5; ++round) {
                    const std::size_t hits = run(request("word")).hits.size();
                    std::size_t known = least;
                    while (hits < known && !least.compare_exchange_weak(known, hits)) {}
                }
            });
        }
        threads.emplace_back([&] {
            for (int number = 0; number < 30; ++number)
                write("late", "a word more");
        });
        threads.emplace_back([&] { engine().recordFilters({}); });
    }
    EXPECT_GE(least, 200U);
    EXPECT_EQ(run(request("word")).hits.size(), 230U);
}

}  // namespace
}  // namespace penmark
