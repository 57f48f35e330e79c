// SPDX-License-Identifier: GPL-3.0-or-later
// Workspaces, projects, and what was closed.
#include "app/editor/Strings.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/SessionTitles.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "organization/ClosedItems.h"
#include "organization/Projects.h"
#include "organization/SessionError.h"
#include "organization/Sessions.h"
#include "organization/WindowTabs.h"
#include "organization/Workspaces.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <chrono>

namespace penmark {

using namespace std::chrono_literals;

namespace {

constexpr auto stripShown = 15s;

}  // namespace

// ---- workspaces ----

void ProgramSessions::askForNewWorkspace(QWidget& window, Uuid documentWindow)
{
    NamePrompt::ask(&window, tr("New Workspace with This Window"), tr("Name, if you want one"), tr("Workspace name"),
                    QString(), tr("Create"), [this, documentWindow](const QString& name) {
                        if (change([&](SessionLibrary& changed) {
                                createWorkspace(changed, documentWindow, name.trimmed().toStdString());
                            }))
                            say(tr("The workspace links this window. Drag others onto it in the library."));
                    });
}

void ProgramSessions::renameWorkspace(Uuid workspace, const QString& name)
{
    change(
        [&](SessionLibrary& changed) { penmark::renameWorkspace(changed, workspace, name.trimmed().toStdString()); });
}

void ProgramSessions::linkWindow(Uuid workspace, Uuid window)
{
    change([&](SessionLibrary& changed) { penmark::linkWindow(changed, workspace, window); });
}

void ProgramSessions::linkTab(Uuid workspace, Uuid window, Uuid document)
{
    change([&](SessionLibrary& changed) {
        const RecoveryWindow* const record = changed.findWindow(window);
        const auto tab = record ? record->tabIDs.find(document) : decltype(record->tabIDs.find(document))();
        if (!record || tab == record->tabIDs.end())
            throw SessionError(SessionError::Case::windowGone);
        penmark::linkTab(changed, workspace, Uuid(tab->second));
    });
}

void ProgramSessions::unlinkWindow(Uuid workspace, Uuid window)
{
    change([&](SessionLibrary& changed) { penmark::unlinkWindow(changed, workspace, window); });
}

void ProgramSessions::unlinkTab(Uuid workspace, Uuid tab)
{
    change([&](SessionLibrary& changed) { penmark::unlinkTab(changed, workspace, tab); });
}

void ProgramSessions::closeWorkspace(Uuid workspace)
{
    const PenmarkWorkspace* const found = library().workspaces.find(workspace);
    const QString name = found ? workspaceTitle(program_.documents(), library(), *found) : QString();
    if (change([&](SessionLibrary& changed) { penmark::closeWorkspace(changed, workspace); }))
        front().showBar(tr("The workspace “%1” was put aside.").arg(name), DocumentMessage::Weight::note,
                        {{tr("Reopen"), [this, workspace] { reopenWorkspace(workspace); }}}, {stripShown});
}

void ProgramSessions::reopenWorkspace(Uuid workspace)
{
    if (change([&](SessionLibrary& changed) { penmark::reopenWorkspace(changed, workspace); }))
        program_.restoreAllLeftOut();
}

void ProgramSessions::removeWorkspace(Uuid workspace)
{
    if (change([&](SessionLibrary& changed) { penmark::removeWorkspace(changed, workspace); }))
        say(tr("The workspace was removed. Its windows and tabs stay where they are."));
}

void ProgramSessions::focusWorkspace(Uuid workspace)
{
    if (!change([&](SessionLibrary& changed) { penmark::focusWorkspace(changed, workspace); }))
        return;
    program_.restoreAllLeftOut();
    program_.bringToFront(front());
    if (library().settings.focusedWorkspaceID) {
        say(tr("Other Penmark windows are hidden. Workspace membership is unchanged."));
    }
}

void ProgramSessions::showAllOpenWorkspaces()
{
    change([](SessionLibrary& changed) { endFocus(changed); });
}

// ---- projects ----

void ProgramSessions::askForProject(QWidget& window)
{
    Program::FileQuestion question;
    question.caption = tr("Open Project Folder");
    question.proposal = QDir::homePath();
    question.forFolder = true;
    question.chosen = [this](const QStringList& paths) {
        if (!paths.isEmpty())
            addProject(QFile::encodeName(paths.first()).toStdString());
    };
    program_.askForFiles(window, question);
}

void ProgramSessions::addProject(const std::filesystem::path& folder)
{
    Uuid project;
    const bool done = change([&](SessionLibrary& changed) {
        project = penmark::addProject(changed, folder.native());
        attachProject(changed, requireActiveSession(changed, records().now()), project);
    });
    if (done)
        front().showProject(project);
}

void ProgramSessions::renameProject(Uuid project, const QString& name)
{
    change([&](SessionLibrary& changed) { penmark::renameProject(changed, project, name.trimmed().toStdString()); });
}

void ProgramSessions::removeProject(Uuid project)
{
    if (change([&](SessionLibrary& changed) { penmark::removeProject(changed, project); }))
        say(tr("The project was removed from the library. Its folder and files stay as they are."));
}

void ProgramSessions::locateProject(QWidget& window, Uuid project)
{
    Program::FileQuestion question;
    question.caption = tr("Locate Folder");
    const PenmarkProject* const found = library().projects.find(project);
    question.proposal = found ? toQString(found->path) : QDir::homePath();
    question.forFolder = true;
    question.chosen = [this, project](const QStringList& paths) {
        if (!paths.isEmpty())
            change([&](SessionLibrary& changed) {
                penmark::locateProject(changed, project, QFile::encodeName(paths.first()).toStdString());
            });
    };
    program_.askForFiles(window, question);
}

void ProgramSessions::openProjectFiles(const std::vector<std::filesystem::path>& files, bool newWindow)
{
    std::vector<OpenRequest> requests;
    for (const std::filesystem::path& file : files)
        requests.push_back({file});
    program_.open(requests, newWindow ? program_.newWindowBeside(front()) : front());
}

// ---- recently closed ----

void ProgramSessions::reopenClosed(Uuid item)
{
    Reopened reopened;
    const bool done = change([&](SessionLibrary& changed) {
        // What was discarded meanwhile does not come back with the rest.
        keepClosedTabs(changed, item, [this](const Uuid& document) { return program_.isThere(document); });
        reopened = penmark::reopenClosed(changed, item, records().now());
        if (!changed.sessions.find(reopened.session)->isOpen)
            reopenSession(changed, reopened.session);
    });
    if (!done)
        return;
    showWindow(reopened.window, reopened.document);
    if (reopened.isOtherSession)
        say(tr("The original session is gone: this one has it now."));
}

void ProgramSessions::forgetClosed(Uuid item)
{
    change([&](SessionLibrary& changed) { penmark::forgetClosed(changed, item); });
}

}  // namespace penmark
