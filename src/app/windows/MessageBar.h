// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/windows/DocumentMessage.h"

#include <QFrame>
#include <functional>
#include <vector>

class QHBoxLayout;
class QLabel;
class QToolButton;

namespace penmark {

/// One line above a document: a sentence, what can be done about it, and a button that hides it. Never takes the focus
/// by itself.
class MessageBar final : public QFrame {
    Q_OBJECT

public:
    struct Button {
        QString name;
        std::function<void()> run;
    };

    explicit MessageBar(QWidget* parent);

    void show(const QString& sentence, DocumentMessage::Weight weight, const std::vector<Button>& buttons);
    QString sentence() const { return sentence_; }

    /// As high as the sentence needs at the bar's width.
    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return false; }

signals:
    void dismissed();
    void shownOrHidden();  ///< not with its window

private:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

    QString sentence_;
    DocumentMessage::Weight weight_ = DocumentMessage::Weight::note;
    QLabel* label_;
    QHBoxLayout* buttons_;
    QToolButton* close_;
};

}  // namespace penmark
