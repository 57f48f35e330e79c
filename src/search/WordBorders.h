// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace penmark {

/// Whether the stretch of valid UTF-8 begins and ends where no word is cut in two. Letters, digits and "_" make words,
/// with the marks that belong to them. In scripts that show no blanks between words, such as Chinese and Thai, words
/// begin and end anywhere. Looks at the neighbours only.
bool isWholeWord(std::string_view text, std::size_t start, std::size_t end);

}  // namespace penmark
