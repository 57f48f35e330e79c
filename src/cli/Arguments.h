// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark::cli {

/// A command line that cannot be understood. what() is a clause without the program's name.
class UsageError : public std::exception {
public:
    explicit UsageError(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// An option, described once: parsing, help and the checks of manual and completions all read this. Commands may mean
/// different things by options of one name; either all of these take a value or none.
struct Option {
    std::string_view name;   ///< without the dashes
    std::string_view value;  ///< what stands for its value in help; empty if it takes none
    std::string_view help;
    char letter = 0;  ///< for the short form, if it has one
};

/// The words of a command line, told apart into options and operands. Options may stand anywhere, with their value
/// behind "=" or as the next word; "--" ends them, and "-" is an operand.
class Arguments {
public:
    /// Throws UsageError for an option that is not known, lacks its value or has one too many.
    static Arguments parse(std::span<const std::string> words, std::span<const Option* const> known);

    const std::vector<std::string>& operands() const noexcept { return operands_; }

    /// Takes the first operands, the command's name, away from the others.
    void dropOperands(std::size_t count);

    std::optional<std::string> operand(std::size_t index) const;

    /// An operand that a record will keep; empty if it is missing. Throws UsageError unless it is valid UTF-8.
    std::string text(std::size_t index) const;

    bool has(const Option& option) const { return find(option) != nullptr; }

    /// Of an option that is given several times the last value.
    std::optional<std::string> value(const Option& option) const;

    /// The same for a record: an empty one is none. Throws UsageError unless it is valid UTF-8.
    std::optional<std::string> text(const Option& option) const;

    /// The same of an option that may be given several times, all of them.
    std::vector<std::string> texts(const Option& option) const;

    /// A whole number from 0 on; throws UsageError if it is something else.
    std::optional<std::int64_t> number(const Option& option) const;

    /// The first option given that is not among these; null if there is none.
    const Option* firstOutside(std::span<const Option* const> accepted) const;

private:
    using Given = std::pair<const Option*, std::string>;

    const Given* find(const Option& option) const;

    std::vector<Given> options_;
    std::vector<std::string> operands_;
};

/// The name that was probably meant, as "; did you mean “status”?", or nothing if none is near.
std::string suggestion(std::string_view typed, std::span<const std::string_view> names, std::string_view prefix = {});

}  // namespace penmark::cli
