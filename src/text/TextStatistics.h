// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <chrono>
#include <cstddef>

namespace penmark {

class TextEdit;
class TextSnapshot;

/// What is counted in a stretch of text. Everything is decided for each character from it and the two before it, so
/// that an edit changes counts near itself only.
struct TextCounts {
    std::size_t codePoints = 0;          ///< counted as characters, but for regional indicators
    std::size_t regionalIndicators = 0;  ///< two make a flag
    std::size_t spacedWords = 0;         ///< that begin with a letter or digit of a script written with blanks
    std::size_t hangulWords = 0;         ///< that begin with a Hangul syllable
    std::size_t hangulSyllables = 0;
    std::size_t ideographs = 0;       ///< Han, Hiragana, Katakana: each is taken for a word
    std::size_t unspacedLetters = 0;  ///< Thai, Lao, Khmer, Myanmar, …: only a dictionary would know their words

    /// What a reader takes for characters: code points that do not join the one before. Marks, joiners and selectors
    /// join, and so do the LF of a CR LF, a pictograph behind a joiner and the second half of a flag. A line end is
    /// one. Conjunct consonants count one by one.
    std::size_t characters() const { return codePoints + (regionalIndicators + 1) / 2; }
    /// Runs of letters, digits and underscores; an apostrophe between letters and a point or comma between digits do
    /// not end one. An unspaced script is taken to have four letters a word.
    std::size_t words() const { return spacedWords + hangulWords + ideographs + unspacedWords(); }
    /// At 230 words a minute, and 500 of the characters that are read one by one.
    std::chrono::duration<double> readingTime() const;

    TextCounts& operator+=(const TextCounts& other);
    TextCounts& operator-=(const TextCounts& other);
    friend bool operator==(const TextCounts&, const TextCounts&) = default;

private:
    std::size_t unspacedWords() const { return (unspacedLetters + 3) / 4; }
};

/// The counts of a text, kept up by its edits. A copy may be made on another thread and handed over: it is a value.
class TextStatistics {
public:
    TextStatistics() = default;
    /// Walks the whole text, at some hundred MB/s.
    explicit TextStatistics(const TextSnapshot& text);

    /// Takes O(size of the edit and of what it removes), and never much longer than counting the text anew.
    void update(const TextSnapshot& before, const TextEdit& edit, const TextSnapshot& after);

    const TextCounts& counts() const { return counts_; }

    /// The counts of a part as if it were a text of its own.
    static TextCounts count(const TextSnapshot& text, Utf8Range range);

private:
    TextCounts counts_;
};

}  // namespace penmark
