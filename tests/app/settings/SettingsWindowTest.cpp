// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsWindow.h"

#include "app/commands/CommandRegistry.h"
#include "app/settings/KeyField.h"
#include "app/settings/KeysPage.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

#include <gtest/gtest.h>

namespace penmark {
namespace {

class SettingsWindowTest : public testing::Test {
protected:
    SettingsWindowTest() : store(std::filesystem::path(folder.path().toStdString()) / "settings.json", {})
    {
        registry.addEditorCommands();
        followKeySettings(registry, store);
        window = std::make_unique<SettingsWindow>(store, registry, QStringLiteral("/home/ada/library"));
        window->show();
        window->activateWindow();
        (void)QTest::qWaitForWindowActive(window.get());
    }

    template <class Widget>
    Widget* named(const char* name) const
    {
        for (Widget* widget : window->findChildren<Widget*>()) {
            if (widget->accessibleName() == QString::fromUtf8(name))
                return widget;
        }
        ADD_FAILURE() << "there is no " << name;
        return nullptr;
    }
    QPushButton* button(const char* text) const
    {
        for (QPushButton* each : window->findChildren<QPushButton*>()) {
            if (each->text() == QString::fromUtf8(text))
                return each;
        }
        return nullptr;
    }
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        ASSERT_NE(QApplication::focusWidget(), nullptr);
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }
    std::string row(int column) const
    {
        const auto* table = window->findChild<QTreeView*>();
        return table->currentIndex().siblingAtColumn(column).data().toString().toStdString();
    }
    void choose(const char* filter)
    {
        named<QLineEdit>("Filter commands")->setText(QString::fromUtf8(filter));
        auto* table = window->findChild<QTreeView*>();
        table->setCurrentIndex(table->model()->index(0, 0));
        table->setFocus();
    }

