// SPDX-License-Identifier: GPL-3.0-or-later
// HTML and XML: tags with their attributes, and the languages of <script> and <style>.
#include "text/highlight/LineScanner.h"

#include <algorithm>

namespace penmark {

namespace {

enum HtmlTag : std::uint8_t { ordinary, script, style, declaration };

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase)
{
    return text.size() == lowerCase.size() &&
           std::equal(text.begin(), text.end(), lowerCase.begin(), [](char a, char b) { return lower(a) == b; });
}

bool inName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == ':' || c == '.' || (c & 0x80) != 0;
}

}  // namespace

// &name; or &#123; : where it ends, the position if there is none.
std::size_t LineScanner::entityEnd(std::size_t position) const
{
    constexpr std::size_t longest = 32;
    std::size_t end = position + 1;
    if (at(end) == '#')
        ++end;
    const std::size_t name = end;
    while (end < end_ && end - name < longest && inName(line_[end]) && (line_[end] & 0x80) == 0)
        ++end;
    return end > name && at(end) == ';' ? end + 1 : position;
}

void LineScanner::scanHtmlText()
{
    const std::size_t depth = state_.depth();
    while (at_ < end_ && state_.depth() == depth) {
        const char c = line_[at_];
        if (c == '<') {
            scanHtmlMarkup();
        } else if (c == '&' && entityEnd(at_) > at_) {
            emitTo(entityEnd(at_), TokenKind::escape);
        } else {
            ++at_;
        }
    }
}

void LineScanner::scanHtmlMarkup()
{
    constexpr std::string_view data = "<![CDATA[";
    if (startsWith(at_, "<!--")) {
        state_.push({FrameKind::htmlComment, 0, 0});
        emitTo(at_ + 4, TokenKind::comment);
        return;
    }
    if (startsWith(at_, data)) {
        state_.push({FrameKind::htmlComment, 1, 0});
        emitTo(at_ + data.size(), TokenKind::string);
        return;
    }
    const char next = at(at_ + 1);
    if (next == '!' || next == '?') {
        state_.push({FrameKind::htmlTag, declaration, 0});
        emitTo(at_ + 2, TokenKind::preprocessor);
        return;
    }
    const std::size_t nameStart = at_ + (next == '/' ? 2 : 1);
    std::size_t end = nameStart;
    while (end < end_ && inName(line_[end]))
        ++end;
    if (end == nameStart) {
        ++at_;
        return;
    }
    const std::string_view name = line_.substr(nameStart, end - nameStart);
    HtmlTag tag = ordinary;
    if (next != '/' && equalsIgnoringCase(name, "script"))
        tag = script;
    else if (next != '/' && equalsIgnoringCase(name, "style"))
        tag = style;
    emitTo(end, TokenKind::tag);
    state_.push({FrameKind::htmlTag, tag, 0});
}

void LineScanner::scanHtmlTag()
{
    const std::uint8_t tag = state_.top().detail;
    if (tag == declaration) {
        const std::size_t close = find('>', at_);
        emitTo(close == none ? end_ : close + 1, TokenKind::preprocessor);
        if (close != none)
            state_.pop();
        return;
    }
    const std::size_t depth = state_.depth();
    bool valueNext = false;
    while (at_ < end_ && state_.depth() == depth) {
        const char c = line_[at_];
        if (c == ' ' || c == '\t') {
            ++at_;
        } else if (c == '>' || (c == '/' && at(at_ + 1) == '>')) {
            emitTo(at_ + (c == '>' ? 1 : 2), TokenKind::tag);
            state_.pop();
            if (c == '>' && tag != ordinary) {
                const auto language = tag == script ? EditorLanguage::javaScript : EditorLanguage::css;
                state_.push({FrameKind::embedded, static_cast<std::uint8_t>(language), 0});
            }
            return;
        } else if (c == '"' || c == '\'') {
            emitTo(at_ + 1, TokenKind::string);
            state_.push({FrameKind::htmlValue, static_cast<std::uint8_t>(c), 0});
        } else if (c == '=') {
            valueNext = true;
            ++at_;
        } else {
            std::size_t end = at_ + 1;
            while (end < end_ && std::string_view(valueNext ? " \t>" : " \t>=/\"'").find(line_[end]) == none)
                ++end;
            emitTo(end, valueNext ? TokenKind::string : TokenKind::attribute);
            valueNext = false;
        }
    }
}

void LineScanner::scanHtmlValue()
{
    const char quote = static_cast<char>(state_.top().detail);
    std::size_t plain = at_;
    while (at_ < end_ && line_[at_] != quote) {
        if (line_[at_] == '&' && entityEnd(at_) > at_) {
            emit(plain, at_, TokenKind::string);
            emitTo(entityEnd(at_), TokenKind::escape);
            plain = at_;
        } else {
            ++at_;
        }
    }
    if (at_ < end_) {
        ++at_;
        state_.pop();
    }
    emit(plain, at_, TokenKind::string);
}

void LineScanner::scanHtmlComment()
{
    const bool data = state_.top().detail == 1;
    const std::size_t close = line_.substr(0, end_).find(data ? "]]>" : "-->", at_);
    emitTo(close == std::string_view::npos ? end_ : close + 3, data ? TokenKind::string : TokenKind::comment);
    if (close != std::string_view::npos)
        state_.pop();
}

// Up to </script or </style, wherever it stands.
void LineScanner::scanEmbeddedInHtml()
{
    const std::size_t frame = base_;  // HTML enters it with nothing else open
    const auto language = static_cast<EditorLanguage>(state_[frame].detail);
    const std::string_view close = language == EditorLanguage::css ? "</style" : "</script";
    std::size_t regionEnd = find('<', at_);
    while (regionEnd != none &&
           !equalsIgnoringCase(line_.substr(regionEnd, std::min(close.size(), end_ - regionEnd)), close))
        regionEnd = find('<', regionEnd + 1);
    scanEmbedded(language, regionEnd == none ? end_ : regionEnd);
    if (regionEnd != none)
        state_.truncate(frame);
}

// The frames above the lowest one, an `embedded` or a `fence`, belong to the language inside.
void LineScanner::scanEmbedded(EditorLanguage language, std::size_t regionEnd)
{
    const Grammar* const grammar = grammar_;
    const std::size_t end = end_;
    const std::size_t base = base_;
    ++base_;
    end_ = regionEnd;
    scan(grammarOf(language));
    at_ = regionEnd;
    end_ = end;
    base_ = base;
    grammar_ = grammar;
    table_ = grammar->table;
}

}  // namespace penmark
