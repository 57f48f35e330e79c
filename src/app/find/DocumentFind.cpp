// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/find/DocumentFind.h"

#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"

#include <algorithm>
#include <utility>

namespace penmark {

namespace {

constexpr std::chrono::milliseconds shortestRest{100};

}  // namespace

DocumentFind::DocumentFind(QObject* parent, std::size_t matchesAtOnce) : QObject(parent), partSize_(matchesAtOnce)
{
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &DocumentFind::searchNear);
}

DocumentFind::~DocumentFind()
{
    searchStop_.request_stop();
    replaceStop_.request_stop();
    if (document_)
        document_->buffer().removeObserver(*this);
}

void DocumentFind::setView(EditorView* view)
{
    if (view == view_)
        return;
    if (view_) {
        disconnect(view_, nullptr, this, nullptr);
        view_->setSearchedRange({});
        dropWishes();
        origin_.reset();
        view_->setFindMarks({});
    }
    view_ = view;
    EditorDocument* const document = view ? &view->document() : nullptr;
    const bool isOther = document != document_;
    if (isOther) {
        stop();
        within_.reset();
        forgetMatches();
        if (document_)
            document_->buffer().removeObserver(*this);
        document_ = document;
        if (document_)
            document_->buffer().addObserver(*this);
    }
    noteSelection();
    if (view_) {
        notePlace();
        view_->setSearchedRange(within_);
        connect(view_, &EditorView::caretsChanged, this, &DocumentFind::caretsMoved);
        if (isOther && follows_)
            searchNear();
        else
            showMarks();
    }
    emit changed();
}

EditorView* DocumentFind::view() const
{
    return view_;
}

void DocumentFind::setRule(TextSearchRule rule)
{
    if (rule == rule_)
        return;
    cancelReplacing();
    cancelSearch();
    steps_ = 0;
    rule_ = std::move(rule);
    wentTo_.reset();
    freshFor_.reset();
    // Marks of another query stay a moment longer, or they would flicker with each letter.
    if (!follows_ || rule_.query.empty())
        forgetMatches();
    if (follows_)
        searchNear();
    emit changed();
}

void DocumentFind::setFollows(bool follows)
{
    if (std::exchange(follows_, follows) == follows)
        return;
    if (!follows) {
        stop();
        if (view_)
            view_->setFindMarks({});
    } else if (isFresh()) {
        showMarks();
    } else {
        searchNear();
    }
    emit changed();
}

void DocumentFind::setInSelection(bool inSelection)
{
    if (inSelection == within_.has_value())
        return;
    if (!view_) {
        emit changed();  // whoever asked shows that it is so
        return;
    }
    if (inSelection && !selected_) {
        emit message(tr("Select the text to search in first."));
        emit changed();
        return;
    }
    cancelReplacing();
    dropWishes();
    cancelSearch();
    freshFor_.reset();
    within_ = inSelection ? selected_ : std::nullopt;
    view_->setSearchedRange(within_);
    if (inSelection) {
        origin_ = CaretSet(Caret(within_->start, within_->end));
        notePlace();
        wantsFirst_ = !rule_.query.empty();
    }
    if (follows_ || wantsFirst_)
        searchNear();
    emit changed();
}

void DocumentFind::stop()
{
    cancelReplacing();
    cancelSearch();
    steps_ = 0;
    wantsFirst_ = false;
}

// What has been asked for and not been done. Replacing all concerns no place.
void DocumentFind::dropWishes()
{
    if (wanted_)
        cancelSearch();  // its answer is another part
    steps_ = 0;
    wantsFirst_ = false;
    waitingReplaces_ = 0;
    if (replacing_ && !replacesAll_)
        cancelReplacing();
}

void DocumentFind::notePlace()
{
    askedAt_ = view_->editor().carets().main().range();
}

void DocumentFind::noteSelection()
{
    selected_.reset();
    wentTo_.reset();
    if (view_ && view_->editor().carets().main().hasSelection())
        selected_ = view_->editor().carets().main().range();
}

void DocumentFind::caretsMoved()
{
    // The view may tell later of carets that were there when something was asked for.
    if (!isActing_ && view_->editor().carets().main().range() != askedAt_) {
        dropWishes();
        origin_.reset();
        notePlace();
        noteSelection();
    }
    emit changed();
}

