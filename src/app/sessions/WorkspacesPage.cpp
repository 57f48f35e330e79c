// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/WorkspacesPage.h"

#include "app/documents/DocumentRegistry.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/ElidedLabel.h"
#include "app/sessions/EntryList.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionTitles.h"

#include <QBoxLayout>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <algorithm>

namespace penmark {

namespace {

constexpr std::size_t menuLimit = 60;  // entries of a menu

QString menuText(const QMenu& menu, const QString& title)
{
    return menu.fontMetrics().elidedText(title, Qt::ElideRight, 360).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

bool isAmong(const std::vector<Uuid>& all, const Uuid& one)
{
    return std::find(all.begin(), all.end(), one) != all.end();
}

}  // namespace

WorkspacesPage::WorkspacesPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents)
    : records_(records), actions_(actions), documents_(documents), model_(records, documents),
      membersModel_(records, documents), list_(new EntryList), members_(new EntryList),
      empty_(makeNote(tr("No workspace yet. A workspace links windows and tabs of any sessions without moving them."))),
      title_(new ElidedLabel), note_(makeNote({}))
{
    auto* const splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(createLeft());
    splitter->addWidget(createRight());
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({340, 560});
    auto* const whole = new QVBoxLayout(this);
    whole->addWidget(splitter);
    connect(&records_, &SessionRecords::changed, this, [this] { refreshSoon(); });
    connect(&documents_.headers(), &DocumentHeaders::loaded, this, [this] { refreshSoon(); });
    connect(&documents_.headers(), &DocumentHeaders::changed, this, [this] { refreshSoon(); });
}

WorkspacesPage::~WorkspacesPage()
{
    delete list_;  // before what they show
    delete members_;
}

QWidget* WorkspacesPage::createLeft()
{
    auto* const left = new QWidget;
    auto* const layout = new QVBoxLayout(left);
    layout->setContentsMargins(0, 0, 6, 0);
    list_->setModel(&model_);
    list_->setUniformRowHeights(true);
    list_->setAccessibleName(tr("Workspaces"));
    layout->addWidget(list_, 1);
    layout->addWidget(empty_);
    make_ = addButton(*layout, tr("New Workspace with This Window"));
    make_->setToolTip(tr("Links the window that was used last."));
    connect(list_, &EntryList::currentRowChanged, this, [this] {
        if (!refreshing_)
            showCurrent();
    });
    connect(list_, &QTreeView::activated, this, [this] {
        if (const PenmarkWorkspace* const workspace = current())
            workspace->isOpen ? actions_.focusWorkspace(workspace->id) : actions_.reopenWorkspace(workspace->id);
    });
    connect(list_, &EntryList::deleteAsked, this, [this] { askToRemove(); });
    connect(make_, &QPushButton::clicked, this, [this] {
        if (const auto front = frontWindow())
            actions_.askForNewWorkspace(*window(), *front);
    });
    return left;
}

QWidget* WorkspacesPage::createRight()
{
    auto* const right = new QWidget;
    auto* const layout = new QVBoxLayout(right);
    layout->setContentsMargins(6, 0, 0, 0);
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.2);
    large.setBold(true);
    title_->setFont(large);
    members_->setModel(&membersModel_);
    members_->setAccessibleName(tr("Members of the workspace"));
    layout->addWidget(title_);
    layout->addWidget(note_);
    layout->addWidget(members_, 1);

    auto* const links = new QHBoxLayout;
    linkWindow_ = addButton(*links, tr("Link Window…"));
    linkTab_ = addButton(*links, tr("Link Tab…"));
    unlink_ = addButton(*links, tr("Unlink"));
    unlink_->setToolTip(tr("The window or tab stays where it is."));
    links->addStretch(1);
    layout->addLayout(links);
    auto* const states = new QHBoxLayout;
    focus_ = addButton(*states, tr("Focus"));
    close_ = addButton(*states, tr("Close Workspace"));
    rename_ = addButton(*states, tr("Rename…"));
    states->addStretch(1);
    remove_ = addButton(*states, tr("Remove Workspace…"));
    remove_->setToolTip(tr("Only the group is removed; nothing is deleted."));
    layout->addLayout(states);

