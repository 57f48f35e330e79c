// SPDX-License-Identifier: GPL-3.0-or-later
// How new sessions begin.
#include "app/sessions/NewSessionDialog.h"
#include "app/sessions/SessionStarter.h"
#include "app/sessions/StarterDialog.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "organization/CheckpointRestore.h"
#include "organization/Projects.h"
#include "organization/Sessions.h"

#include <set>

namespace penmark {

std::vector<SessionStarter> ProgramSessions::starters()
{
    std::vector<SessionStarter> all;
    for (const RawJson& json : program_.settings().settings().sessionStarters) {
        try {
            all.push_back(decodeRecord<SessionStarter>(json.text));
        } catch (const RecordError&) {
            // Somebody has edited the file; what cannot be read is not offered and stays there.
        }
    }
    return all;
}

void ProgramSessions::askForNewSession(QWidget& window, std::optional<Uuid> parent)
{
    records().collectNow();
    auto* const dialog = new NewSessionDialog(&window, records(), program_.documents(), records().queue(), starters());
    dialog->setParentSession(parent);
    connect(dialog, &NewSessionDialog::chosen, this, &ProgramSessions::start);
    dialog->open();
}

void ProgramSessions::askForStarter(QWidget& window, Uuid session)
{
    std::set<std::string> taken;
    for (const SessionStarter& starter : starters())
        taken.insert(starter.name);
    records().collectNow();
    auto* const dialog = new StarterDialog(&window, records(), program_.documents(), session, taken);
    connect(dialog, &StarterDialog::made, this, &ProgramSessions::keepStarter);
    dialog->open();
}

void ProgramSessions::keepStarter(const SessionStarter& starter)
{
    program_.settings().change([&](Settings& settings) {
        std::erase_if(settings.sessionStarters, [&](const RawJson& json) {
            try {
                return decodeRecord<SessionStarter>(json.text).name == starter.name;
            } catch (const RecordError&) {
                return false;
            }
        });
        settings.sessionStarters.push_back({encodeRecord(starter)});
    });
    say(tr("New Session… offers “%1” from now on.").arg(QString::fromStdString(starter.name)));
}

DocumentWindow& ProgramSessions::addEmptyWindow(Uuid session, const StarterWindow& layout)
{
    RecoveryWindow record;
    record.id = Uuid::random();
    record.sessionID = session;
    record.placement = layout.placement;
    record.presentation = layout.presentation;
    return program_.makeWindow(&record);
}

void ProgramSessions::addStarterWindows(Uuid session, const SessionStarter& starter)
{
    std::vector<StarterWindow> windows = starter.windows;
    if (windows.empty())
        windows.emplace_back();
    for (const StarterWindow& layout : windows) {
        DocumentWindow& window = addEmptyWindow(session, layout);
        for (const StarterDraft& draft : layout.drafts) {
            const EditorLanguage language =
                languageNamed(draft.languageName.value_or(std::string())).value_or(EditorLanguage::plainText);
            RecoveryBuffer& buffer = program_.documents().createDraft(language, TextSnapshot(draft.text.value_or("")));
            if (draft.title)
                program_.documents().rename(buffer.id(), *draft.title);
            window.showDocument(buffer.id(), true);
        }
        if (window.tabs().empty())
            window.newDraft();
        records().put(window.record());
        window.activateWindow();
    }
}

void ProgramSessions::start(const SessionStart& start)
{
    using Kind = SessionStart::Kind;
    if (start.kind == Kind::checkpoint && start.checkpoint) {
        restore(*start.checkpoint, {{}, EnclosingSession{start.name, start.parent}});
        return;
    }
    SessionStarter starter;
    if (start.kind == Kind::starter && start.starter) {
        starter = *start.starter;
    } else if (start.kind == Kind::layoutOf && start.session) {
        records().collectNow();
        if (const PenmarkSession* const layout = library().sessions.find(*start.session))
            starter = starterOf(library(), *layout, {});
    } else if (start.kind == Kind::writing) {
        starter.windows.emplace_back().drafts.emplace_back().languageName = name(EditorLanguage::markdown);
    } else if (start.kind == Kind::projectFolder || start.kind == Kind::logReview) {
        starter.projects.push_back(start.folder.native());
    }
    Uuid session;
    std::vector<Uuid> projects;
    const bool done = change([&](SessionLibrary& changed) {
        session = createSession(changed, start.name, start.parent, records().now());
        for (const std::string& folder : starter.projects) {
            projects.push_back(penmark::addProject(changed, folder));
            attachProject(changed, session, projects.back());
        }
        changed.settings.focusedWorkspaceID.reset();
    });
    if (!done)
        return;
    addStarterWindows(session, starter);
    if (!projects.empty())
        front().showProject(projects.front());
    records().touch();
}

}  // namespace penmark
