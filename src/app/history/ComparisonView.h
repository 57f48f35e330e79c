// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/history/ComparisonColors.h"
#include "app/history/ComparisonLines.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QTextLayout>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace penmark {

/// Shows a comparison line by line: the line numbers of both texts, a sign for what was removed and added, and the
/// changed words marked. Only what is visible is laid out, so its size does not matter, except that all long lines are
/// when lines are wrapped.
///
/// One line is the current one, moved by keys and mouse; Shift selects lines from there on.
class ComparisonView final : public QAbstractScrollArea {
    Q_OBJECT

public:
    explicit ComparisonView(QWidget* parent = nullptr);
    ~ComparisonView() override;

    /// Another comparison, which begins at its first change; one that `keepsPlace` leaves everything where it was as
    /// far as it is still there.
    void setDiff(std::shared_ptr<const DocumentDiff> diff, bool keepsPlace = false);
    const ComparisonLines& lines() const { return lines_; }

    void setColors(const ColorScheme& colors);
    void setTextFont(const QFont& font, int tabWidth);
    void setWraps(bool wraps);
    bool wraps() const { return wraps_; }

    std::size_t currentLine() const { return current_; }
    void setCurrentLine(std::size_t line, bool selects = false);
    /// Folds or unfolds the run at the line, if there is one.
    void toggle(std::size_t line);
    /// To the next or the previous change; behind the last one comes the first.
    void goToChange(bool forwards);
    /// The number, from 0, of the change that the current line belongs to.
    std::optional<std::size_t> currentChange() const { return lines_.changeAt(current_); }

    /// First and last line; absent if nothing is selected.
    std::optional<std::pair<std::size_t, std::size_t>> selectedLines() const;
    void selectAll();
    /// The selected lines, or the current one.
    void copy();

    /// What a screen reader says: "removed: text".
    QString spokenText(std::size_t line) const;
    /// In the viewport; may lie outside of it.
    QRect lineRect(std::size_t line) const;
    std::optional<std::size_t> lineAt(QPoint viewportPoint) const;

signals:
    void placeChanged();  ///< another line is the current one, or there is another comparison
    void wrapsChanged(bool wraps);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// A row as it is seen: a line, or part of one that is wrapped.
    struct Row {
        std::size_t line = 0;
        int part = 0;
    };

    void linesChanged();
    void measure();
    void wrapLines();
    double widestLine();
    bool mayNeedWrapping(const DocumentDiffLine& line) const;
    QTextLayout& layoutOf(const DocumentDiffLine& line);
    std::unique_ptr<QTextLayout> makeLayout(const DocumentDiffLine& line, bool wraps) const;
    void updateScrollBars();

    std::size_t rowCount() const;
    Row row(std::size_t index) const;
    std::size_t firstRow(std::size_t line) const;
    std::size_t rowsOf(std::size_t line) const;
    std::size_t rowsOnPage() const;
    int gutterWidth() const;
    int textWidth() const;
    void showLines(std::size_t first, std::size_t last);
    bool moveByKey(const QKeyEvent& event);
    void dragTo(QPoint viewportPoint);

    void paintRow(QPainter& painter, const Row& at, int top);
    void paintGutter(QPainter& painter, const DocumentDiffLine& line, const QRect& box);
    void paintRun(QPainter& painter, std::size_t line, const QRect& box);
    void paintText(QPainter& painter, const DocumentDiffLine& line, int part, const QRect& box);
    void paintCurrent(QPainter& painter);
    bool isSelected(std::size_t line) const;

    ComparisonLines lines_;
    const ComparisonColors* colors_;
    QFont font_;
    int tabWidth_ = 4;
    bool wraps_ = false;
    std::vector<Row> rows_;  // while lines are wrapped; otherwise each line is one
    std::unordered_map<const DocumentDiffLine*, std::unique_ptr<QTextLayout>> layouts_;

    int rowHeight_ = 1;
    double cellWidth_ = 1;
    int numberWidths_[2] = {};  // of the line numbers of either text
    double widest_ = 0;         // of the texts, pixels; while lines are not wrapped

    std::size_t current_ = 0;
    std::optional<std::size_t> anchor_;  // where the selection began
    bool dragging_ = false;
    std::optional<std::size_t> pressedRun_;
    QPoint draggedTo_;
    QBasicTimer autoscroll_;
};

}  // namespace penmark