    QTemporaryDir folder;
    SettingsStore store;
    CommandRegistry registry;
    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, RowsApplyAtOnceAndCanBeReset)
{
    window->showPage(QStringLiteral("editor"));
    auto* wrap = named<QCheckBox>("Wrap long lines");
    auto* reset = named<QToolButton>("Reset “Wrap long lines”");
    EXPECT_FALSE(reset->isVisible());
    EXPECT_EQ(wrap->parentWidget()->toolTip().toStdString(), "editor.wrap");
    wrap->setFocus();
    press(Qt::Key_Space);
    EXPECT_FALSE(store.settings().wrap);
    EXPECT_TRUE(reset->isVisible());
    reset->click();
    EXPECT_TRUE(store.settings().wrap);
    EXPECT_TRUE(wrap->isChecked());
    EXPECT_FALSE(reset->isVisible());

    auto* width = named<QSpinBox>("Width of a tab");
    width->setFocus();
    press(Qt::Key_Up);
    EXPECT_EQ(store.settings().tabWidth, 5);
    auto* with = named<QComboBox>("Otherwise indent with");
    with->setFocus();
    press(Qt::Key_Down);
    EXPECT_TRUE(store.settings().indentWithTabs);
    store.change([](Settings& settings) { settings.tabWidth = 2; });
    EXPECT_EQ(width->value(), 2) << "changes from elsewhere are shown";
    named<QCheckBox>("Show the welcome strip")->click();
    EXPECT_TRUE(store.settings().welcomeDismissed);
}

TEST_F(SettingsWindowTest, EveryControlHasANameAndTheSearchFindsRowsOnAllPages)
{
    for (const QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus || qobject_cast<const QLabel*>(widget) ||
            widget->objectName().startsWith(QLatin1String("qt_")) ||
            qobject_cast<const QAbstractSpinBox*>(widget->parent()) || widget->parent()->inherits("QComboBox") ||
            widget->parent()->inherits("QComboBoxPrivateContainer"))
            continue;
        const auto* push = qobject_cast<const QAbstractButton*>(widget);
        EXPECT_FALSE(widget->accessibleName().isEmpty() && (!push || push->text().isEmpty()))
            << widget->metaObject()->className() << " in " << widget->parent()->metaObject()->className();
    }
    auto* search = named<QLineEdit>("Search settings");
    search->setText(QStringLiteral("TÁB width"));
    EXPECT_TRUE(named<QSpinBox>("Width of a tab")->isVisible());
    EXPECT_FALSE(named<QCheckBox>("Wrap long lines")->isVisible());
    search->setText(QStringLiteral("files.new.encoding"));
    EXPECT_TRUE(named<QComboBox>("Encoding")->isVisible());
    search->setText(QStringLiteral("duplicate"));
    EXPECT_TRUE(window->findChild<QTreeView*>()->isVisible()) << "commands are found as well";
    EXPECT_EQ(window->findChild<QTreeView*>()->model()->rowCount(), 1);
    search->setFocus();
    press(Qt::Key_Escape);
    EXPECT_TRUE(search->text().isEmpty());
    EXPECT_TRUE(named<QCheckBox>("Show the menu bar")->isVisible()) << "back on the page that was open";
    EXPECT_FALSE(named<QSpinBox>("Width of a tab")->isVisible());
    press(Qt::Key_Escape);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(SettingsWindowTest, AKeyIsSetByKeysAlone)
{
    window->showPage(QStringLiteral("keys"));
    choose("sort lines descending");
    EXPECT_EQ(row(0), "Edit: Sort Lines Descending");
    press(Qt::Key_Return);
    auto* field = window->findChild<KeyField*>();
    EXPECT_EQ(QApplication::focusWidget(), field);
    press(Qt::Key_D, Qt::ControlModifier);
    EXPECT_EQ(field->text().toStdString(), "Ctrl+D");
    EXPECT_EQ(QApplication::focusWidget(), button("Set"));
    EXPECT_NE(button("Set")->accessibleDescription().indexOf(QStringLiteral("“Select Next Occurrence”")), -1);
    EXPECT_TRUE(registry.shortcuts("edit.line.sortDescending").isEmpty()) << "not yet";
    press(Qt::Key_Space);
    EXPECT_EQ(row(1), "Ctrl+D");
    EXPECT_NE(row(2).find("“Select Next Occurrence”"), std::string::npos);
    EXPECT_EQ(registry.find(QKeySequence(QStringLiteral("Ctrl+D"))[0])->id, "edit.line.sortDescending");
    EXPECT_EQ(store.settings().shortcuts.at("edit.line.sortDescending"), std::vector<std::string>{"Ctrl+D"});
    choose("next occurrence");
    EXPECT_NE(row(2).find("goes to “Sort Lines Descending”"), std::string::npos) << row(2);

    // A second key, which the desktop may keep; then back to none, and to what it was.
    choose("sort lines descending");
    press(Qt::Key_F2);
    press(Qt::Key_Left, Qt::ControlModifier | Qt::AltModifier);
    button("Add")->click();
    EXPECT_EQ(registry.shortcuts("edit.line.sortDescending").size(), 2);
    EXPECT_NE(row(2).find("desktop"), std::string::npos);
    button("Reset")->click();
    EXPECT_EQ(row(1), "");
    EXPECT_FALSE(store.settings().shortcuts.contains("edit.line.sortDescending"));
    choose("edit.undo");
    press(Qt::Key_Delete);
    EXPECT_EQ(row(1), "");
    EXPECT_TRUE(store.settings().shortcuts.at("edit.undo").empty());
}

TEST_F(SettingsWindowTest, TheFieldTakesKeysButTabLeavesIt)
{
    window->showPage(QStringLiteral("keys"));
    choose("edit.undo");
    press(Qt::Key_Return);
    auto* field = window->findChild<KeyField*>();
    press(Qt::Key_A);
    press(Qt::Key_Control, Qt::ControlModifier);
    EXPECT_FALSE(field->hasKey()) << "letters and modifiers are no keys of commands";
    press(Qt::Key_Tab);
    EXPECT_NE(QApplication::focusWidget(), field);
    EXPECT_TRUE(window->isVisible());
}

// Hand edits change preset and keys in one go; neither may undo the other.
TEST_F(SettingsWindowTest, KeysFollowTheSettings)
{
    registry.setShortcuts("edit.redo", {QKeySequence(QStringLiteral("F7"))});
    store.change([](Settings& settings) {
        settings.keyPreset = "swapped";
        settings.shortcuts = {{"edit.undo", {"F8"}}};
    });
    EXPECT_EQ(registry.preset(), "swapped");
    EXPECT_EQ(registry.overrides(), store.settings().shortcuts);
    EXPECT_EQ(store.settings().shortcuts.size(), 1U);
    EXPECT_FALSE(registry.hasOwnShortcuts("edit.redo"));
}

TEST_F(SettingsWindowTest, OpensItsFileAndTheLibrarysFolder)
{
    const QSignalSpy opened(window.get(), &SettingsWindow::openFile);
    const QSignalSpy shown(window.get(), &SettingsWindow::showInFiles);
    button("Open as JSON")->click();
    ASSERT_EQ(opened.size(), 1);
    EXPECT_EQ(loadSettings(opened[0][0].toString().toStdString()).settings, Settings());
    EXPECT_TRUE(std::filesystem::exists(opened[0][0].toString().toStdString())) << "though nothing was ever changed";
    window->showPage(QStringLiteral("library"));
    button("Show in Files")->click();
    ASSERT_EQ(shown.size(), 1);
    EXPECT_EQ(shown[0][0].toString().toStdString(), "/home/ada/library");
}

TEST_F(SettingsWindowTest, PresetsAreChosenAndProblemsAreSaid)
{
    registry.add({.id = "file.print", .name = QStringLiteral("Print…"), .category = {}, .keys = "Ctrl+P", .run = {}});
    auto* preset = named<QComboBox>("Preset");
    window->showPage(QStringLiteral("keys"));
    preset->setFocus();
    press(Qt::Key_Down);
    EXPECT_EQ(store.settings().keyPreset, "swapped");
    EXPECT_EQ(registry.shortcuts("file.print"), QList<QKeySequence>{QKeySequence(QStringLiteral("Ctrl+K"))});
    named<QToolButton>("Reset “Preset”")->click();
    EXPECT_EQ(registry.preset(), "normal");

    // In the place of the file stands a folder, so nothing can be written.
    const auto isSaid = [this] {
        for (const QLabel* label : window->findChildren<QLabel*>()) {
            if (label->isVisible() && label->text().contains(QLatin1String("could not be stored")))
                return true;
        }
        return false;
    };
    store.flush();
    std::filesystem::remove(store.path());
    std::filesystem::create_directories(store.path() / "inside");
    store.change([](Settings& settings) { settings.wrap = false; });
    store.flush();
    EXPECT_TRUE(isSaid());
    std::filesystem::remove_all(store.path());
    store.change([](Settings& settings) { settings.wrap = true; });
    store.change([](Settings& settings) { settings.tabWidth = 9; });
    store.flush();
    EXPECT_FALSE(isSaid());
}

}  // namespace
}  // namespace penmark
