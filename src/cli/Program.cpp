// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Program.h"

#include "base/SystemError.h"
#include "cli/Command.h"
#include "cli/Help.h"
#include "cli/Interruption.h"
#include "organization/SessionError.h"
#include "search/TextSearchError.h"
#include "storage/RecoveryError.h"

#include <csignal>
#include <new>

namespace penmark::cli {

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

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

// Of a name of two words, `second` is what was typed, if anything.
[[noreturn]] void refuseName(const NamedCommand& named, const std::optional<std::string>& second)
{
    if (named.group.empty())
        throw UsageError("a command is missing");
    const std::string first(named.group.front()->firstWord());
    std::vector<std::string_view> actions;
    std::string list;
    for (const Command* command : named.group) {
        actions.push_back(command->action());
        list.append(list.empty() ? "" : ", ").append(command->action());
    }
    if (second)
        throw UsageError("unknown command “" + first + " " + *second + "”" + suggestion(*second, actions, first + " "));
    throw UsageError("“" + first + "” needs one of: " + list);
}

// What is known of the command when something goes wrong.
struct Attempt {
    std::string name;
    int failureStatus = failed;
};

int run(const std::vector<std::string>& words, Attempt& attempt)
{
    Arguments arguments = Arguments::parse(words, allOptions());
    CommandContext context(arguments.value(options::library));
    const NamedCommand named = findCommand(arguments.operands());
    const Command* const command = named.command;
    if (command != nullptr)
        attempt = {std::string(command->name), command->failureStatus};
    else if (!named.group.empty())
        attempt.name = named.group.front()->firstWord();
    arguments.dropOperands(named.words);

    int status = 0;
    if (arguments.has(options::help)) {
        context.console.print(command != nullptr     ? helpText(*command)
                              : !named.group.empty() ? helpText(named.group)
                                                     : helpText());
    } else if (arguments.has(options::version)) {
        context.console.print("penmarkctl " PENMARK_VERSION "\n");
    } else if (command == nullptr) {
        refuseName(named, arguments.operand(0));
    } else {
        checkUsage(*command, arguments);
        status = command->run(context, arguments);
    }
    context.console.flush();
    return status;
}

int fail(const Attempt& attempt, std::string_view message)
{
    Console().say(message);
    return attempt.failureStatus;
}

}  // namespace

int runProgram(const std::vector<std::string>& words)
{
    // A write that nobody reads is answered, not deadly, so that everything is closed in order.
    std::signal(SIGPIPE, SIG_IGN);
    // Likewise a file that would grow beyond the user's limit.
    std::signal(SIGXFSZ, SIG_IGN);
    Attempt attempt;
    int status = failed;
    try {
        status = run(words, attempt);
    } catch (const UsageError& error) {
        Console console;
        console.say(error.what());
        console.sayPlainly("Try 'penmarkctl" + (attempt.name.empty() ? "" : " " + attempt.name) + " --help'.");
        status = wrongUsage;
    } catch (const RecoveryError& error) {
        status = fail(attempt, error.what());
    } catch (const SessionError& error) {
        status = fail(attempt, error.what());
    } catch (const TextSearchError& error) {
        status = fail(attempt, error.what());
    } catch (const SystemError& error) {
        status = fail(attempt, error.what());
    } catch (const std::bad_alloc&) {
        status = fail(attempt, "There is not enough memory.");
    } catch (const OutputClosed&) {
        endBySignal(SIGPIPE);
    } catch (const Cancelled&) {
        // The signal that asked for it ends the process below.
    }
    endIfInterrupted();
    return status;
}

}  // namespace penmark::cli
