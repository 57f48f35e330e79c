// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Highlighter.h"

#include "text/TextEdit.h"
#include "text/highlight/LineReader.h"

#include <algorithm>

namespace penmark {

namespace {

// Lines that an edit replaced: `before` in the text before it, `after` in the one after it.
struct ReplacedLines {
    LineRange before;
    LineRange after;
};

// A CR before a place, or an LF behind it, can become a line end of its own or stop being one, so it belongs to it.
std::vector<ReplacedLines> replacedLines(const TextSnapshot& before, const TextEdit& edit, const TextSnapshot& after)
{
    std::vector<ReplacedLines> result;
    std::ptrdiff_t growth = 0;
    for (const Replacement& place : edit.replacements()) {
        const auto moved = [&](Utf8Offset offset) {
            return Utf8Offset(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(offset.value) + growth));
        };
        const bool behindReturn = place.start.value > 0 && before.at(place.start - 1) == '\r';
        const Utf8Offset start = behindReturn ? place.start - 1 : place.start;
        const bool beforeFeed = before.at(place.end()) == '\n';
        const Utf8Offset end = place.end() + (beforeFeed ? 1U : 0U);
        const Utf8Offset startAfter = moved(start);
        growth += static_cast<std::ptrdiff_t>(place.inserted) - static_cast<std::ptrdiff_t>(place.removed);
        ReplacedLines lines{{before.lineAt(start), before.lineAt(end) + 1},
                            {after.lineAt(startAfter), after.lineAt(moved(end)) + 1}};
        if (!result.empty() && lines.before.start < result.back().before.end) {
            result.back().before.end = std::max(result.back().before.end, lines.before.end);
            result.back().after.end = std::max(result.back().after.end, lines.after.end);
        } else {
            result.push_back(lines);
        }
    }
    return result;
}

// Adds a range to ascending ranges that are apart.
template <class Ranges>
void addRange(Ranges& ranges, LineRange added)
{
    if (added.empty())
        return;
    auto first = std::lower_bound(ranges.begin(), ranges.end(), added.start,
                                  [](const LineRange& range, LineNumber start) { return range.end < start; });
    auto last = first;
    for (; last != ranges.end() && last->start <= added.end; ++last) {
        added.start = std::min(added.start, last->start);
        added.end = std::max(added.end, last->end);
    }
    if (first == last) {
        ranges.insert(first, added);
    } else {
        *first = added;
        ranges.erase(first + 1, last);
    }
}

}  // namespace

void Highlighter::reset(TextSnapshot text, EditorLanguage language)
{
    tokenizer_ = Tokenizer(language);
    text_ = std::move(text);
    ++generation_;
    states_ = {};
    states_.append({});
    unread_.clear();
    provisional_.clear();
    changed_.clear();
}

void Highlighter::update(const TextEdit& edit, TextSnapshot after)
{
    if (edit.empty())
        return;
    const std::vector<ReplacedLines> replaced = replacedLines(text_, edit, after);
    text_ = std::move(after);
    ++generation_;

    // Line numbers of what is remembered move with the lines.
    const auto moved = [&]<class Ranges>(const Ranges& ranges) {
        Ranges result;
        auto place = replaced.begin();
        std::size_t grown = 0;  // modulo 2^64, as are the sums with it
        for (const LineRange& range : ranges) {
            std::size_t start = range.start.value;
            for (; place != replaced.end() && place->before.start < range.end; ++place) {
                if (start < place->before.start.value)
                    addRange(result, {LineNumber(start + grown), place->after.start});
                if (place->before.end > range.end)
                    break;
                start = std::max(start, place->before.end.value);
                grown = place->after.end.value - place->before.end.value;
            }
            if (start < range.end.value && (place == replaced.end() || place->before.start >= range.end))
                addRange(result, {LineNumber(start + grown), LineNumber(range.end.value + grown)});
        }
        return result;
    };
    changed_ = moved(changed_);
    unread_ = moved(unread_);

    // What was taken for granted below an edit may be wrong; the lines above are as they were.
    if (const auto stale = provisional_.upper_bound(replaced.front().after.start.value); stale != provisional_.end()) {
        const std::size_t growth = replaced.back().after.end.value - replaced.back().before.end.value;
        const LineNumber last(std::max(provisional_.rbegin()->first + growth, replaced.back().after.end.value));
        provisional_.erase(stale, provisional_.end());
        markChanged({replaced.front().after.start, std::min(last + 1, LineNumber(text_.lineCount()))});
    }

    std::vector<LineRange> edited;
    for (const ReplacedLines& place : replaced) {
        // Earlier places are done, so this one's lines are already where they are in the text after the edit.
        const std::size_t first = place.after.start.value;
        if (first >= states_.size())
            break;
        const std::size_t oldLines = place.before.size();
        if (first + oldLines >= states_.size()) {
            states_.truncate(first + 1);
            std::erase_if(unread_, [&](const LineRange& range) { return range.start.value >= first; });
            if (!unread_.empty() && unread_.back().end.value > first)
                unread_.back().end = LineNumber(first);
            break;
        }
        states_.replace(first + 1, oldLines - 1, place.after.size() - 1, states_[first]);
        edited.push_back(place.after);
    }
    markUnread(edited);
}

void Highlighter::markChanged(LineRange lines)
{
    addRange(changed_, lines);
}

void Highlighter::markUnread(LineRange lines)
{
    addRange(unread_, lines);
}

