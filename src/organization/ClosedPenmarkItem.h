// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "storage/RecoveryWindow.h"

namespace penmark {

/// A window or tab that was taken out of its session and can be put back. A row of kind "closed".
struct ClosedPenmarkItem {
    Uuid id;
    Date closedAt;
    std::optional<Uuid> sessionID;  ///< where it was
    std::string title;
    RecoveryWindow window;                 ///< the window, or its identity and the one tab
    std::optional<std::int64_t> tabIndex;  ///< of a tab: its place in the window, from 0; absent for a window
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = ClosedPenmarkItem;
        return std::tuple{field("id", &R::id),       field("closedAt", &R::closedAt), field("sessionID", &R::sessionID),
                          field("title", &R::title), field("window", &R::window),     field("tabIndex", &R::tabIndex)};
    }
    friend bool operator==(const ClosedPenmarkItem&, const ClosedPenmarkItem&) = default;
};

}  // namespace penmark
