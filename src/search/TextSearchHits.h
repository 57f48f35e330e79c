// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchReport.h"

#include <span>
#include <stop_token>
#include <string_view>
#include <vector>

namespace penmark {

/// Appends a hit for each match of a text, in the order of the matches, with its line. Walks the text once. Throws
/// Cancelled.
void appendHits(std::string_view text, std::span<const TextMatch> matches, const std::stop_token& stop,
                std::vector<TextSearchHit>& hits);

/// The same for matches in a title or path.
void appendNameHits(std::string_view name, std::span<const TextMatch> matches, std::vector<TextSearchHit>& hits);

}  // namespace penmark
