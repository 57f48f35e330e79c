// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchIndex.h"

#include "base/Sha256.h"
#include "base/SystemError.h"
#include "search/SearchCaches.h"
#include "storage/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

namespace penmark {

namespace {

using Answer = TextSearchIndex::Answer;

TextSearchRule literal(std::string query)
{
    TextSearchRule rule;
    rule.query = std::move(query);
    return rule;
}

/// Another connection to the database, as another process has one.
class Other {
public:
    explicit Other(const std::filesystem::path& file) { sqlite3_open(file.c_str(), &database_); }
    ~Other() { sqlite3_close(database_); }
    Other(const Other&) = delete;
    Other& operator=(const Other&) = delete;

    /// The first column of the last row; "error" if it fails.
    std::string ask(const std::string& sql)
    {
        std::string answer;
        const auto take = [](void* to, int, char** values, char**) {
            *static_cast<std::string*>(to) = values[0] != nullptr ? values[0] : "NULL";
            return 0;
        };
        return sqlite3_exec(database_, sql.c_str(), take, &answer, nullptr) == SQLITE_OK ? answer : "error";
    }
    std::string rows() { return ask("SELECT count(*) FROM filters"); }

private:
    sqlite3* database_ = nullptr;
};

/// Texts of few letters, so that words are often in them and often nearly.
std::string randomText(std::mt19937& random, std::size_t most)
{
    constexpr std::string_view letters = "abABcz[{@`\n 0";
    std::string text(random() % (most + 1), ' ');
    for (char& c : text)
        c = letters[random() % letters.size()];
    return text;
}

std::string lowered(std::string text)
{
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    return text;
}

}  // namespace

class TextSearchIndexTest : public testing::Test {
protected:
    std::filesystem::path file() const { return folder.path() / "cache/search-index-v1.sqlite"; }
    void open() { index = std::make_unique<TextSearchIndex>(folder.path() / "cache"); }
    void record(std::string_view key, std::string_view text) { index->record(key, text, {}); }
    Answer lookUp(std::string_view key, const std::string& query) { return index->lookUp(key, literal(query)); }

    template <class Call>
    std::string failureOf(Call call)
    {
        try {
            call();
        } catch (const TextSearchError& error) {
            return error.what();
        }
        return "none";
    }

    void SetUp() override { open(); }

