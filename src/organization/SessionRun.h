// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"

namespace penmark {

/// A calendar day that a visit has touched.
struct SessionDay {
    Uuid id;
    Date date;               ///< when the day was entered
    std::string timeZoneID;  ///< such as "Europe/Berlin", in force then
    std::string dayKey;      ///< the local day, "2026-03-01"
    std::optional<Uuid> checkpointID;
    bool expired = false;  ///< its checkpoint has been removed
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = SessionDay;
        return std::tuple{field("id", &R::id),
                          field("date", &R::date),
                          field("timeZoneID", &R::timeZoneID),
                          field("dayKey", &R::dayKey),
                          field("checkpointID", &R::checkpointID),
                          field("expired", &R::expired)};
    }
    friend bool operator==(const SessionDay&, const SessionDay&) = default;
};

enum class RunStatus {
    running,
    finished,   ///< ended as it should
    recovered,  ///< found running at the next start: it was interrupted
};

constexpr auto storedWords(RunStatus)
{
    return std::array{std::pair{RunStatus::running, std::string_view("running")},
                      std::pair{RunStatus::finished, std::string_view("finished")},
                      std::pair{RunStatus::recovered, std::string_view("recovered")}};
}

/// A visit: from a start of the program to its end, on one computer. A row of kind "run".
struct SessionRun {
    Uuid id;
    Uuid deviceID;
    Date startedAt;
    std::optional<Date> endedAt;
    RunStatus status = RunStatus::running;
    std::vector<SessionDay> days;
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = SessionRun;
        return std::tuple{
            field("id", &R::id),           field("deviceID", &R::deviceID), field("startedAt", &R::startedAt),
            field("endedAt", &R::endedAt), field("status", &R::status),     field("days", &R::days)};
    }
    friend bool operator==(const SessionRun&, const SessionRun&) = default;
};

}  // namespace penmark
