// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Sessions.h"

#include "organization/SessionEdit.h"
#include "organization/SessionError.h"
#include "organization/WindowTabs.h"
#include "organization/WorkspaceLinks.h"

#include <algorithm>
#include <set>
#include <unordered_map>

namespace penmark {

namespace {

const PenmarkSession& requireSession(const SessionLibrary& library, const Uuid& session)
{
    const PenmarkSession* const found = library.sessions.find(session);
    if (found == nullptr)
        throw SessionError(SessionError::Case::sessionGone);
    return *found;
}

// Whether `session` may be nested in `parent`.
void checkNesting(const SessionLibrary& library, const Uuid& session, const Uuid& parent)
{
    std::set<Uuid> seen{session};
    for (std::optional<Uuid> at = parent; at;) {
        const PenmarkSession* const found = library.sessions.find(*at);
        if (found == nullptr || !seen.insert(*at).second)
            throw SessionError(SessionError::Case::nestingLoop);
        at = found->parentID;
    }
}

std::optional<std::string> nameOrNone(std::optional<std::string> name)
{
    return name && !name->empty() ? std::move(name) : std::nullopt;
}

void noteUse(LibrarySettings& settings, const Uuid& session)
{
    std::erase(settings.recentSessionIDs, session);
    settings.recentSessionIDs.insert(settings.recentSessionIDs.begin(), session);
    if (settings.recentSessionIDs.size() > recentSessionsKept)
        settings.recentSessionIDs.resize(recentSessionsKept);
}

// The open session that was used last; of those that are not remembered as used, the newest.
std::optional<Uuid> lastUsedOpenSession(const SessionLibrary& library)
{
    for (const Uuid& id : library.settings.recentSessionIDs) {
        const PenmarkSession* const session = library.sessions.find(id);
        if (session != nullptr && session->isOpen)
            return id;
    }
    std::optional<Uuid> newest;
    for (const PenmarkSession& session : library.sessions) {
        if (session.isOpen)
            newest = session.id;
    }
    return newest;
}

void replaceActiveSessionIfGone(SessionLibrary& library)
{
    if (!library.settings.activeSessionID)
        return;
    const PenmarkSession* const active = library.sessions.find(*library.settings.activeSessionID);
    if (active == nullptr || !active->isOpen)
        library.settings.activeSessionID = lastUsedOpenSession(library);
}

// Nothing shows what was put aside with a workspace that does not link the copy.
RecoveryWindow copyOfWindow(const RecoveryWindow& window, const Uuid& session)
{
    RecoveryWindow copy = window;
    copy.id = Uuid::random();
    copy.sessionID = session;
    showAllTabs(copy);
    copy.tabIDs.clear();
    identifyTabs(copy);
    copy.isOpen = true;
    return copy;
}

void appendOnce(std::vector<Uuid>& documents, std::set<Uuid>& seen, const std::vector<Uuid>& more)
{
    for (const Uuid& document : more) {
        if (seen.insert(document).second)
            documents.push_back(document);
    }
}

void appendDocuments(std::vector<Uuid>& documents, std::set<Uuid>& seen, const PenmarkSession& session)
{
    for (const RecoveryWindow& window : session.windows)
        appendOnce(documents, seen, documentsOf(window));
    if (session.returnNoteID)
        appendOnce(documents, seen, {*session.returnNoteID});
}

struct KnownWindow {
    const PenmarkSession* session = nullptr;
    const RecoveryWindow* window = nullptr;
};

// Looks first where its record says that it is: windows are stored often, and there may be thousands of sessions.
KnownWindow findKnown(const SessionLibrary& library, const RecoveryWindow& record)
{
    const PenmarkSession* session = record.sessionID ? library.sessions.find(*record.sessionID) : nullptr;
    for (int attempt = 0; attempt < 2; ++attempt, session = library.sessionOf(record.id)) {
        if (session == nullptr)
            continue;
        for (const RecoveryWindow& window : session->windows) {
            if (window.id == record.id)
                return {session, &window};
        }
    }
    return {};
}

// What a window is to be kept as, when `known` is its record so far (null if it is new).
void adoptTabs(RecoveryWindow& window, const RecoveryWindow* known, const WorkspaceLinks& links)
{
    identifyTabs(window);
    for (const Uuid& document : documentsOf(window)) {
        if (!isPutAside(window, document) || links.holdAside(window.id, tabIdentity(window, document)))
            continue;
        // No workspace would ever show it again. One that the window is known to have must not vanish like that; any
        // other is what a closed tab has left behind.
        const std::vector<Uuid> had = known == nullptr ? std::vector<Uuid>() : documentsOf(*known);
        if (std::find(had.begin(), had.end(), document) != had.end())
            showTab(window, document);
        else
            removeTab(window, document);
    }
}

}  // namespace

Uuid createSession(SessionLibrary& library, std::optional<std::string> name, std::optional<Uuid> parent, Date now)
{
    PenmarkSession session;
    session.id = Uuid::random();
    session.name = nameOrNone(std::move(name));
    session.parentID = parent;
    session.createdAt = now;
    if (parent) {
        checkNesting(library, session.id, *parent);
        if (!library.sessions.find(*parent)->isOpen)
            throw SessionError(SessionError::Case::destinationNotOpen);
    }
    const Uuid id = session.id;
    library.sessions.put(std::move(session));
    useSession(library, id);
    return id;
}

void renameSession(SessionLibrary& library, const Uuid& session, std::optional<std::string> name)
{
    requireSession(library, session);
    library.sessions.change(session, [&](PenmarkSession& changed) { changed.name = nameOrNone(std::move(name)); });
}

void closeSession(SessionLibrary& library, const Uuid& session)
{
    requireSession(library, session);
    SessionEdit edit(library);
    for (const Uuid& id : sessionAndNested(library, session))
        edit.change(id, [](PenmarkSession& changed) { changed.isOpen = false; });
    edit.finish();
    replaceActiveSessionIfGone(library);
}

void reopenSession(SessionLibrary& library, const Uuid& session)
{
    const Uuid reopened = requireSession(library, session).id;  // the caller's may be a part of what is replaced
    SessionEdit edit(library);
    for (const Uuid& id : sessionAndNested(library, reopened)) {
        edit.change(id, [](PenmarkSession& changed) {
            changed.isOpen = true;
            for (RecoveryWindow& window : changed.windows) {
                if (window.documents.empty())
                    showAllTabs(window);
                window.isOpen = window.isOpen || !window.documents.empty();
            }
        });
    }
    edit.finish();
    useSession(library, reopened);
}

void moveSession(SessionLibrary& library, const Uuid& session, std::optional<Uuid> parent)
{
    const bool isOpen = requireSession(library, session).isOpen;
    if (parent) {
        checkNesting(library, session, *parent);
        if (isOpen && !library.sessions.find(*parent)->isOpen)
            throw SessionError(SessionError::Case::destinationNotOpen);
    }
    library.sessions.change(session, [&](PenmarkSession& changed) { changed.parentID = parent; });
}

void deleteSession(SessionLibrary& library, const Uuid& session)
{
    const std::optional<Uuid> parent = requireSession(library, session).parentID;
    std::vector<Uuid> nested;
    for (const PenmarkSession& candidate : library.sessions) {
        if (candidate.parentID == session)
            nested.push_back(candidate.id);
    }
    const Uuid removed = session;  // the caller's may be a part of what goes
    SessionEdit edit(library);
    for (const Uuid& id : nested)
        edit.change(id, [&](PenmarkSession& changed) { changed.parentID = parent; });
    edit.remove(removed);
    edit.finish();
    std::erase(library.settings.recentSessionIDs, removed);
    replaceActiveSessionIfGone(library);
}

Uuid duplicateSession(SessionLibrary& library, const Uuid& session, Date now)
{
    PenmarkSession copy = requireSession(library, session);
    copy.id = Uuid::random();
    copy.createdAt = now;
    copy.isOpen = true;
    for (RecoveryWindow& window : copy.windows)
        window = copyOfWindow(window, copy.id);
    const Uuid id = copy.id;
    SessionEdit edit(library);
    edit.add(std::move(copy));
    edit.finish();
    useSession(library, id);
    return id;
}

void useSession(SessionLibrary& library, const Uuid& session)
{
    const bool isOpen = requireSession(library, session).isOpen;
    const Uuid used = session;
    noteUse(library.settings, used);
    if (isOpen)
        library.settings.activeSessionID = used;
}

Uuid requireActiveSession(SessionLibrary& library, Date now)
{
    replaceActiveSessionIfGone(library);
    std::optional<Uuid>& active = library.settings.activeSessionID;
    if (!active)
        active = lastUsedOpenSession(library);
    return active ? *active : createSession(library, {}, {}, now);
}

void moveWindow(SessionLibrary& library, const Uuid& window, const Uuid& session)
{
    const bool isOpen = requireSession(library, session).isOpen;
    const PenmarkSession* const owner = library.sessionOf(window);
    if (owner == nullptr)
        throw SessionError(SessionError::Case::windowNotOpen);
    if (owner->id == session)
        return;
    if (!isOpen)
        throw SessionError(SessionError::Case::destinationNotOpen);
    RecoveryWindow moved = *library.findWindow(window);
    moved.sessionID = session;
    const Uuid id = moved.id;
    SessionEdit edit(library);
    edit.change(owner->id, [&](PenmarkSession& changed) {
        std::erase_if(changed.windows, [&](const RecoveryWindow& candidate) { return candidate.id == id; });
    });
    edit.change(*moved.sessionID, [&](PenmarkSession& changed) { changed.windows.push_back(moved); });
    edit.finish();
}

void putWindow(SessionLibrary& library, RecoveryWindow window, Date now)
{
    const KnownWindow known = findKnown(library, window);
    adoptTabs(window, known.window, WorkspaceLinks(library.workspaces));
    if (known.session != nullptr)
        window.sessionID = known.session->id;
    else if (!window.sessionID || !library.sessions.contains(*window.sessionID))
        window.sessionID = requireActiveSession(library, now);
    SessionEdit edit(library);
    edit.change(*window.sessionID, [&](PenmarkSession& changed) {
        const auto at = std::find_if(changed.windows.begin(), changed.windows.end(),
                                     [&](const RecoveryWindow& candidate) { return candidate.id == window.id; });
        if (at != changed.windows.end())
            *at = window;
        else
            changed.windows.push_back(window);
    });
    edit.finish();
}

void setReturnNote(SessionLibrary& library, const Uuid& session, std::optional<Uuid> document)
{
    requireSession(library, session);
    library.sessions.change(session, [&](PenmarkSession& changed) { changed.returnNoteID = document; });
}

void attachProject(SessionLibrary& library, const Uuid& session, const Uuid& project)
{
    requireSession(library, session);
    if (!library.projects.contains(project))
        throw SessionError(SessionError::Case::projectGone);
    library.sessions.change(session, [&](PenmarkSession& changed) {
        if (std::find(changed.projectIDs.begin(), changed.projectIDs.end(), project) == changed.projectIDs.end())
            changed.projectIDs.push_back(project);
    });
}

void detachProject(SessionLibrary& library, const Uuid& session, const Uuid& project)
{
    requireSession(library, session);
    library.sessions.change(session, [&](PenmarkSession& changed) { std::erase(changed.projectIDs, project); });
}

std::vector<Uuid> sessionAndNested(const SessionLibrary& library, const Uuid& session)
{
    if (!library.sessions.contains(session))
        return {};
    using ParentAndId = std::pair<Uuid, Uuid>;
    std::vector<ParentAndId> nested;
    for (const PenmarkSession& candidate : library.sessions) {
        if (candidate.parentID)
            nested.emplace_back(*candidate.parentID, candidate.id);
    }
    const auto byParent = [](const ParentAndId& one, const ParentAndId& other) { return one.first < other.first; };
    std::stable_sort(nested.begin(), nested.end(), byParent);  // siblings stay in their order
    std::vector<Uuid> all;
    std::vector<Uuid> waiting{session};
    while (!waiting.empty()) {
        all.push_back(waiting.back());
        waiting.pop_back();
        const auto [first, last] =
            std::equal_range(nested.begin(), nested.end(), ParentAndId(all.back(), Uuid()), byParent);
        const auto behind = static_cast<std::ptrdiff_t>(waiting.size());
        for (auto at = first; at != last; ++at)
            waiting.push_back(at->second);
        std::reverse(waiting.begin() + behind, waiting.end());
    }
    return all;
}

std::vector<Uuid> documentsOf(const PenmarkSession& session)
{
    std::vector<Uuid> documents;
    std::set<Uuid> seen;
    appendDocuments(documents, seen, session);
    return documents;
}

std::vector<Uuid> documentsOfSession(const SessionLibrary& library, const Uuid& session)
{
    std::vector<Uuid> documents;
    std::set<Uuid> seen;
    for (const Uuid& id : sessionAndNested(library, session))
        appendDocuments(documents, seen, *library.sessions.find(id));
    return documents;
}

bool isAttached(const SessionLibrary& library, const Uuid& document)
{
    return std::any_of(library.sessions.begin(), library.sessions.end(), [&](const PenmarkSession& session) {
        return session.returnNoteID == document ||
               std::any_of(session.windows.begin(), session.windows.end(), [&](const RecoveryWindow& window) {
                   return window.tabIDs.count(document) != 0 ||
                          std::find(window.documents.begin(), window.documents.end(), document) !=
                              window.documents.end();
               });
    });
}

std::set<Uuid> knownWindows(const SessionLibrary& library)
{
    std::set<Uuid> known;
    for (const PenmarkSession& session : library.sessions) {
        for (const RecoveryWindow& window : session.windows)
            known.insert(window.id);
    }
    for (const ClosedPenmarkItem& item : library.recentlyClosed)
        known.insert(item.window.id);
    return known;
}

std::vector<Uuid> shownWindows(const SessionLibrary& library)
{
    const LibrarySettings& settings = library.settings;
    const PenmarkWorkspace* const focused =
        settings.focusedWorkspaceID ? library.workspaces.find(*settings.focusedWorkspaceID) : nullptr;
    LinkedMembers members;
    if (focused != nullptr)
        members.add(*focused);
    std::unordered_map<Uuid, std::size_t> places;
    for (std::size_t place = 0; place < settings.windowOrder.size(); ++place)
        places.emplace(settings.windowOrder[place], place);

    std::vector<std::pair<std::size_t, Uuid>> found;
    for (const PenmarkSession& session : library.sessions) {
        for (const RecoveryWindow& window : session.windows) {
            if (!isShown(session, window) || (focused != nullptr && !members.concern(window)))
                continue;
            const auto place = places.find(window.id);
            found.emplace_back(place != places.end() ? place->second : places.size(), window.id);
        }
    }
    if (found.empty() && focused != nullptr) {  // a focus on what is not there hides nothing
        SessionLibrary unfocused = library;
        unfocused.settings.focusedWorkspaceID.reset();
        return shownWindows(unfocused);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
    std::vector<Uuid> windows;
    for (const auto& [place, window] : found)
        windows.push_back(window);
    return windows;
}

}  // namespace penmark
