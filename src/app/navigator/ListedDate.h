// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"

#include <QString>

namespace penmark {

/// A moment as lists show it, in local time: "18:04" today, "yesterday 18:04", "12 Mar" this year, "12 Mar 2025".
QString listedDate(Date date, Date now);

}  // namespace penmark
