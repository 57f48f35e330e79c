// SPDX-License-Identifier: GPL-3.0-or-later
// The way of DocumentFind from one match to the next.
#include "app/editor/EditorView.h"
#include "app/find/DocumentFind.h"

#include <algorithm>
#include <utility>

namespace penmark {

std::size_t DocumentFind::firstAtOrBehind(const std::vector<Utf8Range>& matches, Utf8Offset place)
{
    const auto found = std::partition_point(matches.begin(), matches.end(),
                                            [&](const Utf8Range& match) { return match.start < place; });
    return static_cast<std::size_t>(found - matches.begin());
}

bool DocumentFind::isKnownAround(Utf8Offset place) const
{
    return place >= part_.start && (part_.isLast || place <= part_.matches.back().start);
}

std::optional<std::size_t> DocumentFind::currentIndex() const
{
    if (!view_)
        return std::nullopt;
    const Utf8Range selected = view_->editor().carets().main().range();
    const std::size_t index = firstAtOrBehind(part_.matches, selected.start);
    if (index == part_.matches.size() || part_.matches[index] != selected)
        return std::nullopt;
    return index;
}

DocumentFind::Count DocumentFind::count() const
{
    Count count;
    if (const std::optional<std::size_t> index = currentIndex())
        count.current = part_.first + *index + 1;
    count.total = part_.first + part_.matches.size();
    count.more = !part_.isLast || (!part_.problem.empty() && count.total > 0);
    return count;
}

bool DocumentFind::standsOnMatch() const
{
    return (isFresh() && currentIndex()) || (wentTo_ && view_ && view_->editor().carets().main().range() == *wentTo_);
}

void DocumentFind::setOrigin()
{
    keepOrigin();
    noteSelection();
}

void DocumentFind::keepOrigin()
{
    if (!view_)
        return;
    origin_ = view_->editor().carets();
    notePlace();
}

void DocumentFind::goToFirst(TextSearchRule rule)
{
    if (!view_)
        return;
    if (!origin_)
        keepOrigin();
    notePlace();
    wantsFirst_ = true;
    setRule(std::move(rule));
    if (rule_.query.empty() || isFresh()) {
        wantsFirst_ = false;
        selectFirst();
    } else if (!running_) {
        searchNear();
    }
}

void DocumentFind::selectFirst()
{
    if (!view_ || !origin_)
        return;
    if (part_.matches.empty() || rule_.query.empty()) {
        placeCarets(*origin_);
        return;
    }
    const std::size_t index = firstAtOrBehind(part_.matches, origin_->main().start());
    if (index < part_.matches.size())
        select(index);
    else if (part_.first == 0)
        select(0);
    else
        search(std::size_t(0));
}

void DocumentFind::select(std::size_t index)
{
    const Utf8Range match = part_.matches[index];
    placeCarets(CaretSet(Caret(match.start, match.end)));
    wentTo_ = match;
}

void DocumentFind::selectNumber(std::size_t number)
{
    const std::size_t end = part_.first + part_.matches.size();
    if (number >= part_.first && number < end)
        select(number - part_.first);
    else if (number == lastMatch)
        select(part_.matches.size() - 1);
    else
        goToStart();  // the part before was the last, and full
    keepOrigin();
}

void DocumentFind::goToStart()
{
    sayWrapped(1);
    if (part_.first == 0)
        select(0);
    else
        search(std::size_t(0));
}

void DocumentFind::step(int direction)
{
    if (!view_ || rule_.query.empty())
        return;
    notePlace();
    steps_ += direction;
    if (running_)
        return;
    if (isFresh())
        takeSteps();
    else
        searchNear();
}

void DocumentFind::takeSteps()
{
    while (steps_ != 0 && !running_) {
        const int direction = steps_ > 0 ? 1 : -1;
        steps_ -= direction;
        takeStep(direction);
    }
}

void DocumentFind::takeStep(int direction)
{
    const std::vector<Utf8Range>& matches = part_.matches;
    if (matches.empty()) {
        steps_ = 0;
        sayNothing();
        return;
    }
    const std::optional<std::size_t> here = currentIndex();
    if (!here && !isKnownAround(view_->editor().carets().main().start())) {
        steps_ += direction;
        searchNear();
        return;
    }
    if (!here)
        view_->editor().rememberPlace();
    const std::size_t near = here ? *here : firstAtOrBehind(matches, view_->editor().carets().main().start());
    if (direction > 0) {
        const std::size_t index = here ? near + 1 : near;
        if (index < matches.size())
            select(index);
        else if (!part_.isLast)
            search(part_.first + matches.size());
        else
            goToStart();
    } else {
        if (near > 0)
            select(near - 1);
        else if (part_.first > 0)
            search(part_.first - 1);
        else if (sayWrapped(direction); part_.isLast)
            select(matches.size() - 1);
        else
            search(lastMatch);
    }
    keepOrigin();
}

void DocumentFind::sayWrapped(int direction)
{
    emit message(direction > 0 ? tr("Search wrapped to the start") : tr("Search wrapped to the end"));
}

void DocumentFind::sayNothing()
{
    emit message(problem().empty() ? tr("No results") : QString::fromStdString(problem()));
}

}  // namespace penmark
