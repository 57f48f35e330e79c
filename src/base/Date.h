// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <functional>
#include <string>

namespace penmark {

/// A moment, as records store it: seconds since 2001-01-01 00:00:00 UTC. A double resolves 0.12 microseconds until
/// the year 2035 and 0.24 until 2069.
struct Date {
    double seconds = 0;

    static Date now();

    /// Seconds and nanoseconds since 1970, as the kernel reports them.
    static Date fromUnix(long long unixSeconds, long nanoseconds);

    /// Local time as "2026-03-01 14:02:11".
    std::string localText() const;

    friend auto operator<=>(const Date&, const Date&) = default;
};

/// Where a class gets the time from, so that a test can hold it.
using Clock = std::function<Date()>;

}  // namespace penmark
