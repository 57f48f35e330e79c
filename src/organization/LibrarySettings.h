// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"

namespace penmark {

/// How much automatic history is kept.
struct HistoryPolicy {
    std::int64_t days = 90;              ///< values below 1 count as 1
    std::int64_t softBytes = 2LL << 30;  ///< of compressed history; what is protected may exceed it
    UnknownMembers unknownMembers;

    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        using R = HistoryPolicy;
        return std::tuple{field("days", &R::days), field("softBytes", &R::softBytes)};
    }
    friend bool operator==(const HistoryPolicy&, const HistoryPolicy&) = default;
};

/// What the library remembers of its own use. The metadata value "sessionLibrary".
struct LibrarySettings {
    std::optional<Uuid> activeSessionID;  ///< which new windows join
    std::optional<Uuid> focusedWindowID;  ///< the window that had the keys last
    std::optional<Uuid> currentRunID;     ///< of this visit
    HistoryPolicy historyPolicy;
    std::optional<Uuid> activeWorkspaceID;   ///< activated last
    std::optional<Uuid> focusedWorkspaceID;  ///< the only one shown, if any
    std::vector<Uuid> windowOrder;           ///< of open windows, the one in front first
    std::vector<Uuid> recentSessionIDs;      ///< the latest first
    UnknownMembers unknownMembers;

    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        using R = LibrarySettings;
        return std::tuple{field("activeSessionID", &R::activeSessionID),
                          field("focusedWindowID", &R::focusedWindowID),
                          field("currentRunID", &R::currentRunID),
                          field("historyPolicy", &R::historyPolicy),
                          field("activeWorkspaceID", &R::activeWorkspaceID),
                          field("focusedWorkspaceID", &R::focusedWorkspaceID),
                          field("windowOrder", &R::windowOrder),
                          field("recentSessionIDs", &R::recentSessionIDs)};
    }
    friend bool operator==(const LibrarySettings&, const LibrarySettings&) = default;
};

}  // namespace penmark
