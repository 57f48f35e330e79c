// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QIcon>

class QColor;
class QPainter;
class QRectF;

namespace penmark {

enum class IconShape {
    add,
    appearance,
    check,
    chevronDown,
    chevronRight,
    chevronUp,
    close,
    document,
    folder,
    keyboard,
    library,
    menu,
    pencil,
    privacy,
    reset,
    search,
    settings,
    warning
};

/// Drawn in the text colour that the program's palette has when it is painted, at any size and scale.
QIcon icon(IconShape shape);

void paintIcon(QPainter& painter, IconShape shape, const QRectF& rect, const QColor& color);

}  // namespace penmark
