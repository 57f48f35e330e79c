// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <algorithm>
#include <sstream>

namespace penmark {

// What a person would say of the library: each tab is shown or not, as far as its session is open.
struct ModelTab {
    Uuid document;
    Uuid tab;
    bool isShown = true;
};
struct ModelWindow {
    Uuid id;
    std::vector<ModelTab> tabs;

    bool isShown() const
    {
        return std::any_of(tabs.begin(), tabs.end(), [](const ModelTab& tab) { return tab.isShown; });
    }
};
struct ModelSession {
    Uuid id;
    std::optional<Uuid> parent;
    bool isOpen = true;
    std::vector<ModelWindow> windows;
};
struct ModelWorkspace {
    Uuid id;
    bool isOpen = true;
    std::vector<Uuid> windows;
    std::vector<Uuid> tabs;

    bool links(const Uuid& window, const Uuid& tab) const
    {
        return std::count(windows.begin(), windows.end(), window) + std::count(tabs.begin(), tabs.end(), tab) > 0;
    }
};
struct ModelItem {
    Uuid id;
    std::optional<Uuid> session;
    ModelWindow window;
};
struct Model {
    std::vector<ModelSession> sessions;
    std::vector<ModelWorkspace> workspaces;
    std::vector<ModelItem> closed;
    std::optional<Uuid> active;
    std::vector<Uuid> recent;
};

template <class T>
T* findIn(std::vector<T>& list, const Uuid& id)
{
    const auto found = std::find_if(list.begin(), list.end(), [&](const T& item) { return item.id == id; });
    return found == list.end() ? nullptr : &*found;
}

inline std::string shortly(const std::optional<Uuid>& id)
{
    return id ? id->text().substr(0, 6) : "-";
}

inline std::string dump(const ModelWindow& window)
{
    std::vector<std::string> tabs;
    for (const ModelTab& tab : window.tabs)
        tabs.push_back((tab.isShown ? " " : " (aside)") + shortly(tab.document) + "=" + shortly(tab.tab));
    std::sort(tabs.begin(), tabs.end());
    std::string text = " [" + shortly(window.id);
    for (const std::string& tab : tabs)
        text += tab;
    return text + "]";
}

inline std::string dump(const Model& model)
{
    std::ostringstream text;
    for (const ModelSession& session : model.sessions) {
        text << (session.isOpen ? "open " : "closed ") << shortly(session.id) << " in " << shortly(session.parent);
        for (const ModelWindow& window : session.windows)
            text << dump(window);
        text << "\n";
    }
    for (const ModelWorkspace& workspace : model.workspaces) {
        text << "workspace " << shortly(workspace.id) << (workspace.isOpen ? " open:" : " closed:");
        for (const Uuid& window : workspace.windows)
            text << " window " << shortly(window);
        for (const Uuid& tab : workspace.tabs)
            text << " tab " << shortly(tab);
        text << "\n";
    }
    for (const ModelItem& item : model.closed)
        text << "item " << shortly(item.id) << " of " << shortly(item.session) << dump(item.window) << "\n";
    text << "active " << shortly(model.active) << ", recent";
    for (const Uuid& id : model.recent)
        text << " " << shortly(id);
    return text.str();
}

inline ModelWindow seen(const RecoveryWindow& window, bool isShown)
{
    ModelWindow seen{window.id, {}};
    for (const Uuid& document : documentsOf(window)) {
        const auto tab = window.tabIDs.find(document);
        seen.tabs.push_back(
            {document, tab == window.tabIDs.end() ? Uuid() : tab->second, isShown && !isPutAside(window, document)});
    }
    return seen;
}

inline Model seen(const SessionLibrary& library)
{
    Model model;
    for (const PenmarkSession& session : library.sessions) {
        model.sessions.push_back({session.id, session.parentID, session.isOpen, {}});
        for (const RecoveryWindow& window : session.windows)
            model.sessions.back().windows.push_back(seen(window, window.isOpen));
    }
    for (const PenmarkWorkspace& workspace : library.workspaces)
        model.workspaces.push_back({workspace.id, workspace.isOpen, workspace.windowIDs, workspace.tabIDs});
    for (const ClosedPenmarkItem& item : library.recentlyClosed)
        model.closed.push_back({item.id, item.sessionID, seen(item.window, true)});
    model.active = library.settings.activeSessionID;
    model.recent = library.settings.recentSessionIDs;
    return model;
}

}  // namespace penmark
