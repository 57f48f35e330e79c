// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cli/Command.h"

#include <string>

namespace penmark::cli {

/// What `penmarkctl --help` prints.
std::string helpText();

/// What `penmarkctl session --help` prints, with the commands that begin with this word.
std::string helpText(const std::vector<const Command*>& group);

/// What `penmarkctl COMMAND --help` prints.
std::string helpText(const Command& command);

}  // namespace penmark::cli
