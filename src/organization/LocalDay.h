// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"

#include <functional>
#include <string>

namespace penmark {

/// A moment in a time zone.
struct LocalDay {
    std::string timeZoneID;  ///< such as "Europe/Berlin"; "UTC" if it is not known
    std::string dayKey;      ///< "2026-03-01"
    std::string time;        ///< "14:02"

    friend bool operator==(const LocalDay&, const LocalDay&) = default;
};

/// Where a class gets the day from, so that a test can hold it and move it to another zone.
using LocalCalendar = std::function<LocalDay(Date)>;

/// As the computer is set now: a change of its time zone counts at the next call. Some microseconds. Any thread.
LocalDay systemLocalDay(Date date);

}  // namespace penmark
