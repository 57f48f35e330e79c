// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/MessageBar.h"

#include "app/appearance/Icon.h"

#include <QAccessible>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QResizeEvent>
#include <QToolButton>
#include <algorithm>

namespace penmark {

namespace {

QColor mixed(const QColor& one, const QColor& other, double part)
{
    const auto mix = [part](int a, int b) { return static_cast<int>(a + (b - a) * part); };
    return {mix(one.red(), other.red()), mix(one.green(), other.green()), mix(one.blue(), other.blue())};
}

QColor signalColor(DocumentMessage::Weight weight, const QPalette& palette)
{
    switch (weight) {
    case DocumentMessage::Weight::note:
        return palette.color(QPalette::Highlight);
    case DocumentMessage::Weight::warning:
        return {0xD9, 0x8E, 0x04};
    case DocumentMessage::Weight::failure:
        return {0xD3, 0x2F, 0x2F};
    }
    return {};
}

}  // namespace

MessageBar::MessageBar(QWidget* parent)
    : QFrame(parent), label_(new QLabel(this)), buttons_(new QHBoxLayout), close_(new QToolButton(this))
{
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(14, 5, 6, 5);
    layout->setSpacing(8);
    label_->setTextFormat(Qt::PlainText);
    label_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label_->setWordWrap(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    layout->addWidget(label_, 1);
    buttons_->setSpacing(6);
    layout->addLayout(buttons_);
    close_->setAutoRaise(true);
    close_->setIcon(icon(IconShape::close));
    close_->setFocusPolicy(Qt::TabFocus);
    close_->setAccessibleName(tr("Hide This Message"));
    close_->setToolTip(tr("Hide (Esc)"));
    connect(close_, &QToolButton::clicked, this, &MessageBar::dismissed);
    layout->addWidget(close_);
    hide();
}

void MessageBar::show(const QString& sentence, DocumentMessage::Weight weight, const std::vector<Button>& buttons)
{
    sentence_ = sentence;
    weight_ = weight;
    while (QLayoutItem* item = buttons_->takeAt(0)) {
        item->widget()->deleteLater();
        item->widget()->hide();
        delete item;
    }
    QWidget* before = label_;  // new children would come behind everything else in the window
    for (const Button& button : buttons) {
        auto* const widget = new QPushButton(button.name, this);
        widget->setFocusPolicy(Qt::TabFocus);
        widget->setAutoDefault(true);  // Enter presses it, as in a dialog
        connect(widget, &QPushButton::clicked, this, button.run);
        buttons_->addWidget(widget);
        setTabOrder(before, widget);
        before = widget;
    }
    setTabOrder(before, close_);
    setAccessibleName(sentence);
    label_->setAccessibleName(sentence);
    label_->setText(sentence);
    setVisible(true);
    update();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

QSize MessageBar::sizeHint() const
{
    return {QFrame::sizeHint().width(), layout()->totalHeightForWidth(std::max(width(), minimumSizeHint().width()))};
}

void MessageBar::resizeEvent(QResizeEvent* event)
{
    QFrame::resizeEvent(event);
    if (event->oldSize().width() != width())
        updateGeometry();
}

bool MessageBar::event(QEvent* event)
{
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        emit dismissed();
        return true;
    }
    if (event->type() == QEvent::ShowToParent || event->type() == QEvent::HideToParent)
        emit shownOrHidden();
    return QFrame::event(event);
}

void MessageBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QColor signal = signalColor(weight_, palette());
    painter.fillRect(rect(), mixed(palette().color(QPalette::Base), signal, 0.14));
    painter.fillRect(QRect(0, 0, 4, height()), signal);
    painter.fillRect(QRect(0, height() - 1, width(), 1), mixed(palette().color(QPalette::Base), signal, 0.4));
}

}  // namespace penmark
