// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/Interruption.h"
#include "cli/ItemTitles.h"
#include "cli/SessionAccess.h"
#include "organization/CheckpointContents.h"
#include "organization/CheckpointRestore.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/SessionVisits.h"

#include <algorithm>

namespace penmark::cli {

namespace {

std::string_view word(CheckpointEntry::State state)
{
    using State = CheckpointEntry::State;
    switch (state) {
    case State::unchanged:
        return "unchanged";
    case State::changed:
        return "changed";
    case State::discarded:
        return "discarded";
    case State::gone:
        return "gone";
    }
    return {};
}

// The documents of a checkpoint that the operands behind it name; absent without any.
std::optional<std::set<Uuid>> namedDocuments(RecoveryStore& store, const Uuid& checkpoint,
                                             const std::vector<IdPrefix>& typed)
{
    if (typed.empty())
        return std::nullopt;
    const auto taken = CheckpointStore(store).load(checkpoint);
    if (!taken)
        throw SessionError(SessionError::Case::checkpointGone);
    std::vector<Uuid> covered;
    for (const CheckpointDocument& document : taken->documents)
        covered.push_back(document.documentID);
    std::set<Uuid> named;
    for (const IdPrefix& prefix : typed)
        named.insert(prefix.findAmong(covered, "document of this checkpoint"));
    return named;
}

}  // namespace

int commands::checkpoints(CommandContext& context, const Arguments& arguments)
{
    Console& console = context.console;
    RecoveryStore& store = context.openLibrary();
    const CheckpointStore checkpoints(store);
    const auto [headers, problems] = checkpoints.headers();
    for (const std::string& problem : problems)
        console.say(problem);
    const int status = problems.empty() ? 0 : 1;
    if (arguments.has(options::json)) {
        // One after another: each holds the whole arrangement.
        for (const CheckpointHeader& header : headers) {
            stopIfInterrupted();
            if (const auto record = checkpoints.loadRecord(header.id))
                console.printRecord(*record);
        }
        return status;
    }
    std::vector<Console::Row> rows;
    for (const CheckpointHeader& header : headers)
        rows.push_back({header.id.text(), header.createdAt.localText(), pinnedOrAutomatic(header.pinned),
                        header.name.value_or(""), header.document ? header.document->text() : ""});
    console.printTable(rows);
    return status;
}

int commands::checkpointKeep(CommandContext& context, const Arguments& arguments)
{
    const std::string name = arguments.text(0);
    std::optional<IdPrefix> typed;
    if (const auto document = arguments.value(options::document))
        typed.emplace(*document);
    RecoveryStore& store = context.openLibrary();
    CheckpointStore checkpoints(store);
    bool isComplete = true;
    CheckpointHeader kept;
    if (typed) {
        kept = checkpoints.keepDocument(typed->findDocument(store), name);
    } else {
        const auto [library, isSound] = readSessions(context.console, store);
        kept = checkpoints.keepLibrary(library, name, true);
        isComplete = isSound;
    }
    context.console.printLine(kept.id.text());
    return isComplete ? 0 : 1;
}

int commands::checkpointShow(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    RecoveryStore& store = context.openLibrary();
    const auto contents = checkpointContents(store, typed.findCheckpoint(store));
    if (!contents)
        throw SessionError(SessionError::Case::checkpointGone);
    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    for (const CheckpointEntry& entry : contents->entries) {
        titles.set(entry.document, entry.title);
        rows.push_back({"document", entry.document.text(), entry.revision.text(), std::string(word(entry.state)),
                        entry.bytes ? std::to_string(*entry.bytes) : "-", entry.title});
    }
    for (const PenmarkSession& session : contents->checkpoint.sessions)
        rows.push_back({"session", session.id.text(), session.parentID ? session.parentID->text() : "-",
                        openOrClosed(session.isOpen), std::to_string(session.windows.size()),
                        titles.ofSession(session)});
    context.console.printTable(rows, {4});
    return 0;
}

int commands::checkpointPin(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    RecoveryStore& store = context.openLibrary();
    CheckpointStore(store).setPinned(typed.findCheckpoint(store), true);
    return 0;
}

int commands::checkpointUnpin(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    RecoveryStore& store = context.openLibrary();
    CheckpointStore(store).setPinned(typed.findCheckpoint(store), false);
    return 0;
}

int commands::checkpointRename(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const std::string name = arguments.text(1);
    RecoveryStore& store = context.openLibrary();
    CheckpointStore(store).rename(typed.findCheckpoint(store), name);
    return 0;
}

int commands::checkpointDelete(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    RecoveryStore& store = context.openLibrary();
    const Uuid id = typed.findCheckpoint(store);
    store.transaction([&] {
        CheckpointStore(store).remove(id);
        changeSessions(store, [&](SessionLibrary& library) { expireCheckpoint(library, id); });
    });
    return 0;
}

int commands::checkpointRestore(CommandContext& context, const Arguments& arguments)
{
    std::vector<IdPrefix> typed;
    for (const std::string& operand : arguments.operands())
        typed.emplace_back(operand);
    RecoveryStore& store = context.openLibrary();
    Console& console = context.console;
    const Uuid id = typed.front().findCheckpoint(store);
    const auto only = namedDocuments(store, id, {typed.begin() + 1, typed.end()});
    const CheckpointRestored restored =
        restoreCheckpoint(store, id, SessionLibraryStore(store).load().library, {only, {}, stopIfInterrupted});

    ItemTitles titles(store);
    std::vector<Console::Row> rows;
    if (restored.session)
        rows.push_back({"session", restored.session->text(),
                        titles.ofSession(*restored.library.sessions.find(*restored.session))});
    const auto documents = static_cast<std::ptrdiff_t>(rows.size());
    for (const auto& [original, copy] : restored.documents)
        rows.push_back({"document", copy.text(), titles.ofDocument(copy)});
    std::sort(rows.begin() + documents, rows.end(),
              [](const Console::Row& one, const Console::Row& other) { return one.back() < other.back(); });
    console.printTable(rows);
    for (const std::string& problem : restored.problems)
        console.say(problem);
    return restored.problems.empty() ? 0 : 1;
}

}  // namespace penmark::cli
