// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsStore.h"

#include "base/FileDescriptor.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;

class SettingsStoreTest : public testing::Test {
protected:
    fs::path path() const { return fs::path(folder.path().toStdString()) / "config" / "settings.json"; }
    void writeByHand(const std::string& text) const
    {
        fs::create_directories(path().parent_path());
        // As editors do: a new file takes the name of the old one.
        const fs::path other = path().parent_path() / "edited";
        std::ofstream(other, std::ios::binary) << text;
        fs::rename(other, path());
    }
    std::string file() const { return readFile(path()); }
    std::unique_ptr<SettingsStore> open() const
    {
        return std::make_unique<SettingsStore>(path(), loadSettings(path()));
    }

    QTemporaryDir folder;
};

TEST_F(SettingsStoreTest, ReturnsWhatWasStoredAlsoWhatItDoesNotKnow)
{
    writeByHand(R"({"later.thing":{"deep":[1,{"a":"x,y: \"}"}]},"editor.tabWidth":3})");
    {
        const auto store = open();
        EXPECT_TRUE(store->problem().isEmpty());
        EXPECT_EQ(store->settings().tabWidth, 3);
        EXPECT_EQ(store->settings().indentWidth, 4) << "absent ones are as by default";
        const QSignalSpy changed(store.get(), &SettingsStore::changed);
        store->change([](Settings& settings) {
            settings.fontFamily = "A \"Font\"";
            settings.appearance = AppearanceChoice::dark;
            settings.shortcuts["edit.undo"] = {"Ctrl+Z", "F9"};
            settings.shortcuts["file.print"] = {};
        });
        EXPECT_EQ(changed.size(), 1) << "at once";
        store->change([](Settings& settings) { settings.tabWidth = 3; });
        EXPECT_EQ(changed.size(), 1) << "nothing changed";
    }  // writes
    const LoadedSettings again = loadSettings(path());
    EXPECT_EQ(again.problem, "");
    EXPECT_EQ(again.settings.fontFamily, "A \"Font\"");
    EXPECT_EQ(again.settings.appearance, AppearanceChoice::dark);
    EXPECT_EQ(again.settings.shortcuts.at("edit.undo"), (std::vector<std::string>{"Ctrl+Z", "F9"}));
    EXPECT_TRUE(again.settings.shortcuts.at("file.print").empty());
    ASSERT_EQ(again.settings.unknownMembers.size(), 1U);
    EXPECT_EQ(again.settings.unknownMembers[0].second.text, R"({"deep":[1,{"a":"x,y: \"}"}]})");
    EXPECT_NE(file().find("\n    \"editor.tabWidth\": 3,\n"), std::string::npos) << "for people: " << file();
    EXPECT_NE(file().find("\n        \"edit.undo\": [\"Ctrl+Z\", \"F9\"],\n"), std::string::npos) << file();
}

TEST_F(SettingsStoreTest, WritesAMomentLaterAndOnce)
{
    const auto store = open();
    QSignalSpy stored(store.get(), &SettingsStore::stored);
    for (int width = 5; width < 9; ++width)
        store->change([width](Settings& settings) { settings.tabWidth = width; });
    EXPECT_FALSE(fs::exists(path()));
    ASSERT_TRUE(stored.wait());
    EXPECT_EQ(loadSettings(path()).settings, store->settings());
    EXPECT_FALSE(stored.wait(500)) << "there is nothing more to write";
}

TEST_F(SettingsStoreTest, DamagedFilesAreKept)
{
    const std::string damaged[] = {"{\"editor.tabWidth\": 3,", "[]", R"({"editor.tabWidth":"wide"})",
                                   R"({"appearance.theme":"pink"})", ""};
    int number = 0;
    for (const std::string& text : damaged) {
        SCOPED_TRACE(text);
        writeByHand(text);
        const auto store = open();
        EXPECT_NE(store->problem(), QString());
        EXPECT_EQ(store->settings(), Settings());
        store->change([](Settings& settings) { settings.lastSystemDark = true; });
        store->flush();
        EXPECT_EQ(file(), text) << "the program's own notes are no reason to write";
        store->change([](Settings& settings) { settings.wrap = false; });
        store->flush();
        EXPECT_FALSE(loadSettings(path()).settings.wrap);
        EXPECT_TRUE(store->problem().isEmpty());
        fs::path kept = path();
        kept += ++number == 1 ? ".damaged" : ".damaged-" + std::to_string(number);
        ASSERT_TRUE(fs::exists(kept));
        EXPECT_EQ(readFile(kept), text);
    }
}

TEST_F(SettingsStoreTest, NumbersAreBroughtWithinBounds)
{
    writeByHand(R"({"editor.tabWidth":0,"editor.font.size":1e9,"editor.rightMargin":-5,"editor.indent.width":999999})");
    const Settings settings = loadSettings(path()).settings;
    EXPECT_EQ(settings.tabWidth, 1);
    EXPECT_EQ(settings.fontSize, 96);
    EXPECT_EQ(settings.rightMargin, 0);
    EXPECT_EQ(settings.indentWidth, 32);
}

