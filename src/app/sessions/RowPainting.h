// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QStyle>

class QStyleOptionViewItem;

namespace penmark {

/// What a row of a list is painted with.
struct RowColors {
    QColor background;
    QColor text;
    QColor quiet;   ///< of what stands beside the text, readable on the background
    QColor accent;  ///< of marks
};

/// A selected row that has all these states is painted on the highlight itself, another selected one on a hint of it.
RowColors rowColors(const QStyleOptionViewItem& option, QStyle::State strong = QStyle::State_Active);

/// The font of what stands beside or below the text of a row.
QFont smallRowFont(QFont font);

/// The space around the parts of a row whose texts have this font, in pixels.
int rowMargin(const QFont& font);

}  // namespace penmark
