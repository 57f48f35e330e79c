// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Date.h"

#include <array>
#include <cmath>
#include <ctime>

namespace penmark {

namespace {

constexpr long long referenceInUnixSeconds = 978'307'200;  // 2001-01-01 00:00:00 UTC

}

Date Date::now()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return fromUnix(time.tv_sec, time.tv_nsec);
}

Date Date::fromUnix(long long unixSeconds, long nanoseconds)
{
    return {static_cast<double>(unixSeconds - referenceInUnixSeconds) + static_cast<double>(nanoseconds) * 1e-9};
}

std::string Date::localText() const
{
    // A damaged record may hold any number; localtime_r takes years that fit an int.
    if (!(std::abs(seconds) < 1e12))
        return "unknown date";
    const auto unixSeconds =
        static_cast<std::time_t>(std::floor(seconds) + static_cast<double>(referenceInUnixSeconds));
    std::tm parts{};
    std::array<char, 64> text{};
    if (localtime_r(&unixSeconds, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts) == 0)
        return "unknown date";
    return text.data();
}

}  // namespace penmark
