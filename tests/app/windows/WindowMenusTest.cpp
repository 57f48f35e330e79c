// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandRegistry.h"
#include "app/editor/EditorView.h"
#include "app/windows/DocumentMenus.h"
#include "app/windows/ProgramTest.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QSet>
#include <set>

namespace penmark {
namespace {

class WindowMenusTest : public ProgramTest {};

// A command that does not exist would be missing in its menu without a word.
TEST_F(WindowMenusTest, NameCommandsThatExist)
{
    std::set<std::string> seen;
    for (const auto entries : documentMenus()) {
        for (const std::string_view entry : entries) {
            if (entry == "-" || entry.starts_with('>'))
                continue;
            EXPECT_NE(program->commands().find(entry), nullptr) << entry;
            seen.emplace(entry);
        }
    }
    EXPECT_GT(seen.size(), 90U);
    // What is in no menu is found by people who do not know its name in the palette only; of files there is nothing.
    for (const Command& command : program->commands().commands()) {
        if (command.id.starts_with("file.") || command.id.starts_with("format.")) {
            EXPECT_TRUE(seen.contains(command.id)) << command.id << " is in no menu";
        }
    }
}

TEST_F(WindowMenusTest, HaveEveryEntryAndItsOwnLetters)
{
    const std::function<void(QMenu&)> open = [&](QMenu& menu) {
        SCOPED_TRACE(menu.title().toStdString());
        emit menu.aboutToShow();
        EXPECT_FALSE(menu.isEmpty());
        QSet<QChar> letters;
        for (const QAction* action : menu.actions()) {
            if (action->isSeparator())
                continue;
            const QString text = action->text();
            const qsizetype at = text.indexOf(QRegularExpression(QStringLiteral("&[^&]")));
            if (at >= 0) {
                EXPECT_FALSE(letters.contains(text[at + 1].toLower())) << text.toStdString();
                letters.insert(text[at + 1].toLower());
            }
            if (action->menu())
                open(*action->menu());
        }
    };
    std::size_t belows = 0;
    for (const QAction* action : window().menuBar()->actions()) {
        ASSERT_NE(action->menu(), nullptr);
        open(*action->menu());
        for (const QAction* each : action->menu()->actions())
            belows += each->menu() ? 1 : 0;
    }
    std::set<std::string_view> named;  // the menu of a tab has some of them too
    for (const auto entries : documentMenus()) {
        for (const std::string_view entry : entries) {
            if (entry.starts_with('>'))
                named.insert(entry);
        }
    }
    EXPECT_EQ(belows, named.size()) << "a menu below another is missing";
    EXPECT_GT(named.size(), 5U);
}

TEST_F(WindowMenusTest, CommandsAreNamedAndTheirKeysTheirOwn)
{
    std::set<std::pair<std::string, std::string>> names;
    for (const Command& command : program->commands().commands()) {
        EXPECT_FALSE(command.name.isEmpty()) << command.id;
        EXPECT_FALSE(command.category.isEmpty()) << command.id;
        EXPECT_TRUE(names.emplace(command.category.toStdString(), command.name.toStdString()).second)
            << command.id << " is called as another: " << command.category.toStdString() << ": "
            << command.name.toStdString();
        for (const QKeySequence& keys : program->commands().shortcuts(command.id)) {
            EXPECT_EQ(keys.count(), 1) << command.id;
            EXPECT_TRUE(CommandRegistry::usable(keys[0])) << command.id;
        }
    }
    for (const KeyPreset& preset : CommandRegistry::presets()) {
        SCOPED_TRACE(preset.id);
        program->commands().setPreset(preset.id);
        for (const auto& conflict : program->commands().conflicts())
            ADD_FAILURE() << QKeySequence(conflict.key).toString().toStdString() << ": " << conflict.commands[0]->id
                          << " and " << conflict.commands[1]->id;
    }
}

TEST_F(WindowMenusTest, SayWhyACommandIsDisabled)
{
    const auto whyNot = [this](const char* id) {
        const Command* const command = program->commands().find(id);
        const CommandContext context = window().context();
        EXPECT_FALSE(command->enabled(context)) << id;
        return command->reason(context).toStdString();
    };
    for (const char* id : {"file.reload", "file.compare", "file.copyPath", "file.showInFiles", "format.reopenAs.utf8"})
        EXPECT_EQ(whyNot(id), "The document has no file.") << id;
    window().view()->setReadOnly(true);
    EXPECT_EQ(whyNot("edit.cut"), "This text cannot be edited.");
    // A key that does nothing says so below the text.
    CommandContext context = window().context();
    EXPECT_FALSE(program->commands().run("file.reload", context));
    EXPECT_EQ(window().statusLine().message().toStdString(), "The document has no file.");
}

}  // namespace
}  // namespace penmark
