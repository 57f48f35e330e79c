// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"

#include <algorithm>

namespace penmark::cli {

namespace {

[[noreturn]] void refuseUnknown(const std::string& first)
{
    std::vector<std::string_view> names;
    for (const Command& command : allCommands()) {
        if (names.empty() || names.back() != command.firstWord())
            names.push_back(command.firstWord());
    }
    throw UsageError("unknown command “" + first + "”" + suggestion(first, names));
}

}  // namespace

std::string_view Command::firstWord() const
{
    return name.substr(0, name.find(' '));
}

std::string_view Command::action() const
{
    const auto blank = name.find(' ');
    return blank == std::string_view::npos ? std::string_view() : name.substr(blank + 1);
}

const std::vector<Command>& allCommands()
{
    static const std::vector<Command> all = [] {
        std::vector<Command> table = documentCommands();
        std::vector<Command> more = organizationCommands();
        table.insert(table.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
        return table;
    }();
    return all;
}

std::vector<const Option*> allOptions()
{
    std::vector<const Option*> found{&options::library, &options::help, &options::version};
    for (const Command& command : allCommands()) {
        for (const Option* option : command.options) {
            const auto isSame = [&](const Option* other) { return other->name == option->name; };
            if (std::none_of(found.begin(), found.end(), isSame))
                found.push_back(option);
        }
    }
    return found;
}

NamedCommand findCommand(const std::vector<std::string>& words)
{
    NamedCommand found;
    if (words.empty())
        return found;
    for (const Command& command : allCommands()) {
        if (command.name == words.front())
            return {&command, 1, {}};
        if (command.firstWord() != words.front())
            continue;
        found.group.push_back(&command);
        if (words.size() > 1 && command.action() == words[1])
            return {&command, 2, {}};
    }
    if (found.group.empty())
        refuseUnknown(words.front());
    found.words = 1;
    return found;
}

}  // namespace penmark::cli
