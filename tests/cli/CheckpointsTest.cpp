// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionLibraryStore.h"
#include "organization/SessionVisits.h"

namespace penmark {
namespace {

class CheckpointsTest : public PenmarkctlTest {
protected:
    // The rows without identifiers and dates.
    std::string rows(Words words, const std::vector<std::size_t>& columns) const
    {
        std::string text;
        for (const std::string& row : split(output(std::move(words)))) {
            const auto fields = split(row, '\t');
            for (const std::size_t column : columns)
                text.append(column < fields.size() ? fields[column] : "").append(column == columns.back() ? "\n" : "|");
        }
        return text;
    }
};

TEST_F(CheckpointsTest, KeptNamedPinnedAndDeleted)
{
    const std::string id = line({"new", "--title", "notes"}, "text");
    line({"new"}, "other");
    const std::string all = line({"checkpoint", "keep"});
    const std::string named = line({"checkpoint", "keep", "Before\nthe move"});
    const std::string one = line({"checkpoint", "keep", "--document", id.substr(0, 8), "Draft"});
    EXPECT_EQ(column(output({"checkpoints"}), 0), one + "|" + named + "|" + all);
    EXPECT_EQ(rows({"checkpoints"}, {2, 3, 4}), "pinned|Draft|" + id + "\npinned|Before\\nthe move|\npinned||\n");

    EXPECT_EQ(output({"checkpoint", "unpin", all}), "");
    EXPECT_EQ(output({"checkpoint", "rename", all, "Later"}), "");
    EXPECT_EQ(output({"checkpoint", "rename", named, ""}), "");
    EXPECT_EQ(rows({"checkpoints"}, {2, 3}), "pinned|Draft\npinned|\nautomatic|Later\n");
    EXPECT_EQ(output({"checkpoint", "pin", all}), "");
    EXPECT_EQ(output({"checkpoint", "delete", one}), "");
    EXPECT_EQ(rows({"checkpoints"}, {2, 3}), "pinned|\npinned|Later\n");
    const std::string gone = "penmarkctl: Penmark could not complete the operation: There is no checkpoint " + one;
    for (const std::string action : {"show", "pin", "unpin", "delete", "restore"})
        EXPECT_EQ(failure({"checkpoint", action, one}), gone + ".\n");
    EXPECT_EQ(output({"verify"}), "ok\n");

    const auto records = split(output({"checkpoints", "--json"}));
    ASSERT_EQ(records.size(), 2u);
    const auto record = decodeRecord<SessionCheckpoint>(records[1]);
    EXPECT_EQ(record.id.text(), all);
    EXPECT_EQ(record.name, "Later");
    EXPECT_EQ(record.documents.size(), 2u);
}

TEST_F(CheckpointsTest, ShowsWhatHasChangedAndRestoresCopies)
{
    const std::string work = line({"session", "new", "--title", "Work"});
    line({"session", "new", "--title", "Nested", "--parent", work});
    const std::string same = line({"new", "--title", "a same"}, "same");
    const std::string changed = line({"new", "--title", "b changed"}, "before");
    const std::string discarded = line({"new", "--title", "c discarded"}, "away");
    const std::string kept = line({"checkpoint", "keep", "Monday"});
    line({"write", changed}, "after");
    output({"discard", discarded});
    output({"session", "delete", work});

    EXPECT_EQ(rows({"checkpoint", "show", kept}, {0, 3, 4, 5}),
              "document|unchanged|4|a same\ndocument|changed|6|b changed\ndocument|discarded|4|c discarded\n"
              "session|open|0|Work\nsession|open|0|Nested\n");
    const auto shown = split(split(output({"checkpoint", "show", kept}))[1], '\t');
    EXPECT_EQ(output({"cat", shown[1], "--revision", shown[2]}), "before");

    const std::string documentsBefore = output({"documents", "--all"});
    const auto restored = split(output({"checkpoint", "restore", kept}));
    ASSERT_EQ(restored.size(), 4u);
    EXPECT_EQ(column(restored[0], 0) + "|" + column(restored[0], 2), "session|Restored: Monday");
    EXPECT_EQ(column(restored[2], 0) + "|" + column(restored[2], 2), "document|b changed — restored copy");
    EXPECT_EQ(output({"cat", column(restored[2], 1)}), "before");
    EXPECT_EQ(output({"cat", changed}), "after");
    EXPECT_TRUE(output({"documents", "--all"}).ends_with(documentsBefore));
    EXPECT_EQ(rows({"sessions"}, {4}), "Nested\nRestored: Monday\nWork\nNested\n");

    const auto some = split(output({"checkpoint", "restore", kept, same.substr(0, 18), same}));
    ASSERT_EQ(some.size(), 1u);
    EXPECT_EQ(column(some[0], 2), "a same — restored copy");
    EXPECT_EQ(failure({"checkpoint", "restore", kept, same, column(some[0], 1)}),
              "penmarkctl: Penmark could not complete the operation: There is no document of this checkpoint " +
                  column(some[0], 1) + ".\n");
    EXPECT_EQ(split(output({"documents"})).size(), 6u);
    EXPECT_EQ(split(output({"sessions"})).size(), 4u);
    EXPECT_EQ(output({"verify"}), "ok\n");
}

TEST_F(CheckpointsTest, TheCalendarListsVisitsAndCheckpoints)
{
    line({"new"}, "text");
    std::string automatic;
    {
        const auto store = openLibrary();
        SessionLibraryStore visits(*store);
        const SessionLibrary stored = visits.load().library;
        SessionLibrary library = stored;
        const LocalDay first{"UTC", "2021-03-01", "09:12"};
        const Date started{636'282'720};  // 2021-03-01 09:12 UTC
        startRun(library, store->deviceID(), started);
        CheckpointStore checkpoints(*store, [&] { return started; });
        const auto kept = checkpoints.keepLibrary(library, std::nullopt, false);
        automatic = kept.id.text();
        enterDay(library, first, started, kept.id);
        finishRun(library, {started.seconds + 3600});
        startRun(library, store->deviceID(), {started.seconds + 7200});
        enterDay(library, first, {started.seconds + 7200}, Uuid::random());
        visits.save(stored, library);
    }
    const std::string pinned = line({"checkpoint", "keep", "Today"});
    ProgramCall inUtc = call({"calendar"});
    inUtc.environment.emplace_back("TZ", "UTC");
    const std::string calendar = runProgram(inUtc).output;
    EXPECT_EQ(column(calendar, 1), "checkpoint|visit|visit|checkpoint");
    EXPECT_EQ(column(calendar, 0).substr(10), "|2021-03-01|2021-03-01|2021-03-01");
    const auto days = split(calendar);
    EXPECT_EQ(column(days[0], 2), pinned);
    EXPECT_EQ(column(days[0], 4) + column(days[0], 5), "pinnedToday");
    EXPECT_EQ(column(days[1], 3), "11:12 · Recovered after interruption");
    EXPECT_EQ(column(days[2], 3), "09:12 – 10:12 · Finished");
    EXPECT_EQ(column(days[3], 2), automatic);
    EXPECT_EQ(column(days[3], 3) + column(days[3], 4), "09:12automatic");

    // The command line is no visit, and does not end one.
    const auto runs = split(output({"calendar", "--json"}));
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(decodeRecord<SessionRun>(runs[1]).status, RunStatus::running);
    EXPECT_EQ(output({"checkpoint", "delete", automatic}), "");
    const auto expired = decodeRecord<SessionRun>(split(output({"calendar", "--json"})).front());
    ASSERT_EQ(expired.days.size(), 1u);
    EXPECT_TRUE(expired.days[0].expired);
}

}  // namespace
}  // namespace penmark
