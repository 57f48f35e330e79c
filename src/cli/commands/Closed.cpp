// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/ItemTitles.h"
#include "cli/SessionAccess.h"
#include "organization/ClosedItems.h"
#include "organization/Sessions.h"
#include "storage/DocumentStore.h"

#include <algorithm>

namespace penmark::cli {

int commands::closed(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    if (arguments.has(options::json))
        return printItemRecords(console, store, "closed") ? 0 : 1;
    const auto [library, isSound] = readSessions(console, store);
    auto items = library.recentlyClosed.items();
    std::reverse(items.begin(), items.end());  // of those of one moment the one added last comes first
    std::stable_sort(items.begin(), items.end(),
                     [](const auto& one, const auto& other) { return one->closedAt > other->closedAt; });
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const auto& item : items) {
        const PenmarkSession* const session = item->sessionID ? library.sessions.find(*item->sessionID) : nullptr;
        rows.push_back({item->id.text(), item->closedAt.localText(),
                        item->title.empty() ? titles.ofWindow(item->window) : item->title,
                        session != nullptr ? titles.ofSession(*session) : "Original session unavailable"});
    }
    console.printTable(rows);
    return isSound ? 0 : 1;
}

int commands::reopen(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    Reopened reopened;
    RecoveryStore& store = context.openLibrary();
    const DocumentStore documents(store);
    changeSessions(store, [&](SessionLibrary& library) {
        const Uuid item = typed.findAmongRecords(library.recentlyClosed, "closed item");
        // What was discarded meanwhile does not come back with the rest.
        keepClosedTabs(library, item, [&](const Uuid& id) {
            const auto document = documents.loadDocument(id);
            return document && !document->deleted;
        });
        reopened = reopenClosed(library, item, Date::now());
        if (!library.sessions.find(reopened.session)->isOpen)
            reopenSession(library, reopened.session);
    });
    context.console.printLine(reopened.window.text());
    if (reopened.isOtherSession)
        context.console.say("The original session is unavailable. The item is now in session " +
                            reopened.session.text() + ".");
    return 0;
}

}  // namespace penmark::cli
