// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/DocumentDiff.h"

#include "organization/ComparedText.h"
#include "organization/LineDiff.h"
#include "organization/WordMarks.h"

#include <algorithm>

namespace penmark {

namespace {

using Kind = DocumentDiffLine::Kind;
using Lines = std::span<const std::string_view>;

constexpr std::size_t context_lines = 3;
constexpr std::size_t shortest_hidden_run = 4;
constexpr std::size_t most_line_pairs = 1'000'000;

DocumentDiffLine unchangedLine(std::string_view line, std::size_t earlierLine, std::size_t currentLine)
{
    return {.kind = Kind::unchanged, .text = shownLine(line), .earlierLine = earlierLine, .currentLine = currentLine};
}

// The lines without their line ends.
std::vector<std::string_view> bare(Lines lines)
{
    std::vector<std::string_view> result;
    result.reserve(lines.size());
    for (const std::string_view line : lines)
        result.push_back(withoutLineEnd(line));
    return result;
}

// Follows a script through both texts and writes down what is shown.
class DiffWriter {
public:
    DiffWriter(DocumentDiff& diff, Lines earlier, Lines current, const std::stop_token& stop)
        : diff_(diff), earlier_(earlier), current_(current), stop_(stop)
    {}

    void keep(std::size_t count);
    void change(std::size_t removed, std::size_t added);

private:
    void show(std::size_t count);
    void collapse(std::size_t count);
    void compareChanged(Lines removed, Lines added, std::span<DocumentDiffLine> shown);

    DocumentDiff& diff_;
    Lines earlier_;
    Lines current_;
    const std::stop_token& stop_;
    WordMarks words_;
    std::size_t i_ = 0;  // lines of the earlier text that have been passed
    std::size_t j_ = 0;  // the same for the current text
};

void DiffWriter::show(std::size_t count)
{
    for (; count > 0; --count, ++i_, ++j_)
        diff_.lines.push_back(unchangedLine(current_[j_], i_ + 1, j_ + 1));
}

void DiffWriter::collapse(std::size_t count)
{
    diff_.lines.push_back({.kind = Kind::collapsed,
                           .text = std::to_string(count) + " unchanged lines",
                           .earlierLine = i_ + 1,
                           .currentLine = j_ + 1,
                           .hiddenLines = count});
    i_ += count;
    j_ += count;
}

void DiffWriter::keep(std::size_t count)
{
    const std::size_t before = i_ + j_ == 0 ? 0 : context_lines;
    const std::size_t behind = i_ + count == earlier_.size() && j_ + count == current_.size() ? 0 : context_lines;
    if (count < before + shortest_hidden_run + behind) {
        show(count);
        return;
    }
    show(before);
    collapse(count - before - behind);
    show(behind);
}

void DiffWriter::change(std::size_t removed, std::size_t added)
{
    const std::size_t first = diff_.lines.size();
    for (std::size_t k = 0; k < removed; ++k)
        diff_.lines.push_back({.kind = Kind::removed, .text = shownLine(earlier_[i_ + k]), .earlierLine = i_ + k + 1});
    for (std::size_t k = 0; k < added; ++k)
        diff_.lines.push_back({.kind = Kind::added, .text = shownLine(current_[j_ + k]), .currentLine = j_ + k + 1});
    compareChanged(earlier_.subspan(i_, removed), current_.subspan(j_, added), std::span(diff_.lines).subspan(first));
    diff_.removedLines += removed;
    diff_.addedLines += added;
    i_ += removed;
    j_ += added;
}

// Blocks have no marked words. But a text whose line ends alone were changed would be a riddle without a word on that.
void DiffWriter::compareChanged(Lines removed, Lines added, std::span<DocumentDiffLine> shown)
{
    const std::vector<std::string_view> bareRemoved = bare(removed);
    const std::vector<std::string_view> bareAdded = bare(added);
    const auto removedLine = [&](std::size_t k) -> DocumentDiffLine& { return shown[k]; };
    const auto addedLine = [&](std::size_t k) -> DocumentDiffLine& { return shown[removed.size() + k]; };
    if (diff_.fellBackToBlocks) {
        if (removed.size() != added.size())
            return;
        for (std::size_t k = 0; k < removed.size(); ++k)
            removedLine(k).differsInLineEndOnly = addedLine(k).differsInLineEndOnly =
                bareRemoved[k] == bareAdded[k] && removed[k] != added[k];
        return;
    }
    for (MarkedPair& pair : words_.mark(bareRemoved, bareAdded, stop_)) {
        DocumentDiffLine& from = removedLine(pair.removed);
        DocumentDiffLine& to = addedLine(pair.added);
        from.differsInLineEndOnly = to.differsInLineEndOnly = pair.removedMarks.empty() && pair.addedMarks.empty();
        from.marks = std::move(pair.removedMarks);
        to.marks = std::move(pair.addedMarks);
    }
}

}  // namespace

std::vector<DocumentDiffLine> DocumentDiff::unfolded(std::size_t index) const
{
    const DocumentDiffLine& collapsed = lines.at(index);
    std::vector<DocumentDiffLine> result;
    result.reserve(collapsed.hiddenLines);
    for (std::size_t k = 0; k < collapsed.hiddenLines; ++k)
        result.push_back(unchangedLine(currentText->lines()[collapsed.currentLine - 1 + k], collapsed.earlierLine + k,
                                       collapsed.currentLine + k));
    return result;
}

DocumentDiff compareTexts(std::string_view earlier, std::string_view current, const std::stop_token& stop)
{
    const ComparedText earlierText(earlier);
    DocumentDiff diff;
    diff.currentText = std::make_shared<const ComparedText>(current);
    const Lines a = earlierText.lines();
    const Lines b = diff.currentText->lines();
    const CommonEnds ends = commonEnds(a, b);
    const Lines middleA = a.subspan(ends.start, a.size() - ends.start - ends.end);
    const Lines middleB = b.subspan(ends.start, b.size() - ends.start - ends.end);
    diff.isIncomplete = earlierText.isCut() || diff.currentText->isCut();
    diff.fellBackToBlocks = !earlierText.canBeComparedByLine() || !diff.currentText->canBeComparedByLine() ||
                            middleA.size() * middleB.size() > most_line_pairs;
    const EditScript script =
        diff.fellBackToBlocks ? blockEditScript(middleA.size(), middleB.size()) : lineDiff(middleA, middleB, stop);
    DiffWriter writer(diff, a, b, stop);
    if (ends.start > 0)
        writer.keep(ends.start);
    for (std::size_t k = 0; k < script.size(); ++k) {
        const Edit& edit = script[k];
        if (edit.kind == Edit::Kind::keep)
            writer.keep(edit.count);
        else if (edit.kind == Edit::Kind::add)
            writer.change(0, edit.count);
        else if (k + 1 < script.size() && script[k + 1].kind == Edit::Kind::add)
            writer.change(edit.count, script[++k].count);
        else
            writer.change(edit.count, 0);
    }
    if (ends.end > 0)
        writer.keep(ends.end);
    return diff;
}

}  // namespace penmark
