// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Folding.h"

#include "text/highlight/LineReader.h"
#include "text/highlight/Tokenizer.h"

#include <algorithm>

namespace penmark {

namespace {

constexpr std::size_t mostLines = 1'000'000;
constexpr std::size_t mostBytes = 16'000'000;

// Columns of white space; absent for a blank line.
std::optional<std::size_t> indentation(std::string_view line)
{
    constexpr std::size_t tabWidth = 4;
    std::size_t columns = 0;
    for (const char c : line) {
        if (c == ' ')
            ++columns;
        else if (c == '\t')
            columns += tabWidth - columns % tabWidth;
        else
            return columns;
    }
    return std::nullopt;
}

bool hasBrackets(EditorLanguage language)
{
    return language != EditorLanguage::plainText && language != EditorLanguage::markdown &&
           language != EditorLanguage::html && language != EditorLanguage::yaml;
}

// What the brackets of a line do, those in strings and comments aside.
struct Brackets {
    std::size_t closes = 0;  ///< opened in lines before
    std::size_t opens = 0;   ///< and left open
};

Brackets bracketsOf(std::string_view line, const std::vector<Token>& tokens)
{
    Brackets result;
    auto token = tokens.begin();
    for (std::size_t i = 0; i < line.size(); ++i) {
        while (token != tokens.end() && token->end() <= i)
            ++token;
        const char c = line[i];
        const bool opening = c == '(' || c == '[' || c == '{';
        if (!opening && c != ')' && c != ']' && c != '}')
            continue;
        if (token != tokens.end() && token->start <= i && token->kind != TokenKind::variable)
            continue;
        if (opening)
            ++result.opens;
        else if (result.opens > 0)
            --result.opens;
        else
            ++result.closes;
    }
    return result;
}

// Reads lines with their tokens, as if the text began at the first of them, within the bounds of a search.
class FoldReader {
public:
    FoldReader(const TextSnapshot& text, LineNumber first, EditorLanguage language)
        : reader_(text, first), tokenizer_(language)
    {}

    bool next()
    {
        if (reader_.atEnd() || lines_ == mostLines || bytes_ > mostBytes)
            return false;
        number = reader_.number();
        before = state_;
        line = reader_.next();
        ++lines_;
        bytes_ += line.size() + 1;
        state_ = tokenizer_.tokenize(line, state_, tokens);
        return true;
    }
    LineState behind() const { return state_; }

