// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "storage/RecoveryWindow.h"

namespace penmark {

/// An arrangement of windows and tabs that is put aside and taken up again as a whole. Owns its windows: each belongs
/// to exactly one session. A row of kind "session".
struct PenmarkSession {
    Uuid id;
    std::optional<std::string> name;  ///< one without is shown by what is in it
    std::optional<Uuid> parentID;     ///< the enclosing session; absent at the top
    Date createdAt;
    bool isOpen = true;                   ///< its windows are shown; otherwise it is put aside
    std::vector<RecoveryWindow> windows;  ///< in the order in which they were arranged
    std::vector<Uuid> projectIDs;
    std::optional<Uuid> returnNoteID;  ///< a document that stays with the session although no tab shows it
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = PenmarkSession;
        return std::tuple{field("id", &R::id),
                          field("name", &R::name),
                          field("parentID", &R::parentID),
                          field("createdAt", &R::createdAt),
                          field("isOpen", &R::isOpen),
                          field("windows", &R::windows),
                          field("projectIDs", &R::projectIDs),
                          field("returnNoteID", &R::returnNoteID)};
    }
    friend bool operator==(const PenmarkSession&, const PenmarkSession&) = default;
};

/// A group of links to windows and tabs of any sessions. It moves nothing, and groups may overlap. A member that is not
/// there on this computer stays linked. A row of kind "workspace".
struct PenmarkWorkspace {
    Uuid id;
    std::string name;               ///< may be empty
    std::optional<Uuid> sessionID;  ///< the session in which it was made
    bool isOpen = true;
    std::vector<Uuid> windowIDs;  ///< windows with all their tabs, future ones included
    std::vector<Uuid> tabIDs;     ///< single tabs, wherever they are
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = PenmarkWorkspace;
        return std::tuple{
            field("id", &R::id),         field("name", &R::name),           field("sessionID", &R::sessionID),
            field("isOpen", &R::isOpen), field("windowIDs", &R::windowIDs), field("tabIDs", &R::tabIDs)};
    }
    friend bool operator==(const PenmarkWorkspace&, const PenmarkWorkspace&) = default;
};

/// A folder on disk whose files are worked on in place. A row of kind "project".
struct PenmarkProject {
    Uuid id;
    std::string name;
    std::string path;                 ///< absolute, where it was last found
    std::optional<RawJson> bookmark;  ///< by which another platform finds it again; kept
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = PenmarkProject;
        return std::tuple{field("id", &R::id), field("name", &R::name), field("path", &R::path),
                          field("bookmark", &R::bookmark)};
    }
    friend bool operator==(const PenmarkProject&, const PenmarkProject&) = default;
};

}  // namespace penmark
