// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchController.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

/// Stands for the program: one open document, and runs that the test answers by hand.
class TextSearchControllerTest : public testing::Test,
                                 protected TextSearchEnvironment,
                                 protected TextSearchService,
                                 protected TextSearchController::Listener {
protected:
    void SetUp() override
    {
        context_.document = Uuid::random();
        controller_->setListener(this);
    }

    const SessionLibrary& library() const override { return library_; }
    TextSearchContext context() const override { return context_; }
    const TextSearchNames& names() const override { return names_; }
    std::vector<TextSearchOverlay> overlays() const override { return {}; }
    void log(std::string_view line) override { log_.emplace_back(line); }
    void start(TextSearchService::Run run) override { runs_.push_back(std::move(run)); }

    void resultsCleared() override { shown_ = 0; }
    void resultsAdded(std::size_t firstHit, std::size_t) override
    {
        EXPECT_EQ(firstHit, shown_);
        shown_ = controller_->report().hits.size();
    }
    void stateChanged() override {}
    void refreshAfter(std::chrono::milliseconds delay) override { delay_ = delay; }

    static TextSearchRule rule(std::string query, TextScopeKind kind = TextScopeKind::allDocuments)
    {
        TextSearchRule rule;
        rule.query = std::move(query);
        rule.scope.kind = kind;
        return rule;
    }

    static TextSearchBatch batch(std::size_t hits)
    {
        TextSearchBatch batch;
        batch.hits.resize(hits);
        if (hits)
            batch.groups.push_back({std::make_shared<const TextSearchSource>(), 0, hits});
        return batch;
    }
    static TextSearchBatch finished(std::size_t hits = 0)
    {
        TextSearchBatch last = batch(hits);
        last.finished = true;
        return last;
    }

    void expectStatus(std::string_view status) const { EXPECT_EQ(controller_->status(), status); }

    SessionLibrary library_;
    TextSearchContext context_;
    TextSearchNames names_;
    std::vector<TextSearchService::Run> runs_;
    std::vector<std::string> log_;
    std::size_t shown_ = 0;
    std::optional<std::chrono::milliseconds> delay_;
    std::unique_ptr<TextSearchController> controller_{new TextSearchController(*this, *this)};  // bases are protected
};

constexpr std::string_view searching = "Searching · results updating";
constexpr std::string_view paused = "Paused while hidden · resumes when shown; Refresh to search now";
constexpr std::string_view stopped = "Stopped · Refresh to search again";
constexpr std::string_view changed = "Results changed · Refresh to update";
constexpr std::string_view limited = "Result limit reached · refine or show more";
constexpr std::string_view complete = "Complete for local content";
constexpr std::string_view incomplete = "Incomplete · see reported problems";
constexpr std::string_view ready = "Ready · Refresh to search";

TEST_F(TextSearchControllerTest, TheFirstConditionThatHoldsGivesTheStatus)
{
    expectStatus(paused);
    controller_->setVisible(true);
    expectStatus(ready);
    EXPECT_TRUE(runs_.empty()) << "there is nothing to search for";

    controller_->setRule(rule("word"));
    expectStatus(searching);
    TextSearchBatch withProblem = finished(1);
    withProblem.problems = 1;
    withProblem.issues.push_back({"Cannot read /x", {}});
    runs_.back().publish(std::move(withProblem));
    expectStatus(incomplete);

    controller_->refresh();
    runs_.back().publish(finished(3));
    expectStatus(complete);

    controller_->refresh();
    TextSearchBatch full = batch(2);
    full.limited = true;
    full.problems = 1;
    runs_.back().publish(std::move(full));
    expectStatus(limited);

    controller_->textChanged(Uuid::random());
    expectStatus(changed);

    controller_->refresh();
    controller_->stop();
    expectStatus(stopped);
    controller_->textChanged(Uuid::random());
    expectStatus(stopped);
}

TEST_F(TextSearchControllerTest, OnlyTheLatestRunIsHeard)
{
    controller_->setVisible(true);
    controller_->setRule(rule("one"));
    controller_->setRule(rule("two"));
    ASSERT_EQ(runs_.size(), 2U);
    EXPECT_TRUE(runs_[0].stop.stop_requested());
    EXPECT_FALSE(runs_[1].stop.stop_requested());
    runs_[1].publish(batch(2));
    runs_[0].publish(finished(5));
    runs_[0].fail("The bundled folder scanner is missing. Reinstall Penmark.");
    EXPECT_EQ(controller_->report().hits.size(), 2U);
    EXPECT_TRUE(controller_->running());
    EXPECT_EQ(controller_->message(), "");

    controller_->stop();
    runs_[1].publish(finished(5));
    EXPECT_EQ(controller_->report().hits.size(), 2U) << "what a stopped run still finds is not shown";

    const auto late = runs_[1].publish;
    controller_.reset();
    late(finished(1));
}

