// SPDX-License-Identifier: GPL-3.0-or-later
// What a window offers of sessions and workspaces: the menus whose entries change.
#include "app/commands/CommandMenu.h"
#include "app/navigator/NavigatorView.h"
#include "app/sessions/SessionTitles.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "organization/Sessions.h"

#include <QMenu>
#include <algorithm>

namespace penmark {

namespace {

constexpr std::size_t listed = 40;  // entries of a menu; the organiser shows all

QString menuText(QString title)
{
    return title.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

}  // namespace

void DocumentWindow::addSessionMenus(QMenu& parent)
{
    const auto add = [this, &parent](const char* name, const QString& title, void (DocumentWindow::*fill)(QMenu&)) {
        auto* const menu = new QMenu(title, &parent);
        menu->setObjectName(QLatin1String(name));
        menu->setToolTipsVisible(true);
        connect(menu, &QMenu::aboutToShow, this, [this, menu, fill] {
            menu->clear();
            (this->*fill)(*menu);
        });
    };
    add("moveInto", tr("Move into Session"), &DocumentWindow::fillMoveMenu);
    add("linkWindow", tr("Link Window to Workspace"), &DocumentWindow::fillLinkWindowMenu);
    add("linkTab", tr("Link Tab to Workspace"), &DocumentWindow::fillLinkTabMenu);
}

void DocumentWindow::fillMoveMenu(QMenu& menu)
{
    const SessionLibrary& library = program_.records().library();
    const PenmarkSession* const session = library.sessionOf(id());
    if (!session)
        return;
    const std::vector<Uuid> inside = sessionAndNested(library, session->id);
    ProgramSessions& sessions = program_.sessions();
    QAction* const top = menu.addAction(
        tr("At the Top"), this, [&sessions, moved = session->id] { sessions.moveSession(moved, std::nullopt); });
    top->setEnabled(session->parentID.has_value());
    menu.addSeparator();
    std::size_t count = 0;
    for (const PenmarkSession& target : library.sessions) {
        if (!target.isOpen || std::find(inside.begin(), inside.end(), target.id) != inside.end() || ++count > listed)
            continue;
        QAction* const action =
            menu.addAction(menuText(sessionTitle(program_.documents(), target)), this,
                           [&sessions, moved = session->id, into = target.id] { sessions.moveSession(moved, into); });
        action->setCheckable(true);
        action->setChecked(session->parentID == target.id);
    }
    if (count == 0)
        menu.addAction(tr("No Other Open Session"))->setEnabled(false);
}

void DocumentWindow::fillLinkMenu(QMenu& menu, bool tabOnly)
{
    const SessionLibrary& library = program_.records().library();
    ProgramSessions& sessions = program_.sessions();
    const auto front = tabs_.selected();
    const auto tab = tabOnly && front ? tabs_.tabID(*front) : std::nullopt;
    std::size_t count = 0;
    for (const PenmarkWorkspace& workspace : library.workspaces) {
        if (++count > listed)
            break;
        const std::vector<Uuid>& members = tabOnly ? workspace.tabIDs : workspace.windowIDs;
        const Uuid member = tabOnly ? tab.value_or(Uuid()) : id();
        const bool isLinked = std::find(members.begin(), members.end(), member) != members.end();
        QAction* const action =
            menu.addAction(menuText(workspaceTitle(program_.documents(), library, workspace)), this,
                           [this, &sessions, link = workspace.id, member, front, tabOnly, isLinked] {
                               if (tabOnly && isLinked)
                                   sessions.unlinkTab(link, member);
                               else if (tabOnly)
                                   sessions.linkTab(link, id(), front.value_or(Uuid()));
                               else if (isLinked)
                                   sessions.unlinkWindow(link, member);
                               else
                                   sessions.linkWindow(link, member);
                           });
        action->setCheckable(true);
        action->setChecked(isLinked);
    }
    if (count > 0)
        menu.addSeparator();
    menu.addAction(tr("New Workspace with This Window"), this,
                   [this, &sessions] { sessions.askForNewWorkspace(*this, id()); });
}

void DocumentWindow::showProject(const Uuid& project)
{
    setLibraryVisible(true);
    navigator_->showProject(project);
}

}  // namespace penmark
