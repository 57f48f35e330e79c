// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace penmark {

class TextSnapshot;

struct BracketPair {
    char32_t open;
    char32_t close;
};

/// What counts as brackets, and how far to look for them.
struct BracketRules {
    std::vector<BracketPair> pairs = {{'(', ')'}, {'[', ']'}, {'{', '}'}};
    std::size_t limit = 1 << 20;  ///< bytes that one search looks at in each direction
    /// Whether what stands at the offset is in a comment or a string; asked for brackets only. Brackets in there match
    /// those in there, and those outside match those outside.
    std::function<bool(Utf8Offset)> isSkipped;
};

/// Two brackets that belong together; each range is that of the bracket itself.
struct BracketMatch {
    Utf8Range open;
    Utf8Range close;

    Utf8Range whole() const { return {open.start, close.end}; }
    Utf8Range content() const { return {open.end, close.start}; }
    friend bool operator==(const BracketMatch&, const BracketMatch&) = default;
};

/// Finds brackets that belong together. Only brackets of the same pair are counted, so that a wrong one of another
/// kind between them does not hide the match while somebody is typing. Absent if there is none within the limit.
///
/// Refers to the text and the rules, which must outlive it. Any thread, as far as the callback may be.
class BracketMatcher {
public:
    BracketMatcher(const TextSnapshot& text, const BracketRules& rules) : text_(text), rules_(rules) {}

    /// The pair of the bracket that begins at the position, or else of the one that ends there.
    std::optional<BracketMatch> at(Utf8Offset position) const;
    /// The innermost pair with the range in between its brackets.
    std::optional<BracketMatch> enclosing(Utf8Range range) const;

private:
    std::optional<BracketMatch> matchOf(char32_t bracket, Utf8Offset at) const;
    std::optional<Utf8Offset> closeOf(const BracketPair& pair, Utf8Offset from, Utf8Offset limit, bool skipped) const;
    std::optional<Utf8Offset> openOf(const BracketPair& pair, Utf8Offset from, Utf8Offset limit, bool skipped) const;
    bool isSkipped(Utf8Offset at) const { return rules_.isSkipped && rules_.isSkipped(at); }

    const TextSnapshot& text_;
    const BracketRules& rules_;
};

}  // namespace penmark
