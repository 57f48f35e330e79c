// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Lists.h"

#include "text/commands/CommandResult.h"
#include "text/commands/ListNumbers.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace penmark::commands {

namespace {

/// The result with the lists around these lines of its text numbered again.
EditResult renumbered(const TextSnapshot& text, EditResult result, const std::vector<LineNumber>& items, bool areMoved,
                      const EditOptions& options)
{
    if (items.empty())
        return result;
    const TextSnapshot after = text.apply(result.edit);
    const TextEdit numbers = renumberLists(after, items, areMoved, options.tabWidth);
    if (numbers.empty())
        return result;
    return {result.edit.then(numbers), result.carets.mapped(numbers)};
}

/// What a new line under this one begins with.
std::string nextPrefix(const TextSnapshot& text, const TextLine& line, const ListPrefix& prefix)
{
    std::string next = text.text({line.start, line.start + prefix.blanksEnd});
    if (!prefix.isItem())
        return next;
    if (prefix.isNumbered())
        next += std::to_string(prefix.number + 1);
    next += prefix.marker;
    const std::string blanks = text.text({line.start + prefix.markerEnd, line.start + prefix.contentStart});
    next += blanks.empty() ? " " : blanks;
    if (prefix.isTask)
        next += "[ ] ";
    return next;
}

std::size_t prefixEnd(const ListPrefix& prefix)
{
    return prefix.isItem() ? prefix.taskEnd : prefix.blanksEnd;
}

bool goesOn(const ListPrefix& prefix)
{
    return prefix.isItem() || prefix.quoteDepth > 0;
}

/// The columns by which the item goes in or out.
std::size_t shiftOf(const TextSnapshot& text, LineNumber number, const ListPrefix& prefix, bool inwards,
                    const EditOptions& options)
{
    std::vector<ListLevel> lists = listsBefore(text, number, prefix.quoteDepth, options.tabWidth);
    while (!lists.empty() && prefix.column < lists.back().column)
        lists.pop_back();
    if (inwards) {
        const bool hasSibling = !lists.empty() && prefix.column < lists.back().contentColumn;
        return hasSibling ? lists.back().contentColumn - prefix.column : options.indentWidth;
    }
    while (!lists.empty() && lists.back().column >= prefix.column)
        lists.pop_back();
    return lists.empty() ? std::min(prefix.column, options.indentWidth) : prefix.column - lists.back().column;
}

EditResult shiftListItems(const TextSnapshot& text, const CaretSet& carets, bool inwards, const EditOptions& options)
{
    const std::size_t tab = std::max<std::size_t>(options.tabWidth, 1);
    CommandResult result(text, carets);
    std::vector<LineNumber> items;
    for (const LineBlock& block : selectedBlocks(text, carets)) {
        const ListPrefix first = listPrefix(text, text.line(block.first), tab);
        const std::size_t shift = shiftOf(text, block.first, first, inwards, options);
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine line = text.line(number);
            const ListPrefix prefix = listPrefix(text, line, tab);
            if (prefix.isEmpty)
                continue;
            const std::size_t column = inwards ? prefix.column + shift : prefix.column - std::min(prefix.column, shift);
            if (column != prefix.column && prefix.isItem())
                items.push_back(number);
            const std::size_t tabs = options.indentWithTabs ? column / tab : 0;
            const std::string blanks = std::string(tabs, '\t') + std::string(column - tabs * tab, ' ');
            if (column != prefix.column)
                result.replace({line.start + prefix.quoteEnd, line.start + prefix.blanksEnd}, blanks);
        }
    }
    return renumbered(text, std::move(result).buildMapped(Stickiness::after), items, true, options);
}

}  // namespace

EditResult continueLists(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    std::vector<LineNumber> items;  // the new ones, in the text after
    std::size_t madeLines = 0;      // before the caret, less those that selections take away
    LineNumber endedList(text.lineCount());
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Utf8Range range = carets[i].range();
        const TextLine line = lines.containing(range.start);
        const ListPrefix prefix = listPrefix(text, line, options.tabWidth);
        const Utf8Offset content = line.start + prefixEnd(prefix);
        const bool isInContent = range.start >= content && goesOn(prefix);
        const bool isEmptyItem = isInContent && range.empty() && skipBlanks(text, {content, line.end}) == line.end;
        if (isEmptyItem) {
            const std::size_t kept = prefix.isItem() ? prefix.quoteEnd : 0;
            if (line.number != endedList)
                result.remove({line.start + kept, line.end});
            endedList = line.number;
            result.place(i, result.moved(line.end));
            continue;
        }
        std::string made = options.lineEnd;
        if (isInContent)
            made += nextPrefix(text, line, prefix);
        else
            text.append(made, {line.start, skipBlanks(text, {line.start, range.start})});
        result.replace(range, made);
        result.place(i, result.moved(range.end));
        ++madeLines;
        if (isInContent && prefix.isNumbered())
            items.push_back(line.number + madeLines);
        madeLines -= lines.containing(range.end).number - line.number;
    }
    return renumbered(text, std::move(result).build(), items, false, options);
}

bool areListItems(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    return std::all_of(carets.begin(), carets.end(), [&](const Caret& caret) {
        const TextLine& line = lines.containing(caret.start());
        return listPrefix(text, line, 4).isItem();
    });
}

EditResult indentListItems(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    return shiftListItems(text, carets, true, options);
}

EditResult outdentListItems(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    return shiftListItems(text, carets, false, options);
}

}  // namespace penmark::commands
