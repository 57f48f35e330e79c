// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "search/TextSearchEngine.h"

namespace penmark::cli {

/// Runs a search on threads of its own while this one takes what it finds, batch by batch in order, so that output that
/// is not read holds the search up instead of piling up. A signal stops the run; what was found until then is still
/// taken. Throws what the run throws, and what `take` throws after the run has ended.
void runSearch(TextSearchEngine& engine, const TextSearchRequest& request, FunctionRef<void(TextSearchBatch&&)> take);

}  // namespace penmark::cli
