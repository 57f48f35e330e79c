// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/LocalDay.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string_view>

#include <unistd.h>

namespace penmark {

namespace {

// "Europe/Berlin" of ":Europe/Berlin" or ".../zoneinfo/Europe/Berlin".
std::string zoneName(std::string_view name)
{
    constexpr std::string_view folder = "/zoneinfo/";
    if (name.starts_with(':'))
        name.remove_prefix(1);
    const std::size_t at = name.find(folder);
    if (at != std::string_view::npos)
        name.remove_prefix(at + folder.size());
    for (const std::string_view variant : {"posix/", "right/"}) {
        if (name.starts_with(variant))
            name.remove_prefix(variant.size());
    }
    return std::string(name);
}

std::string systemZone()
{
    std::array<char, 1024> target{};
    const ssize_t length = readlink("/etc/localtime", target.data(), target.size());
    if (length > 0) {
        const std::string_view path(target.data(), static_cast<std::size_t>(length));
        if (path.find("/zoneinfo/") != std::string_view::npos)
            return zoneName(path);
    }
    std::string name;
    std::ifstream("/etc/timezone") >> name;
    return zoneName(name);
}

std::string timeZoneID()
{
    const char* const chosen = std::getenv("TZ");
    std::string name = chosen != nullptr ? zoneName(chosen) : systemZone();
    if (name.starts_with('/'))  // a file that says nothing of the zone's name
        name = systemZone();
    return name.empty() ? "UTC" : name;
}

}  // namespace

LocalDay systemLocalDay(Date date)
{
    // Looks whether the zone has changed; what follows takes it as it found it.
    tzset();
    const std::string text = date.localText();  // "2026-03-01 14:02:11"
    const std::size_t space = text.find(' ');
    return {timeZoneID(), text.substr(0, space), text.substr(space + 1, 5)};
}

}  // namespace penmark
