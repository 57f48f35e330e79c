// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <string_view>

namespace penmark {

/// A part of a text as UTF-16, unit by unit: one that begins with U+FEFF keeps it, which QString takes for a mark of
/// the encoding and drops.
QString toQString(std::string_view utf8);

}  // namespace penmark
