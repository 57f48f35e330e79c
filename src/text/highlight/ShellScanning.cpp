// SPDX-License-Identifier: GPL-3.0-or-later
// Shells: words that are commands only where one is expected, variables, here-documents.
#include "text/highlight/LineScanner.h"

#include <algorithm>
#include <string>

namespace penmark {

namespace {

enum HereFlags : std::uint8_t { stripTabs = 1, literal = 2 };

// Of a word that is no name: paths, options, numbers, versions.
bool inWord(char c)
{
    return std::string_view("-./+:,~%@?*").find(c) != std::string_view::npos;
}

}  // namespace

void LineScanner::scanShellCode()
{
    const std::size_t depth = state_.depth();
    while (at_ < end_ && state_.depth() == depth) {
        const char c = line_[at_];
        switch (c) {
        case ' ':
        case '\t':
            ++at_;
            continue;
        case '#':
            if (at_ == 0 || std::string_view(" \t;&|()`").find(line_[at_ - 1]) != std::string_view::npos) {
                emitTo(end_, TokenKind::comment);
                continue;
            }
            ++at_;
            continue;
        case '\\':
            emitTo(characterEnd(at_ + 1), TokenKind::escape);
            continue;
        case '$':
            if (startsWith(at_, "$'")) {
                scanStringStart();
            } else if (!scanShellVariable()) {
                ++at_;
            }
            commandNext_ = commandNext_ && state_.depth() != depth;
            continue;
        case '"':
        case '\'':
            scanStringStart();
            commandNext_ = false;
            continue;
        case '<':
            if (!scanHereDocumentStart())
                ++at_;
            continue;
        case '(':
            arithmetic_ = arithmetic_ || at(at_ + 1) == '(';
            [[fallthrough]];
        case ')':
        case '{':
        case '}':
            if (c == ')' && at(at_ + 1) == ')')
                arithmetic_ = false;
            if (!scanBrackets(c))
                ++at_;
            commandNext_ = c != '}' && state_.depth() == depth;
            continue;
        case ';':
        case '|':
        case '&':
        case '`':
        case '!':
            commandNext_ = true;
            ++at_;
            continue;
        default:
            if (grammar_->inIdentifier[static_cast<unsigned char>(c)] || inWord(c))
                scanShellWord();
            else
                ++at_;
        }
    }
}

void LineScanner::scanShellWord()
{
    const std::size_t start = at_;
    const std::size_t nameEnd = skipIdentifier(start);
    std::size_t end = nameEnd;
    const bool assigns = nameEnd > start && (at(nameEnd) == '=' || startsWith(nameEnd, "+="));
    while (!assigns && end < end_ &&
           (grammar_->inIdentifier[static_cast<unsigned char>(line_[end])] || inWord(line_[end])))
        ++end;
    const std::string_view word = line_.substr(start, end - start);
    at_ = end;
    if (assigns) {
        emit(start, nameEnd, TokenKind::variable);
        at_ += at(nameEnd) == '=' ? 1 : 2;
        return;  // a command can follow the value
    }
    const bool command = commandNext_;
    commandNext_ = false;
    if (word == "in" || word == "do") {
        emit(start, end, TokenKind::keyword);
        commandNext_ = word == "do";
    } else if (command) {
        const auto kind = grammar_->words.find(word);
        if (kind) {
            emit(start, end, *kind);
            constexpr std::string_view before = " do elif else eval exec if then time until while coproc ";
            commandNext_ = before.find(" " + std::string(word) + " ") != std::string_view::npos;
        } else if (startsWith(end, "()")) {
            emit(start, end, TokenKind::function);
        }
    } else if (std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        emit(start, end, TokenKind::number);
    }
}

bool LineScanner::scanShellVariable()
{
    const char next = at(at_ + 1);
    if (next == '(') {
        arithmetic_ = arithmetic_ || at(at_ + 2) == '(';
        return openInterpolation(2, ')');
    }
    if (next == '{') {
        std::size_t end = at_ + 2;
        while (at(end) == '#' || at(end) == '!')
            ++end;
        end = std::max(end, skipIdentifier(end));
        while (at(end) == '@' || at(end) == '*' || at(end) == '?' || at(end) == '$')
            ++end;
        if (at(end) == '}') {
            emitTo(end + 1, TokenKind::variable);
            return true;
        }
        if (!openInterpolation(2, '}'))
            return false;
        emitTo(end, TokenKind::variable);
        commandNext_ = false;
        return true;
    }
    std::size_t end = at_ + 1;
    if (std::string_view("@*#?$!-0123456789").find(next) != std::string_view::npos)
        ++end;
    else
        end = skipIdentifier(end);
    if (end == at_ + 1)
        return false;
    emitTo(end, TokenKind::variable);
    return true;
}

// <<END, <<-END, <<'END': the lines behind this one belong to it.
bool LineScanner::scanHereDocumentStart()
{
    if (!startsWith(at_, "<<") || arithmetic_)
        return false;
    if (at(at_ + 2) == '<') {
        at_ += 3;
        return true;
    }
    std::size_t start = at_ + 2;
    std::uint8_t flags = 0;
    if (at(start) == '-') {
        flags |= stripTabs;
        ++start;
    }
    start = skipBlanks(start);
    const char quote = at(start);
    std::size_t end = start;
    std::string_view close;
    if (quote == '\'' || quote == '"') {
        end = find(quote, start + 1);
        if (end == none) {
            at_ += 2;
            return true;
        }
        close = line_.substr(start + 1, end - start - 1);
        ++end;
        flags |= literal;
    } else {
        if (quote == '\\') {
            flags |= literal;
            ++start;
        }
        if (at(start) >= '0' && at(start) <= '9')
            return false;
        end = skipIdentifier(start);
        close = line_.substr(start, end - start);
    }
    const auto number = close.empty() ? std::nullopt : delimiters_.numberOf(close);
    if (!number || hereDocumentCount_ == hereDocuments_.size())
        return false;
    hereDocuments_[hereDocumentCount_++] = {FrameKind::hereDocument, flags, *number};
    emitTo(end, TokenKind::marker);
    return true;
}

void LineScanner::scanHereDocument()
{
    const Frame frame = state_.top();
    std::size_t start = 0;
    while ((frame.detail & stripTabs) != 0 && at(start) == '\t')
        ++start;
    if (line_.substr(start, end_ - start) == delimiters_[frame.number]) {
        at_ = start;
        emitTo(end_, TokenKind::marker);
        state_.pop();
        return;
    }
    std::size_t plain = at_;
    while (at_ < end_) {
        if (line_[at_] != '$' || (frame.detail & literal) != 0 || at(at_ + 1) == '(') {
            ++at_;
            continue;
        }
        const std::size_t name = at_ + (at(at_ + 1) == '{' ? 2 : 1);
        std::size_t end = skipIdentifier(name);
        if (end == name) {
            ++at_;
            continue;
        }
        if (at(end) == '}' && at(at_ + 1) == '{')
            ++end;
        emit(plain, at_, TokenKind::string);
        emitTo(end, TokenKind::variable);
        plain = at_;
    }
    emit(plain, at_, TokenKind::string);
}

}  // namespace penmark
