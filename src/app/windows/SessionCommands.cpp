// SPDX-License-Identifier: GPL-3.0-or-later
// The commands of sessions, workspaces, projects, checkpoints and history.
#include "app/windows/CommandAdder.h"
#include "app/windows/ProgramSessions.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"

namespace penmark {

namespace {

using Context = CommandContext;
using Page = SessionActions::OrganiserPage;

/// The session of a window; the nil identifier if it has none yet.
Uuid sessionOf(Program& program, const DocumentWindow& window)
{
    const PenmarkSession* const session = program.records().library().sessionOf(window.id());
    return session ? session->id : program.records().library().settings.activeSessionID.value_or(Uuid());
}

const PenmarkSession* sessionIn(Program& program, const Context& context)
{
    return context.window ? program.records().library().sessions.find(sessionOf(program, *context.window)) : nullptr;
}

const PenmarkWorkspace* currentWorkspace(Program& program)
{
    const SessionLibrary& library = program.records().library();
    return library.settings.activeWorkspaceID ? library.workspaces.find(*library.settings.activeWorkspaceID) : nullptr;
}

void addSessions(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Session"));
    ProgramSessions& sessions = program.sessions();
    const auto withSession = [&program](const Context& context) { return sessionIn(program, context) != nullptr; };
    add.window("session.new", Program::tr("New Session…"), "",
               [&sessions](auto& window) { sessions.askForNewSession(window); });
    add.window("session.newEmpty", Program::tr("New Empty Session"), "Ctrl+Shift+Alt+N",
               [&sessions](auto&) { sessions.newEmptySession(); });
    add.window("session.newNested", Program::tr("New Nested Session…"), "",
               [&program, &sessions](auto& window) { sessions.askForNewSession(window, sessionOf(program, window)); })
        .isEnabled = withSession;
    add.window("session.rename", Program::tr("Rename Session…"), "",
               [&program, &sessions](auto& window) { sessions.askToRenameSession(window, sessionOf(program, window)); })
        .isEnabled = withSession;
    add.window("session.saveAsStarter", Program::tr("Save Session as Starter…"), "",
               [&program, &sessions](auto& window) { sessions.askForStarter(window, sessionOf(program, window)); })
        .isEnabled = withSession;
    add.window("session.close", Program::tr("Close Session"), "",
               [&program, &sessions](auto& window) { sessions.closeSession(sessionOf(program, window)); })
        .isEnabled = withSession;
    add.window("session.organiser", Program::tr("Sessions…"), "Ctrl+Shift+E",
               [&sessions](auto&) { sessions.showOrganiser(Page::sessions); });
    add.window("session.calendar", Program::tr("Session Calendar…"), "",
               [&sessions](auto&) { sessions.showOrganiser(Page::calendar); });
    add.window("session.keepCheckpoint", Program::tr("Keep Checkpoint…"), "",
               [&sessions](auto& window) { sessions.askToKeepCheckpoint(window); });
    static const char* const ids[] = {"session.recent.1", "session.recent.2", "session.recent.3",
                                      "session.recent.4", "session.recent.5", "session.recent.6",
                                      "session.recent.7", "session.recent.8", "session.recent.9"};
    static const char* const keys[] = {"Ctrl+Alt+1", "Ctrl+Alt+2", "Ctrl+Alt+3", "Ctrl+Alt+4", "Ctrl+Alt+5",
                                       "Ctrl+Alt+6", "Ctrl+Alt+7", "Ctrl+Alt+8", "Ctrl+Alt+9"};
    for (std::size_t place = 0; place < std::size(ids); ++place) {
        add.window(ids[place], Program::tr("Open Recent Session %1").arg(place + 1), keys[place],
                   [&sessions, place](auto&) { sessions.openRecentSession(place); })
            .isEnabled = [&program, place](const Context& context) {
            return context.window && place < program.records().library().settings.recentSessionIDs.size();
        };
    }
}

void addNotes(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Session"));
    ProgramSessions& sessions = program.sessions();
    const auto hasNote = [&program](bool wanted) {
        return [&program, wanted](const Context& context) {
            const PenmarkSession* const session = sessionIn(program, context);
            return session && session->returnNoteID.has_value() == wanted;
        };
    };
    add.window("session.createNote", Program::tr("Create Return Note"), "",
               [&program, &sessions](auto& window) { sessions.createReturnNote(sessionOf(program, window)); })
        .isEnabled = hasNote(false);
    add.window("session.openNote", Program::tr("Open Return Note"), "Ctrl+Alt+R",
               [&program, &sessions](auto& window) { sessions.openReturnNote(sessionOf(program, window)); })
        .isEnabled = hasNote(true);
    add.document("session.useAsNote", Program::tr("Use as Session Return Note"), "",
                 [&program, &sessions](auto& window) {
                     const Uuid document = frontDocument(window);
                     const Uuid session = sessionOf(program, window);
                     const bool isOne = sessions.sessionOfNote(document) == session;
                     sessions.useAsReturnNote(session, isOne ? std::nullopt : std::optional(document));
                 })
        .isChecked = [&program, &sessions](const Context& context) {
        return hasDocument(context) &&
               sessions.sessionOfNote(frontDocument(*context.window)) == sessionOf(program, *context.window);
    };
}

void addWorkspaces(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Workspace"));
    ProgramSessions& sessions = program.sessions();
    add.window("workspace.new", Program::tr("New Workspace with This Window"), "",
               [&sessions](auto& window) { sessions.askForNewWorkspace(window, window.id()); });
    const auto ofCurrent = [&](const char* id, const QString& name, void (ProgramSessions::*act)(Uuid),
                               std::optional<bool> whenOpen) {
        Command& command = add.window(id, name, "", [&program, &sessions, act](auto&) {
            if (const PenmarkWorkspace* const workspace = currentWorkspace(program))
                (sessions.*act)(Uuid(workspace->id));
        });
        command.isEnabled = [&program, whenOpen](const Context& context) {
            const PenmarkWorkspace* const workspace = currentWorkspace(program);
            return context.window && workspace && (!whenOpen || workspace->isOpen == *whenOpen);
        };
        command.whyDisabled = [&program](const Context&) {
            return currentWorkspace(program) ? QString() : Program::tr("There is no current workspace.");
        };
    };
    ofCurrent("workspace.members", Program::tr("Manage Members"), &ProgramSessions::manageMembers, {});
    ofCurrent("workspace.focus", Program::tr("Focus on Workspace"), &ProgramSessions::focusWorkspace, {});
    add.window("workspace.showAll", Program::tr("Show All Open Workspaces"), "",
               [&sessions](auto&) { sessions.showAllOpenWorkspaces(); })
        .isEnabled = [&program](const Context& context) {
        return context.window && program.records().library().settings.focusedWorkspaceID.has_value();
    };
    ofCurrent("workspace.close", Program::tr("Close Workspace"), &ProgramSessions::closeWorkspace, true);
    ofCurrent("workspace.reopen", Program::tr("Reopen Workspace"), &ProgramSessions::reopenWorkspace, false);
    ofCurrent("workspace.remove", Program::tr("Remove Workspace"), &ProgramSessions::removeWorkspace, {});
    add.window("workspace.organiser", Program::tr("Workspaces…"), "",
               [&sessions](auto&) { sessions.showOrganiser(Page::workspaces); });
}

void addHistory(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("File"));
    ProgramSessions& sessions = program.sessions();
    add.window("file.openProject", Program::tr("Open Project Folder…"), "",
               [&sessions](auto& window) { sessions.askForProject(window); });
    add.document("file.history", Program::tr("Document History…"), "Ctrl+Alt+H",
                 [&sessions](auto& window) { sessions.showHistory(frontDocument(window)); });
    add.document("file.keepVersion", Program::tr("Keep Current Version…"), "",
                 [&sessions](auto& window) { sessions.askToKeepVersion(window, frontDocument(window)); })
        .isEnabled = [](const Context& context) {
        return hasDocument(context) && !context.window->isNothing(frontDocument(*context.window));
    };
}

}  // namespace

void addSessionCommands(CommandRegistry& registry, Program& program)
{
    addSessions(registry, program);
    addNotes(registry, program);
    addWorkspaces(registry, program);
    addHistory(registry, program);
}

}  // namespace penmark
