// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <QObject>
#include <QString>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <vector>

class QWidget;

namespace penmark {

/// What people do with sessions, workspaces, projects, closed items and checkpoints, wherever they ask for it: menus,
/// the library at the left, the organiser. Whoever asks gets no answer: what has changed is seen in SessionRecords,
/// windows come and go by themselves, and a refusal is said in the window in front. Main thread.
class SessionActions : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // ---- sessions ----

    /// Opens its windows, those of nested sessions too, or brings them to the front if they are open.
    virtual void openSession(Uuid session) = 0;
    /// Puts the active session aside first.
    virtual void switchToSession(Uuid session) = 0;
    /// Moves its windows into the active session; the session stays, empty and closed.
    virtual void openSessionHere(Uuid session) = 0;
    virtual void closeSession(Uuid session) = 0;
    virtual void renameSession(Uuid session, const QString& name) = 0;
    /// Asks how it is to start.
    virtual void askForNewSession(QWidget& window, std::optional<Uuid> parent = {}) = 0;
    virtual void moveSession(Uuid session, std::optional<Uuid> parent) = 0;
    virtual void duplicateSession(Uuid session) = 0;
    /// With `discardsDrafts` also discards its drafts that are in no other session.
    virtual void deleteSession(Uuid session, bool discardsDrafts) = 0;
    virtual void moveWindowToSession(Uuid window, Uuid session) = 0;
    /// Shows the documents in a window of this session, which is opened if it is closed.
    virtual void addDocumentsToSession(const std::vector<Uuid>& documents, Uuid session) = 0;
    /// Brings the window to the front, with this document if one is named; its session is opened if it is closed.
    virtual void showWindow(Uuid window, std::optional<Uuid> document = {}) = 0;

    // ---- return notes ----

    virtual void createReturnNote(Uuid session) = 0;
    virtual void openReturnNote(Uuid session) = 0;
    virtual void useAsReturnNote(Uuid session, std::optional<Uuid> document) = 0;

    // ---- workspaces ----

    virtual void askForNewWorkspace(QWidget& window, Uuid documentWindow) = 0;
    virtual void renameWorkspace(Uuid workspace, const QString& name) = 0;
    virtual void linkWindow(Uuid workspace, Uuid window) = 0;
    virtual void linkTab(Uuid workspace, Uuid window, Uuid document) = 0;
    virtual void unlinkWindow(Uuid workspace, Uuid window) = 0;
    /// `tab` is the tab's identity.
    virtual void unlinkTab(Uuid workspace, Uuid tab) = 0;
    virtual void closeWorkspace(Uuid workspace) = 0;
    virtual void reopenWorkspace(Uuid workspace) = 0;
    virtual void removeWorkspace(Uuid workspace) = 0;
    virtual void focusWorkspace(Uuid workspace) = 0;
    virtual void showAllOpenWorkspaces() = 0;

    // ---- projects ----

    /// Asks for a folder and adds it.
    virtual void askForProject(QWidget& window) = 0;
    virtual void addProject(const std::filesystem::path& folder) = 0;
    virtual void renameProject(Uuid project, const QString& name) = 0;
    virtual void removeProject(Uuid project) = 0;
    /// Asks where the folder is now.
    virtual void locateProject(QWidget& window, Uuid project) = 0;
    /// Opens files of a project as bound documents in the window in front.
    virtual void openProjectFiles(const std::vector<std::filesystem::path>& files, bool newWindow) = 0;

    // ---- recently closed ----

    virtual void reopenClosed(Uuid item) = 0;
    virtual void forgetClosed(Uuid item) = 0;

    // ---- checkpoints ----

    /// Asks for the optional name and takes a pinned checkpoint of everything.
    virtual void askToKeepCheckpoint(QWidget& window) = 0;
    /// The same for one document.
    virtual void askToKeepVersion(QWidget& window, Uuid document) = 0;
    /// As copies: everything, or the documents that are named.
    virtual void restoreCheckpoint(Uuid checkpoint, const std::optional<std::set<Uuid>>& only = {}) = 0;
    virtual void setPinned(Uuid checkpoint, bool pinned) = 0;
    virtual void renameCheckpoint(Uuid checkpoint, const QString& name) = 0;
    virtual void deleteCheckpoint(Uuid checkpoint) = 0;

    // ---- documents and windows ----

    virtual void openDocument(Uuid document, bool newWindow = false) = 0;
    /// A revision of a document as a new document of its own, which is opened.
    virtual void restoreRevision(Uuid document, Uuid revision) = 0;
    virtual void showHistory(Uuid document) = 0;
    enum class OrganiserPage { sessions, calendar, workspaces };
    virtual void showOrganiser(OrganiserPage page) = 0;
    /// A workspace's members in the organiser.
    virtual void manageMembers(Uuid workspace) = 0;

signals:
    void said(const QString& sentence);  ///< something that was done, for the status bar of the window that asked
};

}  // namespace penmark
