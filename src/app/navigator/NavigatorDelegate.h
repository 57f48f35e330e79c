// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorModel.h"
#include "base/Date.h"

#include <QFont>
#include <QFontMetrics>
#include <QStyledItemDelegate>

namespace penmark {

/// Draws the rows of the navigator and edits titles in place. Takes its colours from the palette and all of its sizes
/// from the font. Of the state of a row it uses State_Selected, State_MouseOver, State_HasFocus, State_Active (the list
/// has the focus) and, for headings, State_Open.
class NavigatorDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// The model outlives the delegate.
    explicit NavigatorDelegate(const NavigatorModel& model, Clock clock, QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    /// Whether this is where the row is expanded and collapsed by the mouse.
    bool isChevron(const QStyleOptionViewItem& option, const NavigatorRow& row, QPoint position) const;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

private:
    struct Colors {
        QColor background;
        QColor text;
        QColor quiet;
        QColor mark;
    };
    /// Measured once for a font.
    struct Type {
        explicit Type(const QFont& base);
        QFont title;
        QFont front;  // title of the document in front
        QFont small;
        QFont heading;
        QFontMetrics titleMetrics;
        QFontMetrics smallMetrics;
        int margin = 0;  // around what is written
        int gutter = 0;  // before it, for the chevron
        int height = 0;  // of a row
    };
    const Type& type(const QFont& font) const;
    Colors colors(const QStyleOptionViewItem& option) const;

    void paintHeading(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void paintBackground(QPainter& painter, const QStyleOptionViewItem& option, const Colors& colors) const;
    void paintMessage(QPainter& painter, const QStyleOptionViewItem& option, const NavigatorRow& row) const;
    void paintTitle(QPainter& painter, const QStyleOptionViewItem& option, QRect line, const NavigatorRow& row,
                    const Colors& colors) const;
    void paintSecondLine(QPainter& painter, const QStyleOptionViewItem& option, QRect line, const NavigatorRow& row,
                         const Colors& colors) const;
    void paintChevron(QPainter& painter, const QStyleOptionViewItem& option, QPointF center, const QColor& color) const;
    void paintMarkedText(QPainter& painter, const QStyleOptionViewItem& option, QRect line, const QString& text,
                         const QFont& font, const Colors& colors) const;
    void paintBadges(QPainter& painter, const QStyleOptionViewItem& option, QRect& line, const NavigatorRow& row,
                     const Colors& colors) const;
    QRect titleLine(const QStyleOptionViewItem& option, int depth = 0) const;
    int indent(const QStyleOptionViewItem& option, int depth) const;

    const NavigatorModel& model_;
    Clock clock_;
    mutable QFont measuredFont_;
    mutable std::optional<Type> type_;
};

}  // namespace penmark
