// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <string>
#include <vector>

namespace penmark {

/// Makes records that were read a valid library, in memory: their rows stay as they are until they change for another
/// reason. A session whose parent is not there, or one of a loop, stands at the top; a window whose identity is there
/// already gets another one, with tabs of its own. Each adds a sentence to the problems.
void repairNesting(SessionLibrary& library, std::vector<std::string>& problems);
void separateDoubles(SessionLibrary& library, std::vector<std::string>& problems);

}  // namespace penmark
