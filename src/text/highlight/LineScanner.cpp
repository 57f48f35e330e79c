// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/LineScanner.h"

#include <algorithm>

namespace penmark {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isAlphanumeric(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::size_t index(char c)
{
    return static_cast<unsigned char>(c);
}

}  // namespace

void LineScanner::scan(const Grammar& grammar)
{
    grammar_ = &grammar;
    table_ = grammar.table;
    scanLines();
}

// MARK: The line

bool LineScanner::startsWith(std::size_t position, std::string_view text) const
{
    return position + text.size() <= end_ && line_.compare(position, text.size(), text) == 0;
}

std::size_t LineScanner::skipBlanks(std::size_t position) const
{
    while (position < end_ && (line_[position] == ' ' || line_[position] == '\t'))
        ++position;
    return position;
}

std::size_t LineScanner::skipIdentifier(std::size_t position) const
{
    while (position < end_ && grammar_->inIdentifier[index(line_[position])])
        ++position;
    return position;
}

std::size_t LineScanner::characterEnd(std::size_t position) const
{
    if (position < end_)
        ++position;
    while (position < end_ && (line_[position] & 0xC0) == 0x80)
        ++position;
    return position;
}

std::size_t LineScanner::find(char c, std::size_t from) const
{
    const std::size_t found = line_.substr(0, end_).find(c, from);
    return found == std::string_view::npos ? none : found;
}

void LineScanner::emit(std::size_t start, std::size_t end, TokenKind kind)
{
    if (start >= end)
        return;
    if (!tokens_.empty() && tokens_.back().kind == kind && tokens_.back().end() == start && start != stringStart_)
        tokens_.back().length += static_cast<std::uint32_t>(end - start);
    else
        tokens_.push_back({static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end - start), kind});
}

void LineScanner::emitTo(std::size_t end, TokenKind kind)
{
    emit(at_, end, kind);
    at_ = end;
}

// MARK: Code

void LineScanner::scanLines()
{
    switch (table_->grammar) {
    case LineGrammar::none:
        at_ = end_;
        return;
    case LineGrammar::markdown:
        scanMarkdownLine();
        return;
    case LineGrammar::yaml:
        scanYamlLine();
        return;
    case LineGrammar::code:
    case LineGrammar::shell:
    case LineGrammar::css:
    case LineGrammar::html:
        break;
    }
    if (table_->grammar == LineGrammar::html && inFrame() && state_[base_].kind == FrameKind::embedded)
        scanEmbeddedInHtml();  // an empty line too ends what does not continue
    scanFrames();
    finishLine();
}

void LineScanner::scanFrames()
{
    while (at_ < end_) {
        if (inFrame()) {
            switch (state_.top().kind) {
            case FrameKind::lineComment:
                state_.pop();
                continued_ = line_[end_ - 1] == '\\';
                if (continued_)
                    state_.push({FrameKind::lineComment, 0, 0});
                emitTo(end_, TokenKind::comment);
                continue;
            case FrameKind::blockComment:
                scanBlockComment();
                continue;
            case FrameKind::string:
                scanString();
                continue;
            case FrameKind::hashString:
                scanHashString();
                continue;
            case FrameKind::delimitedString:
                scanDelimitedString();
                continue;
            case FrameKind::hereDocument:
                scanHereDocument();
                continue;
            case FrameKind::htmlComment:
                scanHtmlComment();
                continue;
            case FrameKind::htmlTag:
                scanHtmlTag();
                continue;
            case FrameKind::htmlValue:
                scanHtmlValue();
                continue;
            case FrameKind::embedded:
                scanEmbeddedInHtml();
                continue;  // just entered, with nothing above it
            case FrameKind::interpolation:
            case FrameKind::cssBlock:
            case FrameKind::fence:
            case FrameKind::yamlBlock:
            case FrameKind::yamlFlow:
                break;
            }
        }
        switch (table_->grammar) {
        case LineGrammar::shell:
            scanShellCode();
            break;
        case LineGrammar::css:
            scanCssCode();
            break;
        case LineGrammar::html:
            scanHtmlText();
            break;
        case LineGrammar::yaml:
            scanYamlCode();
            break;
        case LineGrammar::none:
        case LineGrammar::markdown:
        case LineGrammar::code:
            scanCode();
            break;
        }
    }
}

