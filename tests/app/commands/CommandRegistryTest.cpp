// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandRegistry.h"

#include "app/editor/ShownEditor.h"

#include <QSignalSpy>
#include <QVBoxLayout>

namespace penmark {
namespace {

QList<QKeySequence> keys(const char* texts)
{
    return QKeySequence::listFromString(QString::fromLatin1(texts));
}

QKeyCombination key(const char* text)
{
    return QKeySequence(QString::fromLatin1(text))[0];
}

std::string idOf(const Command* command)
{
    return command ? command->id : "";
}

/// A window as the program has them: what the view leaves reaches it, and it asks the registry.
class KeyWindow final : public QWidget {
public:
    explicit KeyWindow(CommandRegistry& registry)
        : registry_(registry), document(TextSnapshot(std::string_view("one\ntwo"))), view(document)
    {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(&view);
        view.setKeys(&registry);
        show();
        activateWindow();
        view.setFocus();
        (void)QTest::qWaitForWindowActive(this);
    }

    void press(Qt::Key pressed, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&view, pressed, modifiers); }
    std::string text() const { return document.text().text(); }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        CommandContext context{.view = &view};
        if (!registry_.handleKey(*event, context) && event->key() < Qt::Key_Shift)
            unhandled.append(event->key());
    }

private:
    CommandRegistry& registry_;

public:
    EditorDocument document;
    EditorView view;
    QList<int> unhandled;
};

class CommandRegistryTest : public testing::Test {
protected:
    CommandRegistryTest()
    {
        registry.addEditorCommands();
        registry.add({.id = "file.save",
                      .name = QStringLiteral("Save"),
                      .category = QStringLiteral("File"),
                      .keys = "Ctrl+S",
                      .run = [this](CommandContext&) { ++saved; },
                      .isEnabled = [this](const CommandContext&) { return canSave; },
                      .whyDisabled = [](const CommandContext&) { return QStringLiteral("Nothing to save."); }});
        registry.add({.id = "file.print",
                      .name = QStringLiteral("Print…"),
                      .category = QStringLiteral("File"),
                      .keys = "Ctrl+P",
                      .run = [](CommandContext&) {}});
    }

    CommandRegistry registry;
    int saved = 0;
    bool canSave = true;
};

