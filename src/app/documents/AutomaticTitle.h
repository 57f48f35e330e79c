// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace penmark {

class TextSnapshot;

/// The title of a text that has neither a file nor a title of its own: its first line that says something, without the
/// marks of a heading or list, at most 60 characters of it. Empty for a text without one. Reads 4,000 bytes at most.
std::string automaticTitle(const TextSnapshot& text);

}  // namespace penmark
