// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandPalette.h"

#include <QLineEdit>
#include <QListView>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace penmark {
namespace {

class CommandPaletteTest : public testing::Test {
protected:
    CommandPaletteTest()
    {
        window.resize(700, 500);
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(&first);
        layout->addWidget(&second);
        const auto add = [this](const char* id, const char* name, const char* category, bool enabled = true) {
            registry.add({.id = id,
                          .name = QString::fromUtf8(name),
                          .category = QString::fromUtf8(category),
                          .run =
                              [this, id = std::string(id)](CommandContext&) {
                                  ran += id + (palette.isVisible() ? " under the palette;" : ";");
                                  focusWhenRun = QApplication::focusWidget();
                              },
                          .isEnabled = [enabled](const CommandContext&) { return enabled; },
                          .whyDisabled = [](const CommandContext&) { return QStringLiteral("No original."); }});
        };
        add("lines.sort", "Sort Lines", "Edit");
        add("file.save", "Save", "File");
        add("file.saveAll", "Save All", "File");
        add("file.reload", "Reload from Original", "File", false);
        add("view.split", "Split Always Vertically, Even", "View");
        window.show();
        window.activateWindow();
        second.setFocus();
        (void)QTest::qWaitForWindowActive(&window);
    }

    std::string names() const
    {
        std::string list;
        for (int row = 0; row < model()->rowCount(); ++row)
            list += model()->index(row, 0).data().toString().toStdString() + "|";
        return list;
    }
    QListView* view() const { return palette.findChild<QListView*>(); }
    QAbstractItemModel* model() const { return view()->model(); }
    QLineEdit* line() const { return palette.findChild<QLineEdit*>(); }
    void open(const char* typed)
    {
        palette.open();
        QTest::keyClicks(line(), QString::fromUtf8(typed));
    }
    void key(Qt::Key key)
    {
        QTest::keyClick(QApplication::focusWidget(), key);
        QCoreApplication::processEvents();
    }

    CommandRegistry registry;
    QWidget window;
    QLineEdit first;
    QLineEdit second;
    CommandPalette& palette = *new CommandPalette(
        registry, [] { return CommandContext(); }, window);
    std::string ran;
    QWidget* focusWhenRun = nullptr;
};

TEST_F(CommandPaletteTest, FindsByNameAndCategoryTheBestFirst)
{
    open("save");
    EXPECT_EQ(names(), "Save|Save All|Split Always Vertically, Even|");
    line()->setText(QStringLiteral("file"));
    EXPECT_EQ(names(), "Save|Save All|Reload from Original|");
    line()->setText(QStringLiteral("xyz"));
    EXPECT_EQ(names(), "");
    key(Qt::Key_Return);
    EXPECT_TRUE(palette.isVisible()) << "there is nothing to run";
    line()->clear();
    EXPECT_EQ(names(), "Reload from Original|Save|Save All|Sort Lines|Split Always Vertically, Even|");
}

TEST_F(CommandPaletteTest, RunsWhenItHasClosedAndTheFocusIsBack)
{
    open("save");
    EXPECT_EQ(QApplication::focusWidget(), line());
    key(Qt::Key_Down);
    EXPECT_EQ(line()->accessibleDescription().toStdString(), "Save All, File");
    key(Qt::Key_Return);
    EXPECT_EQ(ran, "file.saveAll;");
    EXPECT_EQ(focusWhenRun, &second);

    // What was used last is first when nothing is typed, and one step up is the other end.
    open("sl");
    key(Qt::Key_Enter);
    palette.open();
    EXPECT_EQ(names().substr(0, 20), "Sort Lines|Save All|");
    key(Qt::Key_Up);
    EXPECT_EQ(view()->currentIndex().row(), model()->rowCount() - 1);
    key(Qt::Key_Escape);
    EXPECT_FALSE(palette.isVisible());
    EXPECT_EQ(QApplication::focusWidget(), &second);
    EXPECT_EQ(ran, "file.saveAll;lines.sort;");
}

TEST_F(CommandPaletteTest, DisabledCommandsSayWhyAndDoNotRun)
{
    open("reload");
    EXPECT_EQ(line()->accessibleDescription().toStdString(), "Reload from Original, File, No original.");
    key(Qt::Key_Return);
    EXPECT_TRUE(palette.isVisible());
    EXPECT_EQ(ran, "");
}

TEST_F(CommandPaletteTest, ClosesWhenSomethingElseOfTheWindowIsChosen)
{
    open("s");
    first.setFocus();
    EXPECT_FALSE(palette.isVisible());
    EXPECT_EQ(QApplication::focusWidget(), &first);
    window.resize(300, 200);
    open("");
    EXPECT_TRUE(window.rect().contains(palette.geometry()));
}

TEST_F(CommandPaletteTest, IsUsedByMouseAndByPagesToo)
{
    for (int number = 0; number < 40; ++number)
        registry.add({.id = "more." + std::to_string(number),
                      .name = QStringLiteral("Zebra %1").arg(number, 2, 10, QLatin1Char('0')),
                      .category = QStringLiteral("More"),
                      .run = [this, number](CommandContext&) { ran += std::to_string(number); }});
    open("");
    key(Qt::Key_PageDown);
    const int page = view()->currentIndex().row();
    EXPECT_GT(page, 3);
    for (int presses = 0; presses < 20; ++presses)
        key(Qt::Key_PageDown);
    EXPECT_EQ(view()->currentIndex().row(), model()->rowCount() - 1) << "the end, not round and round";
    key(Qt::Key_PageUp);
    EXPECT_EQ(view()->currentIndex().row(), model()->rowCount() - 1 - page);
    key(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), line());
    line()->setText(QStringLiteral("zebra 07"));
    QTest::mouseClick(view()->viewport(), Qt::LeftButton, {}, view()->visualRect(model()->index(0, 0)).center());
    QCoreApplication::processEvents();
    EXPECT_EQ(ran, "7");
    EXPECT_FALSE(palette.isVisible());
}

// A command may close the window that the palette belongs to.
TEST(CommandPalette, OutlivesNothing)
{
    CommandRegistry registry;
    auto window = std::make_unique<QWidget>();
    registry.add({.id = "quit", .name = QStringLiteral("Quit"), .category = {}, .run = [&](CommandContext&) {
                      window.reset();
                  }});
    auto* palette = new CommandPalette(
        registry, [] { return CommandContext(); }, *window);
    window->resize(400, 300);
    window->show();
    palette->open();
    QTest::keyClick(palette->findChild<QLineEdit*>(), Qt::Key_Return);
    QCoreApplication::processEvents();
    EXPECT_EQ(window, nullptr);
}

}  // namespace
}  // namespace penmark
