// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonLines.h"

#include <algorithm>
#include <unordered_set>

namespace penmark {

namespace {

bool isChanged(const DocumentDiffLine& line)
{
    return line.kind == DocumentDiffLine::Kind::removed || line.kind == DocumentDiffLine::Kind::added;
}

}  // namespace

ComparisonLines::ComparisonLines(std::shared_ptr<const DocumentDiff> diff) : diff_(std::move(diff))
{
    shown_.reserve(diff_->lines.size());
    for (const DocumentDiffLine& line : diff_->lines)
        shown_.push_back(&line);
    findChanges();
}

std::vector<DocumentDiffLine> ComparisonLines::linesOf(const DocumentDiffLine& run) const
{
    return diff_->unfolded(static_cast<std::size_t>(&run - diff_->lines.data()));
}

void ComparisonLines::toggle(std::size_t line)
{
    if (!isRun(line))
        return;
    const DocumentDiffLine* const run = shown_[line];
    const auto behind = shown_.begin() + static_cast<std::ptrdiff_t>(line) + 1;
    const auto found = unfolded_.find(run);
    if (found != unfolded_.end()) {
        shown_.erase(behind, behind + static_cast<std::ptrdiff_t>(found->second.size()));
        unfolded_.erase(found);
    } else {
        const std::vector<DocumentDiffLine>& lines = unfolded_.emplace(run, linesOf(*run)).first->second;
        std::vector<const DocumentDiffLine*> places;
        places.reserve(lines.size());
        for (const DocumentDiffLine& each : lines)
            places.push_back(&each);
        shown_.insert(behind, places.begin(), places.end());
    }
    findChanges();
}

void ComparisonLines::unfoldAsIn(const ComparisonLines& other)
{
    std::unordered_set<std::size_t> starts;
    for (const auto& [run, lines] : other.unfolded_)
        starts.insert(run->earlierLine);
    if (starts.empty())
        return;
    for (std::size_t line = count(); line-- > 0;) {
        if (isRun(line) && starts.contains(at(line).earlierLine))
            toggle(line);
    }
}

void ComparisonLines::findChanges()
{
    changes_.clear();
    for (std::size_t line = 0; line < shown_.size(); ++line) {
        if (!isChanged(at(line)))
            continue;
        if (!changes_.empty() && changes_.back().first + changes_.back().count == line)
            ++changes_.back().count;
        else
            changes_.push_back({line, 1});
    }
}

std::optional<std::size_t> ComparisonLines::changeAt(std::size_t line) const
{
    const auto behind = std::upper_bound(changes_.begin(), changes_.end(), line,
                                         [](std::size_t at, const Change& change) { return at < change.first; });
    if (behind == changes_.begin() || line >= (behind - 1)->first + (behind - 1)->count)
        return std::nullopt;
    return static_cast<std::size_t>(behind - 1 - changes_.begin());
}

std::optional<std::size_t> ComparisonLines::changeBehind(std::size_t line) const
{
    const auto behind = std::upper_bound(changes_.begin(), changes_.end(), line,
                                         [](std::size_t at, const Change& change) { return at < change.first; });
    if (behind == changes_.end())
        return std::nullopt;
    return static_cast<std::size_t>(behind - changes_.begin());
}

std::optional<std::size_t> ComparisonLines::changeBefore(std::size_t line) const
{
    const auto notBefore = std::lower_bound(changes_.begin(), changes_.end(), line,
                                            [](const Change& change, std::size_t at) { return change.first < at; });
    if (notBefore == changes_.begin())
        return std::nullopt;
    return static_cast<std::size_t>(notBefore - changes_.begin()) - 1;
}

std::string ComparisonLines::text(std::size_t first, std::size_t count) const
{
    std::string text;
    for (std::size_t line = first; line < first + count; ++line) {
        if (!isRun(line)) {
            text.append(at(line).text).append(1, '\n');
        } else if (!isUnfolded(line)) {
            for (const DocumentDiffLine& hidden : linesOf(at(line)))
                text.append(hidden.text).append(1, '\n');
        }
    }
    return text;
}

}  // namespace penmark
