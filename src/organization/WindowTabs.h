// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "storage/RecoveryWindow.h"

#include <optional>

namespace penmark {

// The tabs of a window's record: those that are shown, and those that are put aside, which have an identity and no
// place among the documents.

/// Takes away the tabs that `isWanted` does not name, those that are put aside too.
void keepTabs(RecoveryWindow& window, FunctionRef<bool(const Uuid& document)> isWanted);

/// The tab's identity; absent if the window does not have the document, or its record is an old one without identities.
std::optional<Uuid> tabIdentity(const RecoveryWindow& window, const Uuid& document);

/// Gives an identity to every tab that has none.
void identifyTabs(RecoveryWindow& window);

/// The tab is no longer shown, and stays in the window. If it was in front its neighbour is.
void putTabAside(RecoveryWindow& window, const Uuid& document);

/// Shows the tab, at its place if one is given and behind the others if not.
void showTab(RecoveryWindow& window, const Uuid& document, std::optional<std::size_t> index = {});
/// All that are put aside.
void showAllTabs(RecoveryWindow& window);

/// Takes the tab out of the window, with its identity and the editor's state.
void removeTab(RecoveryWindow& window, const Uuid& document);

}  // namespace penmark
