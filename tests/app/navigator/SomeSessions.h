// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/SessionSource.h"
#include "app/navigator/SomeDocuments.h"
#include "app/sessions/SessionActions.h"

#include <QStringList>
#include <utility>

namespace penmark {

/// A library that a test changes as it likes.
class GivenSessions final : public SessionSource {
public:
    explicit GivenSessions(const DocumentHeaders& headers) : headers_(headers) {}

    SessionLibrary given;

    const SessionLibrary& library() const override { return given; }
    QString documentTitle(const Uuid& document) const override
    {
        const DocumentHeader* const found = headers_.find(document);
        return found ? QString::fromStdString(found->title) : QStringLiteral("New Draft");
    }
    QString sessionTitle(const PenmarkSession& session) const override
    {
        return session.name ? QString::fromStdString(*session.name) : QStringLiteral("Unnamed");
    }
    QString sessionSummary(const PenmarkSession& session) const override
    {
        return QStringLiteral("%1 windows").arg(session.windows.size());
    }
    QString windowTitle(const RecoveryWindow& window) const override
    {
        return window.documents.empty() ? QString() : documentTitle(window.documents.front());
    }
    QString workspaceTitle(const PenmarkWorkspace& workspace) const override
    {
        return QString::fromStdString(workspace.name);
    }
    WorkspaceMembershipSummary membership(const PenmarkWorkspace& workspace) const override
    {
        return membershipOf(given, workspace);
    }

private:
    const DocumentHeaders& headers_;
};

/// Writes down what it is asked for, as "open 3, rename 4 Name", by the numbers of what is meant.
class NotedActions final : public SessionActions {
public:
    std::string take() { return std::exchange(asked_, {}); }

