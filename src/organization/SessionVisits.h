// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/LocalDay.h"
#include "organization/SessionLibrary.h"

#include <functional>
#include <optional>

namespace penmark {

// The visits of a library: from each start of the program to its end, and the days that they touched.

constexpr int runDaysKept = 400;

/// Begins a visit. Those of this computer that are still running were interrupted: they become recovered. Returns the
/// latest of these, as it now is, for whoever tells of it. A recovered one that has no end keeps none.
std::optional<SessionRun> startRun(SessionLibrary& library, const Uuid& deviceID, Date now);

/// Ends the current visit as it should. Without one nothing happens.
void finishRun(SessionLibrary& library, Date now);

/// Whether the current visit has not seen this day. Without a visit there is no day to be entered.
bool isNewDay(const SessionLibrary& library, const LocalDay& day);

/// Notes that the current visit has entered a day, for which a checkpoint was taken.
void enterDay(SessionLibrary& library, const LocalDay& day, Date now, const Uuid& checkpointID);

/// A checkpoint is gone: days that name it say so.
void expireCheckpoint(SessionLibrary& library, const Uuid& checkpointID);

/// Removes visits that ended more than `runDaysKept` days ago and of which no checkpoint exists.
void trimRuns(SessionLibrary& library, const std::function<bool(const Uuid& checkpointID)>& exists, Date now);

}  // namespace penmark
