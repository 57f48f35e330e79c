// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandRegistry.h"

#include <QList>
#include <functional>
#include <span>

class QAction;
class QMenu;

namespace penmark {

using ContextProvider = std::function<CommandContext()>;

/// Fills the menu when it is first shown, and brings it up to date each time. An entry is a command's id, "-" for a
/// separator, or ">" with the objectName of a menu that is a child of this one. Ids that do not exist are left out, and
/// so are separators with nothing to separate. The array, the registry and the provider's objects outlive the menu.
///
/// Keys are shown but not taken by the actions: they arrive as key presses (CommandRegistry::handleKey).
void fillMenu(QMenu& menu, std::span<const char* const> entries, CommandRegistry& registry, ContextProvider context);

/// Gives each text of a menu or menu bar a letter of its own to be chosen by, as far as letters go; those that have
/// one keep it.
void assignMnemonics(const QList<QAction*>& actions);

}  // namespace penmark