    for (QPushButton* const button : {linkWindow_, linkTab_}) {
        auto* const menu = new QMenu(button);
        button->setMenu(menu);
        connect(menu, &QMenu::aboutToShow, this, [this, menu, isWindow = button == linkWindow_] {
            menu->clear();
            isWindow ? fillWindows(*menu) : fillTabs(*menu);
            if (menu->isEmpty())
                menu->addAction(isWindow ? tr("All open windows are linked") : tr("All open tabs are linked"))
                    ->setEnabled(false);
        });
    }
    connect(unlink_, &QPushButton::clicked, this, [this] { unlink(); });
    connect(members_, &EntryList::deleteAsked, this, [this] { unlink(); });
    connect(members_, &EntryList::currentRowChanged, this, [this] { showButtons(); });
    connect(members_, &QTreeView::activated, this, [this](const QModelIndex& index) {
        if (const auto* const row = membersModel_.member(index); row != nullptr && row->window)
            actions_.showWindow(*row->window, row->document);
    });
    connect(focus_, &QPushButton::clicked, this, [this] {
        const PenmarkWorkspace* const workspace = current();
        if (workspace == nullptr)
            return;
        if (records_.library().settings.focusedWorkspaceID == workspace->id)
            actions_.showAllOpenWorkspaces();
        else
            actions_.focusWorkspace(workspace->id);
    });
    connect(close_, &QPushButton::clicked, this, [this] {
        if (const PenmarkWorkspace* const workspace = current())
            workspace->isOpen ? actions_.closeWorkspace(workspace->id) : actions_.reopenWorkspace(workspace->id);
    });
    connect(rename_, &QPushButton::clicked, this, [this] { rename(); });
    connect(remove_, &QPushButton::clicked, this, [this] { askToRemove(); });
    return right;
}

const PenmarkWorkspace* WorkspacesPage::current() const
{
    const auto id = model_.workspace(list_->currentIndex());
    return id ? records_.library().workspaces.find(*id) : nullptr;
}

void WorkspacesPage::showWorkspace(const Uuid& workspace)
{
    wanted_ = workspace;
    if (isVisible())
        refreshNow();
}

void WorkspacesPage::refresh()
{
    const auto before = model_.workspace(list_->currentIndex());
    refreshing_ = true;
    model_.refresh();
    QModelIndex index = wanted_ ? model_.indexOf(*wanted_) : QModelIndex();
    if (index.isValid())
        wanted_.reset();
    else if (before)
        index = model_.indexOf(*before);
    if (!index.isValid())
        index = model_.index(0);
    if (index.isValid())
        list_->select(index);
    refreshing_ = false;
    empty_->setVisible(model_.rowCount() == 0);
    make_->setEnabled(frontWindow().has_value());
    showCurrent();
}

void WorkspacesPage::showCurrent()
{
    const PenmarkWorkspace* const workspace = current();
    membersModel_.show(workspace);
    title_->setText(workspace != nullptr ? workspaceTitle(documents_, records_.library(), *workspace)
                                         : tr("No workspace chosen"));
    const bool isFocused = workspace != nullptr && records_.library().settings.focusedWorkspaceID == workspace->id;
    if (workspace == nullptr)
        note_->clear();
    else if (isFocused)
        note_->setText(tr("Other Penmark windows are hidden. Workspace membership is unchanged."));
    else if (workspace->isOpen)
        note_->setText(tr("Open. Members stay in their sessions."));
    else
        note_->setText(tr("Closed. Members that no other open workspace links are put aside in their sessions."));
    focus_->setText(isFocused ? tr("Show All Open Workspaces") : tr("Focus"));
    close_->setText(workspace == nullptr || workspace->isOpen ? tr("Close Workspace") : tr("Reopen Workspace"));
    showButtons();
}

void WorkspacesPage::showButtons()
{
    const bool hasWorkspace = current() != nullptr;
    for (QPushButton* const button : {linkWindow_, linkTab_, focus_, close_, rename_, remove_})
        button->setEnabled(hasWorkspace);
    unlink_->setEnabled(hasWorkspace && membersModel_.member(members_->currentIndex()) != nullptr);
}

