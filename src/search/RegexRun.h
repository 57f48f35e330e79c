// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

struct URegularExpression;

namespace penmark {

struct CloseRegex {
    void operator()(URegularExpression* regex) const noexcept;
};
using RegexHandle = std::unique_ptr<URegularExpression, CloseRegex>;

/// Compiles a pattern in valid UTF-8. Throws TextSearchError with the engine's words for what is wrong with it.
RegexHandle compileRegex(std::string_view pattern, bool caseSensitive);
RegexHandle cloneRegex(const URegularExpression* regex);

/// Lets an expression run over texts until a deadline, or until it is asked to stop. While it lives it is the only user
/// of the expression.
class RegexRun {
public:
    RegexRun(URegularExpression* regex, std::chrono::steady_clock::time_point deadline, const std::stop_token& stop);
    ~RegexRun();
    RegexRun(const RegexRun&) = delete;
    RegexRun& operator=(const RegexRun&) = delete;

    /// The text stays as it is while it is searched.
    void setText(std::u16string_view text);

    /// Calls `use` for each match between two places, in UTF-16 units, until that returns false. The expression sees
    /// what stands around them, but no match reaches there. Throws TextSearchError::timeBudget at the deadline or where
    /// the expression takes too much memory, Cancelled.
    void forEachMatch(std::size_t from, std::size_t end, FunctionRef<bool(std::size_t start, std::size_t end)> use);

    /// Looks for the first match between two places; the expression then holds its groups. False also if there are no
    /// such places.
    bool findFirst(std::size_t from, std::size_t end);
    bool isMatchedAt(std::size_t start, std::size_t end) const;

    /// Also for work between the texts. Throws as forEachMatch does.
    void checkTime();

private:
    static std::int8_t matching(const void* context, std::int32_t steps);
    static std::int8_t advancing(const void* context, std::int64_t place);
    bool mayGoOn();
    bool limitTo(std::size_t from, std::size_t end);
    [[noreturn]] void fail(int status) const;

    URegularExpression* regex_;
    std::chrono::steady_clock::time_point deadline_;
    const std::stop_token& stop_;
    std::uint32_t places_ = 0;  // tried since the last look at the clock
    bool isLate_ = false;
};

}  // namespace penmark
