// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Program.h"

#include "base/SystemError.h"
#include "base/Utf8.h"
#include "cli/Command.h"
#include "cli/Help.h"
#include "cli/Interruption.h"
#include "storage/RecoveryError.h"

#include <csignal>
#include <new>

namespace penmark::cli {

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

const Command& requireCommand(const std::string& name)
{
    if (const Command* command = findCommand(name))
        return *command;
    std::vector<std::string_view> names;
    names.reserve(allCommands().size());
    for (const Command& command : allCommands())
        names.push_back(command.name);
    throw UsageError("unknown command “" + name + "”" + suggestion(name, names));
}

void checkUsage(const Command& command, const Arguments& arguments)
{
    std::vector<const Option*> accepted = command.options;
    accepted.insert(accepted.end(), {&options::library, &options::help, &options::version});
    if (const Option* other = arguments.firstOutside(accepted))
        throw UsageError("“" + std::string(command.name) + "” has no option “--" + std::string(other->name) + "”");
    const std::size_t count = arguments.operands().size();
    if (count < command.fewest)
        throw UsageError("“" + std::string(command.name) + "” needs " + std::string(command.operands));
    if (count > command.most)
        throw UsageError("“" + arguments.operands()[command.most] + "” is one argument too many");
    if (const auto library = arguments.value(options::library); library && library->empty())
        throw UsageError("“--library” needs the name of a folder");
}

// Sets `command` as soon as it is known, so that a hint can name it.
int run(const std::vector<std::string>& words, const Command*& command)
{
    Arguments arguments = Arguments::parse(words, allOptions());
    CommandContext context(arguments.value(options::library));
    const auto name = arguments.takeFirstOperand();
    if (name)
        command = &requireCommand(*name);

    int status = 0;
    if (arguments.has(options::help)) {
        context.console.print(command != nullptr ? helpText(*command) : helpText());
    } else if (arguments.has(options::version)) {
        context.console.print("penmarkctl " PENMARK_VERSION "\n");
    } else if (command == nullptr) {
        throw UsageError("a command is missing");
    } else {
        checkUsage(*command, arguments);
        status = command->run(context, arguments);
    }
    context.console.flush();
    return status;
}

int fail(std::string_view message)
{
    Console().say(message);
    return failed;
}

}  // namespace

int runProgram(const std::vector<std::string>& words)
{
    // A write that nobody reads is answered, not deadly, so that everything is closed in order.
    std::signal(SIGPIPE, SIG_IGN);
    // Likewise a file that would grow beyond the user's limit.
    std::signal(SIGXFSZ, SIG_IGN);
    const Command* command = nullptr;
    int status = failed;
    try {
        status = run(words, command);
    } catch (const UsageError& error) {
        Console console;
        console.say(error.what());
        const std::string named = command != nullptr ? " " + std::string(command->name) : std::string();
        console.sayPlainly("Try 'penmarkctl" + named + " --help'.");
        status = wrongUsage;
    } catch (const RecoveryError& error) {
        status = fail(error.what());
    } catch (const SystemError& error) {
        status = fail(error.what());
    } catch (const std::bad_alloc&) {
        status = fail("There is not enough memory.");
    } catch (const OutputClosed&) {
        endBySignal(SIGPIPE);
    } catch (const Cancelled&) {
        // The signal that asked for it ends the process below.
    }
    endIfInterrupted();
    return status;
}

}  // namespace penmark::cli
