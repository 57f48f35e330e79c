// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QKeyCombination>
#include <QLineEdit>

namespace penmark {

/// Takes the next key press for what it is, instead of doing what it does. Tab leaves the field, Esc empties it.
class KeyField final : public QLineEdit {
    Q_OBJECT

public:
    explicit KeyField(QWidget* parent = nullptr);

    bool hasKey() const { return key_.key() != 0 && key_.key() != Qt::Key_unknown; }
    QKeyCombination key() const { return key_; }
    void forget();

signals:
    void keyChanged();

private:
    bool event(QEvent* event) override;
    void take(const QKeyEvent& event);

    QKeyCombination key_ = QKeyCombination(Qt::Key_unknown);
};

}  // namespace penmark
