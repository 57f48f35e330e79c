// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/ListNumbers.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace penmark::commands {

namespace {

constexpr std::size_t longestPrefix = 512;
constexpr std::size_t linesLookedBack = 500;
constexpr std::size_t longestNumber = 9;  // digits, by the rules of Markdown

bool isBlankOrEnd(std::string_view line, std::size_t at)
{
    return at >= line.size() || line[at] == ' ' || line[at] == '\t';
}

/// "* * *" and "---" draw a line.
bool isRule(std::string_view line, char marker)
{
    const auto count = std::count(line.begin(), line.end(), marker);
    return count >= 3 && line.find_first_not_of(std::string{marker, ' ', '\t'}) == std::string_view::npos;
}

std::size_t columnBehindBlanks(std::string_view line, std::size_t& at, std::size_t column, std::size_t tabWidth)
{
    for (; at < line.size() && (line[at] == ' ' || line[at] == '\t'); ++at)
        column += line[at] == '\t' ? tabWidth - column % tabWidth : 1;
    return column;
}

void readMarker(ListPrefix& prefix, std::string_view line)
{
    const std::size_t start = prefix.blanksEnd;
    std::size_t at = start;
    if (std::string_view("-*+").find(line[at]) != std::string_view::npos) {
        if (isBlankOrEnd(line, at + 1) && !isRule(line.substr(start), line[at])) {
            prefix.marker = line[at];
            prefix.markerEnd = at + 1;
        }
        return;
    }
    std::uint32_t number = 0;
    for (; at < line.size() && at - start < longestNumber && line[at] >= '0' && line[at] <= '9'; ++at)
        number = number * 10 + static_cast<std::uint32_t>(line[at] - '0');
    const bool isNumbered = at > start && at < line.size() && (line[at] == '.' || line[at] == ')');
    if (isNumbered && isBlankOrEnd(line, at + 1)) {
        prefix.marker = line[at];
        prefix.number = number;
        prefix.markerEnd = at + 1;
    }
}

/// Keeps the lists that a line with this column goes on with. Returns the innermost one that it ends, if any.
std::optional<ListLevel> closeLists(std::vector<ListLevel>& lists, std::size_t column)
{
    std::optional<ListLevel> closed;
    while (!lists.empty() && column < lists.back().column) {
        closed = lists.back();
        lists.pop_back();
    }
    return closed;
}

class Renumbering {
public:
    Renumbering(const TextSnapshot& text, std::span<const LineNumber> items, bool areMoved, std::size_t tabWidth)
        : text_(text), items_(items), areMoved_(areMoved), tabWidth_(tabWidth)
    {}

    TextEdit edit() &&
    {
        while (next_ < items_.size())
            walkFrom(items_[next_]);
        return std::move(builder_).build();
    }

private:
    void walkFrom(LineNumber first)
    {
        const std::size_t depth = listPrefix(text_, text_.line(first), tabWidth_).quoteDepth;
        lists_ = listsBefore(text_, first, depth, tabWidth_);
        restartsChildren_ = false;
        for (LineNumber number = first; number.value < text_.lineCount(); ++number) {
            const bool isListed = next_ < items_.size() && items_[next_] == number;
            const bool isWaiting =
                std::any_of(lists_.begin(), lists_.end(), [](const ListLevel& list) { return list.changes; });
            if (!isListed && !isWaiting && !restartsChildren_)
                return;
            const TextLine line = text_.line(number);
            const ListPrefix prefix = listPrefix(text_, line, tabWidth_);
            if (prefix.quoteDepth != depth)
                break;
            next_ += isListed ? 1U : 0U;
            if (prefix.isItem())
                visitItem(line, prefix, isListed);
            else if (!prefix.isEmpty)
                visitText(prefix);
        }
        if (next_ < items_.size() && items_[next_] == first)
            ++next_;
    }

    void visitText(const ListPrefix& prefix)
    {
        while (!lists_.empty() && prefix.column <= lists_.back().column)
            lists_.pop_back();
        restartsChildren_ = false;
    }

