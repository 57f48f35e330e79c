// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorSection.h"

namespace penmark {

QString NavigatorSection::countText() const
{
    return count() == 1 ? tr("1 document") : tr("%1 documents").arg(count());
}

void NavigatorSection::setExpanded(int, bool) {}

bool NavigatorSection::activate(const Rows&, Activation)
{
    return false;
}

bool NavigatorSection::rename(int, const QString&)
{
    return false;
}

bool NavigatorSection::remove(const Rows&)
{
    return false;
}

void NavigatorSection::fillMenu(QMenu&, const Rows&) {}

void NavigatorSection::drag(int, DraggedRows&) const {}

bool NavigatorSection::canDrop(const DraggedRows&, int) const
{
    return false;
}

void NavigatorSection::drop(const DraggedRows&, int) {}

}  // namespace penmark
