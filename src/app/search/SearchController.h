// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchController.h"

#include <QObject>
#include <QTimer>

namespace penmark {

/// A TextSearchController that speaks in signals and has a clock. Main thread.
class SearchController final : public QObject {
    Q_OBJECT

public:
    /// Both outlive the controller.
    SearchController(TextSearchEnvironment& environment, TextSearchService& service, QObject* parent = nullptr);

    TextSearchController& search() { return search_; }
    const TextSearchController& search() const { return search_; }
    const TextSearchReport& report() const { return search_.report(); }
    /// There are hits, and they are those of the rule: neither left over from a run before nor out of date.
    bool hasCurrentHits() const;

signals:
    void resultsCleared();
    /// Hits and groups of the report from these numbers on are new.
    void resultsAdded(std::size_t firstHit, std::size_t firstGroup);
    void stateChanged();

private:
    // Apart from the object, whose signals have the names of what a listener hears.
    class Ear final : public TextSearchController::Listener {
    public:
        explicit Ear(SearchController& owner) : owner_(owner) {}
        void resultsCleared() override;
        void resultsAdded(std::size_t firstHit, std::size_t firstGroup) override;
        void stateChanged() override;
        void refreshAfter(std::chrono::milliseconds delay) override;

    private:
        SearchController& owner_;
    };

    Ear ear_{*this};
    TextSearchController search_;
    QTimer refresh_;
    std::uint64_t shown_ = 0;  // the generation whose hits are in the report
};

}  // namespace penmark
