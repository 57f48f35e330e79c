// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionVisits.h"

#include <cstdlib>
#include <set>

#include <gtest/gtest.h>

namespace penmark {

namespace {

constexpr Date now{700'000'000};
constexpr double aDay = 86'400;

TEST(SessionVisitsTest, AnInterruptedVisitIsFoundAtTheNextStart)
{
    SessionLibrary library;
    const Uuid here = Uuid::random();
    const Uuid elsewhere = Uuid::random();
    EXPECT_FALSE(startRun(library, elsewhere, now));
    EXPECT_FALSE(startRun(library, here, now));
    const Uuid interrupted = *library.settings.currentRunID;
    const auto recovered = startRun(library, here, {now.seconds + 10});
    ASSERT_TRUE(recovered);
    EXPECT_EQ(recovered->id, interrupted);
    EXPECT_EQ(recovered->status, RunStatus::recovered);
    EXPECT_FALSE(recovered->endedAt);
    EXPECT_TRUE(*library.runs.find(interrupted) == *recovered);
    EXPECT_EQ(library.runs.begin()->status, RunStatus::running) << "another computer's visit goes on";

    const Uuid last = *library.settings.currentRunID;
    finishRun(library, {now.seconds + 20});
    finishRun(library, {now.seconds + 30});
    EXPECT_EQ(library.runs.find(last)->status, RunStatus::finished);
    EXPECT_EQ(library.runs.find(last)->endedAt, Date{now.seconds + 20});
    EXPECT_FALSE(startRun(library, here, {now.seconds + 40}));
}

TEST(SessionVisitsTest, EntersEachDayOncePerVisit)
{
    SessionLibrary library;
    const LocalDay first{"Europe/Berlin", "2026-03-01", "23:59"};
    const LocalDay second{"Europe/Berlin", "2026-03-02", "00:00"};
    EXPECT_FALSE(isNewDay(library, first)) << "no visit";
    startRun(library, Uuid::random(), now);
    const Uuid checkpoint = Uuid::random();
    for (const LocalDay& day : {first, second}) {
        EXPECT_TRUE(isNewDay(library, day));
        enterDay(library, day, now, checkpoint);
        enterDay(library, day, now, Uuid::random());
        EXPECT_FALSE(isNewDay(library, {"Asia/Tokyo", day.dayKey, "12:00"})) << "the same day in another zone";
    }
    const Uuid run = *library.settings.currentRunID;
    ASSERT_EQ(library.runs.find(run)->days.size(), 2u);
    expireCheckpoint(library, Uuid::random());
    EXPECT_FALSE(library.runs.find(run)->days[0].expired);
    expireCheckpoint(library, checkpoint);
    EXPECT_TRUE(library.runs.find(run)->days[0].expired && library.runs.find(run)->days[1].expired);
    startRun(library, Uuid::random(), now);
    EXPECT_TRUE(isNewDay(library, second)) << "another visit";
}

TEST(SessionVisitsTest, TrimsOldVisitsWithoutCheckpoints)
{
    const Uuid kept = Uuid::random();
    const Uuid gone = Uuid::random();
    const double old = now.seconds - 401 * aDay;
    struct Case {
        std::string name;
        RunStatus status;
        double startedAt;
        std::optional<Date> endedAt;
        std::vector<std::pair<double, Uuid>> days;
        bool stays;
    };
    const std::vector<Case> cases{
        {"old", RunStatus::finished, old - 9, Date{old}, {{old, gone}}, false},
        {"recent", RunStatus::finished, old, Date{old + 2 * aDay}, {{old, gone}}, true},
        {"old with a checkpoint", RunStatus::finished, old - 9, Date{old}, {{old, gone}, {old, kept}}, true},
        {"running elsewhere", RunStatus::running, old, {}, {}, true},
        {"interrupted long ago", RunStatus::recovered, old, {}, {}, false},
        {"interrupted recently", RunStatus::recovered, old, {}, {{old, gone}, {old + 2 * aDay, gone}}, true},
    };
    SessionLibrary library;
    for (const Case& one : cases) {
        SessionRun run;
        run.id = Uuid::random();
        run.startedAt = {one.startedAt};
        run.endedAt = one.endedAt;
        run.status = one.status;
        for (const auto& [date, checkpoint] : one.days)
            run.days.push_back({Uuid::random(), {date}, "UTC", one.name, checkpoint, false, {}});
        library.runs.put(run);
    }
    const auto all = library.runs.items();
    trimRuns(
        library, [&](const Uuid& checkpoint) { return checkpoint == kept; }, now);
    for (std::size_t at = 0; at < cases.size(); ++at)
        EXPECT_EQ(library.runs.contains(all[at]->id), cases[at].stays) << cases[at].name;
}

TEST(LocalDayTest, FollowsTheTimeZone)
{
    const char* const before = std::getenv("TZ");
    const std::string kept = before == nullptr ? "" : before;
    const Date newYear = Date::fromUnix(1'767'225'540, 0);  // 2025-12-31 23:59:00 UTC
    struct Case {
        const char* zone;
        LocalDay day;
    };
    for (const Case& one : {Case{"UTC", {"UTC", "2025-12-31", "23:59"}}, Case{"", {"UTC", "2025-12-31", "23:59"}},
                            Case{"CET-1", {"CET-1", "2026-01-01", "00:59"}},
                            Case{":Europe/Berlin", {"Europe/Berlin", "2026-01-01", "00:59"}},
                            Case{"/usr/share/zoneinfo/America/New_York", {"America/New_York", "2025-12-31", "18:59"}},
                            Case{"Pacific/Kiritimati", {"Pacific/Kiritimati", "2026-01-01", "13:59"}}}) {
        setenv("TZ", one.zone, 1);
        const LocalDay day = systemLocalDay(newYear);
        EXPECT_EQ(day.timeZoneID + " " + day.dayKey + " " + day.time,
                  one.day.timeZoneID + " " + one.day.dayKey + " " + one.day.time);
    }
    unsetenv("TZ");
    EXPECT_FALSE(systemLocalDay(newYear).timeZoneID.empty());
    if (before != nullptr)
        setenv("TZ", kept.c_str(), 1);
}

}  // namespace

}  // namespace penmark
