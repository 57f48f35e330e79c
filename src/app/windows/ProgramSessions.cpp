// SPDX-License-Identifier: GPL-3.0-or-later
// Sessions and their return notes.
#include "app/windows/ProgramSessions.h"

#include "app/editor/Strings.h"
#include "app/navigator/PreviewSource.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/ReturnNoteText.h"
#include "app/sessions/SessionStarter.h"
#include "app/sessions/SessionTitles.h"
#include "app/sessions/SessionsWindow.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSearch.h"
#include "organization/SessionError.h"
#include "organization/Sessions.h"

#include <QTimer>
#include <algorithm>
#include <chrono>

namespace penmark {

using namespace std::chrono_literals;

namespace {

constexpr auto stripShown = 15s;
constexpr qsizetype noteShown = 120;  // UTF-16 units

}  // namespace

ProgramSessions::ProgramSessions(Program& program) : program_(program)
{
    connect(this, &SessionActions::said, this, &ProgramSessions::say);
}

ProgramSessions::~ProgramSessions()
{
    delete organiser_;
    for (const auto& [document, window] : histories_)
        delete window;
}

SessionRecords& ProgramSessions::records()
{
    return program_.records();
}

DocumentWindow& ProgramSessions::front()
{
    return program_.frontWindow();
}

QString ProgramSessions::title(Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    return found ? sessionTitle(program_.documents(), *found) : QString();
}

void ProgramSessions::say(const QString& sentence)
{
    if (!program_.windows().empty())
        front().showMessage(sentence);
}

void ProgramSessions::failed(const RecoveryError& error)
{
    if (!program_.windows().empty())
        front().showBar(QString::fromUtf8(error.what()), DocumentMessage::Weight::failure, {});
}

bool ProgramSessions::change(const SessionRecords::Operation& operation)
{
    return records().change(operation);
}

// ---- sessions ----

void ProgramSessions::raise(Uuid session)
{
    const std::vector<Uuid> all = sessionAndNested(library(), session);
    DocumentWindow* last = nullptr;
    const std::vector<DocumentWindow*> windows = program_.windows();  // the one used last first
    for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
        const PenmarkSession* const owner = library().sessionOf((*window)->id());
        if (!owner || std::find(all.begin(), all.end(), owner->id) == all.end())
            continue;
        (*window)->raise();
        if (!last || owner->id == session)
            last = *window;
    }
    if (last)
        program_.bringToFront(*last);
}

bool ProgramSessions::showsWindow(Uuid session)
{
    const std::vector<Uuid> all = sessionAndNested(library(), session);
    const std::vector<DocumentWindow*> windows = program_.windows();
    return std::any_of(windows.begin(), windows.end(), [&](const DocumentWindow* window) {
        const PenmarkSession* const owner = library().sessionOf(window->id());
        return owner && std::find(all.begin(), all.end(), owner->id) != all.end();
    });
}

void ProgramSessions::openSession(Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    const bool wasOpen = found && found->isOpen;
    for (const Uuid& id : sessionAndNested(library(), session)) {
        std::vector<Uuid> windows;
        for (const RecoveryWindow& window : library().sessions.find(id)->windows)
            windows.push_back(window.id);
        program_.restoreLeftOut(windows);
    }
    const bool done = change([&](SessionLibrary& changed) {
        if (wasOpen)
            useSession(changed, session);
        else
            reopenSession(changed, session);
        // A workspace in focus would hide what was just asked for.
        changed.settings.focusedWorkspaceID.reset();
    });
    if (!done)
        return;
    if (program_.isEnding())  // the windows come at the next start
        return;
    if (wasOpen && !showsWindow(session))  // what a workspace has put aside, if anything
        change([&](SessionLibrary& changed) { reopenSession(changed, session); });
    if (!showsWindow(session))
        addWindow(session, {});
    raise(session);
    if (!wasOpen)
        offerNote(session);
}

