// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionCalendar.h"

#include <cmath>

#include <gtest/gtest.h>

namespace penmark {
namespace {

// Hours since the beginning of 2026-03-01 UTC, seen from a zone so many hours ahead of it.
LocalCalendar zone(int ahead)
{
    return [ahead](Date date) {
        const int minutes = static_cast<int>(std::lround(date.seconds * 60)) + ahead * 60;
        const auto twoDigits = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
        return LocalDay{"", "2026-03-" + twoDigits(minutes / 1440 + 1),
                        twoDigits(minutes / 60 % 24) + ":" + twoDigits(minutes % 60)};
    };
}

SessionDay day(const std::string& key, std::optional<Uuid> checkpoint = {}, bool expired = false)
{
    return {Uuid::random(), {}, "", key, checkpoint, expired, {}};
}

std::vector<std::string> labels(const CalendarDay* day)
{
    std::vector<std::string> labels;
    for (const CalendarVisit& visit : day->visits)
        labels.push_back(visit.label);
    return labels;
}

std::string dump(const CalendarDay* day)
{
    std::string out;
    for (const CalendarCheckpoint& checkpoint : day->checkpoints)
        out += *checkpoint.header.name + (checkpoint.isAutomatic ? " automatic " : " ") + checkpoint.time + "; ";
    return out;
}

TEST(SessionCalendarTest, GroupsVisitsAndCheckpointsByTheDayThatWasEntered)
{
    const Uuid evening = Uuid::random(), midnight = Uuid::random(), kept = Uuid::random(), removed = Uuid::random();
    SessionLibrary library;
    library.runs.put({Uuid::random(), {}, {9.2}, Date{17.5}, RunStatus::finished, {day("2026-03-01", removed)}, {}});
    const SessionRun across{Uuid::random(),
                            {},
                            {22},
                            Date{25.5},
                            RunStatus::finished,
                            {day("2026-03-01", evening), day("2026-03-02", midnight)},
                            {}};
    library.runs.put(across);
    const SessionRun current{Uuid::random(), {}, {33}, {}, RunStatus::running, {day("2026-03-02")}, {}};
    library.runs.put(current);
    library.runs.put({Uuid::random(), {}, {30}, {}, RunStatus::running, {day("2026-03-02", {}, true)}, {}});
    library.runs.put({Uuid::random(), {}, {31}, {}, RunStatus::recovered, {day("2026-03-02")}, {}});
    library.runs.put({Uuid::random(), {}, {80}, {}, RunStatus::recovered, {}, {}});
    library.settings.currentRunID = current.id;
    const std::vector<CheckpointHeader> headers{{midnight, {24.1}, false, "midnight", {}},
                                                {kept, {23.75}, true, "kept", {}},
                                                {evening, {22.5}, false, "evening", {}}};

    const auto calendar = sessionCalendar(library, headers, zone(0));
    ASSERT_EQ(calendar.days.size(), 3u);
    EXPECT_EQ(calendar.days[1].dayKey, "2026-03-02");
    EXPECT_EQ(calendar.find("2026-03-03"), nullptr);
    EXPECT_EQ(labels(&calendar.days[0]), std::vector<std::string>{"08:00 · Recovered after interruption"})
        << "a visit without a checkpoint stands under the day on which it began";
    const CalendarDay* const second = calendar.find("2026-03-02");
    EXPECT_EQ(labels(second),
              (std::vector<std::string>{"09:00 · Current visit", "07:00 · Recovered after interruption",
                                        "06:00 · Running on another computer", "2026-03-01 22:00 – 01:30 · Finished"}));
    EXPECT_EQ(dump(second), "midnight automatic 00:06; ");
    EXPECT_EQ(second->visits[3].checkpoint, midnight);
    EXPECT_FALSE(second->visits[3].expired);
    EXPECT_TRUE(second->visits[2].expired);

    const CalendarDay* const first = calendar.find("2026-03-01");
    EXPECT_EQ(labels(first),
              (std::vector<std::string>{"22:00 – 2026-03-02 01:30 · Finished", "09:12 – 17:30 · Finished"}));
    EXPECT_EQ(dump(first), "kept 23:45; evening automatic 22:30; ");
    EXPECT_EQ(first->visits[0].run, across.id);
    EXPECT_TRUE(first->visits[1].expired) << "its checkpoint is not there";
    EXPECT_FALSE(first->visits[1].checkpoint);

    // Elsewhere the days that were entered stay what they were; what was kept by hand goes with the local day.
    const auto travelled = sessionCalendar(library, headers, zone(1));
    EXPECT_EQ(dump(travelled.find("2026-03-01")), "evening automatic 23:30; ");
    EXPECT_EQ(dump(travelled.find("2026-03-02")), "midnight automatic 01:06; kept 00:45; ");
    EXPECT_EQ(labels(travelled.find("2026-03-01"))[0], "23:00 – 2026-03-02 02:30 · Finished");
}

}  // namespace
}  // namespace penmark
