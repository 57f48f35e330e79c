// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>
#include <QScrollBar>
#include <vector>

namespace penmark {

struct ColorScheme;

/// A vertical scroll bar that shows where in the text the marks stand.
class FindMarkBar final : public QScrollBar {
    Q_OBJECT

public:
    explicit FindMarkBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {}
    /// From 0, the start of the text, to 1; ascending. The colours outlive the bar.
    void setMarks(std::vector<double> marks, const ColorScheme& colors);

protected:
    void paintEvent(QPaintEvent* event) override;
    void sliderChange(SliderChange change) override;

private:
    QRect handle() const;

    QRect painted_;  // the handle
    std::vector<double> marks_;
    const ColorScheme* colors_ = nullptr;
};

}  // namespace penmark
