// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"

namespace penmark {

/// Layout of a window; every field is optional, and an absent one means the default.
struct WindowPresentation {
    std::optional<bool> libraryVisible;
    std::optional<std::string> libraryFilter;
    std::optional<std::set<std::string>> collapsedLibrarySections;
    std::optional<Uuid> projectID;
    std::optional<std::set<std::string>> expandedProjectPaths;
    std::optional<bool> minimized;
    std::optional<bool> markdownPreviewVisible;
    std::optional<double> markdownPreviewFraction;  ///< of the width
    std::optional<double> libraryWidth;             ///< points
    std::optional<bool> markdownPreviewExpanded;
    std::optional<double> markdownPreviewZoom;
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = WindowPresentation;
        return std::tuple{field("libraryVisible", &R::libraryVisible),
                          field("libraryFilter", &R::libraryFilter),
                          field("collapsedLibrarySections", &R::collapsedLibrarySections),
                          field("projectID", &R::projectID),
                          field("expandedProjectPaths", &R::expandedProjectPaths),
                          field("minimized", &R::minimized),
                          field("markdownPreviewVisible", &R::markdownPreviewVisible),
                          field("markdownPreviewFraction", &R::markdownPreviewFraction),
                          field("libraryWidth", &R::libraryWidth),
                          field("markdownPreviewExpanded", &R::markdownPreviewExpanded),
                          field("markdownPreviewZoom", &R::markdownPreviewZoom)};
    }
    friend bool operator==(const WindowPresentation&, const WindowPresentation&) = default;
};

/// Where a window stands on its screen, in points.
struct WindowPlacement {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    std::optional<RawJson> displayID;  ///< in whatever form the platform names its displays
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = WindowPlacement;
        return std::tuple{field("x", &R::x), field("y", &R::y), field("width", &R::width), field("height", &R::height),
                          field("displayID", &R::displayID)};
    }
    friend bool operator==(const WindowPlacement&, const WindowPlacement&) = default;
};

/// An editor window and its tabs. A row of `windows`. Keys that this version does not know are kept.
struct RecoveryWindow {
    Uuid id;
    std::vector<Uuid> documents;  ///< in tab order
    std::optional<Uuid> selected;
    bool isOpen = false;                   ///< closed ones are kept for reopening
    std::map<Uuid, RawJson> editorStates;  ///< by document; the editor knows what is inside
    std::optional<Uuid> sessionID;
    std::map<Uuid, Uuid> tabIDs;  ///< stable identities of the tabs, by document
    std::optional<WindowPlacement> placement;
    std::optional<WindowPresentation> presentation;
    std::optional<Uuid> searchViewID;
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = RecoveryWindow;
        return std::tuple{field("id", &R::id),
                          field("documents", &R::documents),
                          field("selected", &R::selected),
                          field("isOpen", &R::isOpen),
                          field("editorStates", &R::editorStates),
                          field("sessionID", &R::sessionID),
                          field("tabIDs", &R::tabIDs),
                          field("placement", &R::placement),
                          field("presentation", &R::presentation),
                          field("searchViewID", &R::searchViewID)};
    }
    friend bool operator==(const RecoveryWindow&, const RecoveryWindow&) = default;
};

}  // namespace penmark
