// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchController.h"

namespace penmark {

SearchController::SearchController(TextSearchEnvironment& environment, TextSearchService& service, QObject* parent)
    : QObject(parent), search_(environment, service)
{
    refresh_.setSingleShot(true);
    connect(&refresh_, &QTimer::timeout, this, [this] { search_.refreshIfDue(); });
    search_.setListener(&ear_);
}

bool SearchController::hasCurrentHits() const
{
    return !report().hits.empty() && shown_ == search_.generation() && !search_.stale();
}

void SearchController::Ear::resultsCleared()
{
    emit owner_.resultsCleared();
}

void SearchController::Ear::resultsAdded(std::size_t firstHit, std::size_t firstGroup)
{
    owner_.shown_ = owner_.search_.generation();
    emit owner_.resultsAdded(firstHit, firstGroup);
}

void SearchController::Ear::stateChanged()
{
    emit owner_.stateChanged();
}

void SearchController::Ear::refreshAfter(std::chrono::milliseconds delay)
{
    owner_.refresh_.start(delay);
}

}  // namespace penmark
