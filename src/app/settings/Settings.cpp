// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/Settings.h"

#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

void bringWithinBounds(Settings& settings)
{
    settings.fontSize = std::clamp(settings.fontSize, 5.0, 96.0);
    settings.rightMargin = std::clamp<std::int64_t>(settings.rightMargin, 0, 1'000);
    settings.tabWidth = std::clamp<std::int64_t>(settings.tabWidth, 1, 32);
    settings.indentWidth = std::clamp<std::int64_t>(settings.indentWidth, 1, 32);
}

/// JSON without blanks, with a member or element a line; what is short and holds no other stays on one.
class Indenter {
public:
    explicit Indenter(std::string_view json) : json_(json) {}

    std::string run()
    {
        while (at_ < json_.size())
            step();
        return out_ + "\n";
    }

private:
    void step()
    {
        const char sign = json_[at_];
        switch (sign) {
        case '"':
            out_ += stringAt(at_);
            return;
        case '[':
        case '{': {
            const std::size_t end = endOfPlain(at_);
            if (end != std::string_view::npos) {
                spaced(json_.substr(at_, end - at_));
                at_ = end;
                return;
            }
            ++depth_;
            out_ += sign;
            newLine();
            break;
        }
        case ']':
        case '}':
            --depth_;
            newLine();
            out_ += sign;
            break;
        case ',':
            out_ += sign;
            newLine();
            break;
        case ':':
            out_ += ": ";
            break;
        default:
            out_ += sign;
        }
        ++at_;
    }

    std::string_view stringAt(std::size_t& at) const
    {
        const std::size_t start = at++;
        while (json_[at] != '"')
            at += json_[at] == '\\' ? 2 : 1;
        return json_.substr(start, ++at - start);
    }

    /// The end of an array or empty object without others inside; npos if it has some, or is long.
    std::size_t endOfPlain(std::size_t at) const
    {
        constexpr std::size_t longest = 80;
        const std::size_t start = at;
        if (json_.substr(at, 2) == "{}")
            return at + 2;
        if (json_[at] != '[')
            return std::string_view::npos;
        ++at;
        while (json_[at] != ']') {
            if (json_[at] == '[' || json_[at] == '{' || at - start > longest)
                return std::string_view::npos;
            if (json_[at] == '"')
                stringAt(at);
            else
                ++at;
        }
        return at + 1;
    }

    void spaced(std::string_view list)
    {
        bool inString = false;
        for (std::size_t at = 0; at < list.size(); ++at) {
            out_ += list[at];
            if (list[at] == '\\' && inString)
                out_ += list[++at];
            else if (list[at] == '"')
                inString = !inString;
            else if (list[at] == ',' && !inString)
                out_ += ' ';
        }
    }

    void newLine() { out_.append("\n").append(4 * depth_, ' '); }

    std::string_view json_;
    std::string out_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
};

/// Waits for nobody, unlike a read of a pipe that has taken the file's name.
std::string readSettingsFile(const fs::path& path)
{
    const FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        throw SystemError(errno, path.native());
    if (!S_ISREG(status.st_mode))
        throw SystemError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path.native());
    return file.readToEnd();
}

}  // namespace

fs::path settingsPath()
{
    const char* configured = std::getenv("XDG_CONFIG_HOME");
    if (configured && *configured == '/')
        return fs::path(configured) / "penmark" / "settings.json";
    const char* home = std::getenv("HOME");
    return fs::path(home && *home ? home : "/") / ".config" / "penmark" / "settings.json";
}

LoadedSettings loadSettings(const fs::path& path)
{
    LoadedSettings loaded;
    const auto damaged = [&](std::string_view why) {
        loaded.settings = {};
        loaded.isDamaged = true;
        loaded.problem = "The settings in " + repairUtf8(path.native()) + " cannot be used: " + std::string(why) +
                         ". The program's own are used, and the file is kept.";
    };
    std::string bytes;
    try {
        bytes = readSettingsFile(path);
    } catch (const SystemError& error) {
        if (error.errorNumber() != ENOENT && error.errorNumber() != ENOTDIR)
            damaged(SystemError::reason(error.errorNumber()));
        return loaded;
    }
    loaded.digest = sha256(bytes);
    std::string_view text = bytes;
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    try {
        loaded.settings = decodeRecord<Settings>(text);
        bringWithinBounds(loaded.settings);
    } catch (const RecordError& error) {
        damaged(error.what());
    }
    return loaded;
}

std::string settingsText(const Settings& settings)
{
    return Indenter(encodeRecord(settings)).run();
}

Settings mergeSettings(const Settings& base, const Settings& ours, Settings theirs)
{
    const auto merge = [&](const auto& field) {
        if (!(ours.*field.member == base.*field.member))
            theirs.*field.member = ours.*field.member;
    };
    std::apply([&](const auto&... fields) { (merge(fields), ...); }, Settings::fields());
    return theirs;
}

}  // namespace penmark