    TemporaryFolder folder{TemporaryFolder::inMemory()};
    std::unique_ptr<TextSearchIndex> index;
};

// The bits are a stored format: these are worked out by hand.
TEST(TextFilterTest, SetsTheBitsOfTheFormat)
{
    TextFilter filter;
    EXPECT_TRUE(filter.addAscii("aBC", {}));
    TextFilter expected;
    for (const unsigned bit : {6505U, 1026U})
        expected.bits()[bit / 8] = static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(filter.bits(), expected.bits());
}

// Whatever texts and words: one that is there is never said to be absent, and the ways to make a filter agree. Lengths
// around the blocks in which a text is walked, with what is not ASCII on both sides of a cut.
TEST(TextFilterTest, IsNeverWrongAboutAWord)
{
    std::mt19937 random(7);
    int absences = 0;
    for (int round = 0; round < 3'000; ++round) {
        const std::string text = randomText(random, round % 50 == 0 ? 40'000 : 60);
        TextFilter filter;
        TextFilter any;
        ASSERT_TRUE(filter.addAscii(text, {}));
        any.addAsciiOf(text, {});
        ASSERT_EQ(filter.bits(), any.bits());
        for (int i = 0; i < 10; ++i) {
            const std::string word = randomText(random, 5);
            const bool isThere = lowered(text).find(lowered(word)) != std::string::npos;
            ASSERT_TRUE(filter.mayHold(word) || !isThere) << word << " in " << text;
            absences += filter.mayHold(word) ? 0 : 1;
        }
    }
    EXPECT_GT(absences, 5'000) << "it hardly ever helps";

    for (const std::size_t at : {0U, 1U, 2U, 100U, 16'382U, 16'383U, 16'384U, 16'385U, 20'000U}) {
        SCOPED_TRACE(at);
        std::string text = std::string(at, '-') + "q\u212axyz" + std::string(30'000, '-') + "tail";
        TextFilter any;
        any.addAsciiOf(text, {});
        EXPECT_TRUE(any.mayHold("XYZ") && any.mayHold("tail"));
        EXPECT_FALSE(any.mayHold("qxyz")) << "over what is left out";
        TextFilter filter;
        EXPECT_FALSE(filter.addAscii(text, {}));
        EXPECT_FALSE(filter.mayHold("xyz")) << "it ends at the first byte beyond ASCII";
        EXPECT_TRUE(at < 2 || filter.mayHold("--q"));
    }
    TextFilter empty;
    EXPECT_TRUE(empty.mayHold("ab") && empty.mayHold("") && !empty.mayHold("abc"));
    EXPECT_FALSE(TextFilter().addAscii("\xc3", {}));
}

TextKey keyOf(std::size_t number)
{
    return TextKey(sha256(std::to_string(number)));
}

TEST(TextKeyTest, IsADigestOrNothing)
{
    const std::string digest = sha256("text");
    EXPECT_EQ(TextKey(digest).text(), digest);
    EXPECT_EQ(TextKey(digest), TextKey(digest));
    EXPECT_NE(TextKey(digest), TextKey(sha256("other")));
    for (const std::string& text : {std::string(), digest.substr(1), digest + "0", std::string(64, 'g')})
        EXPECT_TRUE(TextKey(text).empty()) << text;
}

TEST(FilterCacheTest, KeepsWhatRunsAskForAndNoMoreThanItsLimit)
{
    FilterCache cache;
    const auto filter = std::make_shared<const KnownFilter>();
    const auto use = [&](std::size_t first, std::size_t behind) {
        cache.beginRun();
        std::size_t found = 0;
        for (std::size_t number = first; number < behind; ++number) {
            const TextKey key = keyOf(number);
            cache.find({&key, 1}, [&](std::size_t, const KnownFilter* known) { found += known ? 1 : 0; });
        }
        return found;
    };
    const auto put = [&](std::size_t first, std::size_t behind) {
        std::size_t kept = 0;
        for (std::size_t number = first; number < behind; ++number)
            kept += cache.put(keyOf(number), filter) ? 1 : 0;
        return kept;
    };
    constexpr std::size_t limit = FilterCache::limit;
    // Runs through more texts than there is room for find the same ones each time.
    for (int run = 0; run < 3; ++run) {
        EXPECT_EQ(use(0, limit + 5'000), run == 0 ? 0 : limit);
        put(0, limit + 5'000);
        EXPECT_EQ(cache.size(), limit);
    }
    // What they no longer ask for makes room, and what they do ask for stays.
    for (int run = 0; run < 3; ++run)
        EXPECT_EQ(use(0, 100), 100U);
    EXPECT_EQ(put(limit + 5'000, 2 * limit), limit - 5'000);
    EXPECT_EQ(cache.size(), limit);
    EXPECT_EQ(use(0, 100), 100U);
    EXPECT_EQ(use(limit + 5'000, 2 * limit), limit - 5'000);
}

TEST(TextCacheTest, KeepsWhatRunsUseEvenIfTheyReadItAnew)
{
    TextCache cache;
    const std::string large(TextCache::largest, 'x');
    cache.beginRun();
    cache.put(keyOf(0), large);
    cache.put(keyOf(1), large);
    cache.beginRun();
    cache.beginRun();
    cache.put(keyOf(0), large);
    std::size_t kept = 0;
    for (std::size_t number = 2; number < 40; ++number) {
        cache.put(keyOf(number), large);
        kept += cache.find(keyOf(number)) ? 1 : 0;
    }
    EXPECT_EQ(kept, TextCache::limit / TextCache::largest - 1);
    EXPECT_NE(cache.find(keyOf(0)), nullptr);
    EXPECT_EQ(cache.find(keyOf(1)), nullptr);
}

TEST_F(TextSearchIndexTest, AnswersByTheFilterOfAText)
{
    record("plain", "xaBcx and more");
    record("accent", "caf\u00e9 abc");
    record("", "under an empty key");
    EXPECT_EQ(lookUp("plain", "ABC"), Answer::possible);
    EXPECT_EQ(lookUp("plain", "abd"), Answer::absent);
    EXPECT_EQ(lookUp("plain", "ab"), Answer::unknown);
    EXPECT_EQ(lookUp("plain", "abd\u00e9"), Answer::unknown);
    EXPECT_EQ(lookUp("accent", "zzz"), Answer::unknown);
    EXPECT_EQ(lookUp("nobody", "zzz"), Answer::unknown);
    EXPECT_EQ(lookUp("", "zzz"), Answer::absent);
    // Blanks around a query are no part of the word, whatever script they are of; those inside are.
    for (const std::string blank : {" ", "\t\r\n", "\u00a0", "\u0085", "\u3000 ", "\u2009"}) {
        EXPECT_EQ(lookUp("plain", blank + "ABC" + blank), Answer::possible) << blank;
        EXPECT_EQ(lookUp("plain", blank + "ab" + blank), Answer::unknown) << blank;
        EXPECT_EQ(lookUp("plain", blank), Answer::unknown) << blank;
    }
    EXPECT_EQ(lookUp("plain", "a bc"), Answer::absent);
    for (const auto mode : {TextMatchMode::regex, TextMatchMode::normalized, TextMatchMode::typoTolerant}) {
        TextSearchRule rule = literal("zzz");
        rule.mode = mode;
        EXPECT_EQ(index->lookUp("plain", rule), Answer::unknown);
    }
    ASSERT_TRUE(index->filter("plain"));
    EXPECT_TRUE(index->filter("plain")->mayHold("ore") && !index->filter("plain")->mayHold("zzz"));
    EXPECT_FALSE(index->filter("accent") || index->filter("nobody"));
}

// What is in the file, read by other means, and that it survives; damage costs the row and nothing else.
TEST_F(TextSearchIndexTest, KeepsRowsOfTheFormat)
{
    struct stat status {};
    ASSERT_EQ(stat(file().parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
    record("plain", "some text");
    record("accent", "\u00e9");
    record("plain", "another text under the same key is not recorded");
    index.reset();
    Other other(file());
    EXPECT_EQ(other.ask("SELECT sql FROM sqlite_master WHERE name='filters'"),
              "CREATE TABLE filters(hash TEXT PRIMARY KEY, bits BLOB NOT NULL, touched INTEGER NOT NULL)");
    EXPECT_EQ(other.ask("SELECT hex(bits) FROM filters WHERE hash='accent'"), "00");
    EXPECT_EQ(other.ask("SELECT length(bits) FROM filters WHERE hash='plain'"), "2080");
    EXPECT_EQ(other.ask("SELECT abs(touched - strftime('%s','now')) < 60 FROM filters"), "1");
    TextFilter filter;
    filter.addAscii("some text", {});
    std::string digest = sha256({reinterpret_cast<const char*>(filter.bits().data()), filter.bits().size()});
    std::transform(digest.begin(), digest.end(), digest.begin(), [](unsigned char c) { return std::toupper(c); });
    EXPECT_EQ(other.ask("SELECT hex(substr(bits,2049)) FROM filters WHERE hash='plain'"), digest);

    open();
    EXPECT_EQ(lookUp("plain", "zzz"), Answer::absent);
    index.reset();
    const auto bitsWith = [&other](const std::string& change) {
        return other.ask("UPDATE filters SET bits=" + change + " WHERE hash='plain'");
    };
    for (const char* change : {"CAST(x'01' || substr(bits,2) AS BLOB)", "CAST(substr(bits,1,2079) || x'00' AS BLOB)",
                               "substr(bits,1,2079)", "zeroblob(2080)", "zeroblob(0)", "'text'"}) {
        SCOPED_TRACE(change);
        ASSERT_EQ(bitsWith(change), "");
        open();
        EXPECT_EQ(lookUp("plain", "zzz"), Answer::unknown);
        record("plain", "some text");
        EXPECT_EQ(lookUp("plain", "zzz"), Answer::unknown) << "a damaged row stays";
        index.reset();
    }
}

TEST_F(TextSearchIndexTest, CommitsEvery256RowsAndAtTheEnd)
{
    Other other(file());
    for (int i = 0; i < 255; ++i)
        record("key " + std::to_string(i), "text");
    EXPECT_EQ(other.rows(), "0");
    EXPECT_EQ(lookUp("key 0", "zzz"), Answer::absent) << "lookups see what is not committed yet";
    record("key 255", "text");
    EXPECT_EQ(other.rows(), "256");
    record("key 256", "text");
    record("key 256", "text");
    EXPECT_EQ(other.rows(), "256");
    index->commit();
    EXPECT_EQ(other.rows(), "257");
    record("key 257", "text");
    index.reset();
    EXPECT_EQ(other.rows(), "258");
}

TEST_F(TextSearchIndexTest, TrimsOnceBeforeTheRowsOfATransaction)
{
    Other other(file());
    ASSERT_EQ(other.ask("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<16100) "
                        "INSERT INTO filters SELECT 'old '||i, x'00', i FROM n"),
              "");
    for (std::size_t i = 0; i < TextSearchIndex::rowsOfTransaction; ++i)
        record("new " + std::to_string(i), "text");
    EXPECT_EQ(other.rows(), "16256");
    EXPECT_EQ(other.ask("SELECT min(touched) FROM filters"), "101");
    record("last", "text");
    index->commit();
    EXPECT_EQ(other.rows(), "16001");
    EXPECT_EQ(other.ask("SELECT min(touched) FROM filters"), "357");
    EXPECT_EQ(other.ask("SELECT count(*) FROM filters WHERE hash LIKE 'new %'"), "256");
}

// Another process reads or writes: the caller hears of it soon, and the index works again afterwards.
TEST_F(TextSearchIndexTest, FailsWhileOthersHoldTheDatabase)
{
    const std::string locked = "Search index unavailable: database is locked";
    Other other(file());
    const auto start = std::chrono::steady_clock::now();
    other.ask("BEGIN EXCLUSIVE");
    EXPECT_EQ(failureOf([&] { record("key", "text"); }), locked);
    EXPECT_EQ(failureOf([&] { lookUp("key", "zzz"); }), locked);
    EXPECT_EQ(failureOf([&] { TextSearchIndex second(file().parent_path()); }), locked);
    other.ask("COMMIT");
    record("key", "text");
    other.ask("BEGIN; SELECT count(*) FROM filters");
    EXPECT_EQ(failureOf([&] { index->commit(); }), locked);
    other.ask("COMMIT");
    EXPECT_EQ(lookUp("key", "zzz"), Answer::unknown) << "went with the transaction";
    record("key", "text");
    index->commit();
    EXPECT_EQ(other.rows(), "1");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// Pages of 512 bytes make the cap on their number one of 12 MiB.
TEST_F(TextSearchIndexTest, StopsAtTheLimitOfPagesAndKeepsItsRows)
{
    index.reset();
    std::filesystem::remove(file());
    Other other(file());
    other.ask("PRAGMA page_size=512; VACUUM");
    open();
    int count = 0;
    std::string failure = "none";
    for (; failure == "none" && count < 10'000; ++count)
        failure = failureOf([&] { record("key " + std::to_string(count), "text"); });
    EXPECT_EQ(failure, "Search index unavailable: database or disk is full");
    EXPECT_GT(count, 4'000);
    EXPECT_EQ(lookUp("key 0", "zzz"), Answer::absent);
    index->commit();
    const int committed = (count - 1) / 256 * 256;
    EXPECT_EQ(other.rows(), std::to_string(committed)) << "SQLite ends the transaction that found no room";
    EXPECT_EQ(lookUp("key " + std::to_string(committed - 1), "zzz"), Answer::absent);
    index->commit();
    ASSERT_EQ(other.ask("DELETE FROM filters WHERE hash<>'key 0'"), "");
    record("again", "text");
    index->commit();
    EXPECT_EQ(other.rows(), "2");
    EXPECT_EQ(other.ask("PRAGMA integrity_check"), "ok");
    EXPECT_LE(std::filesystem::file_size(file()), 24'576U * 512);
}

TEST_F(TextSearchIndexTest, CannotBeOpenedEverywhere)
{
    const auto failureIn = [this](const std::filesystem::path& place) {
        return failureOf([&] { TextSearchIndex other(place); });
    };
    EXPECT_EQ(failureIn(file()), "Search index unavailable: unable to open database file");
    index.reset();
    std::filesystem::resize_file(file(), 0);
    std::filesystem::resize_file(file(), 5'000);
    EXPECT_EQ(failureIn(file().parent_path()), "Search index unavailable: file is not a database");
    EXPECT_TRUE(failureIn("/proc/none").starts_with("Search index unavailable: /proc/none: "));
}

TEST_F(TextSearchIndexTest, StoresNothingWhenStopped)
{
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(index->record("key", "text", source.get_token()), Cancelled);
    EXPECT_EQ(lookUp("key", "zzz"), Answer::unknown);
    record("key", "text");
    EXPECT_EQ(lookUp("key", "zzz"), Answer::absent);
}

TEST_F(TextSearchIndexTest, IsUsedByManyThreads)
{
    std::vector<std::jthread> threads;
    for (int part = 0; part < 4; ++part) {
        threads.emplace_back([this, part] {
            for (int i = 0; i < 300; ++i) {
                const std::string key = std::to_string((i + part * 100) % 400);
                record(key, "text " + key);
                EXPECT_EQ(lookUp(key, "text"), Answer::possible);
                EXPECT_EQ(lookUp(key, "zzz"), Answer::absent);
            }
        });
    }
    threads.clear();
    index.reset();
    EXPECT_EQ(Other(file()).rows(), "400");
}

}  // namespace penmark
