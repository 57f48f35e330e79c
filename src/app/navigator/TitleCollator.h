// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCollator>

namespace penmark {

/// How titles and names of files are sorted: as the user's language does, without case, numbers by their value. Any
/// thread; a collator is used by one.
QCollator titleCollator();

}  // namespace penmark
