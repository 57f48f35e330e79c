// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/Indent.h"

#include "text/Indentation.h"
#include "text/commands/CommandResult.h"
#include "text/commands/Lists.h"
#include "text/commands/SelectedLines.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace penmark::commands {

namespace {

std::size_t blanksWidth(std::string_view blanks, std::size_t tabWidth)
{
    const std::size_t stop = std::max<std::size_t>(tabWidth, 1);
    std::size_t column = 0;
    for (const char blank : blanks)
        column += blank == '\t' ? stop - column % stop : 1;
    return column;
}

bool selectsSeveralLines(const TextSnapshot& text, const CaretSet& carets)
{
    LineCursor lines(text);
    return std::any_of(carets.begin(), carets.end(), [&](const Caret& caret) {
        const LineBlock selected = linesOf(lines, caret);
        return selected.first != selected.last;
    });
}

}  // namespace

EditResult indentLines(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    const std::string step = indentStep(options);
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (const LineBlock& block : selectedBlocks(text, carets)) {
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine& line = lines.line(number);
            if (!line.content().empty())
                result.insert(line.start, step);
        }
    }
    return std::move(result).buildMapped(Stickiness::after);
}

EditResult outdentLines(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (const LineBlock& block : selectedBlocks(text, carets)) {
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine& line = lines.line(number);
            const std::string blanks = leadingBlanks(text, line);
            std::size_t taken = 0;
            std::size_t width = 0;
            while (taken < blanks.size() && width < options.indentWidth)
                width = blanksWidth(std::string_view(blanks).substr(0, ++taken), options.tabWidth);
            const std::size_t kept = width - std::min(width, options.indentWidth);  // of a wide tab
            result.replace({line.start, line.start + taken}, std::string(kept, ' '));
        }
    }
    return std::move(result).buildMapped(Stickiness::after);
}

EditResult tabKey(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    if (options.markdown && areListItems(text, carets))
        return indentListItems(text, carets, options);
    if (selectsSeveralLines(text, carets))
        return indentLines(text, carets, options);
    LineCursor lines(text);
    CommandResult result(text, carets);
    std::optional<LineNumber> walkedLine;
    Utf8Offset walked;
    std::size_t column = 0;  // there, in the line as it will be
    const std::size_t step = std::max<std::size_t>(options.indentWidth, 1);
    const std::size_t tab = std::max<std::size_t>(options.tabWidth, 1);
    for (std::size_t i = 0; i < carets.size(); ++i) {
        const Caret& caret = carets[i];
        std::string blanks = "\t";
        if (!options.indentWithTabs) {
            const TextLine& line = lines.containing(caret.start());
            if (walkedLine != line.number) {
                walkedLine = line.number;
                walked = line.start;
                column = 0;
            }
            column = columnAfter(text, {walked, caret.start()}, tab, column);
            blanks.assign(step - column % step, ' ');
            column += blanks.size();
            walked = caret.end();
        }
        result.replace(caret.range(), blanks);
        result.place(i, result.moved(caret.end()));
    }
    return std::move(result).build();
}

EditResult backTabKey(const TextSnapshot& text, const CaretSet& carets, const EditOptions& options)
{
    if (options.markdown && areListItems(text, carets))
        return outdentListItems(text, carets, options);
    return outdentLines(text, carets, options);
}

EditResult convertIndentation(const TextSnapshot& text, const CaretSet& carets, bool toTabs, const EditOptions& options)
{
    const std::size_t tab = std::max<std::size_t>(options.tabWidth, 1);
    LineCursor lines(text);
    CommandResult result(text, carets);
    for (const LineBlock& block : selectedBlocksOrAll(text, carets)) {
        for (LineNumber number = block.first; number <= block.last; ++number) {
            const TextLine& line = lines.line(number);
            const std::string was = leadingBlanks(text, line);
            const std::size_t width = blanksWidth(was, tab);
            const std::size_t tabs = toTabs ? width / tab : 0;
            const std::string blanks = std::string(tabs, '\t') + std::string(width - tabs * tab, ' ');
            if (blanks != was)
                result.replace({line.start, line.start + was.size()}, blanks);
        }
    }
    return std::move(result).buildMapped(Stickiness::after);
}

}  // namespace penmark::commands