TEST_F(TextSearchControllerTest, ResultsStayUntilThoseOfTheNextRunCome)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    runs_.back().publish(batch(2));
    runs_.back().publish(finished(3));
    EXPECT_EQ(shown_, 5U);
    EXPECT_EQ(controller_->groupOf(1).firstHit, 0U);
    EXPECT_EQ(controller_->groupOf(2).firstHit, 2U);

    controller_->setRule(rule("words"));
    EXPECT_EQ(shown_, 5U);
    runs_.back().publish(batch(0));
    EXPECT_EQ(shown_, 0U);

    runs_.back().publish(finished(1));
    controller_->setRule(rule("other"));
    EXPECT_EQ(shown_, 1U);
    controller_->stop();
    EXPECT_EQ(shown_, 0U) << "they are not those of the run that was stopped";
    expectStatus(stopped);
    controller_->refresh();
    runs_.back().publish(batch(1));
    controller_->stop();
    EXPECT_EQ(shown_, 1U);

    controller_->setRule(rule("words", TextScopeKind::currentFile));
    EXPECT_EQ(shown_, 0U) << "of another target nothing may be shown";
    controller_->setRule(rule("  "));
    EXPECT_EQ(controller_->message(), "Enter text to search for.");
    EXPECT_FALSE(controller_->running());
}

TEST_F(TextSearchControllerTest, HidingEmptiesAndShowingSearchesAgain)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    runs_.back().publish(batch(2));
    controller_->setVisible(false);
    EXPECT_TRUE(runs_.back().stop.stop_requested());
    runs_.back().publish(finished(2));
    expectStatus(paused);
    EXPECT_TRUE(controller_->report().hits.empty());
    EXPECT_FALSE(controller_->report().cancelled || controller_->report().limited || controller_->report().finished);
    EXPECT_EQ(shown_, 0U);

    controller_->textChanged(Uuid::random());
    controller_->refreshIfDue();
    controller_->setRule(rule("other"));
    ASSERT_EQ(runs_.size(), 1U);
    controller_->setVisible(true);
    controller_->setVisible(true);
    ASSERT_EQ(runs_.size(), 2U);
    EXPECT_EQ(runs_[1].request.rule.query, "other");
    controller_->setVisible(false);
    controller_->refresh();
    EXPECT_EQ(runs_.size(), 3U) << "asked for, it searches hidden as well";
    expectStatus(searching);
}

TEST_F(TextSearchControllerTest, FollowsTextsIfThatIsQuick)
{
    const auto searchTaking = [&](std::int64_t milliseconds) {
        controller_->refresh();
        TextSearchBatch last = finished();
        last.elapsedMS = milliseconds;
        runs_.back().publish(std::move(last));
        delay_.reset();
    };
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    searchTaking(5);
    controller_->textChanged(Uuid::random());
    expectStatus(changed);
    ASSERT_TRUE(delay_);
    const auto shortDelay = *delay_;
    const std::size_t before = runs_.size();
    controller_->refreshIfDue();
    EXPECT_EQ(runs_.size(), before + 1);

    controller_->textChanged(Uuid::random());
    expectStatus(searching);
    runs_.back().publish(finished());
    expectStatus(changed);

    searchTaking(800);
    controller_->textChanged(Uuid::random());
    ASSERT_TRUE(delay_);
    EXPECT_GT(*delay_, shortDelay);

    searchTaking(5'000);
    controller_->textChanged(Uuid::random());
    expectStatus(changed);
    EXPECT_FALSE(delay_);
    const std::size_t unasked = runs_.size();
    controller_->refreshIfDue();
    EXPECT_EQ(runs_.size(), unasked);

    controller_->setRule(rule("word", TextScopeKind::currentFile));
    searchTaking(5);
    controller_->textChanged(Uuid::random());
    expectStatus(complete);
    controller_->textChanged(*context_.document);
    expectStatus(changed);
}

TEST_F(TextSearchControllerTest, FollowsTheActiveDocument)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word", TextScopeKind::currentFile));
    runs_.back().publish(finished(1));
    controller_->libraryChanged();
    ASSERT_EQ(runs_.size(), 1U);
    context_.document = Uuid::random();
    controller_->libraryChanged();
    ASSERT_EQ(runs_.size(), 2U);
    EXPECT_EQ(shown_, 0U);
    EXPECT_EQ(controller_->target().id, context_.document);

    context_.document.reset();
    controller_->libraryChanged();
    EXPECT_EQ(runs_.size(), 2U);
    EXPECT_TRUE(runs_.back().stop.stop_requested());
    EXPECT_EQ(controller_->message(), "Activate an editor to choose the current file.");
    expectStatus(ready);
}