// Leaves what cannot reach the next line: strings of one line with the code inside of them.
void LineScanner::finishLine()
{
    for (std::size_t i = base_; i < state_.depth(); ++i) {
        const Frame& frame = state_[i];
        const bool top = i + 1 == state_.depth();
        if (frame.kind == FrameKind::embedded)
            break;  // its frames are its own language's, which has left them
        const bool ends =
            (frame.kind == FrameKind::string && !table_->strings[frame.detail].multiLine && !(top && continued_)) ||
            (frame.kind == FrameKind::hashString && frame.detail == 0) ||
            (frame.kind == FrameKind::lineComment && !continued_);
        if (ends) {
            state_.truncate(i);
            break;
        }
    }
    if (inFrame() && state_.top() == Frame{FrameKind::cssBlock, 0, 0})
        state_.pop();
    for (; hereDocumentCount_ > 0; --hereDocumentCount_)
        state_.push(hereDocuments_[hereDocumentCount_ - 1]);
}

// Until a construct is entered or left, or the line ends.
void LineScanner::scanCode()
{
    const std::size_t depth = state_.depth();
    while (at_ < end_ && state_.depth() == depth) {
        switch (grammar_->classes[index(line_[at_])]) {
        case ByteClass::blank:
            ++at_;
            break;
        case ByteClass::identifier:
            scanWord();
            break;
        case ByteClass::digit:
            scanNumber();
            break;
        case ByteClass::special:
            scanSpecial();
            break;
        case ByteClass::other:
            valueBefore_ = false;
            ++at_;
            break;
        }
    }
}

void LineScanner::scanWord()
{
    const std::size_t start = at_;
    const std::size_t end = skipIdentifier(start);
    const char next = at(end);
    if ((next == '"' || next == '\'' || next == '#') && end - start <= 3 && openPrefixedString(start))
        return;
    const std::string_view word = line_.substr(start, end - start);
    at_ = end;
    valueBefore_ = true;

    const bool afterDot =
        table_->dotHidesWords && start > 0 && line_[start - 1] == '.' && !(start > 1 && line_[start - 2] == '.');
    if (!afterDot) {
        std::optional<TokenKind> kind;
        if (table_->ignoreCase) {
            std::array<char, 32> lower{};
            if (word.size() <= lower.size()) {
                std::transform(word.begin(), word.end(), lower.begin(),
                               [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
                kind = grammar_->words.find({lower.data(), word.size()});
            }
        } else {
            kind = grammar_->words.find(word);
        }
        if (kind) {
            if (*kind == TokenKind::keyword && table_->regularExpressions)
                valueBefore_ = !grammar_->regexBefore.find(word);
            emit(start, end, *kind);
            return;
        }
    }
    if (table_->macros && next == '!' && at(end + 1) != '=') {
        emit(start, end + 1, TokenKind::function);
        at_ = end + 1;
        return;
    }
    const bool initial = word.front() >= 'A' && word.front() <= 'Z';
    if (table_->upperCaseIsType && initial &&
        (word.size() == 1 || std::any_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; })))
        emit(start, end, TokenKind::type);
    else if (table_->callsAreFunctions && next == '(')
        emit(start, end, TokenKind::function);
}

