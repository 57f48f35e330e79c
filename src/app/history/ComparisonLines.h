// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/DocumentDiff.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace penmark {

/// The lines of a comparison as they are seen, in which runs of unchanged lines can be unfolded and folded again. A run
/// keeps its own line above the lines that it has given back. Neighbouring removed and added lines are one change.
class ComparisonLines {
public:
    ComparisonLines() = default;
    explicit ComparisonLines(std::shared_ptr<const DocumentDiff> diff);

    std::size_t count() const { return shown_.size(); }
    const DocumentDiffLine& at(std::size_t line) const { return *shown_[line]; }

    bool isRun(std::size_t line) const { return at(line).kind == DocumentDiffLine::Kind::collapsed; }
    bool isUnfolded(std::size_t line) const { return unfolded_.contains(shown_[line]); }
    /// Unfolds a run or folds it again; nothing happens to other lines.
    void toggle(std::size_t line);
    /// Unfolds the runs that are unfolded in another comparison with the same earlier text.
    void unfoldAsIn(const ComparisonLines& other);

    struct Change {
        std::size_t first = 0;  ///< line
        std::size_t count = 0;  ///< lines
    };
    const std::vector<Change>& changes() const { return changes_; }
    /// The number, from 0, of the change that the line belongs to.
    std::optional<std::size_t> changeAt(std::size_t line) const;
    /// The first change that begins behind the line; the last one that begins before it.
    std::optional<std::size_t> changeBehind(std::size_t line) const;
    std::optional<std::size_t> changeBefore(std::size_t line) const;

    /// What is in `count` lines from `first` on, each with a line feed. Runs that are folded give the lines in them.
    std::string text(std::size_t first, std::size_t count) const;

private:
    void findChanges();
    std::vector<DocumentDiffLine> linesOf(const DocumentDiffLine& run) const;

    std::shared_ptr<const DocumentDiff> diff_;
    std::unordered_map<const DocumentDiffLine*, std::vector<DocumentDiffLine>> unfolded_;
    std::vector<const DocumentDiffLine*> shown_;  // in one of the two above
    std::vector<Change> changes_;
};

}  // namespace penmark
