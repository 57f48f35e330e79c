// SPDX-License-Identifier: GPL-3.0-or-later
// CSS and its relatives: selectors, properties and values, told apart by what ends the statement.
#include "text/highlight/LineScanner.h"

#include <algorithm>

namespace penmark {

namespace {

enum CssPlace : std::uint8_t { statementStart, selector, atRule, property, value };

}  // namespace

std::size_t LineScanner::cssNameEnd(std::size_t position) const
{
    while (position < end_ &&
           (line_[position] == '-' || grammar_->inIdentifier[static_cast<unsigned char>(line_[position])]))
        ++position;
    return position;
}

void LineScanner::scanCssCode()
{
    if (!inFrame() || state_.top().kind != FrameKind::cssBlock) {
        if (!state_.push({FrameKind::cssBlock, statementStart, 0})) {
            at_ = end_;
            return;
        }
    }
    Frame& place = state_.top();
    const std::size_t depth = state_.depth();
    while (at_ < end_ && state_.depth() == depth) {
        const char c = line_[at_];
        switch (c) {
        case ' ':
        case '\t':
            ++at_;
            continue;
        case '{':
            if (place.number < deepest)
                ++place.number;
            place.detail = statementStart;
            ++at_;
            continue;
        case '}':
            if (place.number > 0)
                --place.number;
            [[fallthrough]];
        case ';':
            place.detail = statementStart;
            ++at_;
            continue;
        case '"':
        case '\'':
            scanStringStart();
            continue;
        case '/':
            if (!scanComment())
                ++at_;
            continue;
        default:
            scanCssStatement(place);
        }
    }
}

void LineScanner::scanCssStatement(Frame& place)
{
    const char c = line_[at_];
    switch (place.detail) {
    case statementStart:
        if (c == '@') {
            emitTo(cssNameEnd(at_ + 1), TokenKind::keyword);
            place.detail = atRule;
        } else {
            place.detail = startsCssRule(place.number) ? selector : property;
        }
        break;
    case property:
        if (c == ':') {
            place.detail = value;
            ++at_;
        } else if (const std::size_t end = cssNameEnd(at_ + (c == '$' ? 1 : 0)); end > at_) {
            emitTo(end, c == '$' || startsWith(at_, "--") ? TokenKind::variable : TokenKind::property);
        } else {
            ++at_;
        }
        break;
    case value:
        scanCssValue();
        break;
    default:
        scanCssSelector(place);
    }
}

void LineScanner::scanCssSelector(const Frame& place)
{
    const char c = line_[at_];
    if (c >= '0' && c <= '9') {
        scanCssValue();
        return;
    }
    std::size_t start = at_;
    while (start < end_ && (line_[start] == ':' || line_[start] == '.' || line_[start] == '#') && start < at_ + 2)
        ++start;
    const std::size_t end = cssNameEnd(start);
    if (end == start) {
        at_ = std::max(start, at_ + 1);
    } else if (place.detail == atRule) {
        const std::string_view word = line_.substr(start, end - start);
        if (word == "and" || word == "not" || word == "or" || word == "only" || word == "from" || word == "to")
            emit(start, end, TokenKind::keyword);
        at_ = end;
    } else if (at_ > 0 && line_[at_ - 1] == '[') {
        emitTo(end, TokenKind::attribute);
    } else {
        emitTo(end, start > at_ ? TokenKind::selector : TokenKind::tag);
    }
}

void LineScanner::scanCssValue()
{
    const char c = line_[at_];
    const char next = at(at_ + 1);
    const auto digit = [](char d) { return d >= '0' && d <= '9'; };
    if (digit(c) || (c == '.' && digit(next)) || ((c == '-' || c == '+') && (digit(next) || next == '.'))) {
        std::size_t end = at_ + 1;
        while (end < end_ && (digit(line_[end]) || line_[end] == '.'))
            ++end;
        end = at(end) == '%' ? end + 1 : skipIdentifier(end);
        emitTo(end, TokenKind::number);
        return;
    }
    if (c == '#' || c == '!' || c == '$' || c == '@') {
        const std::size_t end = cssNameEnd(at_ + 1);
        emitTo(end, c == '#' ? TokenKind::number : c == '!' ? TokenKind::keyword : TokenKind::variable);
        return;
    }
    const std::size_t end = cssNameEnd(at_);
    if (end == at_) {
        ++at_;
        return;
    }
    emitTo(end, startsWith(at_, "--") ? TokenKind::variable
                : at(end) == '('      ? TokenKind::function
                                      : TokenKind::constant);
}

// What comes first decides: a brace begins a block, a semicolon ends a declaration.
bool LineScanner::startsCssRule(std::size_t blocks) const
{
    bool colon = false;
    for (std::size_t i = at_; i < end_; ++i) {
        const char c = line_[i];
        if (c == '{')
            return true;
        if (c == ';' || c == '}')
            return false;
        colon = colon || c == ':';
    }
    return blocks == 0 || !colon;
}

}  // namespace penmark
