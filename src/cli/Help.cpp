// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Help.h"

#include "cli/DisplayText.h"

#include <algorithm>

namespace penmark::cli {

namespace {

using Line = std::pair<std::string, std::string_view>;

std::string alignedLines(const std::vector<Line>& lines)
{
    std::size_t widest = 0;
    for (const auto& [left, right] : lines)
        widest = std::max(widest, displayWidth(left));
    std::string out;
    for (const auto& [left, right] : lines) {
        out.append("  ").append(left).append(widest - displayWidth(left) + 2, ' ');
        out.append(right).append("\n");
    }
    return out;
}

std::string spelled(const Option& option)
{
    std::string text = "--" + std::string(option.name);
    if (!option.value.empty())
        text.append(" ").append(option.value);
    if (option.letter != 0)
        text = "-" + std::string(1, option.letter) + ", " + text;
    return text;
}

std::string usage(const Command& command)
{
    std::string text = "penmarkctl " + std::string(command.name);
    for (const Option* option : command.options)
        text.append(" [").append(spelled(*option)).append("]");
    if (!command.operands.empty())
        text.append(" ").append(command.operands);
    return text;
}

std::string optionLines(const std::vector<const Option*>& options)
{
    std::vector<Line> lines;
    lines.reserve(options.size());
    for (const Option* option : options)
        lines.emplace_back(spelled(*option), option->help);
    return alignedLines(lines);
}

std::string commandLines(const std::vector<const Command*>& commands)
{
    std::vector<Line> lines;
    lines.reserve(commands.size());
    for (const Command* command : commands)
        lines.emplace_back(std::string(command->name) + " " + std::string(command->operands), command->summary);
    return alignedLines(lines);
}

}  // namespace

std::string helpText()
{
    std::vector<const Command*> all;
    for (const Command& command : allCommands())
        all.push_back(&command);
    return "Usage: penmarkctl [--library DIR] COMMAND [OPTION]... [ARGUMENT]...\n"
           "Works with a Penmark library from the command line.\n\n"
           "Commands:\n" +
           commandLines(all) + "\nOptions:\n" + optionLines({&options::library, &options::help, &options::version}) +
           "\nAn ID may be shortened to its first digits, at least 4, as long as they name one thing of its kind.\n"
           "Without --library the library is where PENMARK_DATA_ROOT says, or in the user's data folder.\n"
           "“penmarkctl COMMAND --help” tells more about a command.\n";
}

std::string helpText(const std::vector<const Command*>& group)
{
    return "Usage: penmarkctl " + std::string(group.front()->firstWord()) + " COMMAND\n\nCommands:\n" +
           commandLines(group);
}

std::string helpText(const Command& command)
{
    std::vector<const Option*> accepted = command.options;
    accepted.insert(accepted.end(), {&options::library, &options::help});
    std::string text = "Usage: " + usage(command) + "\n" + std::string(command.summary) + ".\n";
    if (!command.details.empty())
        text.append("\n").append(command.details);
    return text + "\nOptions:\n" + optionLines(accepted);
}

}  // namespace penmark::cli
