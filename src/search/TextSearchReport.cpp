// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchReport.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace penmark {

std::string_view statusOf(const TextSearchReport& report)
{
    if (report.cancelled)
        return "Stopped · Refresh to search again";
    if (report.limited)
        return "Result limit reached · refine or show more";
    if (report.finished && !report.problems)
        return "Complete for local content";
    if (report.problems)
        return "Incomplete · see reported problems";
    return "Ready · Refresh to search";
}

void append(TextSearchReport& report, TextSearchBatch&& batch)
{
    const std::size_t before = report.hits.size();
    for (TextSearchGroup& group : batch.groups)
        group.firstHit += before;
    const auto join = [](auto& all, auto& more) {
        if (all.empty())
            all = std::move(more);
        else
            all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    };
    auto hits = std::move(report.hits);
    auto groups = std::move(report.groups);
    auto issues = std::move(report.issues);
    join(hits, batch.hits);
    join(groups, batch.groups);
    join(issues, batch.issues);
    report = std::move(batch);
    report.hits = std::move(hits);
    report.groups = std::move(groups);
    report.issues = std::move(issues);
}

}  // namespace penmark
