// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cli/Console.h"
#include "search/TextSearchReport.h"

#include <string>

namespace penmark::cli {

/// Prints what a search finds, hit by hit or as one report at the end. One thread.
class SearchOutput {
public:
    enum class Form { lines, json, report };

    /// Files are named below `folder` as it was typed; empty: by their absolute path.
    SearchOutput(Console& console, Form form, std::string folder)
        : console_(console), form_(form), folder_(std::move(folder))
    {}

    /// Prints the hits and problems of a batch at once, unless a report is wanted.
    void take(TextSearchBatch&& batch);

    /// Prints the report, if that is wanted. Returns the exit status: 2 with problems, else 0 with hits, else 1.
    int finish();

private:
    void printHits(const TextSearchBatch& batch);
    void printLine(const TextSearchSource& source, const TextSearchHit& hit);
    void printObject(const TextSearchSource& source, const TextSearchHit& hit);
    void printReport();
    std::string nameOf(const TextSearchSource& source) const;

    Console& console_;
    Form form_;
    std::string folder_;
    TextSearchReport report_;  // of which hits are only counted
    std::size_t hits_ = 0;
};

}  // namespace penmark::cli
