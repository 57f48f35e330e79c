// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchController.h"

#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <functional>
#include <stop_token>
#include <string>
#include <thread>

namespace penmark {

/// Carries the runs of all search windows out, on threads of its own and with one engine, and keeps filters of what was
/// searched while nobody searches. Main thread.
class SearchService final : public QObject, public TextSearchService {
    Q_OBJECT

public:
    /// The library outlives the service.
    SearchService(RecoveryStore& store, TextSearchEngine::Configuration configuration);
    /// Stops everything, and waits for that.
    ~SearchService() override;

    void start(Run run) override;
    void folderChanged(const std::string& folder) { engine_.folderChanged(folder); }
    TextSearchEngine& engine() { return engine_; }

private:
    void carryOut(Run run);
    void ended();
    void recordFilters();
    void recorded();

    TextSearchEngine engine_;
    std::stop_source ending_;
    QThreadPool pool_;
    int runs_ = 0;  // going on
    QTimer idle_;
    bool isRecording_ = false;
    std::jthread recorder_;
};

}  // namespace penmark
