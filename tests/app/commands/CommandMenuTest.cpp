// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandMenu.h"

#include <QMenu>
#include <QSet>

#include <gtest/gtest.h>

namespace penmark {
namespace {

const char* const entries[] = {"-", "file.new", "file.none", "-", "-", "file.wrap", ">more", "-", "file.snippets", "-"};

TEST(CommandMenu, ShowsCommandsAsTheyAreEachTimeItOpens)
{
    CommandRegistry registry;
    int runs = 0;
    bool enabled = true;
    bool checked = false;
    registry.add({.id = "file.new",
                  .name = QStringLiteral("New Draft"),
                  .category = {},
                  .keys = "Ctrl+N; Ctrl+T",
                  .run = [&](CommandContext&) { ++runs; },
                  .isEnabled = [&](const CommandContext&) { return enabled; },
                  .whyDisabled = [](const CommandContext&) { return QStringLiteral("Not now."); }});
    registry.add({.id = "file.wrap",
                  .name = QStringLiteral("Wrap"),
                  .category = {},
                  .run = [](CommandContext&) {},
                  .isChecked = [&](const CommandContext&) { return checked; }});
    registry.add({.id = "file.snippets",
                  .name = QStringLiteral("Snippets & Commands…"),
                  .category = {},
                  .run = [](CommandContext&) {}});
    QMenu menu;
    auto* more = new QMenu(QStringLiteral("More"), &menu);
    more->setObjectName(QStringLiteral("more"));
    more->addAction(QStringLiteral("x"));
    fillMenu(menu, entries, registry, [] { return CommandContext(); });
    EXPECT_TRUE(menu.isEmpty()) << "until it is shown";
    const auto opened = [&menu] {
        emit menu.aboutToShow();
        std::string list;
        for (const QAction* action : menu.actions())
            list += (action->isSeparator() ? "-" : action->text().toStdString()) + "|";
        return list;
    };
    EXPECT_EQ(opened(), "&New Draft\tCtrl+N|-|&Wrap|&More|-|&Snippets && Commands…|");
    EXPECT_FALSE(menu.actions()[2]->isChecked());

    enabled = false;
    checked = true;
    registry.setShortcuts("file.new", {QKeySequence(QStringLiteral("F6"))});
    EXPECT_EQ(opened(), "&New Draft\tF6|-|&Wrap|&More|-|&Snippets && Commands…|");
    QAction* first = menu.actions()[0];
    EXPECT_FALSE(first->isEnabled());
    EXPECT_EQ(first->toolTip().toStdString(), "Not now.");
    EXPECT_TRUE(first->shortcut().isEmpty()) << "keys are not the action's business";
    EXPECT_TRUE(menu.actions()[2]->isChecked());
    enabled = true;
    opened();
    first->trigger();
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(first->toolTip() != QStringLiteral("Not now."));
}

TEST(CommandMenu, MnemonicsDoNotClash)
{
    QMenu menu;
    for (const char* name : {"Save", "Save As…", "Save All", "S&ort", "Cut & Paste", "Start", "SSS"})
        menu.addAction(QString::fromUtf8(name).replace(QLatin1String(" & "), QLatin1String(" && ")));
    assignMnemonics(menu.actions());
    QSet<QChar> letters;
    std::string all;
    for (const QAction* action : menu.actions()) {
        all += action->text().toStdString() + "|";
        QString text = action->text();
        const qsizetype at = text.remove(QLatin1String("&&")).indexOf(QLatin1Char('&'));
        if (at >= 0) {
            const QChar letter = text[at + 1].toLower();
            EXPECT_FALSE(letters.contains(letter)) << text.toStdString();
            letters.insert(letter);
        }
    }
    EXPECT_EQ(letters.size(), 6) << all << " only the last has no letter left";
    EXPECT_NE(all.find("S&ort"), std::string::npos) << "a letter that was given stays";
}

}  // namespace
}  // namespace penmark
