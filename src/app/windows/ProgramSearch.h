// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/QueryField.h"
#include "app/search/SearchTargets.h"
#include "app/search/SearchWindow.h"
#include "organization/SessionCheckpoint.h"
#include "search/TextSearchController.h"

#include <QObject>
#include <QPointer>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

class DocumentWindow;
class EditorView;
class FolderWatch;
class Program;
class SearchService;

/// Searching in the running program: tells searches what there is, opens their window, and shows what they find. Main
/// thread.
class ProgramSearch final : public QObject, private TextSearchEnvironment, private SearchTargets {
    Q_OBJECT

public:
    explicit ProgramSearch(Program& program);
    ~ProgramSearch() override;

    /// Opens the window or brings it to the front. A query or a scope that is given takes the place of what is there.
    void show(DocumentWindow& from, std::optional<std::string> query = {}, std::optional<TextSearchScope> scope = {});
    /// Shows the hit before or after the one shown last, in the window in front.
    void step(DocumentWindow& from, int steps);
    /// Null while there is none.
    SearchWindow* window() const { return window_; }

private:
    const SessionLibrary& library() const override;
    TextSearchContext context() const override;
    const TextSearchNames& names() const override { return names_; }
    std::vector<TextSearchOverlay> overlays() const override;
    void log(std::string_view line) override;
    void list(TextScopeKind kind, QObject* receiver, Listed listed) override;

    void makeNames();
    void followLibrary();
    void followTexts();
    void readCheckpoints();
    void takeCheckpoints(const std::vector<CheckpointHeader>& headers);
    std::vector<SearchTarget> targets(TextScopeKind kind) const;
    SearchWindow::Look look() const;
    SearchWindow& makeWindow(DocumentWindow& from);
    void stateChanged();
    void showHit(std::size_t hit, bool newWindow);
    void showIn(DocumentWindow& window, const Uuid& document, const TextSearchHit& hit);
    void select(DocumentWindow& window, EditorView& view, const TextSearchHit& hit);
    void leave();

    Program& program_;  // outlives this object
    TextSearchNames names_;
    std::unique_ptr<SearchService> service_;  // made when it is first needed
    SearchHistory history_;
    QPointer<SearchWindow> window_;
    FolderWatch* watch_ = nullptr;
    std::map<Uuid, QString> checkpoints_;  // their names
    bool knowsCheckpoints_ = false;
    bool asksForCheckpoints_ = false;
    std::stop_source placing_;             // of the hit opened last, whose text is looked through
    std::uint64_t watchedGeneration_ = 0;  // of the run whose folders are watched
    std::weak_ptr<const FolderScanner::Listing> watchedListing_;
};

}  // namespace penmark