void LineScanner::scanNumber()
{
    const std::size_t start = at_;
    const bool hexadecimal = at(start) == '0' && (at(start + 1) == 'x' || at(start + 1) == 'X');
    bool point = false;
    std::size_t end = start + 1;
    if (at(start) == '.')
        point = true;
    while (end < end_) {
        const char c = line_[end];
        if (isAlphanumeric(c) || c == '_') {
            const bool exponent = hexadecimal ? c == 'p' || c == 'P' : c == 'e' || c == 'E';
            const bool sign = at(end + 1) == '+' || at(end + 1) == '-';
            end += exponent && sign && isDigit(at(end + 2)) ? 2 : 1;
        } else if (c == '.' && !point) {
            const char next = at(end + 1);
            if (next == '.' || (!isDigit(next) && grammar_->inIdentifier[index(next)] && !hexadecimal))
                break;
            point = true;
            ++end;
        } else if (table_->digitSeparator != '\0' && c == table_->digitSeparator && isAlphanumeric(at(end + 1))) {
            end += 2;
        } else {
            break;
        }
    }
    valueBefore_ = true;
    emitTo(end, TokenKind::number);
}

void LineScanner::scanSpecial()
{
    const char c = line_[at_];
    const bool bracket = std::string_view("()[]{}").find(c) != std::string_view::npos;
    if (!bracket && (scanComment() || scanStringStart()))
        return;
    switch (c) {
    case '(':
    case ')':
    case '[':
    case ']':
    case '{':
    case '}':
        if (scanBrackets(c))
            return;
        break;
    case '/':
        if (table_->regularExpressions && scanSlash())
            return;
        break;
    case '@':
        if (scanAtSign())
            return;
        break;
    case '#':
        if (scanHash())
            return;
        break;
    case '\'':
        if (table_->lifetimes && scanQuoteOfRust())
            return;
        break;
    case '$':
        if (table_->delimited == DelimitedString::dollars && openDollarString())
            return;
        break;
    case '.':
        if (isDigit(at(at_ + 1)) && !(at_ > 0 && line_[at_ - 1] == '.')) {
            scanNumber();
            return;
        }
        break;
    default:
        break;
    }
    valueBefore_ = c == ')' || c == ']' || c == '}';
    ++at_;
}

bool LineScanner::scanComment()
{
    for (const std::string_view mark : table_->lineComments) {
        if (mark.empty() || !startsWith(at_, mark))
            continue;
        if (table_->lineCommentContinues && line_[end_ - 1] == '\\') {
            continued_ = true;
            state_.push({FrameKind::lineComment, 0, 0});
        }
        emitTo(end_, TokenKind::comment);
        return true;
    }
    if (table_->blockStart.empty() || !startsWith(at_, table_->blockStart))
        return false;
    emitTo(at_ + table_->blockStart.size(), TokenKind::comment);
    state_.push({FrameKind::blockComment, 0, 0});
    return true;
}

void LineScanner::scanBlockComment()
{
    const std::size_t start = at_;
    const char endMark = table_->blockEnd.front();
    const char startMark = table_->blockStart.front();
    Frame& frame = state_.top();
    while (at_ < end_) {
        const char c = line_[at_];
        if (c == endMark && startsWith(at_, table_->blockEnd)) {
            at_ += table_->blockEnd.size();
            if (frame.number > 0) {
                --frame.number;
                continue;
            }
            state_.pop();
            break;
        }
        if (table_->blockNests && c == startMark && startsWith(at_, table_->blockStart)) {
            at_ += table_->blockStart.size();
            frame.number = std::min<std::uint16_t>(static_cast<std::uint16_t>(frame.number + 1), deepest);
            continue;
        }
        ++at_;
    }
    emit(start, at_, TokenKind::comment);
}

// Code inside of a string ends with the bracket that nothing inside has opened.
bool LineScanner::scanBrackets(char c)
{
    if (!inFrame() || state_.top().kind != FrameKind::interpolation)
        return false;
    Frame& frame = state_.top();
    const char close = static_cast<char>(frame.detail);
    const char open = close == ')' ? '(' : '{';
    valueBefore_ = c == ')' || c == ']' || c == '}';
    if (c == open && frame.number < deepest)
        ++frame.number;
    if (c != close || frame.number > 0) {
        if (c == close)
            --frame.number;
        ++at_;
        return true;
    }
    state_.pop();
    emitTo(at_ + 1, table_->grammar == LineGrammar::shell ? TokenKind::variable : TokenKind::escape);
    return true;
}

