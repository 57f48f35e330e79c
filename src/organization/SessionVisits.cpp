// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionVisits.h"

#include <algorithm>

namespace penmark {

namespace {

constexpr double secondsADay = 86'400;

const SessionRun* currentRun(const SessionLibrary& library)
{
    return library.settings.currentRunID ? library.runs.find(*library.settings.currentRunID) : nullptr;
}

// When the visit ended; of an interrupted one, when it was last heard of. Absent while it runs.
std::optional<Date> endOf(const SessionRun& run)
{
    if (run.endedAt || run.status == RunStatus::running)
        return run.endedAt;
    return run.days.empty() ? run.startedAt : std::max(run.startedAt, run.days.back().date);
}

}  // namespace

std::optional<SessionRun> startRun(SessionLibrary& library, const Uuid& deviceID, Date now)
{
    std::vector<Uuid> interrupted;
    for (const SessionRun& run : library.runs) {
        if (run.deviceID == deviceID && run.status == RunStatus::running)
            interrupted.push_back(run.id);
    }
    SessionRun started;
    started.id = Uuid::random();
    started.deviceID = deviceID;
    started.startedAt = now;

    std::optional<SessionRun> latest;
    for (const Uuid& id : interrupted) {
        library.runs.change(id, [](SessionRun& run) { run.status = RunStatus::recovered; });
        const SessionRun& run = *library.runs.find(id);
        if (!latest || latest->startedAt <= run.startedAt)
            latest = run;
    }
    library.settings.currentRunID = started.id;
    library.runs.put(std::move(started));
    return latest;
}

void finishRun(SessionLibrary& library, Date now)
{
    if (const SessionRun* const run = currentRun(library)) {
        library.runs.change(run->id, [&](SessionRun& finished) {
            finished.endedAt = now;
            finished.status = RunStatus::finished;
        });
    }
    library.settings.currentRunID.reset();
}

bool isNewDay(const SessionLibrary& library, const LocalDay& day)
{
    const SessionRun* const run = currentRun(library);
    return run != nullptr && std::none_of(run->days.begin(), run->days.end(),
                                          [&](const SessionDay& known) { return known.dayKey == day.dayKey; });
}

void enterDay(SessionLibrary& library, const LocalDay& day, Date now, const Uuid& checkpointID)
{
    if (!isNewDay(library, day))
        return;
    SessionDay entered;
    entered.id = Uuid::random();
    entered.date = now;
    entered.timeZoneID = day.timeZoneID;
    entered.dayKey = day.dayKey;
    entered.checkpointID = checkpointID;
    library.runs.change(currentRun(library)->id, [&](SessionRun& run) { run.days.push_back(std::move(entered)); });
}

void expireCheckpoint(SessionLibrary& library, const Uuid& checkpointID)
{
    const auto names = [id = checkpointID](const SessionDay& day) { return day.checkpointID == id; };
    std::vector<Uuid> concerned;
    for (const SessionRun& run : library.runs) {
        if (std::any_of(run.days.begin(), run.days.end(), names))
            concerned.push_back(run.id);
    }
    for (const Uuid& id : concerned) {
        library.runs.change(id, [&](SessionRun& run) {
            for (SessionDay& day : run.days)
                day.expired = day.expired || names(day);
        });
    }
}

void trimRuns(SessionLibrary& library, const std::function<bool(const Uuid& checkpointID)>& exists, Date now)
{
    const double earliest = now.seconds - runDaysKept * secondsADay;
    std::vector<Uuid> old;
    for (const SessionRun& run : library.runs) {
        const auto end = endOf(run);
        if (end && end->seconds < earliest && std::none_of(run.days.begin(), run.days.end(), [&](const auto& day) {
                return day.checkpointID && exists(*day.checkpointID);
            }))
            old.push_back(run.id);
    }
    std::sort(old.begin(), old.end());
    library.runs.removeIf([&](const SessionRun& run) { return std::binary_search(old.begin(), old.end(), run.id); });
}

}  // namespace penmark
