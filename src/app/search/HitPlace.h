// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchReport.h"
#include "text/TextSnapshot.h"

#include <optional>
#include <stop_token>

namespace penmark {

/// Where a hit stands in a text that may have been edited since it was found. Any thread.

/// Its old place, if the text there is the same. Takes a microsecond, and of long matches some for each KiB.
std::optional<Utf8Range> samePlace(const TextSearchHit& hit, const TextSnapshot& text);

/// The same text nearest to the old place; absent if it is nowhere, or if what was found is not known wholly. Reads the
/// whole text. One that is stopped finds nothing.
std::optional<Utf8Range> nearestPlace(const TextSearchHit& hit, const TextSnapshot& text,
                                      const std::stop_token& stop = {});

}  // namespace penmark