// What looks like a regular expression and does not end is coloured up to the line's end.
bool LineScanner::scanSlash()
{
    if (valueBefore_)
        return false;
    std::size_t end = at_ + 1;
    bool inClass = false;
    for (; end < end_; ++end) {
        const char c = line_[end];
        if (c == '\\')
            ++end;
        else if (c == '[')
            inClass = true;
        else if (c == ']')
            inClass = false;
        else if (c == '/' && !inClass)
            break;
    }
    end = std::min(end_, end + 1);
    while (end < end_ && line_[end] >= 'a' && line_[end] <= 'z')
        ++end;
    valueBefore_ = true;
    emitTo(end, TokenKind::regularExpression);
    return true;
}

bool LineScanner::scanAtSign()
{
    if (!table_->atAttributes && !(table_->atStatement && indentation_ == at_))
        return false;
    std::size_t end = skipIdentifier(at_ + 1);
    if (end == at_ + 1)
        return false;
    while (table_->atStatement && at(end) == '.' && skipIdentifier(end + 1) > end + 1)
        end = skipIdentifier(end + 1);
    emitTo(end, TokenKind::attribute);
    return true;
}

bool LineScanner::scanHash()
{
    if (table_->directives && indentation_ == at_) {
        const std::size_t wordStart = skipBlanks(at_ + 1);
        const std::size_t end = skipIdentifier(wordStart);
        const std::string_view word = line_.substr(wordStart, end - wordStart);
        emitTo(std::max(end, at_ + 1), TokenKind::preprocessor);
        if (word == "include" || word == "import" || word == "include_next") {
            at_ = skipBlanks(at_);
            if (const std::size_t close = at(at_) == '<' ? find('>', at_) : none; close != none)
                emitTo(close + 1, TokenKind::string);
        }
        return true;
    }
    if (table_->hashAttributes && (at(at_ + 1) == '[' || startsWith(at_ + 1, "!["))) {
        std::size_t end = at_ + 1;
        std::size_t open = 0;
        for (; end < end_; ++end) {
            if (line_[end] == '[')
                ++open;
            else if (line_[end] == ']' && --open == 0)
                break;
        }
        emitTo(std::min(end_, end + 1), TokenKind::attribute);
        return true;
    }
    const bool continuesRun = at_ > 0 && line_[at_ - 1] == '#';  // looked at from its first one
    if (table_->delimited == DelimitedString::hashes && !continuesRun && openHashString(at_))
        return true;
    if (table_->hashWords) {
        const std::size_t end = skipIdentifier(at_ + 1);
        if (end > at_ + 1) {
            emitTo(end, TokenKind::preprocessor);
            return true;
        }
    }
    return false;
}

// A character, or else the name of a lifetime.
bool LineScanner::scanQuoteOfRust()
{
    const std::size_t start = at_;
    const std::size_t content = start + 1;
    const bool escaped = at(content) == '\\';
    const std::size_t contentEnd = escaped ? escapeEnd(content) : characterEnd(content);
    if (contentEnd > content && at(contentEnd) == '\'') {
        emit(start, content, TokenKind::string);
        emit(content, contentEnd, escaped ? TokenKind::escape : TokenKind::string);
        emit(contentEnd, contentEnd + 1, TokenKind::string);
        at_ = contentEnd + 1;
        valueBefore_ = true;
        return true;
    }
    const std::size_t end = skipIdentifier(content);
    if (end == content)
        return false;
    emitTo(end, TokenKind::attribute);
    return true;
}

}  // namespace penmark
