// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/OrganiserPage.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace penmark {

namespace {

constexpr int refreshDelay = 30;  // milliseconds

}  // namespace

OrganiserPage::OrganiserPage()
{
    timer_.setSingleShot(true);
    timer_.setInterval(refreshDelay);
    connect(&timer_, &QTimer::timeout, this, [this] { refreshNow(); });
}

void OrganiserPage::refreshSoon()
{
    stale_ = true;
    if (isVisible() && !timer_.isActive())
        timer_.start();
}

void OrganiserPage::refreshNow()
{
    timer_.stop();
    stale_ = false;
    refresh();
}

void OrganiserPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (stale_)
        refreshNow();
}

QPushButton* OrganiserPage::addButton(QBoxLayout& layout, const QString& text)
{
    auto* const button = new QPushButton(text);
    button->setAutoDefault(false);
    layout.addWidget(button);
    return button;
}

QLabel* OrganiserPage::makeNote(const QString& text, bool quiet)
{
    auto* const label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    if (quiet)
        label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

}  // namespace penmark
