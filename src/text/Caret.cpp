// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/Caret.h"

#include "text/TextEdit.h"

#include <algorithm>
#include <cassert>
#include <numeric>

namespace penmark {

namespace {

bool meet(const Caret& first, const Caret& second)
{
    return second.start() < first.end() ||
           (second.start() == first.end() && !(first.hasSelection() && second.hasSelection()));
}

// The selection of both, in the direction of the one that stays.
Caret joined(const Caret& stays, const Caret& other)
{
    const Utf8Offset start = std::min(stays.start(), other.start());
    const Utf8Offset end = std::max(stays.end(), other.end());
    const bool forward = stays.hasSelection() || !other.hasSelection() ? stays.isForward() : other.isForward();
    Caret caret = stays;
    caret.anchor = forward ? start : end;
    caret.head = forward ? end : start;
    return caret;
}

}  // namespace

CaretSet::CaretSet(std::vector<Caret> carets, std::size_t main) : carets_(std::move(carets)), main_(main)
{
    assert(main_ < carets_.size());
    normalize();
}

bool CaretSet::hasSelection() const
{
    return std::any_of(carets_.begin(), carets_.end(), [](const Caret& caret) { return caret.hasSelection(); });
}

void CaretSet::add(Caret caret)
{
    carets_.push_back(caret);
    main_ = carets_.size() - 1;
    normalize();
}

void CaretSet::remove(std::size_t index)
{
    if (carets_.size() == 1)
        return;
    carets_.erase(carets_.begin() + static_cast<std::ptrdiff_t>(index));
    if (main_ > index || (main_ == index && main_ > 0))
        --main_;
}

void CaretSet::normalize()
{
    const auto before = [](const Caret& left, const Caret& right) {
        return std::pair(left.start(), left.end()) < std::pair(right.start(), right.end());
    };
    if (!std::is_sorted(carets_.begin(), carets_.end(), before)) {
        std::vector<std::size_t> order(carets_.size());
        std::iota(order.begin(), order.end(), std::size_t(0));
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t left, std::size_t right) { return before(carets_[left], carets_[right]); });
        std::vector<Caret> sorted;
        sorted.reserve(carets_.size());
        for (std::size_t index : order)
            sorted.push_back(carets_[index]);
        main_ = static_cast<std::size_t>(std::find(order.begin(), order.end(), main_) - order.begin());
        carets_ = std::move(sorted);
    }
    std::size_t kept = 0;
    std::size_t main = main_ == 0 ? 0 : carets_.size();
    for (std::size_t index = 1; index < carets_.size(); ++index) {
        if (meet(carets_[kept], carets_[index])) {
            carets_[kept] =
                index == main_ ? joined(carets_[index], carets_[kept]) : joined(carets_[kept], carets_[index]);
        } else {
            carets_[++kept] = carets_[index];
        }
        if (index == main_)
            main = kept;
    }
    carets_.resize(kept + 1);
    main_ = main;
}

CaretSet CaretSet::mapped(const TextEdit& edit, bool pushed) const
{
    if (edit.empty())
        return *this;
    std::vector<Utf8Offset> starts;
    std::vector<Utf8Offset> ends;
    std::vector<Utf8Offset> bare;
    for (const Caret& caret : carets_) {
        if (caret.hasSelection()) {
            starts.push_back(caret.start());
            ends.push_back(caret.end());
        } else {
            bare.push_back(caret.head);
        }
    }
    edit.map(starts, Stickiness::after);
    edit.map(ends, Stickiness::before);
    edit.map(bare, pushed ? Stickiness::after : Stickiness::before);
    std::vector<Caret> carets = carets_;
    std::size_t selection = 0;
    std::size_t single = 0;
    for (Caret& caret : carets) {
        caret.goal.reset();
        if (!caret.hasSelection()) {
            caret.anchor = caret.head = bare[single++];
            continue;
        }
        const Utf8Offset start = starts[selection];
        const Utf8Offset end = std::max(start, ends[selection++]);
        const bool forward = caret.isForward();
        caret.anchor = forward ? start : end;
        caret.head = forward ? end : start;
    }
    return {std::move(carets), main_};
}

}  // namespace penmark
