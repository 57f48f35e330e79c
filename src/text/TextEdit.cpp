// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextEdit.h"

#include <algorithm>
#include <cassert>
#include <tuple>
#include <utility>

namespace penmark {

namespace {

Utf8Offset shifted(Utf8Offset offset, std::ptrdiff_t by)
{
    return Utf8Offset(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(offset.value) + by));
}

/// Two edits, one after the other, as one. Walks the text between them, in which the first one's insertions and what
/// it kept stand in turn, and writes down what the second keeps and removes of either.
class Composition {
public:
    Composition(const TextEdit& first, const TextEdit& second) : first_(first), second_(second) { enterGap(); }

    TextEdit compose()
    {
        Utf8Offset between;  // in the text between the edits
        Utf8Offset secondInserted;
        for (const Replacement& replacement : second_.replacements()) {
            pass(replacement.start - between, true);
            pass(replacement.removed, false);
            insert(second_.inserted(), secondInserted, replacement.inserted);
            secondInserted += replacement.inserted;
            between = replacement.end();
        }
        while (index_ < first_.replacements().size()) {
            pass(gap_, true);
            enterInsertion();
            if (insertion_)
                pass(insertion_, true);
            else
                leaveIfDone();
        }
        flush();
        return {std::move(replacements_), std::move(inserted_).build()};
    }

private:
    // Goes over that many bytes of the text between the edits.
    void pass(std::size_t bytes, bool keep)
    {
        while (bytes) {
            const bool behindFirst = index_ == first_.replacements().size();
            if (gap_ || behindFirst) {
                const std::size_t take = behindFirst ? bytes : std::min(bytes, gap_);
                gap_ -= behindFirst ? 0 : take;
                bytes -= take;
                if (keep)
                    this->keep(take);
                else
                    remove(take);
                continue;
            }
            enterInsertion();
            const std::size_t take = std::min(bytes, insertion_);
            if (keep)
                insert(first_.inserted(), firstInserted_, take);
            firstInserted_ += take;
            insertion_ -= take;
            bytes -= take;
            leaveIfDone();
        }
    }

    void enterGap()
    {
        const auto all = first_.replacements();
        gap_ = index_ == all.size() ? 0 : all[index_].start - (index_ ? all[index_ - 1].end() : Utf8Offset(0));
        entered_ = false;
        insertion_ = index_ == all.size() ? 0 : all[index_].inserted;
    }
    void enterInsertion()
    {
        if (!std::exchange(entered_, true))
            remove(first_.replacements()[index_].removed);
    }
    void leaveIfDone()
    {
        if (insertion_)
            return;
        ++index_;
        enterGap();
    }

    void keep(std::size_t bytes)
    {
        flush();
        at_ += bytes;
        pending_.start = at_;
    }
    void remove(std::size_t bytes)
    {
        pending_.removed += bytes;
        at_ += bytes;
    }
    void insert(const TextSnapshot& from, Utf8Offset start, std::size_t bytes)
    {
        pending_.inserted += bytes;
        inserted_.append(from, {start, start + bytes});
    }
    void flush()
    {
        if (pending_.removed || pending_.inserted)
            replacements_.push_back(pending_);
        pending_ = {at_, 0, 0};
    }

    const TextEdit& first_;
    const TextEdit& second_;
    std::size_t index_ = 0;      // of the first edit's replacement that is ahead or inside
    std::size_t gap_ = 0;        // bytes kept by the first edit until then
    bool entered_ = false;       // its removal is written down
    std::size_t insertion_ = 0;  // bytes left of its new text
    Utf8Offset firstInserted_;
    Utf8Offset at_;  // in the text before both
    Replacement pending_;
    std::vector<Replacement> replacements_;
    TextBuilder inserted_;
};

}  // namespace

TextEdit::TextEdit(Utf8Range range, std::string_view with)
    : TextEdit(range.empty() && with.empty() ? std::vector<Replacement>()
                                             : std::vector<Replacement>{{range.start, range.size(), with.size()}},
               TextSnapshot(with))
{}

TextEdit::TextEdit(std::vector<Replacement> replacements, TextSnapshot inserted)
    : replacements_(std::move(replacements)), inserted_(std::move(inserted))
{
    shifts_.reserve(replacements_.size());
    std::ptrdiff_t shift = 0;
    for (const Replacement& replacement : replacements_) {
        assert(&replacement == &replacements_.front() || (&replacement)[-1].end() <= replacement.start);
        shift += static_cast<std::ptrdiff_t>(replacement.inserted) - static_cast<std::ptrdiff_t>(replacement.removed);
        shifts_.push_back(shift);
    }
}

std::size_t TextEdit::removedBytes() const
{
    return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(inserted_.end().value) - growth());
}

std::ptrdiff_t TextEdit::growth() const
{
    return shiftBefore(shifts_.size());
}

Utf8Range TextEdit::spanBefore() const
{
    return empty() ? Utf8Range() : Utf8Range{replacements_.front().start, replacements_.back().end()};
}

