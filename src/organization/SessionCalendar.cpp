// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionCalendar.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>

namespace penmark {

namespace {

// The day is said where it is not the one that the visit is listed under: it began before midnight.
std::string visitTime(const SessionRun& run, std::string_view dayKey, const LocalCalendar& calendar)
{
    const LocalDay start = calendar(run.startedAt);
    std::string time = start.dayKey == dayKey ? start.time : start.dayKey + " " + start.time;
    if (!run.endedAt)
        return time;
    const LocalDay end = calendar(*run.endedAt);
    return time + " – " + (end.dayKey == dayKey ? end.time : end.dayKey + " " + end.time);
}

}  // namespace

std::string_view visitLabel(const SessionRun& run, const std::optional<Uuid>& currentRun)
{
    switch (run.status) {
    case RunStatus::running:
        return run.id == currentRun ? "Current visit" : "Running on another computer";
    case RunStatus::finished:
        return "Finished";
    case RunStatus::recovered:
        return "Recovered after interruption";
    }
    return {};
}

SessionCalendar sessionCalendar(const SessionLibrary& library, std::span<const CheckpointHeader> headers,
                                const LocalCalendar& calendar)
{
    std::unordered_set<Uuid> present;
    for (const CheckpointHeader& header : headers)
        present.insert(header.id);

    std::map<std::string, CalendarDay, std::greater<>> days;
    std::unordered_map<Uuid, std::string> automatic;  // the days of those checkpoints
    for (const SessionRun& run : library.runs) {
        const std::string_view label = visitLabel(run, library.settings.currentRunID);
        for (const SessionDay& day : run.days) {
            CalendarVisit visit{run.id, run.startedAt, run.endedAt, {}, {}, day.expired};
            visit.label = visitTime(run, day.dayKey, calendar).append(" · ").append(label);
            if (day.checkpointID && present.contains(*day.checkpointID)) {
                visit.checkpoint = day.checkpointID;
                visit.expired = false;
                automatic.emplace(*day.checkpointID, day.dayKey);
            } else if (day.checkpointID) {
                visit.expired = true;
            }
            days[day.dayKey].visits.push_back(std::move(visit));
        }
        if (run.days.empty()) {  // it has not taken a checkpoint, or had nothing to take one of
            const std::string dayKey = calendar(run.startedAt).dayKey;
            CalendarVisit visit{run.id, run.startedAt, run.endedAt, {}, {}, false};
            visit.label = visitTime(run, dayKey, calendar).append(" · ").append(label);
            days[dayKey].visits.push_back(std::move(visit));
        }
    }
    for (const CheckpointHeader& header : headers) {
        LocalDay taken = calendar(header.createdAt);
        const auto day = automatic.find(header.id);
        const bool isAutomatic = day != automatic.end();
        days[isAutomatic ? day->second : taken.dayKey].checkpoints.push_back(
            {header, std::move(taken.time), isAutomatic});
    }

    SessionCalendar result;
    for (auto& [key, day] : days) {
        day.dayKey = key;
        std::stable_sort(
            day.visits.begin(), day.visits.end(),
            [](const CalendarVisit& one, const CalendarVisit& other) { return one.startedAt > other.startedAt; });
        result.days.push_back(std::move(day));
    }
    return result;
}

const CalendarDay* SessionCalendar::find(std::string_view dayKey) const
{
    const auto found =
        std::find_if(days.begin(), days.end(), [&](const CalendarDay& day) { return day.dayKey == dayKey; });
    return found == days.end() ? nullptr : &*found;
}

}  // namespace penmark
