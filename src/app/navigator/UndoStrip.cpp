// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/UndoStrip.h"

#include <QAccessible>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <set>
#include <utility>

namespace penmark {

UndoStrip::UndoStrip(QWidget* parent) : QWidget(parent), label_(new QLabel(this)), button_(new QPushButton(this))
{
    label_->setTextFormat(Qt::PlainText);
    label_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    button_->setText(tr("Undo"));
    button_->setAutoDefault(false);
    button_->installEventFilter(this);
    connect(button_, &QPushButton::clicked, this, &UndoStrip::undo);
    auto* const row = new QHBoxLayout(this);
    row->addWidget(label_, 1);
    row->addWidget(button_);
    const int margin = fontMetrics().height() / 3;
    row->setContentsMargins(2 * margin, margin, margin, margin);
    timer_.setSingleShot(true);
    timer_.setInterval(std::chrono::seconds(10));
    connect(&timer_, &QTimer::timeout, this, &UndoStrip::close);
    setVisible(false);
}

void UndoStrip::offer(const QList<Uuid>& documents, const QString& title)
{
    call_ = nullptr;
    std::set<Uuid> known(offered_.begin(), offered_.end());
    for (const Uuid& each : documents)
        if (known.insert(each).second)
            offered_ << each;
    if (offered_.isEmpty())
        return;
    show(offered_.size() == 1 ? tr("“%1” discarded").arg(title) : tr("%1 documents discarded").arg(offered_.size()));
}

void UndoStrip::offer(const QString& message, std::function<void()> undo)
{
    offered_.clear();
    call_ = std::move(undo);
    show(message);
}

void UndoStrip::show(const QString& message)
{
    message_ = message;
    label_->setAccessibleName(message_);
    button_->setAccessibleName(tr("Undo: %1").arg(message_));
    button_->setToolTip(tr("%1. Undo with Ctrl+Z in the list.").arg(message_));
    elide();
    setVisible(true);
    if (!button_->hasFocus())
        timer_.start();
    QAccessibleEvent announcement(label_, QAccessible::Alert);
    QAccessible::updateAccessibility(&announcement);
}

void UndoStrip::undo()
{
    const QList<Uuid> documents = std::exchange(offered_, {});
    const std::function<void()> call = std::exchange(call_, nullptr);
    if (documents.isEmpty() && !call)
        return;
    close();
    if (call)
        call();
    else
        emit undoRequested(documents);
}

void UndoStrip::close()
{
    const bool hadFocus = button_->hasFocus();
    timer_.stop();
    offered_.clear();
    call_ = nullptr;
    setVisible(false);
    emit closed(hadFocus);
}

bool UndoStrip::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == button_) {
        if (event->type() == QEvent::FocusIn) {
            timer_.stop();
        } else if (event->type() == QEvent::FocusOut && isVisible()) {
            timer_.start();
        } else if (event->type() == QEvent::KeyPress) {
            const auto* const key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_Escape) {
                close();
                return true;
            }
            if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
                undo();
                return true;
            }
        }
    }
    return QWidget::eventFilter(watched, event);
}

void UndoStrip::elide()
{
    label_->setText(label_->fontMetrics().elidedText(message_, Qt::ElideMiddle, label_->width()));
}

void UndoStrip::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layout()->activate();
    elide();
}

void UndoStrip::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.fillRect(0, 0, width(), 1, palette().color(QPalette::Mid));
}

}  // namespace penmark
