// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionLibrary.h"

#include "organization/IdentitySet.h"
#include "organization/SessionError.h"
#include "storage/StoredRecord.h"

#include <algorithm>

namespace penmark {

namespace {

template <class T>
std::vector<RawJson> encodeItems(const ItemList<T>& list)
{
    std::vector<RawJson> records;
    records.reserve(list.size());
    for (const T& item : list)
        records.push_back({encodeStored(item)});
    return records;
}

struct CatalogRecord {
    std::vector<RawJson> sessions;
    std::vector<RawJson> workspaces;
    std::vector<RawJson> projects;
    std::vector<RawJson> runs;
    std::vector<RawJson> recentlyClosed;
    std::optional<Uuid> activeSessionID;
    std::optional<Uuid> focusedWindowID;
    std::optional<Uuid> currentRunID;
    HistoryPolicy historyPolicy;
    std::vector<Uuid> windowOrder;

    static constexpr auto fields()
    {
        using R = CatalogRecord;
        return std::tuple{field("sessions", &R::sessions),
                          field("workspaces", &R::workspaces),
                          field("projects", &R::projects),
                          field("runs", &R::runs),
                          field("recentlyClosed", &R::recentlyClosed),
                          field("activeSessionID", &R::activeSessionID),
                          field("focusedWindowID", &R::focusedWindowID),
                          field("currentRunID", &R::currentRunID),
                          field("historyPolicy", &R::historyPolicy),
                          field("windowOrder", &R::windowOrder)};
    }
};

void requireUniqueIdentities(const SessionLibrary& library)
{
    std::size_t count = library.sessions.size();
    for (const PenmarkSession& session : library.sessions)
        count += session.windows.size();
    IdentitySet seen(count);
    for (const PenmarkSession& session : library.sessions) {
        if (!seen.insert(session.id))
            throw SessionError(SessionError::Case::duplicateIdentity);
        for (const RecoveryWindow& window : session.windows) {
            if (!seen.insert(window.id))
                throw SessionError(SessionError::Case::duplicateIdentity);
        }
    }
}

// Follows each chain only as far as it is not known to end, so that all together cost one look at each session.
void requireEndingChains(const SessionLibrary& library)
{
    IdentitySet ending(library.sessions.size());
    std::vector<Uuid> chain;
    for (const PenmarkSession& session : library.sessions) {
        chain.clear();
        for (const PenmarkSession* at = &session; at->parentID && !ending.contains(at->id);) {
            chain.push_back(at->id);
            at = library.sessions.find(*at->parentID);
            // A chain that is longer than there are sessions meets one of them again.
            if (at == nullptr || chain.size() > library.sessions.size())
                throw SessionError(SessionError::Case::nestingLoop);
        }
        for (const Uuid& id : chain)
            ending.insert(id);
    }
}

}  // namespace

const RecoveryWindow* SessionLibrary::findWindow(const Uuid& window) const
{
    for (const PenmarkSession& session : sessions) {
        for (const RecoveryWindow& candidate : session.windows) {
            if (candidate.id == window)
                return &candidate;
        }
    }
    return nullptr;
}

const PenmarkSession* SessionLibrary::sessionOf(const Uuid& window) const
{
    for (const PenmarkSession& session : sessions) {
        for (const RecoveryWindow& candidate : session.windows) {
            if (candidate.id == window)
                return &session;
        }
    }
    return nullptr;
}

std::vector<Uuid> documentsOf(const RecoveryWindow& window)
{
    std::vector<Uuid> documents = window.documents;
    for (const auto& [document, tab] : window.tabIDs) {
        if (isPutAside(window, document))
            documents.push_back(document);
    }
    return documents;
}

bool isPutAside(const RecoveryWindow& window, const Uuid& document)
{
    return window.tabIDs.count(document) != 0 &&
           std::find(window.documents.begin(), window.documents.end(), document) == window.documents.end();
}

bool isShown(const PenmarkSession& session, const RecoveryWindow& window)
{
    return session.isOpen && window.isOpen && !window.documents.empty();
}

void validate(const SessionLibrary& library)
{
    requireUniqueIdentities(library);
    requireEndingChains(library);
}

std::string encodeLibrary(const SessionLibrary& library)
{
    const LibrarySettings& settings = library.settings;
    return encodeStored(
        CatalogRecord{encodeItems(library.sessions), encodeItems(library.workspaces), encodeItems(library.projects),
                      encodeItems(library.runs), encodeItems(library.recentlyClosed), settings.activeSessionID,
                      settings.focusedWindowID, settings.currentRunID, settings.historyPolicy, settings.windowOrder});
}

}  // namespace penmark