std::vector<const RecoveryWindow*> WorkspacesPage::openWindows() const
{
    std::vector<const RecoveryWindow*> windows;
    for (const PenmarkSession& session : records_.library().sessions) {
        if (!session.isOpen)
            continue;
        for (const RecoveryWindow& window : session.windows) {
            if (window.isOpen && !window.documents.empty())
                windows.push_back(&window);
        }
    }
    return windows;
}

std::optional<Uuid> WorkspacesPage::frontWindow() const
{
    const std::vector<const RecoveryWindow*> windows = openWindows();
    for (const Uuid& id : records_.library().settings.windowOrder) {
        if (std::any_of(windows.begin(), windows.end(), [&](const RecoveryWindow* each) { return each->id == id; }))
            return id;
    }
    return windows.empty() ? std::nullopt : std::optional(windows.front()->id);
}

void WorkspacesPage::fillWindows(QMenu& menu)
{
    const PenmarkWorkspace* const workspace = current();
    if (workspace == nullptr)
        return;
    for (const RecoveryWindow* const window : openWindows()) {
        if (isAmong(workspace->windowIDs, window->id) || static_cast<std::size_t>(menu.actions().size()) >= menuLimit)
            continue;
        menu.addAction(menuText(menu, penmark::windowTitle(documents_, *window)), this,
                       [this, id = workspace->id, window = window->id] { actions_.linkWindow(id, window); });
    }
}

void WorkspacesPage::fillTabs(QMenu& menu)
{
    const PenmarkWorkspace* const workspace = current();
    if (workspace == nullptr)
        return;
    std::size_t count = 0;
    for (const RecoveryWindow* const window : openWindows()) {
        QMenu* tabs = nullptr;
        for (const Uuid& document : window->documents) {
            const auto tab = window->tabIDs.find(document);
            if (tab != window->tabIDs.end() && isAmong(workspace->tabIDs, tab->second))
                continue;
            if (tabs == nullptr) {
                if (++count > menuLimit)
                    return;
                tabs = menu.addMenu(menuText(menu, penmark::windowTitle(documents_, *window)));
            }
            tabs->addAction(
                menuText(menu, documentTitle(documents_, document)), this,
                [this, id = workspace->id, window = window->id, document] { actions_.linkTab(id, window, document); });
        }
    }
}

void WorkspacesPage::unlink()
{
    const PenmarkWorkspace* const workspace = current();
    const auto* const row = membersModel_.member(members_->currentIndex());
    if (workspace == nullptr || row == nullptr)
        return;
    if (row->isTab())
        actions_.unlinkTab(workspace->id, row->member);
    else
        actions_.unlinkWindow(workspace->id, row->member);
}

void WorkspacesPage::rename()
{
    const PenmarkWorkspace* const workspace = current();
    if (workspace == nullptr)
        return;
    NamePrompt::ask(this, tr("Rename Workspace"), tr("Name of the workspace"), tr("Optional workspace name"),
                    QString::fromStdString(workspace->name), tr("Rename"),
                    [this, id = workspace->id](const QString& name) { actions_.renameWorkspace(id, name); });
}

void WorkspacesPage::askToRemove()
{
    const PenmarkWorkspace* const workspace = current();
    if (workspace == nullptr)
        return;
    auto* const box = new QMessageBox(
        QMessageBox::NoIcon, tr("Remove Workspace"),
        tr("Remove “%1”?").arg(workspaceTitle(documents_, records_.library(), *workspace)), QMessageBox::Cancel, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(tr("Only the group is removed. Its windows, tabs and documents stay in their sessions; "
                               "nothing is deleted."));
    const QAbstractButton* const confirm = box->addButton(tr("Remove Workspace"), QMessageBox::DestructiveRole);
    box->setDefaultButton(QMessageBox::Cancel);
    connect(box, &QMessageBox::buttonClicked, this, [this, id = workspace->id, confirm](QAbstractButton* button) {
        if (button == confirm)
            actions_.removeWorkspace(id);
    });
    box->open();
}

void WorkspacesPage::takeFocus()
{
    list_->setFocus();
}

}  // namespace penmark
