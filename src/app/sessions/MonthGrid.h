// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDate>
#include <QWidget>
#include <map>
#include <memory>

class QLabel;
class QTableView;

namespace penmark {

class MonthModel;

/// A month to choose a day from, with marks on the days on which something happened. Arrows go by day and week, Page Up
/// and Page Down by month, Home and End to its ends; weeks begin as the locale has it. Main thread.
class MonthGrid final : public QWidget {
    Q_OBJECT

public:
    struct Mark {
        int visits = 0;
        int checkpoints = 0;
        bool pinned = false;  ///< one of the checkpoints is

        friend bool operator==(const Mark&, const Mark&) = default;
    };
    using Marks = std::map<QDate, Mark>;

    explicit MonthGrid(QDate today);
    ~MonthGrid() override;

    /// Where today was the chosen day it stays that.
    void setToday(QDate today);
    void setMarks(Marks marks);
    QDate day() const { return day_; }
    /// Shows its month too. Says nothing.
    void setDay(QDate day);

signals:
    void dayChosen(QDate day);  ///< by the user

private:
    bool eventFilter(QObject* object, QEvent* event) override;
    void createHeader(QWidget& header);
    void choose(QDate day);

    std::unique_ptr<MonthModel> model_;
    QTableView* table_;
    QLabel* month_;
    QDate day_;
    bool updating_ = false;
};

}  // namespace penmark
