// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandMenu.h"
#include "app/commands/CommandRegistry.h"

#include <QFrame>
#include <QPointer>

class QLabel;
class QLineEdit;
class QListView;
class QModelIndex;

namespace penmark {

class CommandList;

/// A list of all commands over the upper part of a window, found by typing parts of their names. Enter runs one once
/// the palette has closed and the focus is back where it was; Esc, or a click elsewhere, closes it.
class CommandPalette final : public QFrame {
    Q_OBJECT

public:
    /// The registry outlives the palette. It becomes a child of the window.
    CommandPalette(CommandRegistry& registry, ContextProvider context, QWidget& window);
    ~CommandPalette() override;

    void open();
    /// As Esc does.
    void dismiss();

private:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;
    bool handleKey(const QKeyEvent& event);
    void filter();
    void move(int rows);
    void runCurrent();
    void announceCurrent();
    void place();

    CommandRegistry& registry_;
    ContextProvider context_;
    QLineEdit* line_;
    QListView* view_;
    QLabel* nothing_;
    CommandList* list_;
    QPointer<QWidget> focusBefore_;
};

}  // namespace penmark
