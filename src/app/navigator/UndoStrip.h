// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <QList>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <functional>

class QLabel;
class QPushButton;

namespace penmark {

/// Offers for some seconds to take back what was done. Documents that are discarded while it is shown join those that
/// it offers. It never takes the focus, and does not go while it has it.
class UndoStrip final : public QWidget {
    Q_OBJECT

public:
    explicit UndoStrip(QWidget* parent = nullptr);

    /// How long it stays; 10 s unless set.
    void setInterval(std::chrono::milliseconds interval) { timer_.setInterval(interval); }
    /// `title` is shown if it is but one document.
    void offer(const QList<Uuid>& documents, const QString& title);
    /// Offers to call `undo` in place of what was offered before.
    void offer(const QString& message, std::function<void()> undo);
    const QList<Uuid>& offered() const { return offered_; }
    /// Takes back what is offered, if anything is.
    void undo();

signals:
    void undoRequested(const QList<penmark::Uuid>& documents);
    void closed(bool hadFocus);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void close();
    void show(const QString& message);
    void elide();

    QList<Uuid> offered_;
    std::function<void()> call_;  // in place of documents
    QString message_;
    QLabel* label_;
    QPushButton* button_;
    QTimer timer_;
};

}  // namespace penmark
