// SPDX-License-Identifier: GPL-3.0-or-later
// Markdown: the marks that begin a line, the marks inside of it, and fenced code in its own language.
#include "text/highlight/LineScanner.h"

#include <algorithm>
#include <limits>

namespace penmark {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isWord(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || (c & 0x80) != 0;
}

}  // namespace

void LineScanner::scanMarkdownLine()
{
    if (inFrame() && state_[base_].kind == FrameKind::fence) {
        scanFenced();
        return;
    }
    if (inFrame()) {
        scanHtmlComment();
    } else {
        at_ = indentation_;
        if (scanFenceStart() || scanMarkdownBlock())
            return;
    }
    scanMarkdownInline();
}

bool LineScanner::scanFenceStart()
{
    const char mark = at(at_);
    if (mark != '`' && mark != '~')
        return false;
    std::size_t end = at_;
    while (at(end) == mark)
        ++end;
    const std::size_t length = end - at_;
    if (length < 3 || (mark == '`' && find('`', end) != none))
        return false;
    const std::size_t wordStart = skipBlanks(end);
    std::size_t wordEnd = wordStart;
    while (wordEnd < end_ && !isBlank(line_[wordEnd]) && line_[wordEnd] != '{' && line_[wordEnd] != ',')
        ++wordEnd;
    constexpr std::size_t longestWord = 40;
    std::optional<EditorLanguage> language;
    if (wordEnd > wordStart && wordEnd - wordStart <= longestWord)
        language = languageOfFence(line_.substr(wordStart, wordEnd - wordStart));
    if (language == EditorLanguage::markdown)
        language.reset();
    const std::size_t counted = std::min<std::size_t>(length, std::numeric_limits<std::uint16_t>::max() / 2);
    state_.push({FrameKind::fence, static_cast<std::uint8_t>(language ? static_cast<unsigned>(*language) + 1U : 0U),
                 static_cast<std::uint16_t>(counted * 2 + (mark == '~' ? 1U : 0U))});
    emitTo(end_, TokenKind::marker);
    return true;
}

void LineScanner::scanFenced()
{
    const Frame fence = state_[base_];
    const char mark = (fence.number & 1U) != 0 ? '~' : '`';
    std::size_t end = indentation_;
    while (at(end) == mark)
        ++end;
    if (end - indentation_ >= fence.number / 2U && skipBlanks(end) == end_) {
        emit(indentation_, end, TokenKind::marker);
        state_.truncate(base_);
    } else if (fence.detail == 0) {
        emit(indentation_, end_, TokenKind::code);
    } else {
        scanEmbedded(static_cast<EditorLanguage>(fence.detail - 1), end_);
    }
}

// Headings, rules, quotes and lists. True if nothing of the line is left.
bool LineScanner::scanMarkdownBlock()
{
    while (at(at_) == '>') {
        emitTo(at_ + 1, TokenKind::quote);
        at_ = skipBlanks(at_);
    }
    std::size_t end = at_;
    while (at(end) == '#')
        ++end;
    if (end > at_ && end - at_ <= 6 && (end == end_ || isBlank(at(end)))) {
        emitTo(end_, TokenKind::heading);
        return true;
    }
    const char mark = at(at_);
    if (mark == '=' || mark == '-' || mark == '*' || mark == '_') {
        std::size_t count = 0;
        end = at_;
        for (; end < end_ && (line_[end] == mark || isBlank(line_[end])); ++end)
            count += line_[end] == mark ? 1 : 0;
        if (end == end_ && (count >= 3 || (mark == '=' && count > 0))) {
            emitTo(end_, mark == '=' ? TokenKind::heading : TokenKind::marker);
            return true;
        }
    }
    end = at_;
    if (mark == '-' || mark == '*' || mark == '+') {
        ++end;
    } else {
        constexpr std::size_t mostDigits = 9;
        while (at(end) >= '0' && at(end) <= '9' && end - at_ < mostDigits)
            ++end;
        end = end > at_ && (at(end) == '.' || at(end) == ')') ? end + 1 : at_;
    }
    if (end > at_ && (end == end_ || isBlank(at(end)))) {
        emitTo(end, TokenKind::marker);
        at_ = skipBlanks(at_);
        if (at(at_) == '[' && at(at_ + 2) == ']' && isBlank(at(at_ + 3)) &&
            std::string_view(" xX").find(at(at_ + 1)) != std::string_view::npos)
            emitTo(at_ + 3, TokenKind::marker);
    }
    return false;
}