void ProgramSessions::switchToSession(Uuid session)
{
    const auto active = library().settings.activeSessionID;
    // A session that encloses the other one, or is enclosed by it, cannot give way to it.
    const auto encloses = [&](const Uuid& outer, const Uuid& inner) {
        const std::vector<Uuid> all = sessionAndNested(library(), outer);
        return std::find(all.begin(), all.end(), inner) != all.end();
    };
    const bool givesWay = active && library().sessions.contains(*active) && library().sessions.contains(session) &&
                          !encloses(*active, session) && !encloses(session, *active);
    openSession(session);
    if (givesWay)
        closeSession(*active);
}

void ProgramSessions::openSessionHere(Uuid session)
{
    const bool done = change([&](SessionLibrary& changed) {
        const PenmarkSession* const found = changed.sessions.find(session);
        if (!found)
            throw SessionError(SessionError::Case::sessionGone);
        const Uuid here = requireActiveSession(changed, records().now());
        if (here == session)
            return;
        for (const RecoveryWindow& window : std::vector<RecoveryWindow>(found->windows)) {
            moveWindow(changed, window.id, here);
            changed.sessions.change(here, [&](PenmarkSession& into) {
                for (RecoveryWindow& moved : into.windows) {
                    if (moved.id == window.id && !moved.documents.empty())
                        moved.isOpen = true;
                }
            });
        }
        // It is put aside without its windows, unless something open is nested in it.
        const std::vector<Uuid> inside = sessionAndNested(changed, session);
        const bool holdsOpen = std::any_of(inside.begin() + 1, inside.end(),
                                           [&](const Uuid& nested) { return changed.sessions.find(nested)->isOpen; });
        if (!holdsOpen)
            penmark::closeSession(changed, session);
        changed.settings.focusedWorkspaceID.reset();
        useSession(changed, here);
    });
    program_.restoreAllLeftOut();
    if (done && library().settings.activeSessionID)
        raise(*library().settings.activeSessionID);
}

void ProgramSessions::closeSession(Uuid session)
{
    const QString name = title(session);
    if (!change([&](SessionLibrary& changed) { penmark::closeSession(changed, session); }))
        return;
    records().save();
    front().showBar(tr("“%1” was put aside.").arg(name), DocumentMessage::Weight::note,
                    {{tr("Reopen"), [this, session] { openSession(session); }},
                     {tr("What Next?…"), [this, session] { offerNext(session); }}},
                    {stripShown});
}

void ProgramSessions::renameSession(Uuid session, const QString& name)
{
    change([&](SessionLibrary& changed) { penmark::renameSession(changed, session, name.trimmed().toStdString()); });
    for (DocumentWindow* window : program_.windows())
        window->updateTitle();
}

void ProgramSessions::askToRenameSession(QWidget& window, Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    NamePrompt::ask(&window, tr("Rename Session"), tr("Without a name it is shown by what is in it."),
                    tr("Session name"), found && found->name ? toQString(*found->name) : QString(), tr("Rename"),
                    [this, session](const QString& name) { renameSession(session, name); });
}

void ProgramSessions::newEmptySession()
{
    Uuid session;
    if (change([&](SessionLibrary& changed) { session = createSession(changed, {}, {}, records().now()); }))
        addWindow(session, {});
}

void ProgramSessions::addWindow(Uuid session, const std::vector<Uuid>& documents)
{
    program_.endFocus();
    RecoveryWindow record;
    record.id = Uuid::random();
    record.sessionID = session;
    DocumentWindow& window = program_.makeWindow(&record);
    for (const Uuid& document : documents)
        window.showDocument(document, true);
    if (documents.empty())
        window.newDraft();
    records().put(window.record());
    records().used(window.id());
    window.updateTitle();
    window.activateWindow();
}

void ProgramSessions::moveSession(Uuid session, std::optional<Uuid> parent)
{
    change([&](SessionLibrary& changed) { penmark::moveSession(changed, session, parent); });
}

void ProgramSessions::duplicateSession(Uuid session)
{
    Uuid copy;
    if (change([&](SessionLibrary& changed) {
            copy = penmark::duplicateSession(changed, session, records().now());
            changed.settings.focusedWorkspaceID.reset();
        }))
        raise(copy);
}