// All at once, since each of them alone would move those behind it.
void Highlighter::markUnread(const std::vector<LineRange>& ascending)
{
    std::deque<LineRange> all;
    auto known = unread_.begin();
    for (const LineRange& lines : ascending) {
        for (; known != unread_.end() && known->start <= lines.start; ++known)
            addRange(all, *known);
        addRange(all, lines);
    }
    for (; known != unread_.end(); ++known)
        addRange(all, *known);
    unread_ = std::move(all);
}

bool Highlighter::isComplete() const
{
    return unread_.empty() && states_.size() >= text_.lineCount();
}

LineNumber Highlighter::known() const
{
    return unread_.empty() ? LineNumber(states_.size()) : unread_.front().start + 1;
}

LineState Highlighter::readLine(LineReader& reader, LineState before, std::vector<Token>& tokens, std::size_t* bytes)
{
    const std::string_view line = reader.next();
    if (bytes != nullptr)
        *bytes = line.size() + 1;
    if (!reader.wasTooLong())
        return tokenizer_.tokenize(line, before, tokens);
    tokens.clear();
    return before;
}

void Highlighter::setState(std::size_t line, LineState state)
{
    if (line < states_.size()) {
        if (states_[line] == state)
            return;
        states_.set(line, state);
        markChanged({LineNumber(line), LineNumber(line + 1)});
        markUnread({LineNumber(line), LineNumber(std::min(line + 1, states_.size() - 1))});
        return;
    }
    states_.append(state);
    if (const auto guess = provisional_.find(line); guess != provisional_.end()) {
        if (guess->second != state)
            markChanged({LineNumber(line), LineNumber(line + 1)});
        provisional_.erase(guess);
    }
}

// Reads the first unread line and those behind it while they change; then on beyond the last known state.
void Highlighter::readOn(std::size_t lines, std::size_t bytes, LineNumber end)
{
    const std::size_t lineCount = text_.lineCount();
    while (lines > 0 && bytes > 0) {
        const bool extending = unread_.empty();
        std::size_t line = extending ? states_.size() - 1 : unread_.front().start.value;
        if (line + 1 >= lineCount || line >= end.value)
            return;
        LineReader reader(text_, LineNumber(line));
        while (lines > 0 && bytes > 0 && line + 1 < lineCount && line < end.value) {
            if (!extending) {
                if (unread_.empty() || unread_.front().start.value != line)
                    break;
                if (++unread_.front().start; unread_.front().empty())
                    unread_.erase(unread_.begin());
            }
            std::size_t read = 0;
            setState(line + 1, readLine(reader, states_[line], scratch_, &read));
            ++line;
            --lines;
            bytes -= std::min(bytes, read);
        }
    }
}

// An edit shortly above: its consequences are seen with it.
void Highlighter::settleNear(LineNumber line)
{
    const LineNumber from = known() - 1;
    if (from < line && line - from <= nearLines)
        readOn(nearLines, nearBytes, line);
}

LineState Highlighter::provisionalState(LineNumber line)
{
    std::size_t start = line.value - std::min(line.value, nearLines);
    LineState state;
    if (start < states_.size()) {
        start = states_.size() - 1;
        state = states_[start];
    }
    if (const auto after = provisional_.upper_bound(line.value); after != provisional_.begin()) {
        const auto nearest = std::prev(after);
        if (nearest->first == line.value)
            return nearest->second;
        if (nearest->first >= start) {
            start = nearest->first;
            state = nearest->second;
        }
    }
    // Long lines: as many of the last ones as fit.
    const Utf8Offset end = text_.lineStart(line);
    if (end - text_.lineStart(LineNumber(start)) > nearBytes) {
        const std::size_t fitting = text_.lineAt(end - nearBytes).value + 1;
        start = std::min(fitting, line.value);
        state = {};
    }
    LineReader reader(text_, LineNumber(start));
    for (; start < line.value; ++start)
        state = readLine(reader, state, scratch_);
    return state;
}

Highlighter::Certainty Highlighter::tokens(LineNumber line, std::vector<Token>& out)
{
    out.clear();
    if (line.value >= text_.lineCount())
        return Certainty::exact;
    settleNear(line);
    if (line.value < states_.size()) {
        LineReader reader(text_, line);
        readLine(reader, states_[line.value], out);
        return line < known() ? Certainty::exact : Certainty::provisional;
    }
    constexpr std::size_t mostRemembered = 4096;
    if (provisional_.size() >= mostRemembered) {  // forget what is farthest away
        const std::size_t middle = provisional_.begin()->first / 2 + provisional_.rbegin()->first / 2;
        provisional_.erase(line.value > middle ? provisional_.begin() : std::prev(provisional_.end()));
    }
    const LineState state = provisionalState(line);
    provisional_[line.value] = state;
    LineReader reader(text_, line);
    const LineState behind = readLine(reader, state, out);
    if (line.value + 1 < text_.lineCount())
        provisional_.emplace(line.value + 1, behind);
    return Certainty::provisional;
}

Highlighter::Work Highlighter::takeWork()
{
    Work work;
    work.more = !isComplete();
    work.changed = std::move(changed_);
    changed_.clear();
    return work;
}

Highlighter::Work Highlighter::work(std::chrono::steady_clock::time_point deadline)
{
    constexpr std::size_t sliceLines = 256;
    constexpr std::size_t sliceBytes = 8'192;
    do {
        readOn(sliceLines, sliceBytes, LineNumber(text_.lineCount()));
    } while (!isComplete() && std::chrono::steady_clock::now() < deadline);
    return takeWork();
}

Highlighter::Work Highlighter::work(std::size_t bytes)
{
    readOn(static_cast<std::size_t>(-1), bytes, LineNumber(text_.lineCount()));
    return takeWork();
}

}  // namespace penmark
