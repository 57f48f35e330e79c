// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorModel.h"

#include <QList>
#include <QTreeView>

namespace penmark {

/// The list of the navigator: turns keys and clicks into what they ask for, and does nothing about it itself.
class NavigatorTree final : public QTreeView {
    Q_OBJECT

public:
    /// The model outlives the view.
    explicit NavigatorTree(NavigatorModel& model, QWidget* parent = nullptr);

    /// The documents that are selected, in the order of the rows, each once.
    QList<Uuid> selectedDocuments() const;
    /// Rows of a section that are selected, in order.
    NavigatorSection::Rows selectedRows(const NavigatorSection& section) const;
    /// The first row that is seen and no message; none without.
    QModelIndex firstDocument() const;
    /// This row and no other, whichever modifiers are held: setCurrentIndex would heed them.
    void select(const QModelIndex& index);
    /// Has the keys go to the row that is current, or to the first.
    void enter();

signals:
    void activated(const QModelIndex& index, NavigatorSection::Activation how);
    void peeked();
    void renameAsked();
    void discardAsked();
    void undoAsked();
    void left();
    void leftUpwards();
    void typed(const QString& text);
    void menuAsked(QPoint globalPosition);

public:
    void keyboardSearch(const QString& text) override { emit typed(text); }

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void drawBranches(QPainter*, const QRect&, const QModelIndex&) const override {}

private:
    bool run(const QKeyEvent& event);
    bool fold(int key);
    void setHovered(const QModelIndex& index);
    void setDropTarget(const QModelIndex& index);
    bool isChevron(const QModelIndex& index, QPoint position) const;
    bool toggle(const QModelIndex& index);

    NavigatorModel& model_;
    QPersistentModelIndex hovered_;
    QPersistentModelIndex dropTarget_;
};

}  // namespace penmark
