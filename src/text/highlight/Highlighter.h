// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/TextSnapshot.h"
#include "text/highlight/LineStates.h"
#include "text/highlight/Tokenizer.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

namespace penmark {

class LineReader;
class TextEdit;

/// Colours the visible lines of a text that changes. It knows in which state each line begins, as far as it has read;
/// after an edit it reads on from the edited lines until the states agree with those it knew, in slices.
///
/// What is visible is coloured at once, whatever the text's size: where the states are not known yet, as if the text
/// began a few lines above. Later work() tells which lines looked different from what they are.
///
/// Threads: one.
class Highlighter {
public:
    enum class Certainty { exact, provisional };
    struct Work {
        bool more = false;               ///< call again
        std::vector<LineRange> changed;  ///< lines to colour anew, ascending and apart
    };

    Highlighter() : tokenizer_(EditorLanguage::plainText) { states_.append({}); }

    void reset(TextSnapshot text, EditorLanguage language);
    /// Takes an edit of the text over; costs no more than the edit itself. The edited lines have to be coloured anew.
    void update(const TextEdit& edit, TextSnapshot after);

    EditorLanguage language() const { return tokenizer_.language(); }
    /// Grows with every change of text or language.
    std::uint64_t generation() const { return generation_; }

    /// The tokens of a line. Reads at most 200 lines or 20 KB more than the line.
    Certainty tokens(LineNumber line, std::vector<Token>& out);

    /// Reads on until the deadline or, in the other form, about as many bytes.
    Work work(std::chrono::steady_clock::time_point deadline);
    Work work(std::size_t bytes);

    /// Lines before this one begin in states that are right.
    LineNumber known() const;
    std::size_t bytes() const { return states_.bytes(); }

private:
    static constexpr std::size_t nearLines = 200;
    static constexpr std::size_t nearBytes = 20'000;

    LineState readLine(LineReader& reader, LineState before, std::vector<Token>& tokens, std::size_t* bytes = nullptr);
    bool isComplete() const;
    void readOn(std::size_t lines, std::size_t bytes, LineNumber end);
    void settleNear(LineNumber line);
    LineState provisionalState(LineNumber line);
    void setState(std::size_t line, LineState state);
    void markChanged(LineRange lines);
    void markUnread(LineRange lines);
    void markUnread(const std::vector<LineRange>& ascending);
    Work takeWork();

    Tokenizer tokenizer_;
    TextSnapshot text_;
    std::uint64_t generation_ = 0;
    // The state before each line read. For each line but the unread ones, reading it leads from its state to the next.
    LineStates states_;                             // at least that of line 0
    std::deque<LineRange> unread_;                  // ascending, apart; all within states_; taken from the front
    std::map<std::size_t, LineState> provisional_;  // what lines beyond states_ were taken to begin in
    std::vector<LineRange> changed_;
    std::vector<Token> scratch_;
};

}  // namespace penmark
