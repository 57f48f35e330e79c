// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/FindMarkBar.h"

#include "app/editor/Colors.h"

#include <QPainter>
#include <QStyleOptionSlider>

namespace penmark {

void FindMarkBar::setMarks(std::vector<double> marks, const ColorScheme& colors)
{
    if (marks == marks_ && colors_ == &colors)
        return;
    marks_ = std::move(marks);
    colors_ = &colors;
    update();
}

QRect FindMarkBar::handle() const
{
    if (minimum() == maximum())
        return {};
    QStyleOptionSlider option;
    initStyleOption(&option);
    return style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
}

// Each key in a text changes the range by less than can be seen, and painting the bar costs as much as the line.
void FindMarkBar::sliderChange(SliderChange change)
{
    if (handle() != painted_)
        QScrollBar::sliderChange(change);
}

void FindMarkBar::paintEvent(QPaintEvent* event)
{
    painted_ = handle();
    QScrollBar::paintEvent(event);
    if (marks_.empty())
        return;
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect groove = style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarGroove, this);
    QPainter painter(this);
    for (const double mark : marks_)
        painter.fillRect(QRectF(groove.left() + 3, groove.top() + mark * groove.height(), groove.width() - 6, 2),
                         toColor(colors_->findMark).darker(150));
}

}  // namespace penmark
