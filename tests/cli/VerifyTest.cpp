// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Sha256.h"
#include "cli/PenmarkctlTest.h"

#include <sqlite3.h>

namespace penmark {
namespace {

// Writes behind the library's back, as a fault of the disk would; foreign keys are not looked at.
void damage(const std::string& library, const std::string& sql)
{
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((library + "/recovery.sqlite").c_str(), &database), SQLITE_OK);
    char* message = nullptr;
    ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
    EXPECT_TRUE(sqlite3_total_changes(database) > 0 || sql.starts_with("DROP")) << sql;
    sqlite3_close(database);
}

class VerifyTest : public PenmarkctlTest {
protected:
    VerifyTest()
    {
        std::string text;
        for (int i = 0; text.size() < 150'000; ++i)
            text += std::to_string(i) + "\n";
        hash = sha256(text);
        chunk = sha256(text.substr(65'536, 65'536));
        id = line({"new", "--title", "large"}, text);
        large = column(output({"history", id}), 0);
        head = line({"write", id}, "small");
        checkpoint = line({"checkpoint", "keep"});
    }

    std::string id;
    std::string large;  ///< the revision that holds a text of three chunks
    std::string head;
    std::string checkpoint;  ///< that covers it
    std::string hash;        ///< of that text
    std::string chunk;
};

TEST_F(VerifyTest, NamesEachDamagedItem)
{
    const std::string other = "00000000-0000-4000-8000-000000000000";
    const std::string textLost =
        "text " + hash + ": " + missingContent + " Used by revision " + large + " of document " + id + ".\n";
    const std::string smallLost =
        "text " + sha256("small") + ": " + missingContent + " Used by revision " + head + " of document " + id + ".\n";
    struct {
        std::string sql;
        std::string reported;
    } const cases[] = {
        // One byte in the middle of a compressed chunk.
        {"UPDATE chunks SET body=CAST(substr(body,1,999)||(CASE substr(body,1000,1) WHEN x'00' THEN x'01' ELSE x'00' "
         "END)||substr(body,1001) AS BLOB) WHERE hash='" +
             chunk + "'",
         textLost},
        {"DELETE FROM chunks WHERE hash='" + chunk + "'", textLost},
        {"DELETE FROM content WHERE hash='" + hash + "'", textLost},
        {"UPDATE content SET body='[' WHERE hash='" + hash + "'", textLost},
        {"UPDATE content SET body=replace(CAST(body AS TEXT),'\"" + chunk + "\",','') WHERE hash='" + hash + "'",
         textLost},
        {"UPDATE documents SET json='{'", "document " + id + ": the record is not valid JSON\n"},
        {"UPDATE documents SET json=replace(CAST(json AS TEXT),'\"title\"','\"tilte\"')",
         "document " + id + ": “title” is missing\n"},
        {"UPDATE documents SET json=replace(CAST(json AS TEXT),'" + head + "','" + other + "')",
         "document " + id + ": its newest revision " + other + " is missing\n"},
        {"UPDATE documents SET id='" + other + "'",
         "document " + other + ": its record is that of " + id + "\ndocument " + other + ": its newest revision " +
             head + " belongs to document " + id + "\ndocument " + id + ": it is missing, and has 2 revisions\n"},
        {"DELETE FROM documents", "document " + id + ": it is missing, and has 2 revisions\n"},
        {"UPDATE documents SET json=replace(CAST(json AS TEXT),'\"head\":','\"was\":')",
         "document " + id + ": it has revisions, and its record names none as the newest\n"},
        {"UPDATE revisions SET json=replace(CAST(json AS TEXT),'\"createdAt\":','\"createdAt\":\"\",\"was\":') WHERE "
         "id='" +
             large + "'",
         "revision " + large + ": “createdAt” is not a number\n"},
        {"UPDATE revisions SET hash='" + hash + "' WHERE id='" + head + "'",
         "revision " + head + ": its record names another text\n"},
        {"UPDATE revisions SET hash='00' WHERE id='" + head + "'",
         "revision " + head + ": its record names another text\ntext 00: " + missingContent + " Used by revision " +
             head + " of document " + id + ".\n"},
        {"INSERT INTO windows VALUES('" + other + "','{\"id\":\"" + other + "\"}')",
         "window " + other + ": “documents” is missing\n"},
        {"INSERT INTO library_items VALUES('session','" + other + "','{\"id\":\"" + other + "\"}')",
         "session " + other + ": “createdAt” is missing\n"},
        {"INSERT INTO library_items VALUES('later kind','" + other + "','{')",
         "item " + other + ": the record is not valid JSON\n"},
        {"UPDATE checkpoints SET json=replace(CAST(json AS TEXT),'\"pinned\":true','\"pinned\":1')",
         "checkpoint " + checkpoint + ": “pinned” is neither true nor false\n"},
        {"DELETE FROM checkpoint_revisions WHERE revision_id='" + head + "'",
         "checkpoint " + checkpoint + ": it does not protect revision " + head + "\n"},
        {"INSERT INTO search_views VALUES('" + other + "','no JSON')",
         "view " + other + ": the record is not valid JSON\n"},
        {"INSERT INTO checkpoint_revisions VALUES('gone','" + head + "')",
         "checkpoint_revisions row 2: what it refers to in checkpoints is missing\n"},
        {"INSERT INTO chunks VALUES('00',x'00')", "chunk 00: It is damaged. No text uses it.\n"},
        {"UPDATE chunks SET body=(SELECT body FROM chunks WHERE hash='" + chunk + "') WHERE hash='" + sha256("small") +
             "'",
         smallLost},
    };
    const std::string sound = get("library/recovery.sqlite");
    for (const auto& [sql, reported] : cases) {
        SCOPED_TRACE(sql);
        damage(library(), sql);
        const std::string before = get("library/recovery.sqlite");
        const ProgramResult result = run({"verify"});
        EXPECT_EQ(result.output, reported);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(get("library/recovery.sqlite"), before) << "it has changed something";
        put("library/recovery.sqlite", sound);
        EXPECT_EQ(output({"verify"}), "ok\n");
    }
}

// What opening makes anew is reported once, by whoever opens the library to look for damage.
TEST_F(VerifyTest, NamesWhatOpeningHadToMakeAnew)
{
    const std::string sound = get("library/recovery.sqlite");
    struct {
        std::string sql;
        std::string reported;
    } const cases[] = {
        {"DROP TABLE outbox", "database: table outbox was missing and is new now\n"},
        {"DELETE FROM metadata", "database: the library's identity was missing and is new now\n"},
        {"UPDATE metadata SET value='x'", "database: the library's identity was missing and is new now\n"},
    };
    for (const auto& [sql, reported] : cases) {
        SCOPED_TRACE(sql);
        damage(library(), sql);
        const ProgramResult result = run({"verify"});
        EXPECT_EQ(result.output, reported);
        EXPECT_EQ(result.status, 1);
        put("library/recovery.sqlite", sound);
    }
    // A database without anything in it is not taken for a new library.
    for (const std::size_t size : {0U, 1U, 99U}) {
        put("library/recovery.sqlite", sound.substr(0, size));
        for (const char* command : {"verify", "documents"})
            EXPECT_NE(failure({command}).find("is empty or was cut off"), std::string::npos);
        EXPECT_EQ(get("library/recovery.sqlite").size(), size);
    }
}

// Damage below the rows: whatever page is overwritten, the check ends with a report, a refusal or a sound library.
TEST_F(VerifyTest, SurvivesOverwrittenPages)
{
    const std::string sound = get("library/recovery.sqlite");
    constexpr std::size_t pageSize = 4096;
    int reported = 0;
    for (std::size_t page = 1; page < sound.size() / pageSize; ++page) {
        SCOPED_TRACE(page);
        std::string bytes = sound;
        for (std::size_t i = 0; i < pageSize; i += 7)
            bytes[page * pageSize + i] = static_cast<char>(bytes[page * pageSize + i] ^ 0x5A);
        put("library/recovery.sqlite", bytes);
        const ProgramResult result = run({"verify"});
        const bool isOk = result.status == 0 && result.output == "ok\n";
        const bool isReported = result.status == 1 && !result.errors.empty();
        EXPECT_TRUE(isOk || isReported) << result.status << result.output << result.errors;
        reported += isReported ? 1 : 0;
    }
    EXPECT_GT(reported, 20);
}

TEST_F(VerifyTest, OtherCommandsTellOfDamageWithTheFixedSentence)
{
    damage(library(), "DELETE FROM chunks WHERE hash='" + chunk + "'");
    EXPECT_EQ(failure({"cat", id, "--revision", large}), std::string("penmarkctl: ") + missingContent + "\n");
    EXPECT_EQ(output({"cat", id}), "small");

    // A record that has lost its newest revision is no empty document.
    const std::string sound = get("library/recovery.sqlite");
    damage(library(), "UPDATE documents SET json=replace(CAST(json AS TEXT),'\"head\":','\"was\":')");
    EXPECT_EQ(failure({"cat", id}), std::string("penmarkctl: ") + missingContent + "\n");
    put("library/recovery.sqlite", sound);

    // The sizes of the others are still listed.
    damage(library(), "UPDATE content SET body='[' WHERE hash='" + hash + "'");
    const ProgramResult result = run({"history", id});
    EXPECT_EQ(column(result.output, 2), "5|-");
    EXPECT_EQ(result.errors, "penmarkctl: revision " + large + ": " + missingContent + "\n");
    EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace penmark
