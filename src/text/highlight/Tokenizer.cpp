// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Tokenizer.h"

#include "text/highlight/LineScanner.h"

#include <limits>

namespace penmark {

Tokenizer::Tokenizer(EditorLanguage language) : language_(language), states_(1) {}

LineState Tokenizer::tokenize(std::string_view line, LineState before, std::vector<Token>& tokens)
{
    tokens.clear();
    if (tableOf(language_).grammar == LineGrammar::none)
        return {};
    ScanState state = before.value < states_.size() ? states_[before.value] : ScanState();
    LineScanner(line, state, tokens, delimiters_).scan(grammarOf(language_));
    return intern(state, before);
}

LineState Tokenizer::intern(const ScanState& state, LineState before)
{
    if (state.depth() == 0)
        return {};
    if (before.value < states_.size() && states_[before.value] == state)
        return before;
    if (const auto known = numbers_.find(state); known != numbers_.end())
        return known->second;
    if (states_.size() > std::numeric_limits<std::uint16_t>::max())
        return {};
    const LineState number{static_cast<std::uint16_t>(states_.size())};
    states_.push_back(state);
    numbers_.emplace(state, number);
    return number;
}

}  // namespace penmark
