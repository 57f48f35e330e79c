// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>

namespace penmark {

/// Why sessions, workspaces, projects, checkpoints or history cannot do what was asked. what() is the complete
/// sentence, shown as it stands. Failures of the library itself are RecoveryErrors.
class SessionError : public std::exception {
public:
    enum class Case {
        duplicateIdentity,  ///< two sessions, or two windows, with the same identity
        nestingLoop,        ///< a session would enclose itself, or be nested in one that is not there
        sessionGone,        ///< the session of this action
        windowGone,         ///< closed before its workspace was made
        windowNotOpen,      ///< a window that is to be moved or linked
        tabNotOpen,         ///< a tab that is to be linked
        workspaceGone,
        projectGone,
        closedItemGone,
        noProjectFolder,     ///< a project without a folder
        unreadableFolder,    ///< a project whose path is not valid UTF-8
        destinationNotOpen,  ///< a move into a session that has closed
        noCheckpointChosen,
        checkpointGone,
    };

    explicit SessionError(Case which) : which_(which) {}

    Case which() const noexcept { return which_; }
    const char* what() const noexcept override;

private:
    Case which_;
};

}  // namespace penmark
