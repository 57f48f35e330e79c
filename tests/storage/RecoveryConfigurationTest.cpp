// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryConfiguration.h"

#include "storage/TemporaryFolder.h"

#include <fstream>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(RecoveryConfiguration, FollowsTheEnvironment)
{
    const struct {
        Environment environment;
        std::string root;
        std::optional<std::string> legacyRoot;
    } cases[] = {
        {{{"PENMARK_DATA_ROOT", "/data/lib"}, {"HOME", "/home/ann"}}, "/data/lib", {}},
        {{{"PENMARK_DATA_ROOT", "/data/lib"}, {"PENMARK_LEGACY_ROOT", "old"}}, "/data/lib", "old"},
        {{{"PENMARK_DATA_ROOT", "data"}, {"PENMARK_LEGACY_ROOT", "/old"}, {"HOME", "/home/ann"}},
         "/home/ann/.local/share/Penmark/Recovery-v1",
         "/home/ann/Documents/Penmark"},
        {{{"PENMARK_DATA_ROOT", ""}, {"HOME", "/home/ann"}, {"XDG_DATA_HOME", "/big/share"}},
         "/big/share/Penmark/Recovery-v1",
         "/home/ann/Documents/Penmark"},
        {{{"HOME", "/home/ann"}, {"XDG_DATA_HOME", "relative"}, {"XDG_DOCUMENTS_DIR", "/docs"}},
         "/home/ann/.local/share/Penmark/Recovery-v1",
         "/docs/Penmark"},
    };
    for (const auto& [environment, root, legacyRoot] : cases) {
        const auto configuration = RecoveryConfiguration::fromEnvironment(environment);
        EXPECT_EQ(configuration.root, root);
        EXPECT_EQ(configuration.legacyRoot.has_value(), legacyRoot.has_value());
        EXPECT_EQ(configuration.legacyRoot.value_or(""), legacyRoot.value_or(""));
    }
}

TEST(RecoveryConfiguration, TheDocumentsFolderIsTheOneOfTheDesktopSettings)
{
    const TemporaryFolder home;
    const Environment environment{{"HOME", home.path().native()}};
    EXPECT_EQ(documentsFolder(environment), home.path() / "Documents");
    std::filesystem::create_directory(home.path() / ".config");
    std::ofstream(home.path() / ".config" / "user-dirs.dirs")
        << "# comment\nXDG_MUSIC_DIR=\"$HOME/Music\"\n  XDG_DOCUMENTS_DIR=\"$HOME/My \\\"Texts\\\"\"\n";
    EXPECT_EQ(documentsFolder(environment), home.path() / "My \"Texts\"");
}

}  // namespace
}  // namespace penmark