void ProgramSessions::deleteSession(Uuid session, bool discardsDrafts)
{
    const PenmarkSession* const found = library().sessions.find(session);
    const std::vector<Uuid> documents = found ? documentsOf(*found) : std::vector<Uuid>();
    const QString name = title(session);
    if (!change([&](SessionLibrary& changed) { penmark::deleteSession(changed, session); }))
        return;
    std::vector<Uuid> drafts;
    for (const Uuid& document : documents) {
        const DocumentHeader* const header = program_.documents().headers().find(document);
        if (discardsDrafts && header && header->path.empty() && !header->deleted && !isAttached(library(), document))
            drafts.push_back(document);
    }
    if (!drafts.empty())
        program_.documents().discard(drafts);
    say(drafts.empty() ? tr("“%1” was deleted. Its documents are in the library.").arg(name)
                       : tr("“%1” was deleted, and %2 of its drafts discarded.").arg(name).arg(drafts.size()));
}

void ProgramSessions::moveWindowToSession(Uuid window, Uuid session)
{
    change([&](SessionLibrary& changed) { moveWindow(changed, window, session); });
}

void ProgramSessions::addDocumentsToSession(const std::vector<Uuid>& documents, Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    if (!found || !found->isOpen)
        openSession(session);
    for (DocumentWindow* window : program_.windows()) {
        const PenmarkSession* const owner = library().sessionOf(window->id());
        if (!owner || owner->id != session)
            continue;
        for (const Uuid& document : documents)
            window->showDocument(document);
        showWindow(window->id());
        return;
    }
    if (library().sessions.contains(session))
        addWindow(session, documents);
}

void ProgramSessions::showWindow(Uuid window, std::optional<Uuid> document)
{
    program_.restoreLeftOut({window});
    if (!program_.findWindow(window) || program_.findWindow(window)->isHidden()) {
        const bool done = change([&](SessionLibrary& changed) {
            const PenmarkSession* const owner = changed.sessionOf(window);
            if (!owner)
                throw SessionError(SessionError::Case::sessionGone);
            const Uuid session = owner->id;
            if (!owner->isOpen)
                reopenSession(changed, session);
            changed.sessions.change(session, [&](PenmarkSession& shown) {
                for (RecoveryWindow& record : shown.windows) {
                    if (record.id == window && !record.documents.empty())
                        record.isOpen = true;
                }
            });
            changed.settings.focusedWorkspaceID.reset();
        });
        if (!done)
            return;
    }
    DocumentWindow* const shown = program_.findWindow(window);
    if (!shown)
        return;
    if (document)
        shown->showDocument(*document);
    program_.bringToFront(*shown);
}

void ProgramSessions::openRecentSession(std::size_t place)
{
    const std::vector<Uuid>& recent = library().settings.recentSessionIDs;
    if (place < recent.size())
        openSession(Uuid(recent[place]));
}

void ProgramSessions::showOrganiser(OrganiserPage page)
{
    if (!organiser_) {
        organiser_ = new SessionsWindow(records(), *this, program_.documents(), records().queue());
        connect(organiser_, &SessionsWindow::compareRequested, this,
                [this](const Uuid& document, const Uuid& revision) { showVersion(document, revision); });
        connect(organiser_, &SessionsWindow::searchRequested, this, [this](const Uuid& checkpoint) {
            TextSearchScope scope;
            scope.kind = TextScopeKind::checkpoint;
            scope.id = checkpoint;
            program_.search().show(front(), {}, scope);
        });
        connect(organiser_, &SessionsWindow::starterMade, this, &ProgramSessions::keepStarter);
        organiser_->move(front().frameGeometry().center() - organiser_->rect().center());
    }
    program_.needHeaders();
    records().collectNow();
    organiser_->setStarters(starters());
    organiser_->showPage(page);
}

void ProgramSessions::manageMembers(Uuid workspace)
{
    showOrganiser(OrganiserPage::workspaces);
    organiser_->showWorkspace(workspace);
}