    void visitItem(const TextLine& line, const ListPrefix& prefix, bool isListed)
    {
        const std::optional<ListLevel> closed = closeLists(lists_, prefix.column);
        const bool isChild = lists_.empty() || prefix.column >= lists_.back().contentColumn;
        if (isChild && closed)
            lists_.push_back(*closed);  // indented less than its siblings before
        if (isListed && areMoved_) {
            for (ListLevel& list : lists_)
                list.changes = true;
        }
        std::uint32_t number = prefix.number;
        bool changes = isListed;
        if (isChild && !closed) {
            number = (isListed && areMoved_) || restartsChildren_ ? 1 : number;
            changes = changes || restartsChildren_;
            lists_.emplace_back();
        } else if (lists_.back().marker == prefix.marker) {
            const std::uint32_t expected = lists_.back().number + 1;
            changes = changes || (lists_.back().changes && expected != number);
            number = changes ? expected : number;
        } else if (isListed && areMoved_) {
            number = 1;
        }
        if (prefix.isNumbered() && number != prefix.number)
            builder_.replace({line.start + prefix.blanksEnd, line.start + prefix.markerEnd - 1},
                             std::to_string(number));
        lists_.back() = {prefix.column, prefix.contentColumn, prefix.marker, number, changes && prefix.isNumbered()};
        restartsChildren_ = isListed && areMoved_;
    }

    const TextSnapshot& text_;
    std::span<const LineNumber> items_;
    bool areMoved_;
    std::size_t tabWidth_;
    std::size_t next_ = 0;
    std::vector<ListLevel> lists_;
    bool restartsChildren_ = false;  // what follows a moved item directly are children that it has taken over
    TextEditBuilder builder_;
};

}  // namespace

ListPrefix listPrefix(const TextSnapshot& text, const TextLine& line, std::size_t tabWidth)
{
    const std::size_t tab = std::max<std::size_t>(tabWidth, 1);
    const Utf8Offset end = text.characterStart(std::min(line.end, line.start + longestPrefix));
    const std::string bytes = text.text({line.start, end});
    const std::string_view start = bytes;
    ListPrefix prefix;
    std::size_t at = 0;
    prefix.column = columnBehindBlanks(start, at, 0, tab);
    while (at < start.size() && start[at] == '>' && prefix.column <= 3) {
        ++prefix.quoteDepth;
        ++at;
        at += at < start.size() && start[at] == ' ' ? 1 : 0;
        prefix.quoteEnd = at;
        prefix.column = columnBehindBlanks(start, at, 0, tab);
    }
    prefix.blanksEnd = at;
    prefix.isEmpty = at == start.size();
    if (prefix.isEmpty)
        return prefix;
    readMarker(prefix, start);
    if (!prefix.isItem())
        return prefix;
    at = prefix.markerEnd;
    const std::size_t markerColumn = prefix.column + (prefix.markerEnd - prefix.blanksEnd);
    prefix.contentColumn = columnBehindBlanks(start, at, markerColumn, tab);
    if (at == start.size())
        prefix.contentColumn = markerColumn + 1;
    prefix.contentStart = prefix.taskEnd = at;
    const std::string_view content = start.substr(at);
    prefix.isTask = (content.starts_with("[ ]") || content.starts_with("[x]") || content.starts_with("[X]")) &&
                    isBlankOrEnd(content, 3);
    if (prefix.isTask)
        prefix.taskEnd = at + std::min<std::size_t>(4, content.size());
    return prefix;
}

std::vector<ListLevel> listsBefore(const TextSnapshot& text, LineNumber line, std::size_t quoteDepth,
                                   std::size_t tabWidth)
{
    std::vector<ListLevel> lists;
    std::size_t column = std::numeric_limits<std::size_t>::max();  // lists from here on are closed again
    const std::size_t stop = line.value - std::min(line.value, linesLookedBack);
    for (std::size_t number = line.value; number-- > stop && column > 0;) {
        const ListPrefix prefix = listPrefix(text, text.line(LineNumber(number)), tabWidth);
        if (prefix.quoteDepth != quoteDepth)
            break;
        if (prefix.isEmpty)
            continue;
        if (prefix.isItem() && prefix.column < column)
            lists.push_back({prefix.column, prefix.contentColumn, prefix.marker, prefix.number, false});
        column = std::min(column, prefix.column);
    }
    std::reverse(lists.begin(), lists.end());
    return lists;
}

TextEdit renumberLists(const TextSnapshot& text, std::span<const LineNumber> items, bool areMoved, std::size_t tabWidth)
{
    return Renumbering(text, items, areMoved, tabWidth).edit();
}

}  // namespace penmark::commands
