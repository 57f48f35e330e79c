// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionActions.h"

#include <string>

namespace penmark {

/// Writes down what a history asks for and does none of it.
class RecordedActions final : public SessionActions {
public:
    std::string asked;  ///< such as "restore" and what it is about, each in a line

    void openSession(Uuid) override {}
    void switchToSession(Uuid) override {}
    void openSessionHere(Uuid) override {}
    void closeSession(Uuid) override {}
    void renameSession(Uuid, const QString&) override {}
    void askForNewSession(QWidget&, std::optional<Uuid>) override {}
    void moveSession(Uuid, std::optional<Uuid>) override {}
    void duplicateSession(Uuid) override {}
    void deleteSession(Uuid, bool) override {}
    void moveWindowToSession(Uuid, Uuid) override {}
    void addDocumentsToSession(const std::vector<Uuid>&, Uuid) override {}
    void showWindow(Uuid, std::optional<Uuid>) override {}
    void createReturnNote(Uuid) override {}
    void openReturnNote(Uuid) override {}
    void useAsReturnNote(Uuid, std::optional<Uuid>) override {}
    void askForNewWorkspace(QWidget&, Uuid) override {}
    void renameWorkspace(Uuid, const QString&) override {}
    void linkWindow(Uuid, Uuid) override {}
    void linkTab(Uuid, Uuid, Uuid) override {}
    void unlinkWindow(Uuid, Uuid) override {}
    void unlinkTab(Uuid, Uuid) override {}
    void closeWorkspace(Uuid) override {}
    void reopenWorkspace(Uuid) override {}
    void removeWorkspace(Uuid) override {}
    void focusWorkspace(Uuid) override {}
    void showAllOpenWorkspaces() override {}
    void askForProject(QWidget&) override {}
    void addProject(const std::filesystem::path&) override {}
    void renameProject(Uuid, const QString&) override {}
    void removeProject(Uuid) override {}
    void locateProject(QWidget&, Uuid) override {}
    void openProjectFiles(const std::vector<std::filesystem::path>&, bool) override {}
    void reopenClosed(Uuid) override {}
    void forgetClosed(Uuid) override {}
    void askToKeepCheckpoint(QWidget&) override {}
    void askToKeepVersion(QWidget&, Uuid document) override { note("keep", document); }
    void restoreCheckpoint(Uuid, const std::optional<std::set<Uuid>>&) override {}
    void setPinned(Uuid checkpoint, bool pinned) override { note(pinned ? "pin" : "unpin", checkpoint); }
    void renameCheckpoint(Uuid checkpoint, const QString& name) override
    {
        note("rename to " + name.toStdString(), checkpoint);
    }
    void deleteCheckpoint(Uuid checkpoint) override { note("remove", checkpoint); }
    void openDocument(Uuid, bool) override {}
    void restoreRevision(Uuid, Uuid revision) override { note("restore", revision); }
    void showHistory(Uuid) override {}
    void showOrganiser(OrganiserPage) override {}
    void manageMembers(Uuid) override {}

private:
    void note(const std::string& what, const Uuid& about) { asked += what + " " + about.text() + "\n"; }
};

}  // namespace penmark
