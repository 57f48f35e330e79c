// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchEngine.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// Where the controller learns how things are when it starts a run.
class TextSearchEnvironment {
public:
    virtual ~TextSearchEnvironment() = default;
    virtual const SessionLibrary& library() const = 0;
    virtual TextSearchContext context() const = 0;
    virtual const TextSearchNames& names() const = 0;
    /// The texts of open documents that the library or their files do not hold yet.
    virtual std::vector<TextSearchOverlay> overlays() const = 0;
    /// A line for whoever looks for a fault.
    virtual void log(std::string_view line) = 0;
};

/// Carries runs out, away from the controller's thread.
class TextSearchService {
public:
    struct Run {
        TextSearchRequest request;
        std::uint64_t generation = 0;
        std::stop_token stop;
        /// Both are to be called on the controller's thread, also when the controller is gone.
        std::function<void(TextSearchBatch&& batch)> publish;
        std::function<void(const std::string& sentence)> fail;  ///< there is no result
    };

    virtual ~TextSearchService() = default;
    virtual void start(Run run) = 0;
};

/// What one search window knows: the rule, the results of the run that is current, and whether they still hold. Decides
/// when a run is started, stopped and dropped; has no clock and no widgets. One thread.
class TextSearchController {
public:
    /// Hears what has changed.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void resultsCleared() = 0;
        /// Hits and groups from these numbers on are new.
        virtual void resultsAdded(std::size_t firstHit, std::size_t firstGroup) = 0;
        /// Anything else of the published state, the status line among it.
        virtual void stateChanged() = 0;
        /// refreshIfDue() is to be called after this time; a later call counts instead of an earlier one.
        virtual void refreshAfter(std::chrono::milliseconds delay) = 0;
    };

    /// Both outlive the controller.
    TextSearchController(TextSearchEnvironment& environment, TextSearchService& service);
    /// Stops the run.
    ~TextSearchController();
    TextSearchController(const TextSearchController&) = delete;
    TextSearchController& operator=(const TextSearchController&) = delete;

    void setListener(Listener* listener) { listener_ = listener; }

    // ---- published state ----

    const TextSearchRule& rule() const { return rule_; }
    const TextSearchReport& report() const { return report_; }
    bool running() const { return running_; }
    bool stale() const { return stale_; }
    bool visible() const { return visible_; }
    bool stoppedByUser() const { return stoppedByUser_; }
    /// The hit that is chosen.
    std::optional<std::size_t> selected() const { return selected_; }
    /// Of a saved search; empty for one that is not.
    const std::string& name() const { return name_; }
    /// What keeps the rule from being searched; empty if nothing does.
    const std::string& message() const { return message_; }
    std::size_t limit() const { return limit_; }
    const ResolvedSearchTarget& target() const { return target_; }
    std::uint64_t generation() const { return serial_; }

    std::string_view status() const;
    std::string diagnostics() const;
    /// The group that a hit belongs to.
    const TextSearchGroup& groupOf(std::size_t hit) const;

    // ---- what the user does ----

    /// A new query, target or option: a run follows at once if the window is seen, or `now` in any case.
    void setRule(TextSearchRule rule, bool now = false);
    /// Starts a run of the rule as it is.
    void refresh();
    void stop();
    /// Searches again with room for more hits.
    void showMore();
    void select(std::optional<std::size_t> hit);
    /// The hit before or after the chosen one; wraps around. Absent without hits.
    std::optional<std::size_t> step(std::ptrdiff_t steps);
    void setVisible(bool visible);

    // ---- what happens elsewhere ----

    /// The text of a document, stored or open, is another.
    void textChanged(const Uuid& document);
    /// Documents, sessions, workspaces or projects are others, or the user has turned to another.
    void libraryChanged();
    /// Files below the folder of the target.
    void folderChanged();
    /// Nobody will tell of such changes, or not of all.
    void folderNotWatched();
    /// The time given by refreshAfter has passed.
    void refreshIfDue();

private:
    void start(bool isAsked);
    bool resolve(bool isAsked);
    void cancel(std::string_view reason);
    void take(TextSearchBatch&& batch);
    void fail(const std::string& sentence);
    void becomeStale();
    void clearResults();
    void changed();

    TextSearchEnvironment& environment_;
    TextSearchService& service_;
    Listener* listener_ = nullptr;
    TextSearchRule rule_;
    TextSearchReport report_;
    ResolvedSearchTarget target_;
    ResolvedSearchTarget searchedTarget_;  // that the results belong to
    std::vector<Uuid> covered_;            // documents of a session or workspace that is the target
    bool running_ = false;
    bool stale_ = false;
    bool visible_ = false;
    bool stoppedByUser_ = false;
    bool due_ = false;               // a refresh waits for its time
    bool awaitsFirst_ = false;       // the results of the run before are shown until the first of this one come
    bool changedMeanwhile_ = false;  // while a run goes on
    bool hasFailed_ = false;         // the last run came to no end of its own
    std::optional<std::size_t> selected_;
    std::string name_;
    std::string message_;
    std::size_t limit_ = TextSearchRequest::baseLimit;
    std::uint64_t serial_ = 0;
    std::stop_source cancellation_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace penmark