TEST_F(SettingsStoreTest, FollowsEditsByHand)
{
    const auto store = open();
    store->watch();
    store->change([](Settings& settings) { settings.wrap = false; });
    store->flush();
    QSignalSpy changed(store.get(), &SettingsStore::changed);
    QSignalSpy problem(store.get(), &SettingsStore::problemChanged);
    writeByHand(R"({"editor.tabWidth":7})");
    ASSERT_TRUE(changed.wait());
    EXPECT_EQ(store->settings().tabWidth, 7);
    EXPECT_TRUE(store->settings().wrap);
    writeByHand(R"({"editor.tabWidth":)");
    ASSERT_TRUE(problem.wait());
    EXPECT_EQ(store->settings().tabWidth, 7) << "half an edit changes nothing";
    writeByHand(R"({"editor.tabWidth":6})");
    ASSERT_TRUE(problem.wait());
    EXPECT_TRUE(store->problem().isEmpty());
    EXPECT_EQ(store->settings().tabWidth, 6);
}

TEST_F(SettingsStoreTest, AnEditByHandBeforeAWriteIsNotLost)
{
    writeByHand(R"({"editor.tabWidth":2})");
    const auto store = open();  // does not watch
    writeByHand(R"({"editor.tabWidth":8,"editor.wrap":false,"new.key":1})");
    store->change([](Settings& settings) { settings.tabWidth = 5; });
    store->flush();
    const Settings stored = loadSettings(path()).settings;
    EXPECT_EQ(stored.tabWidth, 5) << "the same setting: who came last";
    EXPECT_FALSE(stored.wrap);
    EXPECT_EQ(stored.unknownMembers.size(), 1U);
    EXPECT_EQ(store->settings(), stored);
    // Taken away, or turned into something that cannot be read: the program's go on.
    fs::remove(path());
    store->change([](Settings& settings) { settings.tabWidth = 6; });
    store->flush();
    EXPECT_EQ(loadSettings(path()).settings, store->settings());
    writeByHand("oops");
    store->change([](Settings& settings) { settings.tabWidth = 7; });
    store->flush();
    EXPECT_EQ(loadSettings(path()).settings.tabWidth, 7);
    EXPECT_EQ(readFile(path().string() + ".damaged"), "oops");
}

TEST_F(SettingsStoreTest, WhatCannotBeWrittenIsSaidAndStillCounts)
{
    std::ofstream(path().parent_path()) << "a file where the folder should be";
    const auto store = open();
    store->change([](Settings& settings) { settings.tabWidth = 5; });
    store->flush();
    EXPECT_FALSE(store->problem().isEmpty());
    EXPECT_EQ(store->settings().tabWidth, 5);
    fs::remove(path().parent_path());
    store->change([](Settings& settings) { settings.wrap = false; });
    store->flush();
    EXPECT_TRUE(store->problem().isEmpty());
    EXPECT_EQ(loadSettings(path()).settings.tabWidth, 5);
}

TEST_F(SettingsStoreTest, LinksAreFollowedAndOtherThingsThanFilesRefused)
{
    // People keep such files elsewhere and link to them.
    const fs::path real = fs::path(folder.path().toStdString()) / "real.json";
    std::ofstream(real) << R"({"editor.tabWidth":3})";
    fs::create_directories(path().parent_path());
    fs::create_symlink(real, path());
    {
        const auto store = open();
        EXPECT_EQ(store->settings().tabWidth, 3);
        store->change([](Settings& settings) { settings.tabWidth = 5; });
    }
    EXPECT_TRUE(fs::is_symlink(path()));
    EXPECT_EQ(loadSettings(real).settings.tabWidth, 5);
    fs::remove(path());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_TRUE(loadSettings(path()).isDamaged) << "and nobody waits for a writer";
    fs::remove(path());
    fs::create_directory(path());
    EXPECT_TRUE(loadSettings(path()).isDamaged);
    EXPECT_FALSE(loadSettings(path() / "below").isDamaged) << "a file that is not there is none that is damaged";
}

TEST_F(SettingsStoreTest, WhatIsWrittenForPeopleReadsBack)
{
    Settings settings;
    const std::string nasty[] = {"", "\\", "\"", "\\\"", "a,b:c", "[1,{", "]}", "\n\t\x01", "é😀", "\\\\\","};
    for (const std::string& key : nasty) {
        settings.shortcuts[key] = {std::begin(nasty), std::end(nasty)};
        settings.shortcuts[key + "short"] = {key};
        settings.fontFamily += key;
    }
    settings.unknownMembers = {{"a,b", {R"([])"}}, {"c", {R"({})"}}, {"d", {R"([[],[{"x":[]}],"\\\""])"}}};
    writeByHand(settingsText(settings));
    const LoadedSettings loaded = loadSettings(path());
    EXPECT_EQ(loaded.problem, "");
    EXPECT_EQ(loaded.settings, settings);
    EXPECT_EQ(settingsText(loaded.settings), settingsText(settings));
}

TEST_F(SettingsStoreTest, LiesWhereTheDesktopKeepsSettings)
{
    const QByteArray configured = qgetenv("XDG_CONFIG_HOME");
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", "/home/ada");
    qputenv("XDG_CONFIG_HOME", "/elsewhere");
    EXPECT_EQ(settingsPath(), "/elsewhere/penmark/settings.json");
    for (const char* unusable : {"", "relative"}) {
        qputenv("XDG_CONFIG_HOME", unusable);
        EXPECT_EQ(settingsPath(), "/home/ada/.config/penmark/settings.json");
    }
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", configured);
}

}  // namespace
}  // namespace penmark
