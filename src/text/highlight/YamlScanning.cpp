// SPDX-License-Identifier: GPL-3.0-or-later
// YAML: keys, plain values, blocks of text by their indentation.
#include "text/highlight/LineScanner.h"

#include <algorithm>
#include <limits>

namespace penmark {

namespace {

bool isNumber(std::string_view text)
{
    const bool sign = text.starts_with('-') || text.starts_with('+');
    const std::string_view digits = text.substr(sign ? 1 : 0);
    if (digits.empty() || digits.front() < '0' || digits.front() > '9')
        return false;
    if (digits.starts_with("0x"))
        return digits.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos;
    return digits.find_first_not_of("0123456789.eE+-_:") == std::string_view::npos;
}

}  // namespace

void LineScanner::scanYamlLine()
{
    if (inFrame() && state_.top().kind == FrameKind::yamlBlock) {
        if (indentation_ >= end_)
            return;
        if (indentation_ > state_.top().number) {
            at_ = indentation_;
            emitTo(end_, TokenKind::string);
            return;
        }
        state_.pop();
    }
    if (!inFrame() && (line_ == "---" || line_ == "..." || startsWith(0, "--- "))) {
        emitTo(3, TokenKind::marker);
    } else if (!inFrame() && at(0) == '%') {
        emitTo(end_, TokenKind::preprocessor);
    }
    scanFrames();
    finishLine();
}

void LineScanner::scanYamlCode()
{
    constexpr std::string_view endsName = " \t,[]{}";
    const std::size_t depth = state_.depth();
    const bool inFlow = inFrame() && state_.top().kind == FrameKind::yamlFlow;
    while (at_ < end_ && state_.depth() == depth) {
        const char c = line_[at_];
        const char next = at(at_ + 1);
        const bool alone = next == ' ' || next == '\t' || at_ + 1 == end_;
        const bool first = tokens_.empty() || tokens_.back().kind == TokenKind::marker;
        if (c == ' ' || c == '\t') {
            ++at_;
        } else if (c == '#' && (at_ == 0 || line_[at_ - 1] == ' ' || line_[at_ - 1] == '\t')) {
            emitTo(end_, TokenKind::comment);
        } else if (c == '"' || c == '\'') {
            scanStringStart();
        } else if ((c == '-' || c == '?') && alone && first && !inFlow) {
            emitTo(at_ + 1, TokenKind::marker);
        } else if (c == '&' || c == '*' || c == '!') {
            std::size_t end = at_ + 1;
            while (end < end_ && endsName.find(line_[end]) == std::string_view::npos)
                ++end;
            emitTo(end, c == '!' ? TokenKind::type : TokenKind::attribute);
        } else if (c == '{' || c == '[') {
            if (!inFlow)
                state_.push({FrameKind::yamlFlow, 0, 0});
            else if (state_.top().number < deepest)
                ++state_.top().number;
            ++at_;
        } else if (inFlow && (c == '}' || c == ']')) {
            if (state_.top().number == 0)
                state_.pop();
            else
                --state_.top().number;
            ++at_;
        } else if ((c == ':' && alone) || (inFlow && (c == ',' || c == ':'))) {
            ++at_;
        } else if (inFlow || (c != '|' && c != '>') || !scanYamlBlockStart()) {
            scanYamlPlain();
        }
    }
}

// | or > with its marks, and nothing but a comment behind it.
bool LineScanner::scanYamlBlockStart()
{
    std::size_t end = at_ + 1;
    while (end < end_ && std::string_view("+-0123456789").find(line_[end]) != std::string_view::npos)
        ++end;
    const std::size_t behind = skipBlanks(end);
    if (behind < end_ && (line_[behind] != '#' || behind == end))
        return false;
    emitTo(end, TokenKind::marker);
    at_ = behind;
    emitTo(end_, TokenKind::comment);
    const std::size_t most = std::numeric_limits<std::uint16_t>::max();
    state_.push({FrameKind::yamlBlock, 0, static_cast<std::uint16_t>(std::min(indentation_, most))});
    return true;
}

// A key up to its colon, or a value.
void LineScanner::scanYamlPlain()
{
    const bool inFlow = inFrame() && state_.top().kind == FrameKind::yamlFlow;
    const std::size_t start = at_++;
    bool key = false;
    for (; at_ < end_; ++at_) {
        const char c = line_[at_];
        const char next = at(at_ + 1);
        if (c == ':' && (next == ' ' || next == '\t' || at_ + 1 == end_)) {
            key = true;
            break;
        }
        if (c == '#' && (line_[at_ - 1] == ' ' || line_[at_ - 1] == '\t'))
            break;
        if (inFlow && (c == ',' || c == '[' || c == ']' || c == '{' || c == '}'))
            break;
    }
    std::size_t end = at_;
    while (end > start + 1 && (line_[end - 1] == ' ' || line_[end - 1] == '\t'))
        --end;
    const std::string_view text = line_.substr(start, end - start);
    if (key)
        emit(start, end, TokenKind::property);
    else if (const auto kind = grammar_->words.find(text))
        emit(start, end, *kind);
    else if (isNumber(text))
        emit(start, end, TokenKind::number);
}

}  // namespace penmark
