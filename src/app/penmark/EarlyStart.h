// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/ProgramOptions.h"
#include "app/windows/Program.h"
#include "storage/RecoveryConfiguration.h"

#include <vector>

namespace penmark {

/// What the command line asks to be opened, folders and standard input left out.
std::vector<OpenRequest> openRequests(const std::vector<OpenTarget>& targets);

/// Opens the library and reads what the first frame shows: the windows, what is in front of them, and the files of the
/// command line. Runs on a thread of its own while the toolkit starts; never throws.
EarlyLibrary startEarly(const RecoveryConfiguration& configuration, const Environment& environment,
                        const std::vector<OpenRequest>& files, bool restoresWindows,
                        LibraryAccess access = LibraryAccess::readWrite);

}  // namespace penmark
