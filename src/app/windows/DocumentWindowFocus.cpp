// SPDX-License-Identifier: GPL-3.0-or-later
// How the keyboard goes from one part of a window to another, since Tab types a tab in the text.
#include "app/find/FindBar.h"
#include "app/navigator/NavigatorView.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/MessageBar.h"

#include <QApplication>

namespace penmark {

namespace {

QWidget* firstIn(QWidget& part)
{
    for (QWidget* each = part.nextInFocusChain(); each != &part; each = each->nextInFocusChain()) {
        if (part.isAncestorOf(each) && each->isVisible() && each->isEnabled() && (each->focusPolicy() & Qt::TabFocus))
            return each;
    }
    return nullptr;
}

}  // namespace

void DocumentWindow::focusPart(int steps)
{
    DocumentPane* const front = pane();
    if (!front)
        return;
    std::vector<QWidget*> parts{front};
    for (QWidget* part :
         {static_cast<QWidget*>(front->findBar()), static_cast<QWidget*>(front->bar()), static_cast<QWidget*>(bar_),
          static_cast<QWidget*>(status_), tabBar_->parentWidget(), static_cast<QWidget*>(navigator_)}) {
        if (part && part->isVisible() && firstIn(*part))
            parts.push_back(part);
    }
    // The last one, since the text's own bars lie inside of what holds the text.
    std::size_t present = 0;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (parts[index]->isAncestorOf(QApplication::focusWidget()))
            present = index;
    }
    QWidget* const next =
        parts[(present + parts.size() + static_cast<std::size_t>(steps + static_cast<int>(parts.size()))) %
              parts.size()];
    if (next == front)
        front->focusText();
    else if (next == navigator_)
        navigator_->focusFilter();
    else
        firstIn(*next)->setFocus(Qt::TabFocusReason);
}

}  // namespace penmark
