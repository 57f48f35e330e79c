// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandRegistry.h"

#include "app/editor/EditorCommands.h"
#include "app/editor/EditorView.h"

#include <QCoreApplication>
#include <algorithm>

namespace penmark {

namespace {

constexpr std::size_t mostRecent = 20;

QList<QKeySequence> parseKeys(const char* keys)
{
    return *keys ? QKeySequence::listFromString(QString::fromLatin1(keys)) : QList<QKeySequence>();
}

bool isUsable(const QKeySequence& keys)
{
    return keys.count() == 1 && CommandRegistry::usable(keys[0]);
}

QString editorCategory(std::string_view id)
{
    if (id.starts_with("caret."))
        return CommandRegistry::tr("Go");
    if (id.starts_with("view."))
        return CommandRegistry::tr("View");
    if (id.starts_with("fold."))
        return CommandRegistry::tr("Fold");
    return CommandRegistry::tr("Edit");
}

std::function<bool(const CommandContext&)> editorCheck(std::string_view id)
{
    if (id == "view.wrap")
        return [](const CommandContext& context) { return context.view && context.view->wraps(); };
    if (id == "view.blanks")
        return [](const CommandContext& context) { return context.view && context.view->showsBlanks(); };
    if (id == "view.lineNumbers")
        return [](const CommandContext& context) { return context.view && context.view->showsLineNumbers(); };
    if (id == "edit.overtype")
        return
            [](const CommandContext& context) { return context.view && context.view->document().options().overtype; };
    return {};
}

}  // namespace

CommandRegistry::CommandRegistry(QObject* parent) : QObject(parent), preset_(presets().front().id) {}

CommandRegistry::~CommandRegistry() = default;

void CommandRegistry::add(Command command)
{
    Q_ASSERT(!find(command.id));
    const Command& added = commands_.emplace_back(std::move(command));
    byId_.emplace(added.id, &added);
    byKeyIsMade_ = false;
}

void CommandRegistry::addEditorCommands()
{
    for (const EditorCommand& command : editorCommands()) {
        add({.id = command.id,
             .name = QCoreApplication::translate("EditorCommand", command.name),
             .category = editorCategory(command.id),
             .keys = command.shortcuts,
             .run = [&command](CommandContext& context) { context.view->run(command); },
             .isEnabled =
                 [edits = command.edits](const CommandContext& context) {
                     return context.view && !(edits && context.view->isReadOnly());
                 },
             .isChecked = editorCheck(command.id),
             .whyDisabled =
                 [](const CommandContext& context) {
                     return context.view ? tr("This text cannot be edited.") : tr("No text is open.");
                 },
             .editorCommand = &command});
    }
}

const Command* CommandRegistry::find(std::string_view id) const
{
    const auto found = byId_.find(id);
    return found == byId_.end() ? nullptr : found->second;
}

const Command* CommandRegistry::find(QKeyCombination key) const
{
    const auto found = byKey().constFind(key);
    return found == byKey().constEnd() ? nullptr : found->front();
}

bool CommandRegistry::run(const Command& command, CommandContext& context)
{
    if (!command.enabled(context)) {
        const QString reason = command.reason(context);
        if (!reason.isEmpty())
            emit refused(reason);
        return false;
    }
    command.run(context);
    return true;
}

bool CommandRegistry::run(std::string_view id, CommandContext& context)
{
    const Command* command = find(id);
    return command && run(*command, context);
}

bool CommandRegistry::handleKey(QKeyEvent& event, CommandContext& context)
{
    if (isTyping(event))
        return false;
    for (const QKeyCombination key : combinationsOf(event)) {
        if (const Command* command = find(key)) {
            // A view with the focus has taken its keys already. Del that a list does not want must not reach a text
            // beside it; to zoom that does no harm.
            if (command->editorCommand && !command->id.starts_with("view."))
                return false;
            event.accept();  // first: the command may take the event's receiver away
            run(*command, context);
            return true;
        }
    }
    return false;
}

const EditorCommand* CommandRegistry::commandFor(QKeyCombination key) const
{
    const Command* command = find(key);
    return command ? command->editorCommand : nullptr;
}

bool CommandRegistry::isTaken(QKeyCombination key) const
{
    const Command* command = find(key);
    return command && !command->editorCommand;
}

void CommandRegistry::noteUse(std::string_view id)
{
    std::erase(recent_, id);
    recent_.insert(recent_.begin(), std::string(id));
    if (recent_.size() > mostRecent)
        recent_.pop_back();
}

// Keys

QList<QKeySequence> CommandRegistry::defaultShortcuts(std::string_view id) const
{
    const Command* command = find(id);
    return command ? parseKeys(defaultKeys(*command)) : QList<QKeySequence>();
}

const char* CommandRegistry::defaultKeys(const Command& command) const
{
    for (const KeyPreset& preset : presets()) {
        if (preset.id != preset_)
            continue;
        for (const KeyPreset::Entry& entry : preset.entries) {
            if (entry.id == command.id)
                return entry.keys;
        }
    }
    return command.keys;
}

QList<QKeySequence> CommandRegistry::shortcuts(std::string_view id) const
{
    const auto own = overrides_.find(std::string(id));
    if (own == overrides_.end())
        return defaultShortcuts(id);
    QList<QKeySequence> keys;
    for (const std::string& text : own->second) {
        const QKeySequence key = QKeySequence::fromString(QString::fromStdString(text), QKeySequence::PortableText);
        if (isUsable(key) && !keys.contains(key))
            keys.append(key);
    }
    return keys;
}

bool CommandRegistry::hasOwnShortcuts(std::string_view id) const
{
    return overrides_.contains(std::string(id));
}

void CommandRegistry::setShortcuts(std::string_view id, const QList<QKeySequence>& keys)
{
    QList<QKeySequence> usable;
    for (const QKeySequence& key : keys) {
        if (isUsable(key) && !usable.contains(key))
            usable.append(key);
    }
    // What is as it would be anyway follows the preset again.
    if (usable == defaultShortcuts(id)) {
        overrides_.erase(std::string(id));
    } else {
        std::vector<std::string>& stored = overrides_[std::string(id)];
        stored.clear();
        for (const QKeySequence& key : usable)
            stored.push_back(key.toString(QKeySequence::PortableText).toStdString());
    }
    keysChanged();
}

void CommandRegistry::resetShortcuts(std::string_view id)
{
    if (overrides_.erase(std::string(id)) > 0)
        keysChanged();
}

void CommandRegistry::resetAllShortcuts()
{
    std::erase_if(overrides_, [this](const auto& entry) { return find(entry.first); });
    keysChanged();
}

void CommandRegistry::setOverrides(Overrides overrides)
{
    if (overrides == overrides_)
        return;
    overrides_ = std::move(overrides);
    keysChanged();
}

void CommandRegistry::setPreset(std::string_view id)
{
    const auto known =
        std::find_if(presets().begin(), presets().end(), [id](const auto& each) { return each.id == id; });
    const std::string preset = known == presets().end() ? presets().front().id : known->id;
    if (preset == preset_)
        return;
    preset_ = preset;
    keysChanged();
}

void CommandRegistry::keysChanged()
{
    byKeyIsMade_ = false;
    emit shortcutsChanged();
}

const QHash<QKeyCombination, std::vector<const Command*>>& CommandRegistry::byKey() const
{
    if (byKeyIsMade_)
        return byKey_;
    byKey_.clear();
    for (const bool own : {true, false}) {
        for (const Command& command : commands_) {
            if (hasOwnShortcuts(command.id) != own)
                continue;
            for (const QKeySequence& key : shortcuts(command.id)) {
                if (!key.isEmpty())
                    byKey_[key[0]].push_back(&command);
            }
        }
    }
    byKeyIsMade_ = true;
    return byKey_;
}

std::vector<CommandRegistry::Conflict> CommandRegistry::conflicts() const
{
    std::vector<Conflict> conflicts;
    for (auto at = byKey().constBegin(); at != byKey().constEnd(); ++at) {
        if (at->size() > 1)
            conflicts.push_back({at.key(), *at});
    }
    std::sort(conflicts.begin(), conflicts.end(),
              [](const Conflict& a, const Conflict& b) { return a.key.toCombined() < b.key.toCombined(); });
    return conflicts;
}

std::vector<const Command*> CommandRegistry::conflictsWith(std::string_view id, QKeyCombination key) const
{
    std::vector<const Command*> others = byKey().value(key);
    std::erase_if(others, [id](const Command* command) { return command->id == id; });
    return others;
}

}  // namespace penmark
