// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace penmark::cli {

/// penmarkctl with these words behind its name; returns the exit status.
int runProgram(const std::vector<std::string>& words);

}  // namespace penmark::cli
