// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/SessionRecords.h"
#include "app/history/HistoryWindow.h"
#include "app/sessions/SessionActions.h"

#include <QPointer>
#include <map>
#include <string>

namespace penmark {

class DocumentWindow;
class Program;
class SessionsWindow;
struct CheckpointRestored;
struct RestoreChoice;
struct SessionStart;
struct SessionStarter;
struct StarterWindow;

/// What the running program does with sessions and all that belongs to them. Main thread.
class ProgramSessions final : public SessionActions {
    Q_OBJECT

public:
    explicit ProgramSessions(Program& program);
    ~ProgramSessions() override;

    void openSession(Uuid session) override;
    void switchToSession(Uuid session) override;
    void openSessionHere(Uuid session) override;
    void closeSession(Uuid session) override;
    void renameSession(Uuid session, const QString& name) override;
    void askForNewSession(QWidget& window, std::optional<Uuid> parent = {}) override;
    /// Makes a session, as NewSessionDialog was answered.
    void start(const SessionStart& start);
    void askToRenameSession(QWidget& window, Uuid session);
    /// "Save Session as Starter…".
    void askForStarter(QWidget& window, Uuid session);
    void keepStarter(const SessionStarter& starter);
    /// Empty, at the top, at once.
    void newEmptySession();
    void moveSession(Uuid session, std::optional<Uuid> parent) override;
    void duplicateSession(Uuid session) override;
    void deleteSession(Uuid session, bool discardsDrafts) override;
    void moveWindowToSession(Uuid window, Uuid session) override;
    void addDocumentsToSession(const std::vector<Uuid>& documents, Uuid session) override;
    void showWindow(Uuid window, std::optional<Uuid> document = {}) override;
    /// The session used so many steps ago; 0 is the latest.
    void openRecentSession(std::size_t place);

    void createReturnNote(Uuid session) override;
    void openReturnNote(Uuid session) override;
    void useAsReturnNote(Uuid session, std::optional<Uuid> document) override;
    /// The session whose return note the document is; absent if it is none.
    std::optional<Uuid> sessionOfNote(Uuid document) const;

    void askForNewWorkspace(QWidget& window, Uuid documentWindow) override;
    void renameWorkspace(Uuid workspace, const QString& name) override;
    void linkWindow(Uuid workspace, Uuid window) override;
    void linkTab(Uuid workspace, Uuid window, Uuid document) override;
    void unlinkWindow(Uuid workspace, Uuid window) override;
    void unlinkTab(Uuid workspace, Uuid tab) override;
    void closeWorkspace(Uuid workspace) override;
    void reopenWorkspace(Uuid workspace) override;
    void removeWorkspace(Uuid workspace) override;
    void focusWorkspace(Uuid workspace) override;
    void showAllOpenWorkspaces() override;

    void askForProject(QWidget& window) override;
    void addProject(const std::filesystem::path& folder) override;
    void renameProject(Uuid project, const QString& name) override;
    void removeProject(Uuid project) override;
    void locateProject(QWidget& window, Uuid project) override;
    void openProjectFiles(const std::vector<std::filesystem::path>& files, bool newWindow) override;

    void reopenClosed(Uuid item) override;
    void forgetClosed(Uuid item) override;

    void askToKeepCheckpoint(QWidget& window) override;
    void askToKeepVersion(QWidget& window, Uuid document) override;
    void restoreCheckpoint(Uuid checkpoint, const std::optional<std::set<Uuid>>& only = {}) override;
    void setPinned(Uuid checkpoint, bool pinned) override;
    void renameCheckpoint(Uuid checkpoint, const QString& name) override;
    void deleteCheckpoint(Uuid checkpoint) override;
    /// Stores everything, then takes a pinned checkpoint of it, or of one document.
    void keepCheckpoint(const QString& name, std::optional<Uuid> document = {});

    void openDocument(Uuid document, bool newWindow = false) override;
    void restoreRevision(Uuid document, Uuid revision) override;
    void showHistory(Uuid document) override;
    /// A place in the text of the version is selected there.
    void showVersion(Uuid document, Uuid revision, std::optional<Utf8Range> place = {});
    void showOrganiser(OrganiserPage page) override;
    void manageMembers(Uuid workspace) override;

private:
    SessionRecords& records();
    const SessionLibrary& library() { return records().library(); }
    DocumentWindow& front();
    QString title(Uuid session);
    void say(const QString& sentence);
    void failed(const RecoveryError& error);
    bool change(const SessionRecords::Operation& operation);
    /// Puts the windows of the session, and those nested in it, before others.
    void raise(Uuid session);
    bool showsWindow(Uuid session);
    void addStarterWindows(Uuid session, const SessionStarter& starter);
    DocumentWindow& addEmptyWindow(Uuid session, const StarterWindow& layout);
    std::vector<SessionStarter> starters();
    void addWindow(Uuid session, const std::vector<Uuid>& documents);
    void offerNote(Uuid session);
    void offerNext(Uuid session);
    void appendToNote(Uuid session, const QString& line);
    Uuid makeNote(Uuid session);
    HistoryWindow::Look historyLook() const;
    void changeCheckpoint(std::function<void(RecoveryStore& store)> change, std::function<void()> done = {});
    void restore(Uuid checkpoint, const RestoreChoice& choice);
    void takeRestored(const CheckpointRestored& restored);

    Program& program_;  // outlives this object
    QPointer<SessionsWindow> organiser_;
    std::map<Uuid, QPointer<HistoryWindow>> histories_;
};

}  // namespace penmark