void DocumentFind::placeCarets(const CaretSet& carets)
{
    isActing_ = true;
    view_->setCarets(carets);
    isActing_ = false;
    notePlace();
}

void DocumentFind::perform(const EditResult& result)
{
    isActing_ = true;
    view_->perform(result);
    isActing_ = false;
    notePlace();
}

void DocumentFind::textChanged(const TextChange& change)
{
    freshFor_.reset();
    // A match that moves along with the text is still what was gone to, and not what somebody selects.
    if (wentTo_ && askedAt_ == *wentTo_ && change.cause != TextChange::Cause::load)
        askedAt_ = {change.edit.map(askedAt_.start, Stickiness::after),
                    change.edit.map(askedAt_.end, Stickiness::before)};
    wentTo_.reset();
    if (!isActing_)
        dropWishes();
    const bool isWaitedFor = running_ && (wantsFirst_ || wanted_ || steps_ != 0 || waitingReplaces_ != 0);
    cancelSearch();
    if (change.cause == TextChange::Cause::load) {
        if (within_)
            cancelReplacing();  // it would go on in all of the other text
        origin_.reset();
        selected_.reset();
        within_.reset();
        part_ = {};
    } else {
        for (std::optional<Utf8Range>* const range : {&selected_, &within_}) {
            if (*range)
                *range = {change.edit.map((*range)->start, Stickiness::before),
                          change.edit.map((*range)->end, Stickiness::after)};
        }
        if (origin_)
            origin_ = origin_->mapped(change.edit);
        mapRanges(part_.matches, change.edit);
    }
    if (!follows_)
        part_ = {};
    if (follows_ || isWaitedFor)
        timer_.start(isWaitedFor ? std::chrono::milliseconds(0) : std::max(shortestRest, 4 * lastDuration_));
    emit changed();
}

bool DocumentFind::isFresh() const
{
    return document_ && freshFor_ == generation();
}

std::uint64_t DocumentFind::generation() const
{
    return document_->buffer().generation();
}

void DocumentFind::cancelSearch()
{
    timer_.stop();
    searchStop_.request_stop();
    ++searchSerial_;
    running_ = false;
    wanted_.reset();
}

void DocumentFind::searchNear()
{
    if (!view_)
        return;
    const CaretSet& carets = wantsFirst_ && origin_ ? *origin_ : view_->editor().carets();
    search(carets.main().start());
}

void DocumentFind::search(FindTarget target)
{
    cancelSearch();
    if (!document_ || rule_.query.empty())
        return;
    if (const auto* const number = std::get_if<std::size_t>(&target))
        wanted_ = *number;
    running_ = true;
    searchStop_ = {};
    using Steady = std::chrono::steady_clock;
    struct Answer {
        FindPart part;
        std::chrono::milliseconds duration{};
    };
    inPool(
        this,
        [text = document_->text(), query = FindQuery{rule_, within_}, target, size = partSize_,
         stop = searchStop_.get_token()] {
            const Steady::time_point started = Steady::now();
            Answer answer;
            answer.part = findPart(text, query, target, size, stop);
            answer.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Steady::now() - started);
            return answer;
        },
        [this, serial = searchSerial_](Answer answer) {
            if (serial != searchSerial_)
                return;
            lastDuration_ = answer.duration;
            take(std::move(answer.part));
        });
    emit changed();
}

void DocumentFind::take(FindPart part)
{
    running_ = false;
    part_ = std::move(part);
    freshFor_ = generation();
    showMarks();
    const std::optional<std::size_t> wanted = std::exchange(wanted_, {});
    if (!view_)
        return;
    if (wanted && !part_.matches.empty())
        selectNumber(*wanted);
    if (std::exchange(wantsFirst_, false))
        selectFirst();
    takeSteps();
    emit changed();
    goOnReplacing();
}

void DocumentFind::showMarks()
{
    if (view_ && follows_)
        view_->setFindMarks(part_.matches);
}

void DocumentFind::forgetMatches()
{
    part_ = {};
    freshFor_.reset();
    if (view_ && follows_)
        view_->setFindMarks({});
}

}  // namespace penmark
