// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/FoldSet.h"

#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <iterator>

namespace penmark {

namespace {

bool comesBefore(const FoldSet::Fold& a, const FoldSet::Fold& b)
{
    return a.hidden.start != b.hidden.start ? a.hidden.start < b.hidden.start : b.hidden.end < a.hidden.end;
}

// Text inserted at the end of the first line is visible; at the end of the last one it is not.
bool touches(const Replacement& place, const Utf8Range& hidden)
{
    if (place.removed == 0)
        return hidden.start < place.start && place.start <= hidden.end;
    return hidden.start < place.end() && place.start <= hidden.end;
}

}  // namespace

std::optional<FoldSet::Id> FoldSet::fold(const TextSnapshot& text, FoldRegion lines)
{
    lines.last = std::min(lines.last, LineNumber(text.lineCount() - 1));
    if (lines.last <= lines.first)
        return std::nullopt;
    const Fold fold{lastId_ + 1, {text.line(lines.first).end, text.line(lines.last).end}, lines};
    const auto place = std::lower_bound(folds_.begin(), folds_.end(), fold, comesBefore);
    if (place != folds_.end() && place->hidden == fold.hidden)
        return place->id;
    ++lastId_;
    folds_.insert(place, fold);
    rebuildSpans();
    return lastId_;
}

void FoldSet::fold(const TextSnapshot& text, std::span<const FoldRegion> regions)
{
    for (FoldRegion lines : regions) {
        lines.last = std::min(lines.last, LineNumber(text.lineCount() - 1));
        if (lines.first < lines.last)
            folds_.push_back({++lastId_, {text.line(lines.first).end, text.line(lines.last).end}, lines});
    }
    // Of equal ones the first stays, which is the one that was there.
    std::stable_sort(folds_.begin(), folds_.end(), comesBefore);
    const auto same = [](const Fold& a, const Fold& b) { return a.hidden == b.hidden; };
    folds_.erase(std::unique(folds_.begin(), folds_.end(), same), folds_.end());
    rebuildSpans();
}

bool FoldSet::unfold(Id id)
{
    if (std::erase_if(folds_, [&](const Fold& fold) { return fold.id == id; }) == 0)
        return false;
    rebuildSpans();
    return true;
}

void FoldSet::unfoldAll()
{
    folds_.clear();
    spans_.clear();
}

bool FoldSet::reveal(std::span<const Utf8Offset> ascending)
{
    const auto hides = [&](const Fold& fold) {
        const auto inside = std::upper_bound(ascending.begin(), ascending.end(), fold.hidden.start);
        return inside != ascending.end() && *inside <= fold.hidden.end;
    };
    if (std::erase_if(folds_, hides) == 0)
        return false;
    rebuildSpans();
    return true;
}

bool FoldSet::update(const TextEdit& edit, const TextSnapshot& after)
{
    if (folds_.empty() || edit.empty())
        return false;
    const auto places = edit.replacements();
    const auto opened = std::erase_if(folds_, [&](const Fold& fold) {
        // The first place that ends at or behind the fold's start is the first that can touch it.
        auto place = std::lower_bound(places.begin(), places.end(), fold.hidden.start,
                                      [](const Replacement& each, Utf8Offset start) { return each.end() < start; });
        for (; place != places.end() && place->start <= fold.hidden.end; ++place) {
            if (touches(*place, fold.hidden))
                return true;
        }
        return false;
    });
    auto place = places.begin();
    std::size_t grown = 0;  // bytes, modulo 2^64, as are the sums with them
    std::size_t grownLines = 0;
    std::optional<Utf8Offset> counted;  // where the fold began that lines were counted for
    for (Fold& fold : folds_) {
        bool countLines = fold.hidden.start == counted;
        for (; place != places.end() && place->start <= fold.hidden.start; ++place) {
            grown += place->inserted - place->removed;
            countLines = true;
        }
        if (countLines)
            counted = fold.hidden.start;
        fold.hidden = {fold.hidden.start + grown, fold.hidden.end + grown};
        if (countLines) {
            // An LF that ended the first line may have become a CR LF.
            const TextLine first = after.lineContaining(fold.hidden.start);
            fold.hidden.start = first.end;
            grownLines = first.number.value - fold.lines.first.value;
        }
        fold.lines = {fold.lines.first + grownLines, fold.lines.last + grownLines};
    }
    rebuildSpans();
    return opened > 0;
}

void FoldSet::rebuildSpans()
{
    spans_.clear();
    for (const Fold& fold : folds_) {
        if (!spans_.empty() && fold.lines.first <= spans_.back().last)
            spans_.back().last = std::max(spans_.back().last, fold.lines.last);
        else
            spans_.push_back({fold.lines.first, fold.lines.last, 0});
    }
    std::size_t hidden = 0;
    for (Span& span : spans_) {
        hidden += span.last - span.first;
        span.hiddenBehind = hidden;
    }
}

const FoldSet::Span* FoldSet::spanBefore(LineNumber line) const
{
    const auto next = std::lower_bound(spans_.begin(), spans_.end(), line,
                                       [](const Span& span, LineNumber at) { return span.first < at; });
    return next == spans_.begin() ? nullptr : &*std::prev(next);
}

std::optional<FoldSet::Fold> FoldSet::foldAt(LineNumber line) const
{
    const auto found = std::lower_bound(folds_.begin(), folds_.end(), line,
                                        [](const Fold& fold, LineNumber at) { return fold.lines.first < at; });
    if (found == folds_.end() || found->lines.first != line)
        return std::nullopt;
    return *found;
}

bool FoldSet::isHidden(LineNumber line) const
{
    const Span* span = spanBefore(line);
    return span != nullptr && line <= span->last;
}

LineNumber FoldSet::visibleAtOrAfter(LineNumber line) const
{
    const Span* span = spanBefore(line);
    return span != nullptr && line <= span->last ? span->last + 1 : line;
}

LineNumber FoldSet::visibleAtOrBefore(LineNumber line) const
{
    const Span* span = spanBefore(line);
    return span != nullptr && line <= span->last ? span->first : line;
}

std::size_t FoldSet::hiddenBefore(LineNumber line) const
{
    const Span* span = spanBefore(line);
    if (span == nullptr)
        return 0;
    return line > span->last ? span->hiddenBehind : span->hiddenBefore() + (line - span->first) - 1;
}

LineNumber FoldSet::lineAtVisibleIndex(std::size_t index) const
{
    // Spans whose first line has fewer visible lines before it than that lie before the line.
    const auto next = std::lower_bound(spans_.begin(), spans_.end(), index, [](const Span& span, std::size_t at) {
        return span.first.value - span.hiddenBefore() < at;
    });
    return LineNumber(index + (next == spans_.begin() ? 0 : std::prev(next)->hiddenBehind));
}

}  // namespace penmark
