// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/ProgramOptions.h"

#include "base/Utf8.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace penmark {

namespace {

namespace fs = std::filesystem;

constexpr std::array<ProgramOption, 9> all_options{{
    {"wait", 'w', "", "Return when the documents opened here are closed"},
    {"new-window", 'n', "", "Open in a window of its own"},
    {"new-draft", 0, "", "Start a new draft"},
    {"stdin-title", 0, "TITLE", "Call the draft that holds standard input TITLE"},
    {"no-restore", 0, "", "Leave the windows of last time closed, this once"},
    {"library", 0, "DIR", "Use the library in the folder DIR"},
    {"check-library", 0, "", "Check everything that the library holds"},
    {"help", 'h', "", "Show this help"},
    {"version", 'V', "", "Show the version"},
}};

// Options that QApplication takes out of its command line, with one dash or two.
constexpr std::array<std::string_view, 13> toolkit_options_with_value{"platform",
                                                                      "platformpluginpath",
                                                                      "platformtheme",
                                                                      "plugin",
                                                                      "qwindowgeometry",
                                                                      "qwindowicon",
                                                                      "qwindowtitle",
                                                                      "display",
                                                                      "name",
                                                                      "style",
                                                                      "stylesheet",
                                                                      "visual",
                                                                      "session"};
constexpr std::array<std::string_view, 2> toolkit_flags{"reverse", "widgetcount"};

[[noreturn]] void refuseUsage(std::string message)
{
    throw CommandLineError(std::move(message), ExitStatus::wrongUsage);
}

std::string quoted(std::string_view text)
{
    return "“" + std::string(text) + "”";
}

template <class Words>
bool contains(const Words& words, std::string_view word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

// A number in a position: tools also count from 0, which means the first.
std::optional<std::int64_t> positionNumber(std::string_view digits)
{
    constexpr std::size_t longest = 9;
    if (digits.empty() || digits.size() > longest || digits.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    std::int64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return std::max<std::int64_t>(number, 1);
}

bool exists(const fs::path& path)
{
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

// The name without a last ":12", and that number.
std::optional<std::pair<std::string_view, std::int64_t>> splitNumber(std::string_view name)
{
    const auto colon = name.rfind(':');
    if (colon == std::string_view::npos || colon == 0)
        return std::nullopt;
    const auto number = positionNumber(name.substr(colon + 1));
    if (!number)
        return std::nullopt;
    return std::pair{name.substr(0, colon), *number};
}

class Parser {
public:
    Parser(std::span<const std::string> words, const fs::path& workingFolder)
        : words_(words), workingFolder_(workingFolder)
    {}

    ProgramOptions parse()
    {
        for (; next_ < words_.size(); ++next_) {
            const std::string_view word = words_[next_];
            if (!onlyOperands_ && word == "--")
                onlyOperands_ = true;
            else if (!onlyOperands_ && word.size() > 1 && word[0] == '-')
                takeOption(word);
            else
                addOperand(word);
        }
        finish();
        return std::move(options_);
    }

private:
    void finish()
    {
        if (line_)
            refuseUsage("a file is missing behind “+" + std::to_string(*line_) + "”");
        if (options_.standardInputTitle && !options_.readsStandardInput())
            refuseUsage("“--stdin-title” goes with “-”, which reads standard input");
        // There must be something whose closing ends the wait.
        if (options_.wait && options_.targets.empty())
            options_.newDraft = true;
    }

    void takeOption(std::string_view word)
    {
        const auto equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        const bool isLong = name.starts_with("--");
        for (const ProgramOption& option : programOptions()) {
            const bool isShort = !isLong && name.size() == 2 && option.letter != 0 && name[1] == option.letter;
            if (isShort || (isLong && name.substr(2) == option.name)) {
                takeOwnOption(option, name, equals == std::string_view::npos ? nullptr : &word[equals]);
                return;
            }
        }
        if (!takeToolkitOption(name, isLong, equals == std::string_view::npos ? nullptr : &word[equals]))
            refuseUsage("unknown option " + quoted(name));
    }

    // What stands behind "=", or the next word.
    std::string value(std::string_view name, std::string_view meaning, const char* equals)
    {
        if (equals != nullptr)
            return equals + 1;
        if (next_ + 1 >= words_.size())
            refuseUsage(quoted(name) + " needs a value: " + std::string(meaning));
        return words_[++next_];
    }

    void takeOwnOption(const ProgramOption& option, std::string_view name, const char* equals)
    {
        if (option.value.empty()) {
            if (equals != nullptr)
                refuseUsage(quoted(name) + " takes no value");
            flag(option.name) = true;
            return;
        }
        std::string given = value(name, option.value, equals);
        if (option.name == "library") {
            if (given.empty())
                refuseUsage("“--library” needs the name of a folder");
            options_.library = workingFolder_ / given;
            return;
        }
        if (!isValidUtf8(given))
            refuseUsage("the value of “--stdin-title” is not valid UTF-8");
        options_.standardInputTitle = std::move(given);
    }

    bool& flag(std::string_view name)
    {
        if (name == "wait")
            return options_.wait;
        if (name == "new-window")
            return options_.newWindow;
        if (name == "new-draft")
            return options_.newDraft;
        if (name == "no-restore")
            return options_.noRestore;
        if (name == "check-library")
            return options_.checkLibrary;
        return name == "version" ? options_.version : options_.help;
    }

    // QApplication understands every one of them with one dash and the value as a word of its own.
    bool takeToolkitOption(std::string_view dashedName, bool isLong, const char* equals)
    {
        const std::string_view name = dashedName.substr(isLong ? 2 : 1);
        if (contains(toolkit_flags, name) && equals == nullptr) {
            options_.toolkitWords.push_back("-" + std::string(name));
            return true;
        }
        if (!contains(toolkit_options_with_value, name))
            return false;
        std::string given = value(dashedName, "what the toolkit is to use", equals);
        options_.toolkitWords.push_back("-" + std::string(name));
        options_.toolkitWords.push_back(std::move(given));
        return true;
    }

    void addOperand(std::string_view word)
    {
        if (!onlyOperands_ && !line_ && word.starts_with('+')) {
            const std::string_view digits = word.substr(1);
            if (const auto split = splitNumber(digits); split && positionNumber(split->first)) {
                line_ = positionNumber(split->first);
                column_ = split->second;
                return;
            }
            if ((line_ = positionNumber(digits)))
                return;
        }
        OpenTarget target = !onlyOperands_ && word == "-" ? standardInput() : named(word);
        if (line_) {
            target.line = std::exchange(line_, std::nullopt);
            target.column = std::exchange(column_, std::nullopt);
        }
        options_.targets.push_back(std::move(target));
    }

    OpenTarget standardInput() const
    {
        if (options_.readsStandardInput())
            refuseUsage("standard input can be read only once");
        OpenTarget target;
        target.standardInput = true;
        return target;
    }

    // Of the names that are possible the longest that exists is meant; if there is none, the shortest. Compilers also
    // end positions with a colon.
    OpenTarget named(std::string_view word) const
    {
        if (word.empty())
            refuseUsage("the name of a file is empty");
        if (!isValidUtf8(word))
            throw CommandLineError(quoted(word) + " cannot be opened: its name is not valid UTF-8",
                                   ExitStatus::fileRefused);
        OpenTarget target;
        target.path = (workingFolder_ / word).native();
        if (line_ || exists(target.path))
            return target;
        const auto last = splitNumber(word.ends_with(':') ? word.substr(0, word.size() - 1) : word);
        if (!last)
            return target;
        target.line = last->second;
        target.path = (workingFolder_ / last->first).native();
        const auto before = splitNumber(last->first);
        if (before && !exists(target.path)) {
            target.line = before->second;
            target.column = last->second;
            target.path = (workingFolder_ / before->first).native();
        }
        return target;
    }

    std::span<const std::string> words_;
    const fs::path& workingFolder_;
    ProgramOptions options_;
    std::size_t next_ = 0;
    bool onlyOperands_ = false;
    std::optional<std::int64_t> line_;  // of a "+LINE" whose file has yet to come
    std::optional<std::int64_t> column_;
};

}  // namespace

std::span<const ProgramOption> programOptions()
{
    return all_options;
}

std::string CommandLineError::report() const
{
    std::string shown;
    for (const char c : repairUtf8(message_))
        shown += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
    std::string text = "penmark: " + shown + "\n";
    if (status_ == ExitStatus::wrongUsage)
        text += "Try 'penmark --help'.\n";
    return text;
}

ProgramOptions ProgramOptions::parse(std::span<const std::string> words, const fs::path& workingFolder)
{
    return Parser(words, workingFolder).parse();
}

bool ProgramOptions::readsStandardInput() const
{
    return std::any_of(targets.begin(), targets.end(), [](const OpenTarget& target) { return target.standardInput; });
}

std::string ProgramOptions::helpText()
{
    std::string text = "Usage: penmark [OPTION]... [FILE[:LINE[:COLUMN]] | +LINE FILE | FOLDER | -]...\n"
                       "Edits texts, and keeps every one of them from the first character on.\n\n"
                       "A FILE that does not exist is made when it is saved; “-” reads standard input into a draft.\n\n"
                       "Options:\n";
    constexpr std::size_t width = 26;
    for (const ProgramOption& option : programOptions()) {
        std::string left = option.letter != 0 ? "  -" + std::string(1, option.letter) + ", " : "      ";
        left.append("--").append(option.name);
        if (!option.value.empty())
            left.append(" ").append(option.value);
        text.append(left).append(width - left.size(), ' ').append(option.help).append("\n");
    }
    return text + "\n“--” ends the options. Options of the toolkit, such as “-platform NAME”, are passed on to it.\n"
                  "Exit status: 0 done, 1 wrong usage, 2 a file was refused, 3 the library is not available.\n";
}

std::string ProgramOptions::versionText()
{
    return "penmark " PENMARK_VERSION "\n";
}

}  // namespace penmark
