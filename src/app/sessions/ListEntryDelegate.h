// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

namespace penmark {

/// What a model's rows may say beyond Qt::DisplayRole, which is their title.
struct ListEntry {
    enum Role {
        detailRole = Qt::UserRole + 1,  ///< QString: the second line; a row without one is as high as those with one
        sideRole,                       ///< QString: small, at the far end of the first line
        dotRole,                        ///< Dot as int
        headingRole,                    ///< bool: a heading, one line high
        idRole,                         ///< Uuid
    };
    enum class Dot {
        none,
        open,      ///< filled, in the accent
        putAside,  ///< a ring
        moment,    ///< small and quiet: it came by itself
        pinned,    ///< a diamond in the accent
    };
};

/// Rows of two lines with a dot before them, for all lists of the organiser. Qt::FontRole makes the title bold,
/// Qt::ForegroundRole is not asked: a row whose flags lack Qt::ItemIsEnabled is shown quiet. Main thread.
class ListEntryDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
};

/// The mark itself, also for the days of a month: centred, `side` pixels wide where it is largest.
void paintDot(QPainter& painter, ListEntry::Dot dot, QPointF centre, double side, const QColor& accent,
              const QColor& quiet);

}  // namespace penmark
