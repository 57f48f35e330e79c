// SPDX-License-Identifier: GPL-3.0-or-later
// Strings of all languages: how they open, what stands in them, how they close.
#include "text/highlight/LineScanner.h"

#include <algorithm>
#include <string>

namespace penmark {

namespace {

enum StringFlags : std::uint16_t { rawString = 1, interpolatedString = 2 };
enum HashForm : std::uint8_t { oneLine, threeQuotes, multiLineOfRust };

bool isHexadecimal(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool LineScanner::scanStringStart()
{
    for (std::size_t i = 0; i < table_->strings.size(); ++i) {
        if (startsWith(at_, table_->strings[i].open)) {
            openString(i, at_);
            return true;
        }
    }
    return false;
}

// The position is at the opening mark; letters before it begin at prefixStart.
void LineScanner::openString(std::size_t ruleIndex, std::size_t prefixStart)
{
    const StringRule& rule = table_->strings[ruleIndex];
    const auto hasPrefix = [&](char letter) {
        const std::string_view prefix = line_.substr(prefixStart, at_ - prefixStart);
        return std::any_of(prefix.begin(), prefix.end(), [&](char c) { return lower(c) == letter; });
    };
    std::uint16_t flags = 0;
    if (!rule.escapes || (rule.rawPrefix != '\0' && hasPrefix(rule.rawPrefix)))
        flags |= rawString;
    if (!rule.interpolation.empty() && (rule.interpolationPrefix == '\0' || hasPrefix(rule.interpolationPrefix)))
        flags |= interpolatedString;
    const std::size_t openEnd = at_ + rule.open.size();
    stringStart_ = prefixStart;
    state_.push({FrameKind::string, static_cast<std::uint8_t>(ruleIndex), flags});
    emit(prefixStart, openEnd, rule.kind);
    at_ = openEnd;
    valueBefore_ = true;
}

bool LineScanner::openPrefixedString(std::size_t wordStart)
{
    const std::size_t wordEnd = skipIdentifier(wordStart);
    const std::string_view word = line_.substr(wordStart, wordEnd - wordStart);
    if (table_->delimited == DelimitedString::cpp && word.back() == 'R' && at(wordEnd) == '"' &&
        openCppString(wordStart))
        return true;
    if (table_->delimited == DelimitedString::rHashes && word.back() == 'r' && openHashString(wordStart))
        return true;
    if (at(wordEnd) == '#' ||
        !std::all_of(word.begin(), word.end(), [&](char c) { return table_->stringPrefixes.find(c) != none; }))
        return false;
    for (std::size_t i = 0; i < table_->strings.size(); ++i) {
        if (startsWith(wordEnd, table_->strings[i].open)) {
            at_ = wordEnd;
            openString(i, wordStart);
            return true;
        }
    }
    return false;
}

bool LineScanner::openHashString(std::size_t start)
{
    const bool rust = table_->delimited == DelimitedString::rHashes;
    std::size_t end = rust ? skipIdentifier(start) : start;
    const std::size_t firstHash = end;
    while (at(end) == '#' && end - firstHash < deepest)
        ++end;
    if (at(end) != '"')
        return false;
    const auto hashes = static_cast<std::uint16_t>(end - firstHash);
    const bool three = !rust && startsWith(end, "\"\"\"");
    const std::uint8_t form = rust ? multiLineOfRust : three ? threeQuotes : oneLine;
    stringStart_ = start;
    state_.push({FrameKind::hashString, form, hashes});
    emit(start, end + (three ? 3 : 1), TokenKind::string);
    at_ = end + (three ? 3 : 1);
    valueBefore_ = true;
    return true;
}

bool LineScanner::openCppString(std::size_t start)
{
    constexpr std::size_t longest = 16;
    const std::size_t quote = skipIdentifier(start);
    std::size_t end = quote + 1;
    while (end < end_ && end - quote <= longest && std::string_view(" ()\\\t\"").find(line_[end]) == none)
        ++end;
    if (at(end) != '(')
        return false;
    return openDelimited(start, end + 1, ")" + std::string(line_.substr(quote + 1, end - quote - 1)) + "\"");
}

bool LineScanner::openDollarString()
{
    constexpr std::size_t longest = 64;
    std::size_t end = at_ + 1;
    if (at(end) >= '0' && at(end) <= '9')
        return false;
    while (end < end_ && end - at_ < longest && grammar_->inIdentifier[static_cast<unsigned char>(line_[end])])
        ++end;
    if (at(end) != '$')
        return false;
    ++end;
    return openDelimited(at_, end, line_.substr(at_, end - at_));
}

bool LineScanner::openDelimited(std::size_t start, std::size_t openEnd, std::string_view close)
{
    const auto number = delimiters_.numberOf(close);
    if (!number)
        return false;
    state_.push({FrameKind::delimitedString, 0, *number});
    emit(start, openEnd, TokenKind::string);
    at_ = openEnd;
    return true;
}

void LineScanner::scanString()
{
    const Frame frame = state_.top();
    const StringRule& rule = table_->strings[frame.detail];
    const bool raw = (frame.number & rawString) != 0;
    const std::string_view interpolation =
        (frame.number & interpolatedString) != 0 ? rule.interpolation : std::string_view();
    const char close = rule.close.front();
    const char inside = interpolation.empty() ? close : interpolation.front();
    const bool variables = table_->grammar == LineGrammar::shell && !interpolation.empty();
    continued_ = false;
    std::size_t plain = at_;
    const auto emitPlain = [&] { emit(plain, at_, rule.kind); };
    while (at_ < end_) {
        const char c = line_[at_];
        if (c != close && c != '\\' && c != inside) {
            ++at_;
            continue;
        }
        if (c == inside && !interpolation.empty() && startsWith(at_, interpolation)) {
            emitPlain();
            plain = at_;
            if (interpolation == "{" && at(at_ + 1) == '{') {
                emitTo(at_ + 2, TokenKind::escape);
                plain = at_;
            } else if (openInterpolation(interpolation.size(), interpolation.back() == '(' ? ')' : '}')) {
                return;
            } else {
                at_ += interpolation.size();
            }
        } else if (c == '\\' && raw && rule.escapes) {
            at_ = std::min(end_, at_ + 1);  // it keeps the mark behind it from closing, and stays itself
            if (at(at_) == close || at(at_) == '\\')
                ++at_;
        } else if (c == '\\' && !raw) {
            emitPlain();
            const std::size_t end = escapeEnd(at_);
            continued_ = end == at_ + 1 && end == end_;
            emitTo(end, TokenKind::escape);
            plain = at_;
        } else if (variables && c == '$') {
            emitPlain();
            const std::size_t depth = state_.depth();
            if (!scanShellVariable())
                ++at_;
            else
                plain = at_;
            if (state_.depth() != depth)
                return;
        } else if (c == close && startsWith(at_, rule.close)) {
            if (rule.doubled && at(at_ + 1) == close) {
                emitPlain();
                emitTo(at_ + 2, TokenKind::escape);
                plain = at_;
                continue;
            }
            at_ += rule.close.size();
            emitPlain();
            closeString();
            return;
        } else {
            ++at_;
        }
    }
    emitPlain();
}

void LineScanner::closeString()
{
    state_.pop();
    valueBefore_ = true;
    if (table_->keyStrings && stringStart_ != none && at(skipBlanks(at_)) == ':') {
        for (std::size_t i = tokens_.size(); i-- > 0 && tokens_[i].start >= stringStart_;) {
            if (tokens_[i].kind == TokenKind::string)
                tokens_[i].kind = TokenKind::property;
        }
    }
    stringStart_ = none;
}

bool LineScanner::openInterpolation(std::size_t length, char close)
{
    if (!state_.push({FrameKind::interpolation, static_cast<std::uint8_t>(close), 0}))
        return false;
    const bool shell = table_->grammar == LineGrammar::shell;
    emitTo(at_ + length, shell ? TokenKind::variable : TokenKind::escape);
    valueBefore_ = false;
    commandNext_ = true;
    return true;
}

void LineScanner::scanHashString()
{
    const Frame frame = state_.top();
    const bool rust = frame.detail == multiLineOfRust;
    const std::size_t quotes = frame.detail == threeQuotes ? 3 : 1;
    const auto hashesAt = [&](std::size_t position) {
        for (std::size_t i = 0; i < frame.number; ++i) {
            if (at(position + i) != '#')
                return false;
        }
        return true;
    };
    std::size_t plain = at_;
    while (at_ < end_) {
        const char c = line_[at_];
        if (c == '"' && (quotes == 1 || startsWith(at_, "\"\"\"")) && hashesAt(at_ + quotes)) {
            at_ += quotes + frame.number;
            emit(plain, at_, TokenKind::string);
            state_.pop();
            stringStart_ = none;
            valueBefore_ = true;
            return;
        }
        if (c == '\\' && !rust && hashesAt(at_ + 1)) {
            emit(plain, at_, TokenKind::string);
            plain = at_;
            const std::size_t behind = at_ + 1 + frame.number;
            if (at(behind) == '(' && openInterpolation(2U + frame.number, ')'))
                return;
            emitTo(characterEnd(behind), TokenKind::escape);
            plain = at_;
            continue;
        }
        ++at_;
    }
    emit(plain, at_, TokenKind::string);
}

void LineScanner::scanDelimitedString()
{
    const std::string& close = delimiters_[state_.top().number];
    const std::size_t found = line_.substr(0, end_).find(close, at_);
    if (found == std::string_view::npos) {
        emitTo(end_, TokenKind::string);
        return;
    }
    emitTo(found + close.size(), TokenKind::string);
    state_.pop();
    valueBefore_ = true;
}

// \n, \x41, \u0041, \u{1F600}, or the one character behind the backslash.
std::size_t LineScanner::escapeEnd(std::size_t backslash) const
{
    constexpr std::size_t longestInBraces = 10;
    const std::size_t kind = backslash + 1;
    const auto hexadecimal = [&](std::size_t from, std::size_t most) {
        std::size_t end = from;
        while (end < end_ && end - from < most && isHexadecimal(line_[end]))
            ++end;
        return end;
    };
    switch (at(kind)) {
    case 'x':
        return hexadecimal(kind + 1, 2);
    case 'U':
        return hexadecimal(kind + 1, 8);
    case 'u':
        if (at(kind + 1) == '{') {
            const std::size_t end = hexadecimal(kind + 2, longestInBraces);
            return at(end) == '}' ? end + 1 : end;
        }
        return hexadecimal(kind + 1, 4);
    default:
        return characterEnd(kind);
    }
}

}  // namespace penmark