TEST_F(CommandRegistryTest, KeysReachViewAndWindowAlsoAfterTheyWereChanged)
{
    KeyWindow window(registry);
    window.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(saved, 1) << "the view leaves it to the window";
    window.press(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(window.text(), "two");

    registry.setShortcuts("edit.line.delete", keys("Ctrl+Alt+X; F7"));
    window.press(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(window.text(), "two") << "the old key is nobody's";
    EXPECT_EQ(window.unhandled, QList<int>{Qt::Key_K});
    window.press(Qt::Key_F7);
    EXPECT_EQ(window.text(), "");

    // A key taken from the view by a command of the window, and one that goes the other way.
    window.view.typeText(QStringLiteral("abc"));
    registry.setShortcuts("file.save", keys("Ctrl+A"));
    registry.setShortcuts("edit.undo", keys("Ctrl+S"));
    window.press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(saved, 2);
    EXPECT_FALSE(window.view.editor().carets().hasSelection());
    window.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(window.text(), "");
    EXPECT_EQ(saved, 2);

    // Signs on shifted keys, as keyboards send them.
    registry.setShortcuts("file.save", keys("Ctrl+?"));
    window.press(Qt::Key_Question, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(saved, 3);
    registry.resetShortcuts("file.save");
    registry.resetShortcuts("edit.undo");
    window.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(saved, 4);
}

TEST_F(CommandRegistryTest, DisabledCommandsKeepTheirKeyAndSayWhy)
{
    KeyWindow window(registry);
    const QSignalSpy refused(&registry, &CommandRegistry::refused);
    canSave = false;
    window.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(saved, 0);
    EXPECT_TRUE(window.unhandled.isEmpty());
    ASSERT_EQ(refused.size(), 1);
    EXPECT_EQ(refused[0][0].toString().toStdString(), "Nothing to save.");

    CommandContext nothing;
    EXPECT_FALSE(registry.run("caret.left", nothing));
    CommandContext context{.view = &window.view};
    window.view.setReadOnly(true);
    EXPECT_FALSE(registry.run("edit.line.delete", context));
    EXPECT_TRUE(registry.run("edit.selectAll", context));
    EXPECT_FALSE(registry.run("no.such", context));
}

// Keys that a neighbour of the view does not want come to the window; the text must not be edited by them.
TEST_F(CommandRegistryTest, KeysOfANeighbourDoNotEditTheText)
{
    KeyWindow window(registry);
    QWidget neighbour(&window);
    neighbour.setFocusPolicy(Qt::StrongFocus);
    neighbour.show();
    neighbour.setFocus();
    for (const Qt::Key pressed : {Qt::Key_Delete, Qt::Key_Return, Qt::Key_A})
        QTest::keyClick(&neighbour, pressed);
    QTest::keyClick(&neighbour, Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(window.text(), "one\ntwo");
    EXPECT_EQ(window.unhandled.size(), 4);
    const bool wraps = window.view.wraps();
    QTest::keyClick(&neighbour, Qt::Key_Z, Qt::AltModifier);
    EXPECT_NE(window.view.wraps(), wraps);
    QTest::keyClick(&neighbour, Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(saved, 1);
}

TEST_F(CommandRegistryTest, LettersAreTypedWhateverTheyAreBoundTo)
{
    registry.setShortcuts("file.save", keys("A; Shift+B; Ctrl+K, Ctrl+S; F5"));
    EXPECT_EQ(registry.shortcuts("file.save"), keys("F5"));
    registry.setOverrides({{"file.save", {"X", "", "nonsense+", "F6", "F6"}}});
    EXPECT_EQ(registry.shortcuts("file.save"), keys("F6"));
    for (const char* typed : {"A", "Shift+A", "/", "Space"})
        EXPECT_FALSE(CommandRegistry::usable(key(typed))) << typed;
    EXPECT_FALSE(CommandRegistry::usable(QKeyCombination(Qt::ControlModifier, Qt::Key_Control)));
    for (const char* fit : {"Ctrl+A", "Alt+/", "F1", "Del", "Shift+Ins"})
        EXPECT_TRUE(CommandRegistry::usable(key(fit))) << fit;
}

TEST_F(CommandRegistryTest, UsersKeysComeFirstAndConflictsAreKnown)
{
    EXPECT_TRUE(registry.conflicts().empty()) << "among default keys";
    registry.setShortcuts("file.print", keys("Ctrl+S"));
    EXPECT_EQ(idOf(registry.find(key("Ctrl+S"))), "file.print");
    EXPECT_EQ(registry.find(key("Ctrl+P")), nullptr);
    const auto conflicts = registry.conflicts();
    ASSERT_EQ(conflicts.size(), 1U);
    EXPECT_EQ(conflicts[0].key, key("Ctrl+S"));
    EXPECT_EQ(idOf(conflicts[0].commands.front()), "file.print");
    const auto others = registry.conflictsWith("file.print", key("Ctrl+S"));
    ASSERT_EQ(others.size(), 1U);
    EXPECT_EQ(others[0]->id, "file.save");
    EXPECT_EQ(registry.conflictsWith("file.print", key("Ctrl+Z")).size(), 1U) << "before it is given";

    registry.setShortcuts("file.print", keys("Ctrl+P"));
    EXPECT_FALSE(registry.hasOwnShortcuts("file.print")) << "what is as by default follows the preset";
}

TEST_F(CommandRegistryTest, PresetsChangeDefaultsOnlyAndTolerateMissingCommands)
{
    registry.setPreset("swapped");  // the command that opens documents does not exist
    EXPECT_EQ(idOf(registry.find(key("Ctrl+K"))), "file.print");
    EXPECT_EQ(registry.find(key("Ctrl+P")), nullptr);
    registry.add(
        {.id = "file.quickOpen", .name = QStringLiteral("Quick Open…"), .category = {}, .keys = "Ctrl+K", .run = {}});
    EXPECT_EQ(idOf(registry.find(key("Ctrl+P"))), "file.quickOpen");
    registry.setPreset("no such preset");
    EXPECT_EQ(idOf(registry.find(key("Ctrl+K"))), "file.quickOpen");
    registry.setShortcuts("file.print", keys("F12"));
    registry.setPreset("swapped");
    EXPECT_EQ(idOf(registry.find(key("F12"))), "file.print");
    EXPECT_EQ(registry.find(key("Ctrl+K")), nullptr);
}

TEST_F(CommandRegistryTest, KeepsKeysOfCommandsItDoesNotKnow)
{
    const CommandRegistry::Overrides stored{{"edit.undo", {"F9"}}, {"from.laterVersion", {"Ctrl+9"}}};
    registry.setOverrides(stored);
    EXPECT_EQ(idOf(registry.find(key("F9"))), "edit.undo");
    registry.setShortcuts("edit.redo", keys("Ctrl+Y"));
    registry.resetAllShortcuts();
    EXPECT_EQ(registry.overrides(), (CommandRegistry::Overrides{{"from.laterVersion", {"Ctrl+9"}}}));
}

TEST(CommandKeys, DesktopsKeepSomeForThemselves)
{
    for (const char* kept : {"Meta+A", "Ctrl+Alt+Left", "Ctrl+Alt+Shift+Up", "Ctrl+Alt+T", "Ctrl+Alt+L", "Ctrl+Alt+Del",
                             "Alt+F1", "Alt+F10", "Alt+Tab", "Alt+Shift+Backtab", "Ctrl+Space", "Shift+Space",
                             "Ctrl+Shift+U", "Ctrl+.", "F10", "Print", "Shift+Print"})
        EXPECT_TRUE(CommandRegistry::reservedByDesktop(key(kept))) << kept;
    for (const char* free : {"Ctrl+T", "Ctrl+Alt+[", "Alt+F11", "Shift+F10", "Alt+Left", "Ctrl+Tab", "Ctrl+U", "F9"})
        EXPECT_FALSE(CommandRegistry::reservedByDesktop(key(free))) << free;
    // None of the editor's own keys is one of them.
    CommandRegistry registry;
    registry.addEditorCommands();
    for (const Command& command : registry.commands()) {
        for (const QKeySequence& each : registry.shortcuts(command.id))
            EXPECT_FALSE(CommandRegistry::reservedByDesktop(each[0])) << command.id;
    }
}

// AltGr arrives as Ctrl+Alt on some systems: its letters are typed, unless somebody gave just that key to a command.
TEST_F(CommandRegistryTest, LettersOfAltGrAreTypedUntilTheKeyIsGivenAway)
{
    KeyWindow window(registry);
    const auto euro = [&window] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_E, Qt::ControlModifier | Qt::AltModifier, QStringLiteral("€"));
        QCoreApplication::sendEvent(&window.view, &event);
    };
    euro();
    EXPECT_EQ(window.text(), "€one\ntwo");
    registry.setShortcuts("file.save", keys("Ctrl+Alt+E"));
    euro();
    EXPECT_EQ(window.text(), "€one\ntwo");
    EXPECT_EQ(saved, 1);
}

// A menu's mnemonic must not get hold of a key that belongs to a command.
TEST_F(CommandRegistryTest, TheViewClaimsKeysOfCommandsBeforeMnemonicsDo)
{
    KeyWindow window(registry);
    const auto claims = [&window](Qt::Key pressed, Qt::KeyboardModifiers modifiers) {
        QKeyEvent event(QEvent::ShortcutOverride, pressed, modifiers);
        event.ignore();
        QCoreApplication::sendEvent(&window.view, &event);
        return event.isAccepted();
    };
    EXPECT_FALSE(claims(Qt::Key_F, Qt::AltModifier));
    registry.setShortcuts("file.save", keys("Alt+F"));
    EXPECT_TRUE(claims(Qt::Key_F, Qt::AltModifier));
    EXPECT_TRUE(claims(Qt::Key_Z, Qt::AltModifier));
    registry.setShortcuts("view.wrap", {});
    EXPECT_FALSE(claims(Qt::Key_Z, Qt::AltModifier));
}

TEST_F(CommandRegistryTest, RemembersWhatWasUsedLast)
{
    for (int round = 0; round < 30; ++round)
        registry.noteUse("command." + std::to_string(round));
    registry.noteUse("command.25");
    ASSERT_EQ(registry.recentlyUsed().size(), 20U);
    EXPECT_EQ(registry.recentlyUsed()[0], "command.25");
    EXPECT_EQ(registry.recentlyUsed()[1], "command.29");
    EXPECT_EQ(std::count(registry.recentlyUsed().begin(), registry.recentlyUsed().end(), "command.25"), 1);
}

TEST_F(CommandRegistryTest, ChecksOfTheEditorsCommandsFollowTheView)
{
    KeyWindow window(registry);
    CommandContext context{.view = &window.view};
    for (const char* id : {"view.wrap", "view.blanks", "view.lineNumbers", "edit.overtype"}) {
        const Command* command = registry.find(id);
        const bool before = command->checked(context);
        EXPECT_TRUE(registry.run(*command, context));
        EXPECT_NE(command->checked(context), before) << id;
        EXPECT_FALSE(command->checked({})) << id;
    }
}

}  // namespace
}  // namespace penmark
