// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchController.h"

#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "search/FolderWatcher.h"

#include <algorithm>
#include <utility>

namespace penmark {

namespace {

using std::chrono::milliseconds;

// How long texts must rest before results follow them, by how long a run takes. Longer ones are left to the user.
constexpr milliseconds restOfShortRuns(300);
constexpr milliseconds restOfLongRuns(1'000);
constexpr std::int64_t shortRun = 200;
constexpr std::int64_t longRun = 1'000;

constexpr std::string_view word(bool value)
{
    return value ? "true" : "false";
}

/// The documents of a session or workspace, in an order that does not tell where they are shown; of other targets none.
std::vector<Uuid> coveredBy(const ResolvedSearchTarget& target, const SessionLibrary& library)
{
    std::vector<Uuid> documents;
    if (!target.isAvailable || !target.id)
        return documents;
    switch (target.kind) {
    case TextScopeKind::currentSession:
    case TextScopeKind::session:
        documents = documentsOfSession(library, *target.id);
        break;
    case TextScopeKind::currentWorkspace:
    case TextScopeKind::workspace:
        documents = documentsOfWorkspace(library, *target.id);
        break;
    default:
        break;
    }
    std::ranges::sort(documents);
    return documents;
}

}  // namespace

TextSearchController::TextSearchController(TextSearchEnvironment& environment, TextSearchService& service)
    : environment_(environment), service_(service)
{}

TextSearchController::~TextSearchController()
{
    *alive_ = false;
    cancellation_.request_stop();
}

std::string_view TextSearchController::status() const
{
    if (running_)
        return "Searching · results updating";
    if (!visible_)
        return "Paused while hidden · resumes when shown; Refresh to search now";
    if (stoppedByUser_ || report_.cancelled)
        return "Stopped · Refresh to search again";
    if (stale_)
        return "Results changed · Refresh to update";
    return statusOf(report_);
}

std::string TextSearchController::diagnostics() const
{
    return "Penmark search\nView: " + (name_.empty() ? "Unsaved " : name_) +
           "\nGeneration: " + std::to_string(serial_) + "\n" + std::to_string(report_.scanned) + " sources scanned · " +
           std::to_string(report_.indexedSkips) + " index exclusions · " + std::to_string(report_.elapsedMS) +
           " ms\nfinished=" + std::string(word(report_.finished)) +
           " cancelled=" + std::string(word(report_.cancelled)) + " limited=" + std::string(word(report_.limited)) +
           " problems=" + std::to_string(report_.problems);
}

const TextSearchGroup& TextSearchController::groupOf(std::size_t hit) const
{
    const auto behind = std::ranges::upper_bound(report_.groups, hit, {}, &TextSearchGroup::firstHit);
    return *std::prev(behind);
}

void TextSearchController::setRule(TextSearchRule rule, bool now)
{
    const bool isOther = rule != rule_;
    if (isOther) {
        rule_ = std::move(rule);
        limit_ = TextSearchRequest::baseLimit;
    }
    if (now)
        start(true);
    else if (isOther && visible_)
        start(false);
    else if (isOther)
        changed();
}

void TextSearchController::refresh()
{
    start(true);
}

void TextSearchController::start(bool isAsked)
{
    cancel({});
    due_ = false;
    changedMeanwhile_ = false;
    hasFailed_ = false;
    stale_ = false;
    stoppedByUser_ = false;
    message_.clear();
    if (!resolve(isAsked)) {
        clearResults();
        changed();
        return;
    }
    if (!target_.isSameTarget(searchedTarget_))
        clearResults();
    searchedTarget_ = target_;
    ++serial_;
    cancellation_ = {};
    running_ = true;
    awaitsFirst_ = true;

    TextSearchService::Run run;
    run.request.rule = rule_;
    run.request.library = environment_.library();
    run.request.context = environment_.context();
    run.request.overlays = environment_.overlays();
    run.request.limit = limit_;
    run.request.listsAnew = isAsked;
    run.generation = serial_;
    run.stop = cancellation_.get_token();
    const auto guarded = [this, alive = alive_, generation = serial_](auto call) {
        return [this, alive, generation, call](auto&&... arguments) {
            if (*alive && generation == serial_ && running_)
                (this->*call)(std::forward<decltype(arguments)>(arguments)...);
        };
    };
    run.publish = guarded(&TextSearchController::take);
    run.fail = guarded(&TextSearchController::fail);
    environment_.log("begin " + std::to_string(serial_) + " query=" + rule_.query +
                     " overlays=" + std::to_string(run.request.overlays.size()));
    service_.start(std::move(run));
    changed();
}

/// Whether there is something to search for and somewhere to search. `isAsked`: the user wants it now, and is told
/// that there is nothing.
bool TextSearchController::resolve(bool isAsked)
{
    target_ = resolveScope(rule_.scope, environment_.context(), environment_.library(), environment_.names());
    if (!target_.isAvailable) {
        message_ = target_.message;
        return false;
    }
    covered_ = coveredBy(target_, environment_.library());
    if (rule_.query.empty() && !isAsked)
        return false;
    try {
        const TextMatcher matcher(rule_);
        return true;
    } catch (const TextSearchError& error) {
        message_ = error.what();
        return false;
    }
}

void TextSearchController::stop()
{
    due_ = false;
    if (!running_)
        return;
    cancel("user stopped");
    // What is still shown then is of the run before, and mostly of another query.
    if (awaitsFirst_)
        clearResults();
    report_.cancelled = true;
    stoppedByUser_ = true;
    changed();
}

void TextSearchController::cancel(std::string_view reason)
{
    if (!running_)
        return;
    cancellation_.request_stop();
    running_ = false;
    report_.cancelled = true;
    std::string line = "cancel generation " + std::to_string(serial_);
    if (!reason.empty())
        line.append(": ").append(reason);
    environment_.log(line);
}

void TextSearchController::showMore()
{
    limit_ += TextSearchRequest::moreHits;
    start(true);
}

void TextSearchController::select(std::optional<std::size_t> hit)
{
    if (hit && *hit >= report_.hits.size())
        hit.reset();
    if (std::exchange(selected_, hit) != hit)
        changed();
}

std::optional<std::size_t> TextSearchController::step(std::ptrdiff_t steps)
{
    const auto count = static_cast<std::ptrdiff_t>(report_.hits.size());
    if (!count)
        return std::nullopt;
    const std::ptrdiff_t from = selected_ ? static_cast<std::ptrdiff_t>(*selected_) : steps > 0 ? -1 : 0;
    const std::ptrdiff_t to = ((from + steps) % count + count) % count;
    select(static_cast<std::size_t>(to));
    return selected_;
}

void TextSearchController::setVisible(bool visible)
{
    if (std::exchange(visible_, visible) == visible)
        return;
    if (visible_) {
        start(false);
        return;
    }
    cancel({});
    due_ = false;
    stale_ = false;
    report_.cancelled = false;
    message_.clear();
    clearResults();
    changed();
}

void TextSearchController::textChanged(const Uuid& document)
{
    switch (target_.kind) {
    case TextScopeKind::checkpoint:
        return;  // what it keeps never changes
    case TextScopeKind::currentFile:
    case TextScopeKind::file:
        if (target_.id != document)
            return;
        break;
    default:
        break;
    }
    becomeStale();
}

void TextSearchController::libraryChanged()
{
    if (!visible_)
        return;
    ResolvedSearchTarget target =
        resolveScope(rule_.scope, environment_.context(), environment_.library(), environment_.names());
    if (!target.isSameTarget(target_)) {
        start(false);
        return;
    }
    const bool isRenamed = target != target_;
    target_ = std::move(target);
    // Libraries change whenever somebody turns to another window; the results only with the documents.
    std::vector<Uuid> covered = coveredBy(target_, environment_.library());
    if (covered != covered_) {
        covered_ = std::move(covered);
        becomeStale();
    }
    if (isRenamed)
        changed();
}

void TextSearchController::folderChanged()
{
    if (target_.kind == TextScopeKind::project)
        becomeStale();
}

void TextSearchController::folderNotWatched()
{
    if (!message_.empty())
        return;
    message_ = FolderWatcher::unavailable;
    changed();
}

/// The results no longer hold. They are brought up to date by themselves if that is quick.
void TextSearchController::becomeStale()
{
    const bool hasEnded = report_.finished || report_.limited || hasFailed_;
    if (!visible_ || stoppedByUser_ || !target_.isAvailable || (!running_ && !hasEnded))
        return;
    if (running_) {
        changedMeanwhile_ = true;
        return;
    }
    const bool isNew = !std::exchange(stale_, true);
    if (report_.elapsedMS <= longRun) {
        due_ = true;
        if (listener_)
            listener_->refreshAfter(report_.elapsedMS <= shortRun ? restOfShortRuns : restOfLongRuns);
    }
    if (isNew)
        changed();
}

void TextSearchController::refreshIfDue()
{
    if (due_ && visible_ && !running_)
        start(false);
}

void TextSearchController::take(TextSearchBatch&& batch)
{
    if (awaitsFirst_)
        clearResults();
    const std::size_t firstHit = report_.hits.size();
    const std::size_t firstGroup = report_.groups.size();
    append(report_, std::move(batch));
    if (report_.finished || report_.limited || report_.cancelled) {
        running_ = false;
        environment_.log("finish " + std::to_string(serial_) +
                         " complete=" + std::string(word(report_.finished && !report_.limited && !report_.problems)) +
                         " cancelled=" + std::string(word(report_.cancelled)) + " hits=" +
                         std::to_string(report_.hits.size()) + " problems=" + std::to_string(report_.problems));
    }
    if (listener_ && report_.hits.size() > firstHit)
        listener_->resultsAdded(firstHit, firstGroup);
    if (!running_ && std::exchange(changedMeanwhile_, false))
        becomeStale();
    changed();
}

void TextSearchController::fail(const std::string& sentence)
{
    if (awaitsFirst_)
        clearResults();
    running_ = false;
    hasFailed_ = true;
    message_ = sentence;
    report_.issues.push_back({sentence, {}});
    ++report_.problems;
    environment_.log("finish " + std::to_string(serial_) + " complete=false cancelled=false hits=" +
                     std::to_string(report_.hits.size()) + " problems=" + std::to_string(report_.problems));
    if (std::exchange(changedMeanwhile_, false))
        becomeStale();
    changed();
}

void TextSearchController::clearResults()
{
    awaitsFirst_ = false;
    selected_.reset();
    const bool hadAny = !report_.hits.empty();
    report_ = {};
    if (listener_ && hadAny)
        listener_->resultsCleared();
}

void TextSearchController::changed()
{
    if (listener_)
        listener_->stateChanged();
}

}  // namespace penmark
