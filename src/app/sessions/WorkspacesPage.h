// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/OrganiserPage.h"
#include "app/sessions/WorkspaceModels.h"

class QMenu;

namespace penmark {

class EntryList;
class SessionActions;

/// All workspaces with their members, and what is done with them. Main thread.
class WorkspacesPage final : public OrganiserPage {
    Q_OBJECT

public:
    /// All outlive the page.
    WorkspacesPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents);
    ~WorkspacesPage() override;

    void takeFocus() override;
    /// Selects it, now or once it is there.
    void showWorkspace(const Uuid& workspace);

private:
    void refresh() override;
    QWidget* createLeft();
    QWidget* createRight();
    const PenmarkWorkspace* current() const;
    void showCurrent();
    void showButtons();
    void fillWindows(QMenu& menu);
    void fillTabs(QMenu& menu);
    /// Of open sessions, with tabs.
    std::vector<const RecoveryWindow*> openWindows() const;
    std::optional<Uuid> frontWindow() const;
    void unlink();
    void rename();
    void askToRemove();

    SessionRecords& records_;
    SessionActions& actions_;
    DocumentRegistry& documents_;
    WorkspaceListModel model_;
    WorkspaceMembersModel membersModel_;
    EntryList* list_;
    EntryList* members_;
    QLabel* empty_;
    QLabel* title_;
    QLabel* note_;
    QPushButton* make_ = nullptr;
    QPushButton* linkWindow_ = nullptr;
    QPushButton* linkTab_ = nullptr;
    QPushButton* unlink_ = nullptr;
    QPushButton* focus_ = nullptr;
    QPushButton* close_ = nullptr;
    QPushButton* rename_ = nullptr;
    QPushButton* remove_ = nullptr;
    std::optional<Uuid> wanted_;
    bool refreshing_ = false;
};

}  // namespace penmark
