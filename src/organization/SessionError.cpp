// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionError.h"

namespace penmark {

const char* SessionError::what() const noexcept
{
    switch (which_) {
    case Case::duplicateIdentity:
        return "Duplicate session or window identity.";
    case Case::nestingLoop:
        return "A session cannot contain itself or one of its parents.";
    case Case::sessionGone:
        return "This session is no longer available.";
    case Case::windowGone:
        return "The window was closed before its workspace could be created.";
    case Case::windowNotOpen:
        return "This window is no longer open.";
    case Case::tabNotOpen:
        return "This tab is no longer open.";
    case Case::workspaceGone:
        return "Choose an available workspace.";
    case Case::projectGone:
        return "Choose an available project.";
    case Case::closedItemGone:
        return "This item is no longer in Recently Closed.";
    case Case::noProjectFolder:
        return "Choose a project folder.";
    case Case::unreadableFolder:
        return "This folder cannot be a project: its path is not valid UTF-8.";
    case Case::destinationNotOpen:
        return "The destination session is no longer open.";
    case Case::noCheckpointChosen:
        return "Choose a checkpoint.";
    case Case::checkpointGone:
        return "Choose an available checkpoint.";
    }
    return "";
}

}  // namespace penmark
