// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <string>

namespace penmark {

// Project folders. Their files stay where they are; removing a project removes a row.

/// Adds the folder, an absolute path, and names it after its last part. One that is there already is returned as it is.
/// Throws noProjectFolder without a path.
Uuid addProject(SessionLibrary& library, std::string path);
/// Throws projectGone. An empty name is that of the folder.
void renameProject(SessionLibrary& library, const Uuid& project, std::string name);
/// The folder was found elsewhere.
void locateProject(SessionLibrary& library, const Uuid& project, std::string path);
/// Takes it away from the sessions that it is attached to as well.
void removeProject(SessionLibrary& library, const Uuid& project);

}  // namespace penmark
