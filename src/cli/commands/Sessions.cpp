// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Sessions.h"

#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/ItemTitles.h"
#include "cli/SessionAccess.h"

#include <map>

namespace penmark::cli {

namespace {

// A session that is named by the beginning of its identifier, typed before the library is opened.
Uuid findSession(const IdPrefix& typed, const SessionLibrary& library)
{
    return typed.findAmongRecords(library.sessions, "session");
}

struct Nested {
    const PenmarkSession* session = nullptr;
    std::size_t depth = 0;
};

// Each before those nested in it, siblings in their order.
std::vector<Nested> inTreeOrder(const SessionLibrary& library)
{
    std::map<std::optional<Uuid>, std::vector<const PenmarkSession*>> nestedIn;
    for (const PenmarkSession& session : library.sessions)
        nestedIn[session.parentID].push_back(&session);
    std::vector<Nested> order;
    std::vector<Nested> next;
    const auto addNested = [&](const std::optional<Uuid>& parent, std::size_t depth) {
        const auto found = nestedIn.find(parent);
        if (found == nestedIn.end())
            return;
        for (auto session = found->second.rbegin(); session != found->second.rend(); ++session)
            next.push_back({*session, depth});
    };
    addNested(std::nullopt, 0);
    while (!next.empty()) {
        order.push_back(next.back());
        next.pop_back();
        addNested(order.back().session->id, order.back().depth + 1);
    }
    return order;
}

// What a window or a tab is like, as far as one can tell before it is shown.
std::string windowState(const PenmarkSession& session, const RecoveryWindow& window)
{
    return !session.isOpen ? "closed" : isShown(session, window) ? "open" : "put aside";
}

}  // namespace

int commands::sessions(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    if (arguments.has(options::json))
        return printItemRecords(console, store, "session") ? 0 : 1;
    const auto [library, isSound] = readSessions(console, store);
    const bool isTerminal = console.isOutputTerminal();
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const auto& [session, depth] : inTreeOrder(library)) {
        const std::string indent(isTerminal ? 2 * depth : 0, ' ');
        Console::Row& row = rows.emplace_back(
            Console::Row{session->id.text(), openOrClosed(session->isOpen), std::to_string(session->windows.size()),
                         std::to_string(documentsOf(*session).size()), indent + titles.ofSession(*session),
                         session->createdAt.localText()});
        if (!isTerminal)
            row.push_back(session->parentID ? session->parentID->text() : "-");
    }
    console.printTable(rows, {2, 3});
    return isSound ? 0 : 1;
}

int commands::sessionNew(CommandContext& context, const Arguments& arguments)
{
    const auto name = arguments.text(options::sessionName);
    std::optional<IdPrefix> typedParent;
    if (const auto parent = arguments.value(options::enclosing))
        typedParent.emplace(*parent);
    RecoveryStore& store = context.openOrCreateLibrary();
    Uuid id;
    changeSessions(store, [&](SessionLibrary& library) {
        const auto parent = typedParent ? std::optional(findSession(*typedParent, library)) : std::nullopt;
        id = createSession(library, name, parent, Date::now());
    });
    context.console.printLine(id.text());
    return 0;
}

int commands::sessionRename(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const std::string name = arguments.text(1);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { renameSession(library, findSession(typed, library), name); });
    return 0;
}

int commands::sessionClose(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { closeSession(library, findSession(typed, library)); });
    return 0;
}

int commands::sessionReopen(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { reopenSession(library, findSession(typed, library)); });
    return 0;
}

int commands::sessionMove(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    std::optional<IdPrefix> typedParent;
    if (const auto parent = arguments.operand(1))
        typedParent.emplace(*parent);
    changeSessions(context.openLibrary(), [&](SessionLibrary& library) {
        const auto parent = typedParent ? std::optional(findSession(*typedParent, library)) : std::nullopt;
        moveSession(library, findSession(typed, library), parent);
    });
    return 0;
}

int commands::sessionDelete(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    changeSessions(context.openLibrary(),
                   [&](SessionLibrary& library) { deleteSession(library, findSession(typed, library)); });
    return 0;
}

int commands::sessionShow(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    const auto [library, isSound] = readSessions(console, store);
    const PenmarkSession& session = *library.sessions.find(findSession(typed, library));
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const RecoveryWindow& window : session.windows) {
        const std::string state = windowState(session, window);
        rows.push_back({"window", window.id.text(), state, "-", titles.ofWindow(window)});
        for (const Uuid& document : documentsOf(window)) {
            const auto tab = window.tabIDs.find(document);
            const bool isAside = state == "open" && isPutAside(window, document);
            rows.push_back({"tab", tab == window.tabIDs.end() ? "-" : tab->second.text(), isAside ? "put aside" : state,
                            document.text(), titles.ofDocument(document)});
        }
    }
    if (session.returnNoteID)
        rows.push_back({"return note", "-", openOrClosed(session.isOpen), session.returnNoteID->text(),
                        titles.ofDocument(*session.returnNoteID)});
    console.printTable(rows);
    return isSound ? 0 : 1;
}

}  // namespace penmark::cli
