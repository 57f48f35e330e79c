// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionsWindow.h"

#include "app/documents/SessionRecords.h"
#include "app/sessions/CalendarPage.h"
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/SessionsPage.h"
#include "app/sessions/StarterDialog.h"
#include "app/sessions/WorkspacesPage.h"

#include <QHideEvent>
#include <QKeyEvent>
#include <QShortcut>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

namespace penmark {

namespace {

constexpr int sessionsIndex = static_cast<int>(SessionActions::OrganiserPage::sessions);
constexpr int calendarIndex = static_cast<int>(SessionActions::OrganiserPage::calendar);
constexpr int workspacesIndex = static_cast<int>(SessionActions::OrganiserPage::workspaces);

}  // namespace

SessionsWindow::SessionsWindow(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                               LibraryQueue& library)
    : QWidget(nullptr, Qt::Window), records_(records), actions_(actions), documents_(documents),
      previews_(new DocumentPreviews(documents, library)), tabs_(new QTabWidget)
{
    previews_->setParent(this);
    setWindowTitle(tr("Sessions"));
    resize(1040, 680);
    setMinimumSize(820, 460);
    tabs_->setDocumentMode(true);
    tabs_->tabBar()->setAccessibleName(tr("Pages"));
    for (const QString& title : {tr("Sessions"), tr("Calendar"), tr("Workspaces")}) {
        auto* const place = new QWidget;
        auto* const layout = new QVBoxLayout(place);
        layout->setContentsMargins(0, 0, 0, 0);
        tabs_->addTab(place, title);
        pages_.push_back(nullptr);
    }
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(tabs_);
    connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) { ensurePage(index); });
    for (const int step : {1, -1}) {
        auto* const keys =
            new QShortcut(QKeySequence(step > 0 ? QStringLiteral("Ctrl+PgDown") : QStringLiteral("Ctrl+PgUp")), this);
        connect(keys, &QShortcut::activated, this,
                [this, step] { turnTo((tabs_->currentIndex() + step + tabs_->count()) % tabs_->count()); });
    }
}

SessionsWindow::~SessionsWindow()
{
    delete tabs_;  // its pages look at the previews
}

OrganiserPage* SessionsWindow::createPage(int index)
{
    if (index == calendarIndex) {
        auto* const calendar = new CalendarPage(records_, actions_, documents_);
        connect(calendar, &CalendarPage::compareRequested, this, &SessionsWindow::compareRequested);
        connect(calendar, &CalendarPage::searchRequested, this, &SessionsWindow::searchRequested);
        return calendar;
    }
    if (index == workspacesIndex)
        return workspaces_ = new WorkspacesPage(records_, actions_, documents_);
    sessions_ = new SessionsPage(records_, actions_, documents_, *previews_);
    connect(sessions_, &SessionsPage::starterAsked, this, [this](const Uuid& session) { saveAsStarter(session); });
    return sessions_;
}

OrganiserPage* SessionsWindow::ensurePage(int index)
{
    OrganiserPage*& page = pages_[static_cast<std::size_t>(index)];
    if (page == nullptr) {
        page = createPage(index);
        tabs_->widget(index)->layout()->addWidget(page);
    }
    return page;
}

void SessionsWindow::turnTo(int index)
{
    OrganiserPage* const page = ensurePage(index);
    tabs_->setCurrentIndex(index);
    page->takeFocus();
}

void SessionsWindow::showPage(SessionActions::OrganiserPage page)
{
    if (!isVisible()) {
        previews_->forget();
        records_.collectNow();
        for (OrganiserPage* const each : pages_) {
            if (each != nullptr)
                each->refreshSoon();
        }
    }
    turnTo(static_cast<int>(page));
    show();
    if (isMinimized())
        showNormal();
    raise();
    activateWindow();
}

void SessionsWindow::showWorkspace(const Uuid& workspace)
{
    ensurePage(workspacesIndex);
    workspaces_->showWorkspace(workspace);
    showPage(SessionActions::OrganiserPage::workspaces);
}

void SessionsWindow::saveAsStarter(const Uuid& session)
{
    std::set<std::string> taken;
    for (const SessionStarter& starter : starters_)
        taken.insert(starter.name);
    auto* const dialog = new StarterDialog(this, records_, documents_, session, std::move(taken));
    connect(dialog, &StarterDialog::made, this, &SessionsWindow::starterMade);
    dialog->open();
}

void SessionsWindow::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        previews_->forget();  // with what filters keep of them
}

void SessionsWindow::keyPressEvent(QKeyEvent* event)
{
    const bool onSessions = tabs_->currentIndex() == sessionsIndex && sessions_ != nullptr;
    if (event->matches(QKeySequence::Find) && onSessions) {
        sessions_->focusFilter();
    } else if (event->matches(QKeySequence::Close)) {
        close();
    } else if (event->key() == Qt::Key_Escape) {
        if (!onSessions || !sessions_->clearFilter())
            close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

}  // namespace penmark
