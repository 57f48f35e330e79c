// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/ClosedItems.h"

#include "organization/SessionEdit.h"
#include "organization/SessionError.h"
#include "organization/Sessions.h"
#include "organization/WindowTabs.h"
#include "organization/WorkspaceLinks.h"

#include <algorithm>
#include <set>

namespace penmark {

namespace {

constexpr double secondsADay = 86'400;

Uuid remember(SessionLibrary& library, ClosedPenmarkItem item)
{
    const Uuid id = item.id;
    const Date now = item.closedAt;
    library.recentlyClosed.put(std::move(item));
    trimClosed(library, now);
    return id;
}

void changeWindow(SessionLibrary& library, const Uuid& session, const Uuid& window,
                  FunctionRef<void(RecoveryWindow&)> change)
{
    SessionEdit edit(library);
    edit.change(session, [&](PenmarkSession& changed) {
        for (RecoveryWindow& candidate : changed.windows) {
            if (candidate.id == window)
                change(candidate);
        }
    });
    edit.finish();
}

void removeWindow(SessionLibrary& library, const Uuid& session, const Uuid& window)
{
    SessionEdit edit(library);
    edit.change(session, [&](PenmarkSession& changed) {
        std::erase_if(changed.windows, [&](const RecoveryWindow& candidate) { return candidate.id == window; });
    });
    edit.finish();
}

// Puts what the item holds back into a window that is there.
void mergeInto(RecoveryWindow& window, const ClosedPenmarkItem& item, const WorkspaceLinks& links)
{
    const std::vector<Uuid> documents = documentsOf(item.window);
    links.openFor(window, {});
    std::optional<std::size_t> index;
    if (item.tabIndex && *item.tabIndex >= 0)
        index = static_cast<std::size_t>(*item.tabIndex);
    for (const Uuid& document : documents) {
        if (const auto tab = tabIdentity(item.window, document))
            window.tabIDs.emplace(document, *tab);
        const auto state = item.window.editorStates.find(document);
        if (state != item.window.editorStates.end())
            window.editorStates.emplace(document, state->second);
        showTab(window, document, index);
    }
    identifyTabs(window);
    if (!documents.empty())
        window.selected = item.window.selected.value_or(documents.front());
}

}  // namespace

std::optional<Uuid> closeWindow(SessionLibrary& library, const Uuid& window, std::string title, Date now)
{
    const PenmarkSession* const owner = library.sessionOf(window);
    if (owner == nullptr)
        return std::nullopt;
    const Uuid session = owner->id;
    ClosedPenmarkItem item{Uuid::random(), now, session, std::move(title), *library.findWindow(window), {}, {}};
    RecoveryWindow& closed = item.window;
    const WorkspaceLinks links(library.workspaces);
    std::vector<Uuid> aside;
    for (const Uuid& document : documentsOf(closed)) {
        if (isPutAside(closed, document) && links.holdAside(closed.id, tabIdentity(closed, document)))
            aside.push_back(document);
        else
            showTab(closed, document);
    }
    if (closed.isOpen && closed.documents.empty() && !aside.empty()) {
        // Its last tab that was shown has gone elsewhere: what is aside stays with its workspace.
        changeWindow(library, session, closed.id, [](RecoveryWindow& kept) { kept.isOpen = false; });
        return std::nullopt;
    }
    if (!closed.isOpen || closed.documents.empty() || aside.empty()) {
        showAllTabs(closed);
        removeWindow(library, session, closed.id);
        return closed.documents.empty() ? std::nullopt : std::optional(remember(library, std::move(item)));
    }
    changeWindow(library, session, closed.id, [&](RecoveryWindow& kept) {
        for (const Uuid& document : closed.documents)
            removeTab(kept, document);
        kept.isOpen = false;
    });
    for (const Uuid& document : aside)
        removeTab(closed, document);
    return remember(library, std::move(item));
}

std::optional<Uuid> closeTab(SessionLibrary& library, const Uuid& window, const Uuid& document, std::string title,
                             Date now)
{
    const RecoveryWindow* const found = library.findWindow(window);
    if (found == nullptr)
        return std::nullopt;
    const std::vector<Uuid> all = documentsOf(*found);
    if (std::find(all.begin(), all.end(), document) == all.end())
        return std::nullopt;
    const bool isLastShown = found->isOpen && found->documents.size() == 1 && found->documents.front() == document;
    if (isLastShown || all.size() == 1)
        return closeWindow(library, window, std::move(title), now);

    ClosedPenmarkItem item{Uuid::random(), now, library.sessionOf(window)->id, std::move(title), *found, {}, {}};
    const auto at = std::find(found->documents.begin(), found->documents.end(), document);
    item.tabIndex = at - found->documents.begin();
    for (const Uuid& other : all) {
        if (other != document)
            removeTab(item.window, other);
    }
    showAllTabs(item.window);
    item.window.selected = document;
    changeWindow(library, *item.sessionID, item.window.id, [&](RecoveryWindow& kept) { removeTab(kept, document); });
    return remember(library, std::move(item));
}

Reopened reopenClosed(SessionLibrary& library, const Uuid& item, Date now)
{
    const auto closed = library.recentlyClosed.share(item);
    if (closed == nullptr)
        throw SessionError(SessionError::Case::closedItemGone);
    Reopened reopened;
    reopened.isOtherSession = !closed->sessionID || !library.sessions.contains(*closed->sessionID);
    reopened.window = closed->window.id;
    if (closed->tabIndex && !closed->window.documents.empty())
        reopened.document = closed->window.documents.front();

    if (const PenmarkSession* const owner = library.sessionOf(closed->window.id)) {
        reopened.session = owner->id;
        const WorkspaceLinks links(library.workspaces);
        changeWindow(library, reopened.session, closed->window.id,
                     [&](RecoveryWindow& window) { mergeInto(window, *closed, links); });
    } else {
        reopened.session = reopened.isOtherSession ? requireActiveSession(library, now) : *closed->sessionID;
        RecoveryWindow window = closed->window;
        showAllTabs(window);
        identifyTabs(window);
        window.isOpen = true;
        window.sessionID = reopened.session;
        SessionEdit edit(library);
        edit.change(reopened.session, [&](PenmarkSession& session) { session.windows.push_back(std::move(window)); });
        edit.finish();
    }
    library.recentlyClosed.remove(closed->id);
    return reopened;
}

void keepClosedTabs(SessionLibrary& library, const Uuid& item, FunctionRef<bool(const Uuid& document)> isWanted)
{
    library.recentlyClosed.change(item, [&](ClosedPenmarkItem& closed) {
        RecoveryWindow left = closed.window;
        keepTabs(left, isWanted);
        if (!left.documents.empty())
            closed.window = std::move(left);
    });
}

void forgetClosed(SessionLibrary& library, const Uuid& item)
{
    library.recentlyClosed.remove(Uuid(item));
}

void trimClosed(SessionLibrary& library, Date now)
{
    const double earliest = now.seconds - closedItemDays * secondsADay;
    library.recentlyClosed.removeIf([&](const ClosedPenmarkItem& item) { return item.closedAt.seconds < earliest; });
    if (library.recentlyClosed.size() <= closedItemsKept)
        return;
    std::vector<std::pair<Date, Uuid>> byAge;
    for (const ClosedPenmarkItem& item : library.recentlyClosed)
        byAge.emplace_back(item.closedAt, item.id);
    std::stable_sort(byAge.begin(), byAge.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
    std::set<Uuid> oldest;
    for (std::size_t at = 0; at < byAge.size() - closedItemsKept; ++at)
        oldest.insert(byAge[at].second);
    library.recentlyClosed.removeIf([&](const ClosedPenmarkItem& item) { return oldest.count(item.id) != 0; });
}

}  // namespace penmark
