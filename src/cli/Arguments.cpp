// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Arguments.h"

#include "base/Utf8.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace penmark::cli {

namespace {

// The number of characters to insert, remove, replace or swap with the next that turns one word into the other.
std::size_t editDistance(std::string_view from, std::string_view to)
{
    std::vector<std::vector<std::size_t>> distance(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    std::iota(distance[0].begin(), distance[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        distance[i][0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = distance[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            distance[i][j] = std::min({replaced, distance[i - 1][j] + 1, distance[i][j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                distance[i][j] = std::min(distance[i][j], distance[i - 2][j - 2] + 1);
        }
    }
    return distance[from.size()][to.size()];
}

const Option& findNamed(std::string_view name, std::span<const Option* const> known)
{
    std::vector<std::string_view> names;
    for (const Option* option : known) {
        if (option->name == name)
            return *option;
        names.push_back(option->name);
    }
    throw UsageError("unknown option “--" + std::string(name) + "”" + suggestion(name, names, "--"));
}

const Option& findLetter(std::string_view word, std::span<const Option* const> known)
{
    for (const Option* option : known) {
        if (word.size() == 2 && option->letter == word[1])
            return *option;
    }
    throw UsageError("unknown option “" + std::string(word) + "”");
}

void requireUtf8(const Option& option, std::string_view value)
{
    if (!isValidUtf8(value))
        throw UsageError("the value of “--" + std::string(option.name) + "” is not valid UTF-8");
}

}  // namespace

std::string suggestion(std::string_view typed, std::span<const std::string_view> names, std::string_view prefix)
{
    constexpr std::size_t farthest = 2;
    std::string_view nearest;
    std::size_t best = farthest + 1;
    for (const std::string_view name : names) {
        const bool begins = typed.size() >= 2 && name.starts_with(typed);
        const std::size_t distance = begins ? 1 : editDistance(typed, name);
        if (distance < best && distance < name.size()) {
            best = distance;
            nearest = name;
        }
    }
    if (nearest.empty())
        return {};
    return "; did you mean “" + std::string(prefix) + std::string(nearest) + "”?";
}

Arguments Arguments::parse(std::span<const std::string> words, std::span<const Option* const> known)
{
    Arguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (word == "--") {
            arguments.operands_.insert(arguments.operands_.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                       words.end());
            break;
        }
        if (word.size() < 2 || word[0] != '-') {
            arguments.operands_.emplace_back(word);
            continue;
        }
        const bool isLong = word.starts_with("--");
        const auto equals = isLong ? word.find('=') : std::string_view::npos;
        const std::string_view name = word.substr(0, equals);
        const Option& option = isLong ? findNamed(name.substr(2), known) : findLetter(word, known);
        if (option.value.empty()) {
            if (equals != std::string_view::npos)
                throw UsageError("“" + std::string(name) + "” takes no value");
            arguments.options_.emplace_back(&option, std::string());
        } else if (equals != std::string_view::npos) {
            arguments.options_.emplace_back(&option, word.substr(equals + 1));
        } else if (++i < words.size()) {
            arguments.options_.emplace_back(&option, words[i]);
        } else {
            throw UsageError("“" + std::string(name) + "” needs a value: " + std::string(option.value));
        }
    }
    return arguments;
}

void Arguments::dropOperands(std::size_t count)
{
    operands_.erase(operands_.begin(), operands_.begin() + static_cast<std::ptrdiff_t>(count));
}

std::optional<std::string> Arguments::operand(std::size_t index) const
{
    if (index >= operands_.size())
        return std::nullopt;
    return operands_[index];
}

std::string Arguments::text(std::size_t index) const
{
    auto given = operand(index);
    if (given && !isValidUtf8(*given))
        throw UsageError("“" + *given + "” is not valid UTF-8");
    return std::move(given).value_or("");
}

const Arguments::Given* Arguments::find(const Option& option) const
{
    const auto found = std::find_if(options_.rbegin(), options_.rend(),
                                    [&](const Given& given) { return given.first->name == option.name; });
    return found == options_.rend() ? nullptr : &*found;
}

std::optional<std::string> Arguments::value(const Option& option) const
{
    const Given* given = find(option);
    return given == nullptr ? std::nullopt : std::optional(given->second);
}

std::optional<std::string> Arguments::text(const Option& option) const
{
    auto given = value(option);
    if (given)
        requireUtf8(option, *given);
    if (given && given->empty())
        given.reset();
    return given;
}

std::vector<std::string> Arguments::texts(const Option& option) const
{
    std::vector<std::string> found;
    for (const auto& [given, text] : options_) {
        if (given->name != option.name)
            continue;
        requireUtf8(option, text);
        if (!text.empty())
            found.push_back(text);
    }
    return found;
}

std::optional<std::int64_t> Arguments::number(const Option& option) const
{
    const auto text = value(option);
    if (!text)
        return std::nullopt;
    std::int64_t number = 0;
    const char* end = text->data() + text->size();
    const auto [read, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || read != end || number < 0)
        throw UsageError("“--" + std::string(option.name) + "” takes a whole number from 0 on, not “" + *text + "”");
    return number;
}

const Option* Arguments::firstOutside(std::span<const Option* const> accepted) const
{
    for (const auto& [option, value] : options_) {
        const auto isOption = [name = option->name](const Option* other) { return other->name == name; };
        if (std::none_of(accepted.begin(), accepted.end(), isOption))
            return option;
    }
    return nullptr;
}

}  // namespace penmark::cli
