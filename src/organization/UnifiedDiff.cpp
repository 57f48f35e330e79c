// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/UnifiedDiff.h"

#include "organization/LineDiff.h"

#include <algorithm>
#include <span>
#include <vector>

namespace penmark {

namespace {

using Lines = std::span<const std::string_view>;

constexpr std::size_t context_lines = 3;

// With their line feeds, so that a last line without one differs from the same line with one.
std::vector<std::string_view> terminatedLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    lines.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

// Changes that stand so close together that their unchanged lines meet, and these lines.
struct Hunk {
    std::size_t earlierStart = 0;  // lines before it
    std::size_t currentStart = 0;
    std::size_t earlierCount = 0;
    std::size_t currentCount = 0;
    EditScript script;

    void add(Edit edit)
    {
        if (edit.count == 0)
            return;
        script.push_back(edit);
        earlierCount += edit.kind == Edit::Kind::add ? 0 : edit.count;
        currentCount += edit.kind == Edit::Kind::remove ? 0 : edit.count;
    }
};

std::vector<Hunk> hunksOf(const EditScript& script)
{
    std::vector<Hunk> hunks;
    std::size_t i = 0;
    std::size_t j = 0;
    std::size_t unchanged = 0;  // lines before the edit that no hunk has yet
    for (const Edit& edit : script) {
        if (edit.kind == Edit::Kind::keep) {
            i += edit.count;
            j += edit.count;
            unchanged = edit.count;
            continue;
        }
        if (!hunks.empty() && unchanged <= 2 * context_lines) {
            hunks.back().add({Edit::Kind::keep, unchanged});
        } else {
            if (!hunks.empty())
                hunks.back().add({Edit::Kind::keep, context_lines});
            const std::size_t before = std::min(unchanged, context_lines);
            hunks.push_back({i - before, j - before, 0, 0, {}});
            hunks.back().add({Edit::Kind::keep, before});
        }
        hunks.back().add(edit);
        i += edit.kind == Edit::Kind::remove ? edit.count : 0;
        j += edit.kind == Edit::Kind::add ? edit.count : 0;
        unchanged = 0;
    }
    if (!hunks.empty())
        hunks.back().add({Edit::Kind::keep, std::min(unchanged, context_lines)});
    return hunks;
}

std::string rangeText(std::size_t start, std::size_t count)
{
    return std::to_string(count == 0 ? start : start + 1) + ',' + std::to_string(count);
}

class HunkWriter {
public:
    HunkWriter(Lines earlier, Lines current, FunctionRef<void(UnifiedDiffLine, std::string_view)> write)
        : earlier_(earlier), current_(current), write_(write)
    {}

    void write(const Hunk& hunk)
    {
        write_(UnifiedDiffLine::place, "@@ -" + rangeText(hunk.earlierStart, hunk.earlierCount) + " +" +
                                           rangeText(hunk.currentStart, hunk.currentCount) + " @@");
        std::size_t i = hunk.earlierStart;
        std::size_t j = hunk.currentStart;
        for (const Edit& edit : hunk.script) {
            switch (edit.kind) {
            case Edit::Kind::keep:
                writeLines(UnifiedDiffLine::unchanged, ' ', current_.subspan(j, edit.count));
                i += edit.count;
                j += edit.count;
                break;
            case Edit::Kind::remove:
                writeLines(UnifiedDiffLine::removed, '-', earlier_.subspan(i, edit.count));
                i += edit.count;
                break;
            case Edit::Kind::add:
                writeLines(UnifiedDiffLine::added, '+', current_.subspan(j, edit.count));
                j += edit.count;
                break;
            }
        }
    }

private:
    void writeLines(UnifiedDiffLine kind, char mark, Lines lines)
    {
        for (std::string_view line : lines) {
            const bool isTerminated = line.ends_with('\n');
            if (isTerminated)
                line.remove_suffix(1);
            line_.assign(1, mark).append(line);
            write_(kind, line_);
            if (!isTerminated)
                write_(UnifiedDiffLine::noLineFeed, "\\ No newline at end of file");
        }
    }

    Lines earlier_;
    Lines current_;
    FunctionRef<void(UnifiedDiffLine, std::string_view)> write_;
    std::string line_;
};

}  // namespace

UnifiedDiffResult writeUnifiedDiff(std::string_view earlier, std::string_view current, const UnifiedDiffLabels& labels,
                                   FunctionRef<void(UnifiedDiffLine, std::string_view)> write,
                                   const std::stop_token& stop, std::size_t mostEdits)
{
    if (earlier == current)
        return UnifiedDiffResult::same;
    const auto a = terminatedLines(earlier);
    const auto b = terminatedLines(current);
    auto result = UnifiedDiffResult::different;
    auto script = lineDiff(a, b, mostEdits, stop);
    if (!script) {
        const CommonEnds ends = commonEnds(a, b);
        script = blockEditScript(a.size() - ends.start - ends.end, b.size() - ends.start - ends.end);
        if (ends.start > 0)
            script->insert(script->begin(), {Edit::Kind::keep, ends.start});
        if (ends.end > 0)
            script->push_back({Edit::Kind::keep, ends.end});
        result = UnifiedDiffResult::block;
    }
    write(UnifiedDiffLine::earlierLabel, std::string("--- ").append(labels.earlier));
    write(UnifiedDiffLine::currentLabel, std::string("+++ ").append(labels.current));
    HunkWriter writer(a, b, write);
    for (const Hunk& hunk : hunksOf(*script))
        writer.write(hunk);
    return result;
}

std::string unifiedDiff(std::string_view earlier, std::string_view current, const UnifiedDiffLabels& labels,
                        const std::stop_token& stop)
{
    std::string text;
    writeUnifiedDiff(
        earlier, current, labels, [&](UnifiedDiffLine, std::string_view line) { text.append(line) += '\n'; }, stop);
    return text;
}

}  // namespace penmark
