// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace penmark {

class RecoveryBuffer;

/// Writes texts that the library could not take to files of their own, in $XDG_STATE_HOME/penmark/unstored or below the
/// temporary folder: the last thing to do for them when the program has to end. Returns the files; what cannot be
/// written there either is left out.
std::vector<std::filesystem::path> rescueTexts(std::span<RecoveryBuffer* const> buffers);

}  // namespace penmark
