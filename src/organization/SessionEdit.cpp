// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionEdit.h"

#include <algorithm>

namespace penmark {

namespace {

void appendShown(std::vector<Uuid>& windows, const PenmarkSession& session)
{
    for (const RecoveryWindow& window : session.windows) {
        if (isShown(session, window))
            windows.push_back(window.id);
    }
}

// What `all` has beyond `others`, in its order.
std::vector<Uuid> without(const std::vector<Uuid>& all, std::vector<Uuid> others)
{
    std::sort(others.begin(), others.end());
    std::vector<Uuid> rest;
    for (const Uuid& id : all) {
        if (!std::binary_search(others.begin(), others.end(), id))
            rest.push_back(id);
    }
    return rest;
}

}  // namespace

void SessionEdit::change(const Uuid& session, FunctionRef<void(PenmarkSession&)> change)
{
    const PenmarkSession* const before = library_.sessions.find(session);
    if (before == nullptr)
        return;
    PenmarkSession changed = *before;
    change(changed);
    appendShown(shownBefore_, *before);
    appendShown(shownAfter_, changed);
    library_.sessions.put(std::move(changed));
}

void SessionEdit::add(PenmarkSession session)
{
    appendShown(shownAfter_, session);
    library_.sessions.put(std::move(session));
}

void SessionEdit::remove(const Uuid& session)
{
    const PenmarkSession* const before = library_.sessions.find(session);
    if (before == nullptr)
        return;
    appendShown(shownBefore_, *before);
    library_.sessions.remove(session);
}

void SessionEdit::finish()
{
    LibrarySettings& settings = library_.settings;
    const std::vector<Uuid> gone = without(shownBefore_, shownAfter_);
    if (!gone.empty()) {
        settings.windowOrder = without(settings.windowOrder, gone);
        if (settings.focusedWindowID && std::find(gone.begin(), gone.end(), *settings.focusedWindowID) != gone.end()) {
            settings.focusedWindowID.reset();
            if (!settings.windowOrder.empty())
                settings.focusedWindowID = settings.windowOrder.front();
        }
    }
    std::vector<Uuid> order = without(shownAfter_, shownBefore_);
    if (order.empty())
        return;
    const std::vector<Uuid> behind = without(settings.windowOrder, order);
    order.insert(order.end(), behind.begin(), behind.end());
    settings.windowOrder = std::move(order);
}

}  // namespace penmark