// Sessions are written anew whenever somebody turns to another window.
TEST_F(TextSearchControllerTest, AResultOfASessionHoldsUntilItHasOtherDocuments)
{
    PenmarkSession session;
    session.id = Uuid::random();
    RecoveryWindow window;
    window.id = Uuid::random();
    window.documents = {Uuid::random()};
    session.windows = {window};
    library_.sessions.put(session);
    TextSearchRule ofSession = rule("word", TextScopeKind::session);
    ofSession.scope.id = session.id;
    controller_->setVisible(true);
    controller_->setRule(ofSession);
    runs_.back().publish(finished(1));
    session.name = "Garden";
    library_.sessions.put(session);
    controller_->libraryChanged();
    expectStatus(complete);
    EXPECT_EQ(controller_->target().title, "Garden");
    session.windows.front().documents.push_back(Uuid::random());
    library_.sessions.put(session);
    controller_->libraryChanged();
    expectStatus(changed);
}

TEST_F(TextSearchControllerTest, MoreHitsAreAskedForUntilTheRuleChanges)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    EXPECT_EQ(runs_.back().request.limit, TextSearchRequest::baseLimit);
    controller_->showMore();
    controller_->showMore();
    EXPECT_EQ(runs_.back().request.limit, TextSearchRequest::baseLimit + 100'000);
    controller_->setRule(rule("words"));
    EXPECT_EQ(runs_.back().request.limit, TextSearchRequest::baseLimit);
}

TEST_F(TextSearchControllerTest, StepsThroughHitsAndAroundTheirEnds)
{
    EXPECT_FALSE(controller_->step(1));
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    runs_.back().publish(finished(3));
    EXPECT_EQ(controller_->step(1), 0U);
    EXPECT_EQ(controller_->step(-1), 2U);
    EXPECT_EQ(controller_->step(1), 0U);
    controller_->select(std::nullopt);
    EXPECT_EQ(controller_->step(-1), 2U);
    controller_->select(7);
    EXPECT_FALSE(controller_->selected());
}

TEST_F(TextSearchControllerTest, SaysWhatItDoesToWhoLooksForFaults)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    TextSearchBatch last = finished(2);
    last.scanned = 12;
    last.indexedSkips = 3;
    last.elapsedMS = 45;
    runs_.back().publish(std::move(last));
    EXPECT_EQ(controller_->diagnostics(),
              "Penmark search\nView: Unsaved \nGeneration: 1\n12 sources scanned · 3 index exclusions · 45 "
              "ms\nfinished=true cancelled=false limited=false problems=0");
    controller_->refresh();
    controller_->refresh();
    controller_->stop();
    const std::vector<std::string> expected{
        "begin 1 query=word overlays=0", "finish 1 complete=true cancelled=false hits=2 problems=0",
        "begin 2 query=word overlays=0", "cancel generation 2",
        "begin 3 query=word overlays=0", "cancel generation 3: user stopped"};
    EXPECT_EQ(log_, expected);
}

TEST_F(TextSearchControllerTest, ARunThatFailsSaysWhy)
{
    controller_->setVisible(true);
    controller_->setRule(rule("word"));
    runs_.back().publish(batch(1));
    runs_.back().fail("The bundled folder scanner is missing. Reinstall Penmark.");
    EXPECT_EQ(controller_->message(), "The bundled folder scanner is missing. Reinstall Penmark.");
    expectStatus(incomplete);
    controller_->textChanged(Uuid::random());
    expectStatus(changed);
    controller_->refreshIfDue();
    ASSERT_EQ(runs_.size(), 2U);
    runs_.back().publish(finished(1));
    expectStatus(complete);
    TextSearchRule wrong = rule("(");
    wrong.mode = TextMatchMode::regex;
    controller_->setRule(wrong);
    EXPECT_TRUE(controller_->message().starts_with("Invalid ICU regular expression: ")) << controller_->message();
    EXPECT_EQ(runs_.size(), 2U);
}

}  // namespace
}  // namespace penmark
