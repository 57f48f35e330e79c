// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

namespace penmark {

/// One line of plain text that is cut with an ellipsis where it is too long, and then has the whole as its tool tip
/// unless it has one of its own. Never makes its window wider.
class ElidedLabel final : public QLabel {
public:
    ElidedLabel();

    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
};

}  // namespace penmark