Utf8Range TextEdit::spanAfter() const
{
    return empty() ? Utf8Range()
                   : Utf8Range{replacements_.front().start, shifted(replacements_.back().end(), growth())};
}

bool TextEdit::touches(Utf8Range range) const
{
    const auto found = std::partition_point(replacements_.begin(), replacements_.end(),
                                            [&](const Replacement& each) { return each.end() < range.start; });
    return found != replacements_.end() && found->start <= range.end;
}

TextEdit TextEdit::inverse(const TextSnapshot& before) const
{
    std::vector<Replacement> places;
    places.reserve(replacements_.size());
    TextBuilder removed;
    constexpr std::size_t shortBytes = 512;
    Utf8Offset pieceStart;
    std::string_view piece;
    for (std::size_t index = 0; index < replacements_.size(); ++index) {
        const Replacement& replacement = replacements_[index];
        places.push_back({shifted(replacement.start, shiftBefore(index)), replacement.inserted, replacement.removed});
        if (replacement.removed == 0)
            continue;
        if (replacement.start < pieceStart || replacement.start >= pieceStart + piece.size())
            std::tie(pieceStart, piece) = before.pieceAt(replacement.start);
        // Many short ones stand in one piece, and are copied in any case.
        const std::size_t from = replacement.start - pieceStart;
        if (replacement.removed <= shortBytes && from + replacement.removed <= piece.size())
            removed.append(piece.substr(from, replacement.removed));
        else
            removed.append(before, {replacement.start, replacement.end()});
    }
    return {std::move(places), std::move(removed).build()};
}

TextEdit TextEdit::then(const TextEdit& next) const
{
    if (empty())
        return next;
    if (next.empty())
        return *this;
    return Composition(*this, next).compose();
}

// The index is that of the first replacement that ends at or behind the position, if there is one.
Utf8Offset TextEdit::mapNear(Utf8Offset position, std::size_t index, Stickiness stickiness) const
{
    // Of an insertion and a removal that adjoin, the later one decides as long as it begins here.
    while (stickiness == Stickiness::after && index + 1 < replacements_.size() &&
           replacements_[index].end() == position && replacements_[index + 1].start == position)
        ++index;
    if (index == replacements_.size() || position < replacements_[index].start)
        return shifted(position, shiftBefore(index));
    const Replacement& replacement = replacements_[index];
    const Utf8Offset start = shifted(replacement.start, shiftBefore(index));
    const bool atStart = replacement.removed && position == replacement.start;
    const bool atEnd = replacement.removed && position == replacement.end();
    const bool toEnd = atEnd || (!atStart && stickiness == Stickiness::after);
    return toEnd ? start + replacement.inserted : start;
}

Utf8Offset TextEdit::map(Utf8Offset position, Stickiness stickiness) const
{
    const auto found = std::partition_point(replacements_.begin(), replacements_.end(),
                                            [&](const Replacement& each) { return each.end() < position; });
    return mapNear(position, static_cast<std::size_t>(found - replacements_.begin()), stickiness);
}

void TextEdit::map(std::span<Utf8Offset> ascending, Stickiness stickiness) const
{
    std::size_t index = 0;
    for (Utf8Offset& position : ascending) {
        while (index < replacements_.size() && replacements_[index].end() < position)
            ++index;
        position = mapNear(position, index, stickiness);
    }
}

void mapRanges(std::vector<Utf8Range>& ranges, const TextEdit& edit)
{
    if (ranges.empty() || edit.empty())
        return;
    const Utf8Range span = edit.spanBefore();
    const std::size_t shift = edit.spanAfter().size() - span.size();  // modulo 2^64
    const auto first = std::partition_point(ranges.begin(), ranges.end(),
                                            [&](const Utf8Range& each) { return each.end < span.start; });
    auto range = first;
    for (; range != ranges.end() && range->start <= span.end; ++range) {
        range->start = edit.map(range->start, Stickiness::after);
        range->end = std::max(range->start, edit.map(range->end, Stickiness::before));
    }
    for (auto behind = range; shift != 0 && behind != ranges.end(); ++behind) {
        behind->start += shift;
        behind->end += shift;
    }
    ranges.erase(std::remove_if(first, range, [](const Utf8Range& each) { return each.empty(); }), range);
}

void TextEditBuilder::replace(Utf8Range range, std::string_view with)
{
    assert(range.start <= range.end);
    if (range.empty() && with.empty())
        return;
    inserted_ += with;
    if (!replacements_.empty() && replacements_.back().end() >= range.start) {
        assert(replacements_.back().end() == range.start);
        replacements_.back().removed += range.size();
        replacements_.back().inserted += with.size();
        return;
    }
    replacements_.push_back({range.start, range.size(), with.size()});
}

TextEdit TextEditBuilder::build() &&
{
    return {std::move(replacements_), TextSnapshot(std::move(inserted_))};
}

}  // namespace penmark
