// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/commands/CommandResult.h"

#include "text/Characters.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace penmark::commands {

namespace {

char32_t firstCharacter(std::string_view text)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 character = 0;
    std::size_t at = 0;
    U8_NEXT_UNSAFE(bytes, at, character);
    return static_cast<char32_t>(character);
}

char32_t lastCharacter(std::string_view text)
{
    std::size_t start = text.size() - 1;
    while (start > 0 && U8_IS_TRAIL(static_cast<std::uint8_t>(text[start])))
        --start;
    return firstCharacter(text.substr(start));
}

int clusterBreak(char32_t character)
{
    return u_getIntPropertyValue(static_cast<UChar32>(character), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

/// The boundary of a cluster nearest to the offset on that side; before a line end in either case.
Utf8Offset boundary(const TextSnapshot& text, Utf8Offset offset, bool forwards)
{
    const Utf8Offset start = graphemeStart(text, offset);
    return start == offset || !forwards || text.at(start) == '\r' ? start : nextGrapheme(text, start);
}

}  // namespace

bool mayJoin(char32_t left, char32_t right)
{
    if (left < 0x300 && right < 0x300)
        return left == U'\r' && right == U'\n';
    const int after = clusterBreak(right);
    if (after == U_GCB_EXTEND || after == U_GCB_ZWJ || after == U_GCB_SPACING_MARK)
        return true;
    switch (clusterBreak(left)) {
    case U_GCB_EXTEND:  // a virama joins consonants of India
        return right >= 0x900 && right < 0xE00;
    case U_GCB_PREPEND:
    case U_GCB_ZWJ:
        return true;
    case U_GCB_REGIONAL_INDICATOR:
        return after == U_GCB_REGIONAL_INDICATOR;
    case U_GCB_L:
        return after == U_GCB_L || after == U_GCB_V || after == U_GCB_LV || after == U_GCB_LVT;
    case U_GCB_LV:
    case U_GCB_V:
        return after == U_GCB_V || after == U_GCB_T;
    case U_GCB_LVT:
    case U_GCB_T:
        return after == U_GCB_T;
    default:
        return false;
    }
}

CommandResult::CommandResult(const TextSnapshot& text, const CaretSet& carets)
    : text_(text), before_(carets), reader_(text)
{
    carets_.reserve(carets.size());
    builder_.reserve(carets.size());
}

void CommandResult::replace(Utf8Range range, std::string_view with)
{
    range.start = std::max(range.start, pending_.end);
    range.end = std::max(range.end, pending_.end);
    if (range.empty() && with.empty())
        return;
    if (range.start != pending_.end || (pending_.empty() && pendingText_.empty())) {
        flush();
        pending_.start = range.start;
        pendingFirstCaret_ = carets_.size();
    }
    if (!pendingText_.empty() && !with.empty()) {
        if (pendingText_.back() == '\r' && with.front() == '\n') {
            pendingText_ += '\r';
            ++grown_;
        }
        doubt_ = doubt_ || mayJoin(lastCharacter(pendingText_), firstCharacter(with));
    }
    pending_.end = range.end;
    pendingText_ += with;
    grown_ += with.size() - range.size();
}

void CommandResult::flush()
{
    if (pending_.empty() && pendingText_.empty())
        return;
    reader_.seek(pending_.start);
    const char32_t left = reader_.peekPrevious();
    reader_.seek(pending_.end);
    const char32_t right = reader_.peekNext();

    if (pendingText_.empty()) {
        if (left == U'\r' && right == U'\n') {
            pendingText_.push_back('\r');
            ++grown_;
        }
    } else {
        const auto shift = [&](auto isBehind) {
            ++grown_;
            // The one before may have been extended since.
            for (std::size_t i = pendingFirstCaret_ - (pendingFirstCaret_ > 0 ? 1 : 0); i < carets_.size(); ++i) {
                for (Utf8Offset* offset : {&carets_[i].anchor, &carets_[i].head})
                    if (isBehind(*offset))
                        ++*offset;
            }
        };
        if (left == U'\r' && pendingText_.front() == '\n') {
            const Utf8Offset start = Utf8Offset(pending_.end.value + grown_ - pendingText_.size());
            pendingText_.insert(pendingText_.begin(), '\r');
            shift([&](Utf8Offset offset) { return offset > start; });
        }
        if (right == U'\n' && pendingText_.back() == '\r') {
            const Utf8Offset end = Utf8Offset(pending_.end.value + grown_);
            pendingText_ += '\n';
            shift([&](Utf8Offset offset) { return offset >= end; });
        }
    }
    if (pendingText_.empty())
        doubt_ = doubt_ || mayJoin(left, right);
    else
        doubt_ = doubt_ || mayJoin(left, firstCharacter(pendingText_)) || mayJoin(lastCharacter(pendingText_), right);

    builder_.replace(pending_, pendingText_);
    pending_.start = pending_.end;
    pendingText_.clear();
    pendingFirstCaret_ = carets_.size();
}

Utf8Offset CommandResult::moved(Utf8Offset position)
{
    if (position > pending_.end)
        flush();
    return Utf8Offset(std::max(position, pending_.end).value + grown_);
}

void CommandResult::place(std::size_t index, Caret caret)
{
    if (index == before_.mainIndex())
        main_ = carets_.size();
    carets_.push_back(caret);
}

void CommandResult::extendLast(Utf8Offset end, bool forward)
{
    Caret& caret = carets_.back();
    (forward ? caret.head : caret.anchor) = end;
}

EditResult CommandResult::settle(TextEdit edit, std::vector<Caret> carets, std::size_t main) const
{
    if (edit.empty() || carets.empty())
        return {std::move(edit), before_};
    if (doubt_) {
        const TextSnapshot after = text_.apply(edit);
        for (Caret& caret : carets) {
            if (!caret.hasSelection()) {
                caret = Caret(boundary(after, caret.head, true));
            } else {
                const bool forward = caret.isForward();
                caret.anchor = boundary(after, caret.anchor, !forward);
                caret.head = boundary(after, caret.head, forward);
            }
        }
    }
    return {std::move(edit), CaretSet(std::move(carets), main)};
}

EditResult CommandResult::build() &&
{
    flush();
    return settle(std::move(builder_).build(), std::move(carets_), main_);
}

EditResult CommandResult::buildMapped(Stickiness bare) &&
{
    return std::move(*this).buildMapped({before_.begin(), before_.end()}, bare);
}

EditResult CommandResult::buildMapped(const std::vector<Caret>& carets, Stickiness bare) &&
{
    flush();
    TextEdit edit = std::move(builder_).build();
    std::vector<Caret> mapped;
    mapped.reserve(carets.size());
    for (const Caret& caret : carets) {
        if (!caret.hasSelection()) {
            mapped.emplace_back(edit.map(caret.head, bare));
            continue;
        }
        const Utf8Offset start = edit.map(caret.start(), Stickiness::before);
        const Utf8Offset end = edit.map(caret.end(), Stickiness::after);
        mapped.push_back(caret.isForward() ? Caret(start, end) : Caret(end, start));
    }
    return settle(std::move(edit), std::move(mapped), before_.mainIndex());
}

void CaretFeed::feedUpTo(Utf8Offset limit)
{
    for (; !isDone() && position() <= limit; advance())
        put(result_.moved(position()));
}

void CaretFeed::feedRestAt(Utf8Offset after)
{
    for (; !isDone(); advance())
        put(after);
}

Utf8Offset CaretFeed::position() const
{
    return atEnd_ ? carets_[next_].end() : carets_[next_].start();
}

void CaretFeed::put(Utf8Offset after)
{
    if (atEnd_)
        result_.extendLast(after, carets_[next_].isForward());
    else
        result_.place(next_, after);
}

void CaretFeed::advance()
{
    next_ += atEnd_ ? 1U : 0U;
    atEnd_ = !atEnd_;
}

}  // namespace penmark::commands
