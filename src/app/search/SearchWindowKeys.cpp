// SPDX-License-Identifier: GPL-3.0-or-later
// Keys that hold anywhere in a search window, and whether it is seen.

#include "app/search/QueryField.h"
#include "app/search/SearchWindow.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QShortcut>
#include <QWindow>

namespace penmark {

void SearchWindow::createShortcuts()
{
    connect(new QShortcut(QKeySequence(Qt::Key_F5), this), &QShortcut::activated, this, [this] { search(true); });
    connect(new QShortcut(QKeySequence(Qt::Key_F4), this), &QShortcut::activated, this, [this] { step(1); });
    connect(new QShortcut(QKeySequence(Qt::SHIFT | Qt::Key_F4), this), &QShortcut::activated, this,
            [this] { step(-1); });
    connect(new QShortcut(QKeySequence(Qt::ALT | Qt::Key_R), this), &QShortcut::activated, this, [this] {
        const bool isRegex = mode_->currentData().toInt() == static_cast<int>(TextMatchMode::regex);
        setMode(isRegex ? TextMatchMode::literal : TextMatchMode::regex);
    });
    connect(new QShortcut(QKeySequence(QKeySequence::Find), this), &QShortcut::activated, this,
            &SearchWindow::focusQuery);
}

void SearchWindow::focusQuery()
{
    query_->setFocus(Qt::ShortcutFocusReason);
    query_->selectAll();
}

void SearchWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        if (controller_->search().running())
            controller_->search().stop();
        else
            emit leave();
    } else if (event->matches(QKeySequence::Close)) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void SearchWindow::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // Whether the window is covered is told to what carries it on the screen.
    windowHandle()->removeEventFilter(this);
    windowHandle()->installEventFilter(this);
    updateSeen();
}

void SearchWindow::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    updateSeen();
}

void SearchWindow::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange)
        updateSeen();
}

bool SearchWindow::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::Expose && object == windowHandle())
        updateSeen();
    return QWidget::eventFilter(object, event);
}

void SearchWindow::updateSeen()
{
    const QWindow* const handle = windowHandle();
    controller_->search().setVisible(isVisible() && !isMinimized() && handle && handle->isExposed());
}

}  // namespace penmark
