// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/appearance/AppearanceChoice.h"
#include "base/Record.h"
#include "storage/RecoveryEncoding.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

enum class LineEndChoice { lf, crlf };

constexpr auto storedWords(LineEndChoice)
{
    using E = LineEndChoice;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::lf, "lf"}, Word{E::crlf, "crlf"}};
}

/// What the user has chosen, as settings.json has it. The keys there are the ids that the settings window shows.
struct Settings {
    bool restoreWindows = true;
    bool menuBarVisible = true;
    bool welcomeDismissed = false;

    std::string fontFamily;  ///< empty: the desktop's font of fixed width
    double fontSize = 11;    ///< points
    bool wrap = true;
    bool lineNumbers = true;
    bool showBlanks = false;
    std::int64_t rightMargin = 0;  ///< column; 0: none
    std::int64_t tabWidth = 4;     ///< columns
    std::int64_t indentWidth = 4;  ///< columns
    bool indentWithTabs = false;
    bool detectIndentation = true;

    AppearanceChoice appearance = AppearanceChoice::system;
    bool lastSystemDark = false;  ///< what the desktop said last, for the first frame

    std::string keyPreset = "normal";
    std::map<std::string, std::vector<std::string>> shortcuts;  ///< portable texts by command id

    LineEndChoice newLineEnd = LineEndChoice::lf;
    RecoveryEncoding newEncoding = RecoveryEncoding::utf8;
    std::string newLanguage = "Plain Text";  ///< the name of an EditorLanguage
    bool watchOriginals = true;

    std::vector<RawJson> sessionStarters;  ///< what the user has saved to begin sessions with

    UnknownMembers unknownMembers;

    /// A file may say as little as its author likes.
    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        using S = Settings;
        return std::tuple{field("general.restoreWindows", &S::restoreWindows),
                          field("general.menuBar", &S::menuBarVisible),
                          field("general.welcomeDismissed", &S::welcomeDismissed),
                          field("editor.font.family", &S::fontFamily),
                          field("editor.font.size", &S::fontSize),
                          field("editor.wrap", &S::wrap),
                          field("editor.lineNumbers", &S::lineNumbers),
                          field("editor.showBlanks", &S::showBlanks),
                          field("editor.rightMargin", &S::rightMargin),
                          field("editor.tabWidth", &S::tabWidth),
                          field("editor.indent.width", &S::indentWidth),
                          field("editor.indent.tabs", &S::indentWithTabs),
                          field("editor.indent.detect", &S::detectIndentation),
                          field("appearance.theme", &S::appearance),
                          field("appearance.lastSystemDark", &S::lastSystemDark),
                          field("keys.preset", &S::keyPreset),
                          field("keys.shortcuts", &S::shortcuts),
                          field("files.new.lineEnd", &S::newLineEnd),
                          field("files.new.encoding", &S::newEncoding),
                          field("files.new.language", &S::newLanguage),
                          field("files.watchOriginals", &S::watchOriginals),
                          field("sessions.starters", &S::sessionStarters)};
    }
    friend bool operator==(const Settings&, const Settings&) = default;
};

/// The id of a setting; empty if it is none.
template <class Value>
constexpr std::string_view settingId(Value Settings::*member)
{
    std::string_view id;
    const auto compare = [&]<class Other>(const Field<Settings, Other>& field) {
        if constexpr (std::is_same_v<Other, Value>) {
            if (field.member == member)
                id = field.key;
        }
    };
    std::apply([&](const auto&... fields) { (compare(fields), ...); }, Settings::fields());
    return id;
}

/// $XDG_CONFIG_HOME/penmark/settings.json, or below ~/.config. Any thread.
std::filesystem::path settingsPath();

struct LoadedSettings {
    Settings settings;
    std::string problem;                ///< a sentence for the user; empty if there is none
    std::optional<std::string> digest;  ///< of the file's bytes; absent if there is no file
    bool isDamaged = false;             ///< the file says nothing that can be used, and the defaults count
};

/// Reads the file; numbers out of bounds are brought within. Never throws. Any thread.
LoadedSettings loadSettings(const std::filesystem::path& path);

/// What the file holds: JSON as people write it, a member a line.
std::string settingsText(const Settings& settings);

/// Of three versions, `theirs` with every field changed in which `ours` differs from `base`.
Settings mergeSettings(const Settings& base, const Settings& ours, Settings theirs);

}  // namespace penmark
