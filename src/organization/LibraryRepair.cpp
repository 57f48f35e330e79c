// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/LibraryRepair.h"

#include "organization/IdentitySet.h"
#include "organization/WindowTabs.h"

#include <utility>

namespace penmark {

namespace {

// As it can be named in a sentence.
std::string nameOf(const PenmarkSession& session)
{
    return session.name ? "“" + *session.name + "”" : session.id.text();
}

// Sessions whose link to a parent has to go: those whose parent is not there, and of each loop one.
std::vector<Uuid> sessionsToFree(const SessionLibrary& library)
{
    std::vector<Uuid> found;
    IdentitySet walked(library.sessions.size());
    IdentitySet ending(library.sessions.size());
    std::vector<const PenmarkSession*> chain;
    for (const PenmarkSession& session : library.sessions) {
        chain.clear();
        for (const PenmarkSession* at = &session; at != nullptr && !ending.contains(at->id);) {
            walked.insert(at->id);
            chain.push_back(at);
            if (!at->parentID)
                break;
            const PenmarkSession* const parent = library.sessions.find(*at->parentID);
            if (parent == nullptr || (walked.contains(parent->id) && !ending.contains(parent->id))) {
                found.push_back(at->id);
                break;
            }
            at = parent;
        }
        for (const PenmarkSession* const at : chain)
            ending.insert(at->id);
    }
    return found;
}

void giveOtherIdentity(RecoveryWindow& window)
{
    window.id = Uuid::random();
    showAllTabs(window);  // no workspace links the tabs that it gets now
    window.tabIDs.clear();
    identifyTabs(window);
}

}  // namespace

void separateDoubles(SessionLibrary& library, std::vector<std::string>& problems)
{
    std::size_t count = library.sessions.size();
    for (const PenmarkSession& session : library.sessions)
        count += session.windows.size();
    IdentitySet seen(count);
    for (const PenmarkSession& session : library.sessions)
        seen.insert(session.id);
    std::vector<std::pair<Uuid, std::size_t>> doubles;  // of a session, the window at this place
    for (const PenmarkSession& session : library.sessions) {
        for (std::size_t place = 0; place < session.windows.size(); ++place) {
            if (!seen.insert(session.windows[place].id))
                doubles.emplace_back(session.id, place);
        }
    }
    for (const auto& [session, place] : doubles) {
        library.sessions.change(session, [&, at = place](PenmarkSession& changed) {
            RecoveryWindow& window = changed.windows[at];
            problems.push_back("A window of the session " + nameOf(changed) + " has the identity of another: " +
                               window.id.text() + ". It has been given one of its own.");
            giveOtherIdentity(window);
        });
    }
}

void repairNesting(SessionLibrary& library, std::vector<std::string>& problems)
{
    for (const Uuid& id : sessionsToFree(library)) {
        library.sessions.change(id, [&](PenmarkSession& session) {
            problems.push_back("The session " + nameOf(session) +
                               " is nested in one that is not there or in itself. It is shown at the top.");
            session.parentID.reset();
        });
    }
}

}  // namespace penmark