// ---- return notes ----

std::optional<Uuid> ProgramSessions::sessionOfNote(Uuid document) const
{
    for (const PenmarkSession& session : program_.records().library().sessions) {
        if (session.returnNoteID == document)
            return session.id;
    }
    return std::nullopt;
}

Uuid ProgramSessions::makeNote(Uuid session)
{
    const ReturnNoteText text =
        returnNoteText(program_.documents(), *library().sessions.find(session), records().now());
    RecoveryBuffer& note = program_.documents().createDraft(EditorLanguage::markdown, TextSnapshot(text.text));
    const Uuid id = note.id();
    program_.documents().rename(id, text.title.toStdString());
    program_.documents().store(note);
    change([&](SessionLibrary& changed) { setReturnNote(changed, session, id); });
    return id;
}

void ProgramSessions::createReturnNote(Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    if (!found) {
        emit records().refused(QString::fromUtf8(SessionError(SessionError::Case::sessionGone).what()));
        return;
    }
    if (found->returnNoteID) {
        openReturnNote(session);
        return;
    }
    addDocumentsToSession({makeNote(session)}, session);
}

void ProgramSessions::openReturnNote(Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    if (!found)
        emit records().refused(QString::fromUtf8(SessionError(SessionError::Case::sessionGone).what()));
    else if (found->returnNoteID)
        addDocumentsToSession({*found->returnNoteID}, session);
}

void ProgramSessions::useAsReturnNote(Uuid session, std::optional<Uuid> document)
{
    const QString name = title(session);
    if (change([&](SessionLibrary& changed) { setReturnNote(changed, session, document); }))
        say(document ? tr("This document is now the return note of “%1”.").arg(name)
                     : tr("“%1” has no return note now.").arg(name));
}

void ProgramSessions::offerNote(Uuid session)
{
    const PenmarkSession* const found = library().sessions.find(session);
    if (!found || !found->returnNoteID)
        return;
    program_.previews().readPreviews({*found->returnNoteID}, [this, session](const std::vector<std::string>& texts) {
        const QString text = texts.empty() ? QString() : toQString(texts.front()).simplified().left(noteShown);
        const PenmarkSession* const present = library().sessions.find(session);
        if (text.isEmpty() || !present || !present->isOpen || program_.windows().empty())
            return;
        front().showBar(text, DocumentMessage::Weight::note,
                        {{tr("Open"), [this, session] { openReturnNote(session); }}}, {stripShown, true});
    });
}

void ProgramSessions::offerNext(Uuid session)
{
    NamePrompt::ask(&front(), tr("What Next?"),
                    tr("What next? It is added to the return note of “%1”.").arg(title(session)), QString(), QString(),
                    tr("Add"), [this, session](const QString& line) {
                        if (!line.trimmed().isEmpty())
                            appendToNote(session, line.trimmed());
                    });
}

void ProgramSessions::appendToNote(Uuid session, const QString& line)
{
    const PenmarkSession* const found = library().sessions.find(session);
    if (!found)
        return;
    const Uuid note = found->returnNoteID ? *found->returnNoteID : makeNote(session);
    const std::string added = records().now().localText().substr(0, 16) + "  " + line.toStdString() + "\n";
    program_.documents().load(note, this, [this, session, added](RecoveryBuffer& buffer) {
        if (!buffer.permitsEditing()) {
            front().showBar(tr("The return note cannot be read. What is next was put into a new draft."),
                            DocumentMessage::Weight::warning, {});
            RecoveryBuffer& draft =
                program_.documents().createDraft(EditorLanguage::plainText, TextSnapshot(std::string(added)));
            program_.documents().store(draft);
            addDocumentsToSession({draft.id()}, library().settings.activeSessionID.value_or(session));
            return;
        }
        std::string text = buffer.text().text();
        if (!text.empty() && text.back() != '\n')
            text += '\n';
        buffer.replaceText(TextSnapshot(text + added));
        program_.documents().store(buffer);
    });
}

}  // namespace penmark
