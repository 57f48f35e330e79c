// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace penmark {

class RecoveryStore;

}

namespace penmark::cli {

/// Looks at everything a library holds: the database as SQLite sees it, references between rows, every record, and
/// every text from its chunks up. Reports each damaged item on its own as a line such as "text 9f86…: what is wrong",
/// and goes on. Changes nothing. Reads and hashes all texts, so it takes as long as that takes.
///
/// `progress` is called often and may throw to end the check.
void checkLibrary(RecoveryStore& store, FunctionRef<void(const std::string& item)> report,
                  FunctionRef<void(std::size_t done, std::size_t total, std::string_view what)> progress);

}  // namespace penmark::cli
