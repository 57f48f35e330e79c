// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Comments.h"

#include "text/commands/CommandResult.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark::commands {

namespace {

bool standsAt(const TextSnapshot& text, Utf8Range within, std::string_view mark)
{
    return within.size() >= mark.size() && text.text({within.start, within.start + mark.size()}) == mark;
}

bool isBlankByte(char byte)
{
    return isBlank(static_cast<unsigned char>(byte));
}

/// A line that gets or loses its comment mark.
struct CommentedLine {
    Utf8Range content;  ///< behind the indentation
    std::string indentation;
    std::size_t block = 0;
};

std::vector<CommentedLine> linesToComment(const TextSnapshot& text, const CaretSet& carets)
{
    std::vector<CommentedLine> lines;
    std::vector<CommentedLine> blank;
    std::size_t index = 0;
    LineCursor cursor(text);
    for (const LineBlock& block : selectedBlocks(text, carets)) {
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine& line = cursor.line(number);
            std::string indentation = leadingBlanks(text, line);
            const Utf8Offset start = line.start + indentation.size();
            (start == line.end ? blank : lines).push_back({{start, line.end}, std::move(indentation), index});
        }
        ++index;
    }
    return lines.empty() ? blank : lines;
}

/// The bytes that all indentations of a block begin with.
std::vector<std::size_t> commonIndentation(const std::vector<CommentedLine>& lines)
{
    std::vector<std::size_t> common;
    std::string_view first;
    for (const CommentedLine& line : lines) {
        if (common.size() <= line.block) {
            common.resize(line.block + 1, line.indentation.size());
            first = line.indentation;
        }
        const auto limit = std::min(common.back(), line.indentation.size());
        const auto* const end = std::mismatch(first.begin(), first.begin() + limit, line.indentation.data()).first;
        common.back() = static_cast<std::size_t>(end - first.begin());
    }
    return common;
}

EditResult toggleLineComments(const TextSnapshot& text, const CaretSet& carets, const std::string& mark)
{
    const std::vector<CommentedLine> lines = linesToComment(text, carets);
    CommandResult result(text, carets);
    const bool areCommented = std::all_of(
        lines.begin(), lines.end(), [&](const CommentedLine& line) { return standsAt(text, line.content, mark); });
    const std::vector<std::size_t> common = commonIndentation(lines);
    for (const CommentedLine& line : lines) {
        if (!areCommented) {
            result.insert(line.content.start - (line.indentation.size() - common[line.block]), mark + " ");
            continue;
        }
        Utf8Offset end = line.content.start + mark.size();
        if (end < line.content.end && text.at(end) == ' ')
            ++end;
        result.remove({line.content.start, end});
    }
    return std::move(result).buildMapped(Stickiness::after);
}

/// A text that gets or loses the marks of a block comment.
struct CommentedRange {
    Utf8Range range;
    bool isCommented = false;
};

CommentedRange withoutBlanksAround(const TextSnapshot& text, Utf8Range range, const EditOptions& options)
{
    TextReader reader(text, range.start);
    const auto skips = [](char32_t character) {
        return isBlank(character) || character == U'\r' || character == U'\n';
    };
    while (reader.position() < range.end && skips(reader.peekNext()))
        reader.next();
    range.start = reader.position();
    reader.seek(range.end);
    while (reader.position() > range.start && skips(reader.peekPrevious()))
        reader.previous();
    range.end = reader.position();
    const std::size_t marks = options.blockCommentStart.size() + options.blockCommentEnd.size();
    const bool isCommented =
        range.size() >= marks && standsAt(text, range, options.blockCommentStart) &&
        standsAt(text, {range.end - options.blockCommentEnd.size(), range.end}, options.blockCommentEnd);
    return {range, isCommented};
}

EditResult toggleBlockComments(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    std::vector<CommentedRange> ranges;
    for (const Caret& caret : carets) {
        const Utf8Range whole = caret.hasSelection() ? caret.range() : lines.containing(caret.head).content();
        const CommentedRange range = withoutBlanksAround(text, whole, options);
        // A line whose caret shares it with a selection is not commented twice.
        if (!range.range.empty() && (ranges.empty() || ranges.back().range.end <= range.range.start))
            ranges.push_back(range);
    }
    const bool areCommented =
        std::all_of(ranges.begin(), ranges.end(), [](const CommentedRange& range) { return range.isCommented; });
    CommandResult result(text, carets);
    for (const auto& [range, isCommented] : ranges) {
        if (!areCommented) {
            result.insert(range.start, options.blockCommentStart + " ");
            result.insert(range.end, " " + options.blockCommentEnd);
            continue;
        }
        Utf8Offset start = range.start + options.blockCommentStart.size();
        Utf8Offset end = range.end - options.blockCommentEnd.size();
        if (start < end && isBlankByte(text.at(start)))
            ++start;
        if (start < end && isBlankByte(text.at(end - 1)))
            end -= 1;
        result.remove({range.start, start});
        result.remove({end, range.end});
    }
    return std::move(result).buildMapped(Stickiness::before);
}

}  // namespace

EditResult toggleComment(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    if (!options.lineComment.empty())
        return toggleLineComments(text, carets, options.lineComment);
    if (!options.blockCommentStart.empty() && !options.blockCommentEnd.empty())
        return toggleBlockComments(text, carets, options);
    return {{}, carets};
}

}  // namespace penmark::commands
