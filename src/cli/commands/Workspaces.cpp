// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Workspaces.h"

#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/ItemTitles.h"
#include "cli/SessionAccess.h"
#include "storage/RecoveryError.h"

#include <algorithm>
#include <map>

namespace penmark::cli {

namespace {

Uuid findWorkspace(const IdPrefix& typed, const SessionLibrary& library)
{
    return typed.findAmongRecords(library.workspaces, "workspace");
}

// What a workspace can link, or has linked: windows, tabs, and the documents that stand for their only tab.
class Members {
public:
    enum class Which { allOfLibrary, linked };

    Members(const SessionLibrary& library, const PenmarkWorkspace& workspace, Which which)
    {
        if (which == Which::linked) {
            windows_ = workspace.windowIDs;
            tabs_ = workspace.tabIDs;
        }
        for (const PenmarkSession& session : library.sessions) {
            for (const RecoveryWindow& window : session.windows) {
                if (which == Which::allOfLibrary)
                    windows_.push_back(window.id);
                addTabs(window, which);
            }
        }
    }

    struct Member {
        Uuid id;
        bool isWindow = false;
    };

    // Throws `storage` if there is none, or several.
    Member find(const IdPrefix& typed) const
    {
        std::vector<Uuid> all = windows_;
        all.insert(all.end(), tabs_.begin(), tabs_.end());
        for (const auto& [document, tabs] : tabsOf_)
            all.push_back(document);
        const Uuid id = typed.findAmong(std::move(all), "window or tab");
        if (std::find(windows_.begin(), windows_.end(), id) != windows_.end())
            return {id, true};
        const auto found = tabsOf_.find(id);
        if (found == tabsOf_.end())
            return {id, false};
        if (found->second.size() == 1)
            return {found->second.front(), false};
        std::string message = "Document " + id.text() + " is in more than one tab:";
        for (std::size_t i = 0; i < found->second.size(); ++i)
            message.append(i > 0 ? ", " : " ").append(found->second[i].text());
        throw RecoveryError::storage(message + ".");
    }

private:
    void addTabs(const RecoveryWindow& window, Which which)
    {
        for (const auto& [document, tab] : window.tabIDs) {
            if (which == Which::linked && std::find(tabs_.begin(), tabs_.end(), tab) == tabs_.end())
                continue;
            if (which == Which::allOfLibrary)
                tabs_.push_back(tab);
            tabsOf_[document].push_back(tab);
        }
    }

    std::vector<Uuid> windows_;
    std::vector<Uuid> tabs_;
    std::map<Uuid, std::vector<Uuid>> tabsOf_;  // by document
};

// Links or unlinks all members that are named, or none.
void changeMembers(CommandContext& context, const Arguments& arguments, Members::Which which,
                   void (*changeWindow)(SessionLibrary&, const Uuid&, const Uuid&),
                   void (*changeTab)(SessionLibrary&, const Uuid&, const Uuid&))
{
    std::vector<IdPrefix> typed;
    for (const std::string& operand : arguments.operands())
        typed.emplace_back(operand);
    changeSessions(context.openLibrary(), [&](SessionLibrary& library) {
        const Uuid id = findWorkspace(typed.front(), library);
        const Members members(library, *library.workspaces.find(id), which);
        std::vector<Members::Member> named;
        for (std::size_t i = 1; i < typed.size(); ++i)
            named.push_back(members.find(typed[i]));
        for (const auto& [member, isWindow] : named)
            (isWindow ? changeWindow : changeTab)(library, id, member);
    });
}

// For an action that needs nothing but the workspace.
int changeWorkspace(CommandContext& context, const Arguments& arguments, void (*change)(SessionLibrary&, const Uuid&))
{
    const IdPrefix typed(arguments.operands()[0]);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { change(library, findWorkspace(typed, library)); });
    return 0;
}

}  // namespace

int commands::workspaces(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    if (arguments.has(options::json))
        return printItemRecords(console, store, "workspace") ? 0 : 1;
    const auto [library, isSound] = readSessions(console, store);
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const PenmarkWorkspace& workspace : library.workspaces) {
        const WorkspaceMembershipSummary members = membershipOf(library, workspace);
        rows.push_back({workspace.id.text(), openOrClosed(workspace.isOpen), std::to_string(members.available()),
                        std::to_string(members.unavailable()), titles.ofWorkspace(library, workspace)});
    }
    console.printTable(rows, {2, 3});
    return isSound ? 0 : 1;
}

int commands::workspaceNew(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const std::string name = arguments.text(1);
    Uuid id;
    changeSessions(context.openLibrary(), [&](SessionLibrary& library) {
        std::vector<Uuid> windows;
        for (const PenmarkSession& session : library.sessions) {
            for (const RecoveryWindow& window : session.windows)
                windows.push_back(window.id);
        }
        id = createWorkspace(library, typed.findAmong(std::move(windows), "window"), name);
    });
    context.console.printLine(id.text());
    return 0;
}

int commands::workspaceRename(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const std::string name = arguments.text(1);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { renameWorkspace(library, findWorkspace(typed, library), name); });
    return 0;
}

int commands::workspaceLink(CommandContext& context, const Arguments& arguments)
{
    changeMembers(context, arguments, Members::Which::allOfLibrary, linkWindow, linkTab);
    return 0;
}

int commands::workspaceUnlink(CommandContext& context, const Arguments& arguments)
{
    changeMembers(context, arguments, Members::Which::linked, unlinkWindow, unlinkTab);
    return 0;
}

int commands::workspaceClose(CommandContext& context, const Arguments& arguments)
{
    return changeWorkspace(context, arguments, closeWorkspace);
}

int commands::workspaceReopen(CommandContext& context, const Arguments& arguments)
{
    return changeWorkspace(context, arguments, reopenWorkspace);
}

int commands::workspaceRemove(CommandContext& context, const Arguments& arguments)
{
    return changeWorkspace(context, arguments, removeWorkspace);
}

int commands::workspaceShow(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    const auto [library, isSound] = readSessions(console, store);
    const PenmarkWorkspace& workspace = *library.workspaces.find(findWorkspace(typed, library));
    const WorkspaceMembershipSummary members = membershipOf(library, workspace);
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const Uuid& window : members.windows)
        rows.push_back({"window", window.text(), "available", titles.ofWindow(*library.findWindow(window))});
    for (const TabPlace& place : members.tabs)
        rows.push_back({"tab", place.tab.text(), "available", titles.ofDocument(place.document)});
    for (const Uuid& window : members.unavailableWindows)
        rows.push_back({"window", window.text(), "unavailable", ""});
    for (const Uuid& tab : members.unavailableTabs)
        rows.push_back({"tab", tab.text(), "unavailable", ""});
    console.printTable(rows);
    return isSound ? 0 : 1;
}

}  // namespace penmark::cli
