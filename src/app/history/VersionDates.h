// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"

#include <QDate>
#include <QString>

namespace penmark {

/// How the moments of versions are written, in local time.

QDate localDay(Date date);
/// "Today", "Yesterday", "Thursday, 12 March 2026".
QString dayHeading(QDate day, QDate today);
/// "14:02:11".
QString timeOfDay(Date date);
/// "14:02:11" today, "12 Mar 2026 14:02:11" before.
QString momentText(Date date, Date now);

}  // namespace penmark
