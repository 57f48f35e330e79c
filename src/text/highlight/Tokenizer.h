// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/EditorLanguage.h"
#include "text/highlight/ScanState.h"
#include "text/highlight/Token.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

/// Splits the lines of one language into tokens, one line at a time. A line takes time in proportion to its length,
/// whatever stands in it.
///
/// Keeps every state that a line ended in, so that a state fits 16 bits. A text that ends its lines in more than 65,535
/// ways (nested comments and delimiters, none of a kind that people write) begins some lines as ordinary code.
///
/// Threads: one.
class Tokenizer {
public:
    explicit Tokenizer(EditorLanguage language);

    EditorLanguage language() const { return language_; }

    /// Replaces `tokens` by those of the line, in ascending order, and returns the state behind the line. The line is
    /// valid UTF-8 without its line end; `before` comes from this tokenizer or is 0, for the first line.
    LineState tokenize(std::string_view line, LineState before, std::vector<Token>& tokens);

private:
    LineState intern(const ScanState& state, LineState before);

    EditorLanguage language_;
    DelimiterTable delimiters_;
    std::vector<ScanState> states_;
    std::unordered_map<ScanState, LineState, ScanStateHash> numbers_;
};

}  // namespace penmark