void LineScanner::scanMarkdownInline()
{
    while (at_ < end_) {
        bool scanned = false;
        switch (line_[at_]) {
        case '\\':
            if (at_ + 1 < end_ && !isWord(line_[at_ + 1]) && !isBlank(line_[at_ + 1])) {
                emitTo(at_ + 2, TokenKind::escape);
                scanned = true;
            }
            break;
        case '`':
            scanned = scanCodeSpan();
            break;
        case '*':
        case '_':
        case '~':
            scanned = scanEmphasis();
            break;
        case '[':
            scanned = scanLink();
            break;
        case 'h':
            scanned = scanBareLink();
            break;
        case '&':
            if (const std::size_t end = entityEnd(at_); end > at_) {
                emitTo(end, TokenKind::escape);
                scanned = true;
            }
            break;
        case '<':
            if (startsWith(at_, "<!--")) {
                state_.push({FrameKind::htmlComment, 0, 0});
                scanHtmlComment();
                scanned = true;
            } else if (startsWith(at_, "<http") || startsWith(at_, "<mailto:")) {
                ++at_;
                const std::size_t close = line_.substr(0, end_).find_first_of(" \t>", at_);
                emitTo(close == std::string_view::npos ? end_ : close, TokenKind::link);
                scanned = true;
            }
            break;
        default:
            break;
        }
        if (!scanned)
            ++at_;
    }
}

// As many backquotes close it as open it. A length that does not come again is not looked for twice.
bool LineScanner::scanCodeSpan()
{
    std::size_t open = at_;
    while (at(open) == '`')
        ++open;
    const std::size_t length = open - at_;
    if (length < 16 && (missingCodeMarks_ >> length & 1U) == 0) {
        for (std::size_t i = find('`', open); i != none;) {
            std::size_t close = i;
            while (at(close) == '`')
                ++close;
            if (close - i == length) {
                emitTo(close, TokenKind::code);
                return true;
            }
            i = find('`', close);
        }
        missingCodeMarks_ |= 1U << length;
    }
    at_ = open;
    return true;
}

bool LineScanner::scanEmphasis()
{
    const char mark = line_[at_];
    std::size_t open = at_;
    while (at(open) == mark)
        ++open;
    const std::size_t length = open - at_;
    const bool struck = mark == '~';
    const std::size_t which = (mark == '*' ? 0U : mark == '_' ? 3U : 6U) + length - 1;
    const bool insideWord = mark == '_' && at_ > 0 && isWord(line_[at_ - 1]);
    if (length > (struck ? 2U : 3U) || open == end_ || isBlank(at(open)) || insideWord || missingEmphasis_[which]) {
        at_ = open;
        return true;
    }
    for (std::size_t i = find(mark, open); i != none;) {
        std::size_t close = i;
        while (at(close) == mark)
            ++close;
        if (close - i >= length && !isBlank(line_[i - 1]) && !(mark == '_' && isWord(at(close)))) {
            emitTo(close, length == 1 || struck ? TokenKind::emphasis : TokenKind::strong);
            return true;
        }
        i = find(mark, close);
    }
    missingEmphasis_[which] = true;
    at_ = open;
    return true;
}

// [text](target), [text][name], [name]: target. Brackets inside of the text begin again.
bool LineScanner::scanLink()
{
    const std::size_t close = line_.substr(0, end_).find_first_of("[]", at_ + 1);
    if (close == std::string_view::npos || line_[close] == '[')
        return false;
    const char next = at(close + 1);
    std::size_t end = none;
    if (next == '(' && !missingParenthesis_) {
        end = find(')', close + 2);
        missingParenthesis_ = end == none;
    } else if (next == '[') {
        const std::size_t nameEnd = line_.substr(0, end_).find_first_of("[]", close + 2);
        end = nameEnd != std::string_view::npos && line_[nameEnd] == ']' ? nameEnd : none;
    } else if (next == ':' && at_ == indentation_) {
        end = end_ - 1;
    }
    if (end == none)
        return false;
    emitTo(end + 1, TokenKind::link);
    return true;
}

bool LineScanner::scanBareLink()
{
    if (!(startsWith(at_, "https://") || startsWith(at_, "http://")) || (at_ > 0 && isWord(line_[at_ - 1])))
        return false;
    std::size_t end = line_.substr(0, end_).find_first_of(" \t<>()[]\"", at_);
    end = end == std::string_view::npos ? end_ : end;
    while (end > at_ && std::string_view(".,;:!?*_'").find(line_[end - 1]) != std::string_view::npos)
        --end;
    emitTo(end, TokenKind::link);
    return true;
}

}  // namespace penmark
