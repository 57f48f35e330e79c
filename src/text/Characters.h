// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <string_view>

namespace penmark {

class TextSnapshot;

/// What a user takes for characters and words, by the Unicode rules (ICU). All functions look at the text near the
/// position only, whatever the length of the line: a cluster of more than some kilobytes is cut.

/// The end of the grapheme cluster that begins at or contains the position; the end of the text at its end.
Utf8Offset nextGrapheme(const TextSnapshot& text, Utf8Offset position);
/// The start of the grapheme cluster that ends at or contains the position; 0 at 0.
Utf8Offset previousGrapheme(const TextSnapshot& text, Utf8Offset position);
/// The nearest boundary of a grapheme cluster at or before the position.
Utf8Offset graphemeStart(const TextSnapshot& text, Utf8Offset position);

enum class CharacterClass { lineEnd, blank, word, punctuation };
CharacterClass characterClass(char32_t character);
/// Of a script written without blanks between words, whose words a dictionary finds: Thai, Chinese, Japanese, …
bool isDictionaryScript(char32_t character);
/// Han, Hiragana, Katakana, Hangul syllables are counted one by one when reading time is estimated.
bool isCountedAlone(char32_t character);

/// Ctrl+Right: over the rest of the word or of the run of punctuation, then over blanks; a line end is a stop.
Utf8Offset nextWordStart(const TextSnapshot& text, Utf8Offset position);
/// The end of the word at or behind the position, blanks before it skipped.
Utf8Offset nextWordEnd(const TextSnapshot& text, Utf8Offset position);
/// Ctrl+Left: over blanks, then to the start of the word or of the run of punctuation.
Utf8Offset previousWordStart(const TextSnapshot& text, Utf8Offset position);
/// What a double click selects: the word, the run of blanks or of punctuation at the position. At the end of a line,
/// what stands before it.
Utf8Range wordAt(const TextSnapshot& text, Utf8Offset position);

}  // namespace penmark
