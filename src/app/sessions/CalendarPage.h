// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/CheckpointDaysModel.h"
#include "app/sessions/OrganiserPage.h"

class QBoxLayout;

namespace penmark {

class CheckpointView;
class EntryList;
class MonthGrid;
class SessionActions;
class SessionRecords;

/// Visits and checkpoints by day, and what a checkpoint holds. Everything is read in the background. Main thread.
class CalendarPage final : public OrganiserPage {
    Q_OBJECT

public:
    /// All outlive the page.
    CalendarPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents);
    ~CalendarPage() override;

    void takeFocus() override;

signals:
    void compareRequested(const Uuid& document, const Uuid& revision);
    void searchRequested(const Uuid& checkpoint);

private:
    void refresh() override;
    QBoxLayout* createMonth();
    void createDays();
    void take(SessionCalendar calendar);
    void showMarks();
    void dayChosen(QDate day);
    void rowChosen();
    QDate today() const;

    SessionRecords& records_;
    SessionActions& actions_;
    CheckpointDaysModel days_;
    MonthGrid* month_;
    EntryList* list_;
    QLabel* notice_;
    CheckpointView* view_;
    ItemList<SessionRun> shownRuns_;
    int request_ = 0;
    bool updating_ = false;
};

}  // namespace penmark
