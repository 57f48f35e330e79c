// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryConfiguration.h"

#include "base/FileDescriptor.h"
#include "base/SystemError.h"

#include <array>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

// The folder that a variable names; relative ones are ignored, as the base directory rules demand.
std::optional<fs::path> absolutePath(const Environment& environment, const std::string& name)
{
    const auto found = environment.find(name);
    if (found == environment.end() || !found->second.starts_with('/'))
        return std::nullopt;
    return found->second;
}

fs::path homeFolder(const Environment& environment)
{
    if (const auto home = absolutePath(environment, "HOME"))
        return *home;
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return entry.pw_dir;
    return "/";
}

// The value of XDG_DOCUMENTS_DIR="…" in user-dirs.dirs: an absolute path, or one below $HOME, with \-escapes.
std::optional<fs::path> documentsLine(std::string_view line, const fs::path& home)
{
    constexpr std::string_view beginning = "XDG_DOCUMENTS_DIR=\"";
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(beginning))
        return std::nullopt;
    line.remove_prefix(beginning.size());
    std::string value;
    for (std::size_t i = 0; i < line.size() && line[i] != '"'; ++i) {
        if (line[i] == '\\' && i + 1 < line.size())
            ++i;
        value += line[i];
    }
    constexpr std::string_view homeVariable = "$HOME";
    if (value.starts_with(homeVariable))
        value.replace(0, homeVariable.size(), home.native());
    if (!value.starts_with('/'))
        return std::nullopt;
    return value;
}

}  // namespace

Environment currentEnvironment()
{
    Environment environment;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const auto equals = text.find('=');
        if (equals != std::string_view::npos)
            environment.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return environment;
}

fs::path documentsFolder(const Environment& environment)
{
    const fs::path home = homeFolder(environment);
    if (const auto named = absolutePath(environment, "XDG_DOCUMENTS_DIR"))
        return *named;
    std::string settings;
    try {
        settings = readFile(absolutePath(environment, "XDG_CONFIG_HOME").value_or(home / ".config") / "user-dirs.dirs");
    } catch (const SystemError&) {
        // Without the settings the usual folder is meant.
    }
    std::optional<fs::path> folder;
    for (std::string_view rest = settings; !rest.empty();) {
        const auto end = std::min(rest.find('\n'), rest.size());
        if (auto found = documentsLine(rest.substr(0, end), home))
            folder = std::move(found);  // as in a shell script, the last assignment holds
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return folder.value_or(home / "Documents");
}

fs::path searchIndexFolder(const Environment& environment)
{
    return absolutePath(environment, "XDG_CACHE_HOME").value_or(homeFolder(environment) / ".cache") / "penmark";
}

RecoveryConfiguration RecoveryConfiguration::fromEnvironment(const Environment& environment)
{
    RecoveryConfiguration configuration;
    if (const auto root = absolutePath(environment, "PENMARK_DATA_ROOT")) {
        configuration.root = *root;
        const auto legacy = environment.find("PENMARK_LEGACY_ROOT");
        if (legacy != environment.end())
            configuration.legacyRoot = legacy->second;
        return configuration;
    }
    const fs::path data =
        absolutePath(environment, "XDG_DATA_HOME").value_or(homeFolder(environment) / ".local" / "share");
    configuration.root = data / "Penmark" / "Recovery-v1";
    configuration.legacyRoot = documentsFolder(environment) / "Penmark";
    return configuration;
}

}  // namespace penmark