    void openSession(Uuid id) override { note("open", {id}); }
    void switchToSession(Uuid id) override { note("switchTo", {id}); }
    void openSessionHere(Uuid id) override { note("openHere", {id}); }
    void closeSession(Uuid id) override { note("close", {id}); }
    void renameSession(Uuid id, const QString& name) override { note("rename", {id}, name); }
    void askForNewSession(QWidget&, std::optional<Uuid> parent) override
    {
        note("askForNew", {parent.value_or(Uuid())});
    }
    void moveSession(Uuid id, std::optional<Uuid> parent) override { note("move", {id, parent.value_or(Uuid())}); }
    void duplicateSession(Uuid id) override { note("duplicate", {id}); }
    void deleteSession(Uuid id, bool discards) override
    {
        note("delete", {id}, discards ? QStringLiteral("and drafts") : QString());
    }
    void moveWindowToSession(Uuid window, Uuid id) override { note("moveWindow", {window, id}); }
    void addDocumentsToSession(const std::vector<Uuid>& documents, Uuid id) override
    {
        std::vector<Uuid> all = documents;
        all.push_back(id);
        note("add", all);
    }
    void showWindow(Uuid window, std::optional<Uuid> document) override
    {
        note("show", {window, document.value_or(Uuid())});
    }
    void createReturnNote(Uuid id) override { note("createNote", {id}); }
    void openReturnNote(Uuid id) override { note("openNote", {id}); }
    void useAsReturnNote(Uuid id, std::optional<Uuid>) override { note("useNote", {id}); }
    void askForNewWorkspace(QWidget&, Uuid id) override { note("askForWorkspace", {id}); }
    void renameWorkspace(Uuid id, const QString& name) override { note("renameWorkspace", {id}, name); }
    void linkWindow(Uuid id, Uuid window) override { note("linkWindow", {id, window}); }
    void linkTab(Uuid id, Uuid window, Uuid document) override { note("linkTab", {id, window, document}); }
    void unlinkWindow(Uuid id, Uuid window) override { note("unlinkWindow", {id, window}); }
    void unlinkTab(Uuid id, Uuid tab) override { note("unlinkTab", {id, tab}); }
    void closeWorkspace(Uuid id) override { note("closeWorkspace", {id}); }
    void reopenWorkspace(Uuid id) override { note("reopenWorkspace", {id}); }
    void removeWorkspace(Uuid id) override { note("removeWorkspace", {id}); }
    void focusWorkspace(Uuid id) override { note("focus", {id}); }
    void showAllOpenWorkspaces() override { note("showAll", {}); }
    void askForProject(QWidget&) override { note("askForProject", {}); }
    void addProject(const std::filesystem::path&) override { note("addProject", {}); }
    void renameProject(Uuid id, const QString& name) override { note("renameProject", {id}, name); }
    void removeProject(Uuid id) override { note("removeProject", {id}); }
    void locateProject(QWidget&, Uuid id) override { note("locate", {id}); }
    void openProjectFiles(const std::vector<std::filesystem::path>& files, bool newWindow) override
    {
        QStringList names;
        for (const std::filesystem::path& file : files)
            names << QString::fromStdString(file.filename().string());
        note(newWindow ? "openFilesNew" : "openFiles", {}, names.join(QLatin1Char(' ')));
    }
    void reopenClosed(Uuid id) override { note("reopen", {id}); }
    void forgetClosed(Uuid id) override { note("forget", {id}); }
    void askToKeepCheckpoint(QWidget&) override { note("keep", {}); }
    void askToKeepVersion(QWidget&, Uuid id) override { note("keepVersion", {id}); }
    void restoreCheckpoint(Uuid id, const std::optional<std::set<Uuid>>&) override { note("restore", {id}); }
    void setPinned(Uuid id, bool) override { note("pin", {id}); }
    void renameCheckpoint(Uuid id, const QString& name) override { note("renameCheckpoint", {id}, name); }
    void deleteCheckpoint(Uuid id) override { note("deleteCheckpoint", {id}); }
    void openDocument(Uuid id, bool) override { note("openDocument", {id}); }
    void restoreRevision(Uuid id, Uuid) override { note("restoreRevision", {id}); }
    void showHistory(Uuid id) override { note("history", {id}); }
    void showOrganiser(OrganiserPage) override { note("organiser", {}); }
    void manageMembers(Uuid id) override { note("members", {id}); }

private:
    void note(const char* what, const std::vector<Uuid>& ids, const QString& text = {})
    {
        asked_ += (asked_.empty() ? "" : ", ") + std::string(what);
        for (const Uuid& id : ids)
            asked_ += id == Uuid() ? " -" : " " + std::to_string(std::stoi(id.text().substr(0, 8), nullptr, 16) - 1);
        if (!text.isEmpty())
            asked_ += " " + text.toStdString();
    }
    std::string asked_;
};

inline RecoveryWindow window(int number, const std::vector<int>& documents)
{
    RecoveryWindow made;
    made.id = numbered(number);
    made.isOpen = true;
    for (const int document : documents) {
        made.documents.push_back(numbered(document));
        made.tabIDs[numbered(document)] = numbered(number * 100 + document);
    }
    return made;
}

inline PenmarkSession session(int number, std::string name, std::vector<RecoveryWindow> windows = {},
                              std::optional<int> parent = {}, bool isOpen = true)
{
    PenmarkSession made;
    made.id = numbered(number);
    made.name = std::move(name);
    made.windows = std::move(windows);
    if (parent)
        made.parentID = numbered(*parent);
    made.isOpen = isOpen;
    return made;
}

/// The rows of a section: "+" for what is collapsed, "-" for what is expanded, a dot for each depth.
inline std::string dumpTree(const NavigatorSection& section)
{
    std::string list;
    for (int number = 0; number < section.rowCount(); ++number) {
        const NavigatorRow row = section.row(number);
        const std::string title = row.title.toStdString();
        list += (list.empty() ? "" : " ") + std::string(static_cast<std::size_t>(row.depth), '.') +
                (!row.isExpandable ? ""
                 : row.isExpanded  ? "-"
                                   : "+") +
                (row.kind == NavigatorRow::Kind::message ? "(" + title + ")" : title) + (row.isQuiet ? "~" : "");
    }
    return list;
}

}  // namespace penmark
