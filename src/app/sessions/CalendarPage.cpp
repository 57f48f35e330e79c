// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/CalendarPage.h"

#include "app/documents/DocumentRegistry.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/CheckpointView.h"
#include "app/sessions/EntryList.h"
#include "app/sessions/MonthGrid.h"
#include "app/sessions/SessionActions.h"
#include "organization/CheckpointStore.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <algorithm>

namespace penmark {

CalendarPage::CalendarPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents)
    : records_(records), actions_(actions), days_(documents), month_(new MonthGrid(today())), list_(new EntryList),
      notice_(makeNote({}, false)), view_(new CheckpointView(records, actions, documents))
{
    createDays();
    auto* const middle = new QWidget;
    auto* const column = new QVBoxLayout(middle);
    column->setContentsMargins(0, 0, 6, 0);
    column->addWidget(list_, 1);
    column->addWidget(notice_);
    auto* const right = new QWidget;
    auto* const rightColumn = new QVBoxLayout(right);
    rightColumn->setContentsMargins(6, 0, 0, 0);
    rightColumn->addWidget(view_);
    auto* const splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(middle);
    splitter->addWidget(right);
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({260, 420});
    auto* const body = new QHBoxLayout;
    body->setSpacing(12);
    body->addLayout(createMonth());
    body->addWidget(splitter, 1);
    auto* const whole = new QVBoxLayout(this);
    whole->addWidget(makeNote(tr("Return to earlier work by date."), false));
    whole->addLayout(body, 1);

    connect(view_, &CheckpointView::compareRequested, this, &CalendarPage::compareRequested);
    connect(view_, &CheckpointView::searchRequested, this, &CalendarPage::searchRequested);
    connect(&records_, &SessionRecords::checkpointsChanged, this, [this] { refreshSoon(); });
    connect(&records_, &SessionRecords::changed, this, [this] {
        if (!(records_.library().runs == shownRuns_))
            refreshSoon();
    });
}

CalendarPage::~CalendarPage()
{
    delete list_;  // before what it shows
}

QBoxLayout* CalendarPage::createMonth()
{
    auto* const column = new QVBoxLayout;
    connect(month_, &MonthGrid::dayChosen, this, [this](QDate day) { dayChosen(day); });
    column->addWidget(month_);
    column->addSpacing(6);
    QLabel* const note = makeNote(tr("History also keeps automatic daily checkpoints within each app visit."));
    note->setFixedWidth(month_->width());
    column->addWidget(note);
    QPushButton* const keep = addButton(*column, tr("Keep Checkpoint…"));
    keep->setToolTip(tr("Keeps everything as it is now until you remove it."));
    connect(keep, &QPushButton::clicked, this, [this] { actions_.askToKeepCheckpoint(*window()); });
    column->addStretch(1);
    return column;
}

void CalendarPage::createDays()
{
    list_->setModel(&days_);
    list_->setAccessibleName(tr("Visits and checkpoints"));
    connect(list_, &EntryList::currentRowChanged, this, [this] { rowChosen(); });
    connect(list_, &EntryList::deleteAsked, this, [this] { view_->askToDelete(); });
}

QDate CalendarPage::today() const
{
    return CheckpointDaysModel::dateOf(records_.calendar()(records_.now()).dayKey);
}

void CalendarPage::refresh()
{
    const int request = ++request_;
    shownRuns_ = records_.library().runs;
    records_.queue().read(
        this,
        [library = records_.library(), calendar = records_.calendar()](RecoveryStore& store) {
            const CheckpointStore::Headers all = CheckpointStore(store).headers();
            return std::pair(sessionCalendar(library, all.headers, calendar), all.problems);
        },
        [this, request](std::pair<SessionCalendar, std::vector<std::string>> answer) {
            if (request != request_)
                return;
            take(std::move(answer.first));
            if (!answer.second.empty()) {
                notice_->setText(QString::fromStdString(answer.second.front()));
                notice_->show();
            }
        },
        [this, request](const RecoveryError& error) {
            if (request != request_)
                return;
            notice_->setText(QString::fromUtf8(error.what()));
            notice_->show();
        });
}

void CalendarPage::take(SessionCalendar calendar)
{
    const std::optional<CalendarCheckpoint> before = view_->shown();
    updating_ = true;
    days_.show(std::move(calendar), today());
    showMarks();
    notice_->setText(tr("The first checkpoint is taken today."));
    notice_->setVisible(!days_.hasCheckpoints());
    QModelIndex index = before ? days_.indexOf(before->header.id) : QModelIndex();
    if (!index.isValid())
        index = days_.indexOfDay(month_->day());
    if (index.isValid())
        list_->select(index);
    updating_ = false;
    view_->show(days_.checkpoint(list_->currentIndex()));
}

void CalendarPage::showMarks()
{
    MonthGrid::Marks marks;
    for (const CalendarDay& day : days_.calendar().days) {
        MonthGrid::Mark& mark = marks[CheckpointDaysModel::dateOf(day.dayKey)];
        mark.visits = static_cast<int>(day.visits.size());
        mark.checkpoints = static_cast<int>(day.checkpoints.size());
        mark.pinned = std::any_of(day.checkpoints.begin(), day.checkpoints.end(),
                                  [](const CalendarCheckpoint& each) { return each.header.pinned; });
    }
    month_->setToday(today());
    month_->setMarks(std::move(marks));
}

/// The day's heading comes to the top of the list; a day without anything leaves the list where it is.
void CalendarPage::dayChosen(QDate day)
{
    const QModelIndex index = days_.indexOfDay(day);
    if (!index.isValid())
        return;
    list_->select(index);
    list_->scrollTo(index, QAbstractItemView::PositionAtTop);
}

void CalendarPage::rowChosen()
{
    if (updating_)
        return;
    const QModelIndex current = list_->currentIndex();
    if (const QDate day = days_.day(current); day.isValid())
        month_->setDay(day);
    view_->show(days_.checkpoint(current));
}

void CalendarPage::takeFocus()
{
    list_->setFocus();
}

}  // namespace penmark
