// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/ColorScheme.h"

#include <QColor>
#include <QTextCharFormat>

namespace penmark {

QColor toColor(Rgb rgb);
QTextCharFormat tokenFormat(const ColorScheme& colors, TokenKind kind);

}  // namespace penmark
