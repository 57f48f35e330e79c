// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandRegistry.h"
#include "app/documents/RecoveryBuffer.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"

#include <deque>
#include <functional>
#include <utility>

namespace penmark {

inline bool hasWindow(const CommandContext& context)
{
    return context.window != nullptr;
}

inline bool hasDocument(const CommandContext& context)
{
    return context.window && context.window->buffer();
}

inline bool hasFile(const CommandContext& context)
{
    return hasDocument(context) && !context.window->buffer()->isDraft();
}

inline QString whyNoFile(const CommandContext&)
{
    return Program::tr("The document has no file.");
}

/// Adds commands of one category; they are in the registry when this goes.
class CommandAdder {
public:
    using Run = std::function<void(DocumentWindow&)>;

    CommandAdder(CommandRegistry& registry, QString category) : registry_(registry), category_(std::move(category)) {}

    Command& window(const char* id, const QString& name, const char* keys, Run run)
    {
        return add(id, name, keys, std::move(run), hasWindow);
    }
    Command& document(const char* id, const QString& name, const char* keys, Run run)
    {
        return add(id, name, keys, std::move(run), hasDocument);
    }
    Command& file(const char* id, const QString& name, const char* keys, Run run)
    {
        Command& command = add(id, name, keys, std::move(run), hasFile);
        command.whyDisabled = whyNoFile;
        return command;
    }
    void flush()
    {
        for (Command& command : pending_)
            registry_.add(std::move(command));
        pending_.clear();
    }
    ~CommandAdder() { flush(); }
    CommandAdder(const CommandAdder&) = delete;
    CommandAdder& operator=(const CommandAdder&) = delete;

private:
    Command& add(const char* id, const QString& name, const char* keys, Run run,
                 std::function<bool(const CommandContext&)> enabled)
    {
        Command& command = pending_.emplace_back();
        command.id = id;
        command.name = name;
        command.category = category_;
        command.keys = keys;
        command.run = [run = std::move(run)](CommandContext& context) { run(*context.window); };
        command.isEnabled = std::move(enabled);
        return command;
    }

    CommandRegistry& registry_;
    QString category_;
    std::deque<Command> pending_;  // references to them are given out
};

/// The document in front; the nil identifier without one.
inline Uuid frontDocument(DocumentWindow& window)
{
    return window.tabs().selected().value_or(Uuid());
}

/// Commands of searching in many texts.
void addSearchCommands(CommandRegistry& registry, Program& program);

/// Commands of sessions, workspaces, projects, checkpoints and history.
void addSessionCommands(CommandRegistry& registry, Program& program);

}  // namespace penmark
