// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "organization/SessionLibrary.h"

#include <optional>
#include <string>

namespace penmark {

// Windows and tabs that were closed one by one, and their way back. At most `closedItemsKept` are kept, none longer
// than `closedItemDays`; the oldest go first.

constexpr std::size_t closedItemsKept = 500;
constexpr int closedItemDays = 90;

/// Takes the window out of its session and remembers it with its tabs. Tabs of a shown window that are put aside with a
/// workspace stay where they are, so that the workspace still finds them. Returns the item; absent if no session has
/// the window or there is nothing in it. Its session stays, also without windows.
std::optional<Uuid> closeWindow(SessionLibrary& library, const Uuid& window, std::string title, Date now);

/// Takes a tab out of its window. A window whose last tab that is shown goes is closed as one. Absent if there is no
/// such tab.
std::optional<Uuid> closeTab(SessionLibrary& library, const Uuid& window, const Uuid& document, std::string title,
                             Date now);

struct Reopened {
    Uuid session;
    Uuid window;
    std::optional<Uuid> document;  ///< of a tab
    bool isOtherSession = false;   ///< the original one is gone
};

/// Puts a closed item back into its session and takes it off the list: a tab into its window if that is there, at its
/// place, else into a window of its own; a window that is there again, or in part, gets its tabs back. If the session
/// is gone it joins the active one, or a new one. An open session is not needed; the caller opens one that is closed.
/// Throws closedItemGone.
Reopened reopenClosed(SessionLibrary& library, const Uuid& item, Date now);

/// Leaves those tabs out of a closed item that `isWanted` does not name, unless that would be all. One that is not
/// there changes nothing.
void keepClosedTabs(SessionLibrary& library, const Uuid& item, FunctionRef<bool(const Uuid& document)> isWanted);

/// Takes it off the list for good; the text stays in the library. One that is not there changes nothing.
void forgetClosed(SessionLibrary& library, const Uuid& item);

/// Keeps to the limits. Done whenever an item is added; for a library that was not used for long.
void trimClosed(SessionLibrary& library, Date now);

}  // namespace penmark