    LineNumber number;
    std::string_view line;
    std::vector<Token> tokens;
    LineState before;

private:
    LineReader reader_;
    Tokenizer tokenizer_;
    LineState state_;
    std::size_t lines_ = 0;
    std::size_t bytes_ = 0;
};

std::optional<FoldRegion> region(LineNumber first, LineNumber last)
{
    if (last <= first)
        return std::nullopt;
    return FoldRegion{first, last};
}

// The level of a heading that is not in a fence.
std::optional<std::size_t> headingLevel(const FoldReader& lines)
{
    if (lines.before != LineState() || lines.tokens.empty() || lines.tokens.front().kind != TokenKind::heading)
        return std::nullopt;
    const std::string_view heading = lines.line.substr(lines.tokens.front().start);
    const std::size_t level = heading.find_first_not_of('#');
    return level == 0 ? std::nullopt : std::optional(std::min(level, heading.size()));
}

// Moves to the line from some hundred lines above, so that fences are known.
bool moveTo(FoldReader& lines, LineNumber line)
{
    while (lines.next()) {
        if (lines.number == line)
            return true;
    }
    return false;
}

LineNumber linesAbove(const TextSnapshot& text, LineNumber line)
{
    constexpr std::size_t above = 500;
    constexpr std::size_t bytesAbove = 20'000;
    const Utf8Offset start = text.lineStart(line);
    const LineNumber near = text.lineAt(text.characterStart(start - std::min(start.value, bytesAbove)));
    return std::max(near, line - std::min(line.value, above));
}

std::optional<FoldRegion> markdownRegion(const TextSnapshot& text, LineNumber line)
{
    FoldReader lines(text, linesAbove(text, line), EditorLanguage::markdown);
    if (!moveTo(lines, line))
        return std::nullopt;
    LineNumber last = line;
    if (const auto level = headingLevel(lines)) {
        while (lines.next()) {
            const auto next = headingLevel(lines);
            if (next && *next <= *level)
                break;
            if (indentation(lines.line))
                last = lines.number;
        }
        return region(line, last);
    }
    const bool fence = lines.before == LineState() && lines.behind() != LineState() && !lines.tokens.empty() &&
                       lines.tokens.front().kind == TokenKind::marker;
    if (!fence)
        return std::nullopt;
    while (lines.next() && lines.behind() != LineState())
        last = lines.number;
    return region(line, last);
}

std::optional<FoldRegion> bracketRegion(const TextSnapshot& text, LineNumber line, EditorLanguage language)
{
    FoldReader lines(text, line, language);
    if (!lines.next())
        return std::nullopt;
    std::size_t open = bracketsOf(lines.line, lines.tokens).opens;
    if (open == 0)
        return std::nullopt;
    LineNumber last = line;
    while (lines.next()) {
        const Brackets brackets = bracketsOf(lines.line, lines.tokens);
        if (brackets.closes >= open) {
            const std::size_t start = lines.line.find_first_not_of(" \t");
            const bool staysVisible = std::string_view(")]}").find(lines.line[start]) != std::string_view::npos;
            return region(line, staysVisible ? last : lines.number);
        }
        open = open - brackets.closes + brackets.opens;
        last = lines.number;
    }
    return region(line, last);
}

std::optional<FoldRegion> indentedRegion(const TextSnapshot& text, LineNumber line)
{
    LineReader lines(text, line);
    const auto first = indentation(lines.next());
    if (!first)
        return std::nullopt;
    LineNumber last = line;
    std::size_t bytes = 0;
    for (std::size_t count = 0; !lines.atEnd() && count < mostLines && bytes < mostBytes; ++count) {
        const LineNumber number = lines.number();
        const std::string_view content = lines.next();
        const auto columns = indentation(content);
        bytes += content.size() + 1;
        if (columns && *columns <= *first)
            break;
        if (columns)
            last = number;
    }
    return region(line, last);
}

}  // namespace

bool canFoldAt(const TextSnapshot& text, LineNumber line, EditorLanguage language)
{
    constexpr std::size_t fewLines = 50;
    if (line.value + 1 >= text.lineCount())
        return false;
    FoldReader lines(text, line, language);
    lines.next();
    const auto columns = indentation(lines.line);
    if (!columns)
        return false;
    if (language == EditorLanguage::markdown) {
        const char mark = lines.line[lines.line.find_first_not_of(" \t")];
        if (mark != '#' && mark != '`' && mark != '~')
            return false;
        FoldReader fromAbove(text, linesAbove(text, line), language);
        if (!moveTo(fromAbove, line) || fromAbove.before != LineState())
            return false;
        const auto level = headingLevel(fromAbove);
        if (!level && fromAbove.behind() == LineState())
            return false;
        for (std::size_t i = 0; i < fewLines && fromAbove.next(); ++i) {
            if (!level)
                return fromAbove.behind() != LineState();  // an empty fence hides nothing
            const auto next = headingLevel(fromAbove);
            if (next && *next <= *level)
                return false;
            if (indentation(fromAbove.line))
                return true;
        }
        return false;
    }
    const bool opens = hasBrackets(language) && bracketsOf(lines.line, lines.tokens).opens > 0;
    LineReader below(text, line + 1);
    for (std::size_t i = 0; i < fewLines && !below.atEnd(); ++i) {
        const std::string_view next = below.next();
        const auto nextColumns = indentation(next);
        if (opens && i == 0)
            return bracketRegion(text.slice({text.lineStart(line), text.lineStart(line + fewLines)}), LineNumber(0),
                                 language)
                .has_value();
        if (nextColumns)
            return *nextColumns > *columns;
    }
    return false;
}

std::optional<FoldRegion> regionStartingAt(const TextSnapshot& text, LineNumber line, EditorLanguage language)
{
    if (!canFoldAt(text, line, language))
        return std::nullopt;
    if (language == EditorLanguage::markdown)
        return markdownRegion(text, line);
    if (hasBrackets(language)) {
        if (const auto found = bracketRegion(text, line, language))
            return found;
    }
    return indentedRegion(text, line);
}

std::optional<FoldRegion> regionAround(const TextSnapshot& text, LineNumber line, EditorLanguage language)
{
    constexpr std::size_t mostAbove = 20'000;
    constexpr std::size_t mostTried = 256;
    constexpr std::size_t longest = 20'000;
    Tokenizer tokenizer(language);
    std::vector<Token> tokens;
    std::optional<std::size_t> least;
    std::size_t pending = 0;
    std::size_t tried = 0;
    for (std::size_t above = 0; above <= std::min(line.value, mostAbove) && tried < mostTried; ++above) {
        const TextLine at = text.line(line - above);
        if (at.content().size() > longest)
            continue;
        const std::string content = text.text(at.content());
        const auto columns = indentation(content);
        if (!columns)
            continue;
        bool candidate = above == 0 || language == EditorLanguage::markdown || !least || *columns < *least;
        least = std::min(least.value_or(*columns), *columns);
        if (hasBrackets(language) && above > 0) {
            tokenizer.tokenize(content, {}, tokens);
            const Brackets brackets = bracketsOf(content, tokens);
            candidate = candidate || brackets.opens > pending;
            pending = pending - std::min(pending, brackets.opens) + brackets.closes;
        }
        if (!candidate || !canFoldAt(text, at.number, language))
            continue;
        ++tried;
        const auto found = regionStartingAt(text, at.number, language);
        if (found && found->last >= line)
            return found;
    }
    return std::nullopt;
}

std::vector<FoldRegion> regionsOfLevel(const TextSnapshot& text, std::size_t level, EditorLanguage language)
{
    constexpr std::size_t deepest = 20;  // each level reads the lines once more
    level = std::min(level, deepest);
    std::vector<FoldRegion> result;
    std::vector<LineNumber> ends;
    const LineNumber end(std::min(text.lineCount(), mostLines));
    for (LineNumber line; line < end && text.lineStart(line).value < mostBytes; ++line) {
        while (!ends.empty() && ends.back() < line)
            ends.pop_back();
        const auto found = regionStartingAt(text, line, language);
        if (!found)
            continue;
        if (ends.size() + 1 == level) {
            result.push_back(*found);
            line = found->last;
        } else {
            ends.push_back(found->last);
        }
    }
    return result;
}

}  // namespace penmark
