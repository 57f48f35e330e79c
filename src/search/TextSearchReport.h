// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextMatcher.h"
#include "search/TextSearchSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// A match with the line it is in.
struct TextSearchHit {
    static constexpr std::size_t textLimit = 1'000;  ///< characters of a line that are kept

    TextMatch match;            ///< in the source's text, or in its title or path
    bool isInName = false;      ///< in the title or path: `text` is that
    std::size_t line = 1;       ///< from 1; LF, CR LF and CR end a line
    std::size_t column = 1;     ///< from 1, in UTF-16 units
    std::string text;           ///< the line, or of a long one the part around the match
    std::size_t textStart = 0;  ///< where in the line `text` begins, in UTF-16 units
    Utf8Range mark;             ///< of the match in `text`, as far as it is there
    std::size_t matchHash = 0;  ///< std::hash of the matched text, if `text` does not hold all of it

    friend bool operator==(const TextSearchHit&, const TextSearchHit&) = default;
};

/// The hits of one source: some that follow one another in the report.
struct TextSearchGroup {
    std::shared_ptr<const TextSearchSource> source;
    std::size_t firstHit = 0;
    std::size_t hits = 0;
};

/// Something that was not searched, or not all of it.
struct TextSearchIssue {
    std::string text;  ///< the sentence
    std::string
        location;  ///< the title or path of the source if the sentence does not name it; empty for the whole run

    friend bool operator==(const TextSearchIssue&, const TextSearchIssue&) = default;
};

/// What a run has found and done so far.
struct TextSearchReport {
    static constexpr std::size_t issueLimit = 10'000;  ///< further ones are only counted

    std::vector<TextSearchHit> hits;  ///< in the order of the sources; of one source exact ones first
    std::size_t scanned = 0;          ///< sources searched
    std::size_t indexedSkips = 0;     ///< sources that the filter index excluded
    std::size_t binarySkipped = 0;    ///< files that are no text
    std::uint64_t bytesRead = 0;      ///< of texts and files
    std::vector<TextSearchIssue> issues;
    bool limited = false;                       ///< the limit of hits was reached
    bool cancelled = false;                     ///< the run was stopped
    bool finished = false;                      ///< the run came to its end
    std::optional<std::int64_t> firstResultMS;  ///< until the first hit
    std::int64_t elapsedMS = 0;                 ///< of the whole run

    std::vector<TextSearchGroup> groups;  ///< of `hits`, in their order
    std::size_t sources = 0;              ///< that the run covers; 0 until it is known
    std::size_t done = 0;                 ///< of these, whatever came of them
    std::size_t problems = 0;             ///< all issues, those that are only counted too
};

/// What has come since the last one: hits, groups and issues are new ones (groups count their hits from the batch's
/// first), everything else is as it is by now.
using TextSearchBatch = TextSearchReport;

/// What is said of a run that has ended, or of none.
std::string_view statusOf(const TextSearchReport& report);

/// Takes a batch over into the report that the batches before it made.
void append(TextSearchReport& report, TextSearchBatch&& batch);

}  // namespace penmark
