// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/editor/EditorKeys.h"

#include <QHash>
#include <QKeySequence>
#include <QList>
#include <QObject>
#include <QString>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

class DocumentWindow;
class EditorView;

/// What a command works on. Either may be missing.
struct CommandContext {
    DocumentWindow* window = nullptr;
    EditorView* view = nullptr;
};

/// Something the program can be told to do. Menus, keys and the palette are made from it.
struct Command {
    std::string id;         ///< such as "file.save"; stored in users' settings, so it never changes its meaning
    QString name;           ///< in title case, with "…" if it asks for more
    QString category;       ///< what the palette shows before it: "File"
    const char* keys = "";  ///< default ones: portable texts, separated by "; ", each of one chord

    std::function<void(CommandContext&)> run;
    std::function<bool(const CommandContext&)> isEnabled = {};       ///< none: always
    std::function<bool(const CommandContext&)> isChecked = {};       ///< none: it is not one to be checked
    std::function<QString(const CommandContext&)> whyDisabled = {};  ///< a sentence; asked only when it is disabled
    const EditorCommand* editorCommand = nullptr;                    ///< of those a view runs by itself

    bool enabled(const CommandContext& context) const { return !isEnabled || isEnabled(context); }
    bool checked(const CommandContext& context) const { return isChecked && isChecked(context); }
    QString reason(const CommandContext& context) const { return whyDisabled ? whyDisabled(context) : QString(); }
};

/// Other default keys for some commands, for people who come with other habits.
struct KeyPreset {
    struct Entry {
        const char* id;  ///< need not exist
        const char* keys;
    };
    const char* id;
    const char* name;  ///< in the source language; translated by presetName()
    std::vector<Entry> entries;
};

/// Every command of the program, once, and the keys that each has.
///
/// Of several commands with the same key one the user gave it to comes first, then the one that was added first.
/// Commands are never removed, and stay where they are in memory. Threads: the window's.
class CommandRegistry final : public QObject, public EditorKeys {
    Q_OBJECT

public:
    using Overrides = std::map<std::string, std::vector<std::string>>;

    explicit CommandRegistry(QObject* parent = nullptr);
    ~CommandRegistry() override;

    /// The id must be new.
    void add(Command command);
    /// Takes over the table of EditorCommands.h.
    void addEditorCommands();

    const std::deque<Command>& commands() const { return commands_; }
    /// Null if there is none.
    const Command* find(std::string_view id) const;
    const Command* find(QKeyCombination key) const;

    /// Runs it if it is enabled; otherwise says why not by refused(). Returns whether it ran.
    bool run(const Command& command, CommandContext& context);
    bool run(std::string_view id, CommandContext& context);
    /// For key presses that nobody in the window wanted. True, with the event accepted, if the key is a command's,
    /// also if that is disabled. Keys that type a character are never handled, nor are those by which a view moves its
    /// carets and edits: it takes them itself while it has the focus.
    bool handleKey(QKeyEvent& event, CommandContext& context);

    QList<QKeySequence> shortcuts(std::string_view id) const;
    QList<QKeySequence> defaultShortcuts(std::string_view id) const;  ///< as the preset has them
    bool hasOwnShortcuts(std::string_view id) const;
    /// Keys of more than one chord, or that type a character, are left out. An empty list takes all keys away.
    void setShortcuts(std::string_view id, const QList<QKeySequence>& keys);
    void resetShortcuts(std::string_view id);
    void resetAllShortcuts();

    /// The user's keys as they are stored: portable texts by id. Those of unknown commands are kept.
    const Overrides& overrides() const { return overrides_; }
    void setOverrides(Overrides overrides);

    /// "normal" and those that differ from it, in the order in which they are offered.
    static const std::vector<KeyPreset>& presets();
    static QString presetName(const KeyPreset& preset);
    const std::string& preset() const { return preset_; }
    void setPreset(std::string_view id);  ///< an unknown one is the normal one

    struct Conflict {
        QKeyCombination key;
        std::vector<const Command*> commands;  ///< two or more; the first is the one that the key runs
    };
    std::vector<Conflict> conflicts() const;
    /// The other commands with that key.
    std::vector<const Command*> conflictsWith(std::string_view id, QKeyCombination key) const;
    /// Whether common desktops keep the key for themselves, so that it may never arrive.
    static bool reservedByDesktop(QKeyCombination key);
    /// Whether the key can be a command's: it is no modifier alone and types no character.
    static bool usable(QKeyCombination key);

    /// The ids that were last chosen by name, the latest first.
    const std::vector<std::string>& recentlyUsed() const { return recent_; }
    void noteUse(std::string_view id);

    const EditorCommand* commandFor(QKeyCombination key) const override;
    bool isTaken(QKeyCombination key) const override;

signals:
    void shortcutsChanged();
    void refused(const QString& sentence);  ///< for the status bar

private:
    const char* defaultKeys(const Command& command) const;
    void keysChanged();
    const QHash<QKeyCombination, std::vector<const Command*>>& byKey() const;

    std::deque<Command> commands_;
    std::unordered_map<std::string_view, const Command*> byId_;  // of the ids in commands_
    Overrides overrides_;
    std::string preset_;
    std::vector<std::string> recent_;
    mutable QHash<QKeyCombination, std::vector<const Command*>> byKey_;  // made when it is first asked for
    mutable bool byKeyIsMade_ = false;
};

}  // namespace penmark
