// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionStarter.h"

#include <QWidget>

class QTabWidget;

namespace penmark {

class DocumentPreviews;
class DocumentRegistry;
class LibraryQueue;
class OrganiserPage;
class SessionRecords;
class SessionsPage;
class WorkspacesPage;

/// The organiser: sessions, the calendar of visits and checkpoints, workspaces. One window of the program, kept hidden
/// once it is closed, so that it comes back as it was left; each page is made when it is first turned to. Main thread.
class SessionsWindow final : public QWidget {
    Q_OBJECT

public:
    /// All outlive the window.
    SessionsWindow(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                   LibraryQueue& library);
    ~SessionsWindow() override;

    /// Shows the window, in front, with this page.
    void showPage(SessionActions::OrganiserPage page);
    /// The same with the members of a workspace.
    void showWorkspace(const Uuid& workspace);
    /// Which names "Save Session as Starter…" warns of.
    void setStarters(const std::vector<SessionStarter>& starters) { starters_ = starters; }

signals:
    /// A text of a checkpoint beside the document as it is now.
    void compareRequested(const Uuid& document, const Uuid& revision);
    void searchRequested(const Uuid& checkpoint);
    /// One to be kept in place of any of the same name.
    void starterMade(const SessionStarter& starter);

private:
    void keyPressEvent(QKeyEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    OrganiserPage* ensurePage(int index);
    OrganiserPage* createPage(int index);
    void turnTo(int index);
    void saveAsStarter(const Uuid& session);

    SessionRecords& records_;
    SessionActions& actions_;
    DocumentRegistry& documents_;
    DocumentPreviews* previews_;
    QTabWidget* tabs_;
    SessionsPage* sessions_ = nullptr;
    WorkspacesPage* workspaces_ = nullptr;
    std::vector<OrganiserPage*> pages_;  // null until they are shown
    std::vector<SessionStarter> starters_;
};

}  // namespace penmark
