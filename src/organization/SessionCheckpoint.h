// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/PenmarkSession.h"

namespace penmark {

/// The state that a document had.
struct CheckpointDocument {
    Uuid documentID;
    Uuid revisionID;
    std::optional<std::string> title;  ///< as it was shown
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = CheckpointDocument;
        return std::tuple{field("documentID", &R::documentID), field("revisionID", &R::revisionID),
                          field("title", &R::title)};
    }
    friend bool operator==(const CheckpointDocument&, const CheckpointDocument&) = default;
};

/// A picture of the library at one moment that can be restored: what was open and put aside, and the exact revision of
/// every document it covers. One that covers a single document and nothing else is a document checkpoint.
/// A row of `checkpoints`; never changed but for its name and its pin.
struct SessionCheckpoint {
    Uuid id;
    Date createdAt;
    Uuid deviceID;
    std::optional<std::string> name;  ///< automatic ones have none
    bool pinned = false;              ///< kept beyond automatic cleanup
    std::vector<PenmarkSession> sessions;
    std::vector<PenmarkWorkspace> workspaces;
    std::vector<PenmarkProject> projects;
    std::vector<CheckpointDocument> documents;
    std::optional<Uuid> focusedWindowID;
    std::vector<RawJson> searchViews;  ///< saved searches, as they were stored
    UnknownMembers unknownMembers;

    bool coversOneDocument() const
    {
        return sessions.empty() && workspaces.empty() && projects.empty() && documents.size() == 1;
    }

    static constexpr auto fields()
    {
        using R = SessionCheckpoint;
        return std::tuple{field("id", &R::id),
                          field("createdAt", &R::createdAt),
                          field("deviceID", &R::deviceID),
                          field("name", &R::name),
                          field("pinned", &R::pinned),
                          field("sessions", &R::sessions),
                          field("workspaces", &R::workspaces),
                          field("projects", &R::projects),
                          field("documents", &R::documents),
                          field("focusedWindowID", &R::focusedWindowID),
                          field("searchViews", &R::searchViews)};
    }
    friend bool operator==(const SessionCheckpoint&, const SessionCheckpoint&) = default;
};

/// What lists show of a checkpoint, read without what it holds.
struct CheckpointHeader {
    Uuid id;
    Date createdAt;
    bool pinned = false;
    std::optional<std::string> name;
    std::optional<Uuid> document;  ///< the only one, of a document checkpoint

    friend bool operator==(const CheckpointHeader&, const CheckpointHeader&) = default;
};

}  // namespace penmark
