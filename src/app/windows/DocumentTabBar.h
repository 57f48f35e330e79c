// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <QTabBar>
#include <functional>
#include <vector>

class QMimeData;

namespace penmark {

/// The tabs of a window. They are dragged to another place, into another window, or out into a new one.
class DocumentTabBar final : public QTabBar {
    Q_OBJECT

public:
    explicit DocumentTabBar(const Uuid& window, QWidget* parent);

    /// What each tab shows, in order; keeps tabs that stay.
    struct Tab {
        Uuid document;
        QString title;
        QString toolTip;
        bool fileDiffers = false;
    };
    void setTabs(const std::vector<Tab>& tabs, std::optional<Uuid> current);
    void setTab(const Tab& tab);
    Uuid documentAt(int index) const;

    /// What a drag of tabs or of documents in a list carries.
    struct Dragged {
        std::optional<Uuid> window;  ///< the one that a tab comes from
        std::vector<Uuid> documents;
    };
    /// While a tab of this bar is dragged, with an event loop of its own.
    bool isDragging() const { return dragging_; }
    static std::optional<Dragged> draggedIn(const QMimeData& carried);

signals:
    void selected(const penmark::Uuid& document);
    void closeWanted(const penmark::Uuid& document);
    void menuWanted(const penmark::Uuid& document, const QPoint& at);
    void renameWanted(const penmark::Uuid& document);
    void newDraftWanted();
    void movedByUser(int from, int to);
    void droppedIn(const penmark::DocumentTabBar::Dragged& dragged, int index);
    void draggedOut(const penmark::Uuid& document);
    void dragEnded();

private:
    QSize tabSizeHint(int index) const override;
    QSize minimumTabSizeHint(int index) const override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void label(int index, const Tab& tab);
    void dragOut();

    Uuid window_;
    Uuid pressed_;
    bool setting_ = false;
    bool dragging_ = false;
    int wheel_ = 0;
};

}  // namespace penmark

Q_DECLARE_METATYPE(penmark::DocumentTabBar::Dragged)
