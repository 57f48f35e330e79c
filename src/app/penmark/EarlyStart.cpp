// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/EarlyStart.h"

#include "organization/Sessions.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryError.h"

#include <algorithm>
#include <set>
#include <variant>

namespace penmark {

namespace fs = std::filesystem;

namespace {

// A larger text comes into its window when it has been read: the window need not wait for it.
bool isReadAtOnce(RecoveryStore& store, const Uuid& document)
{
    constexpr std::size_t largest = 8 << 20;  // bytes; some 30 ms
    const DocumentStore documents(store);
    const auto record = documents.loadDocument(document);
    const auto head = record ? documents.loadHead(*record) : std::nullopt;
    return !head || ContentStore(store).textSize(head->contentHash) <= largest;
}

}  // namespace

std::vector<OpenRequest> openRequests(const std::vector<OpenTarget>& targets)
{
    std::vector<OpenRequest> requests;
    for (const OpenTarget& target : targets) {
        std::error_code error;
        if (target.standardInput || fs::is_directory(target.path, error))
            continue;
        requests.push_back({target.path, static_cast<std::size_t>(target.line.value_or(0)),
                            static_cast<std::size_t>(target.column.value_or(0))});
    }
    return requests;
}

EarlyLibrary startEarly(const RecoveryConfiguration& configuration, const Environment& environment,
                        const std::vector<OpenRequest>& files, bool restoresWindows, LibraryAccess access)
{
    auto [status, store] = openLibrary(configuration, environment, access);
    EarlyLibrary early{std::move(status), std::move(store), {}, {}, {}, {}};
    if (!early.store)
        return early;
    try {
        early.sessions = StoredSessions::read(*early.store);
        early.problems = early.sessions.problems;
    } catch (const RecoveryError& error) {
        early.problems.emplace_back(error.what());
    }
    std::set<Uuid> opened;
    for (const OpenRequest& file : files) {
        const FileOpening& opening = early.files.emplace_back(openFile(*early.store, file.file));
        if (const auto* document = std::get_if<LoadedDocument>(&opening))
            opened.insert(document->record.id);
    }
    if (!restoresWindows)
        return early;
    for (const Uuid& id : shownWindows(early.sessions.library)) {
        const RecoveryWindow& window = *early.sessions.library.findWindow(id);
        const bool isThere = window.selected && std::find(window.documents.begin(), window.documents.end(),
                                                          *window.selected) != window.documents.end();
        const Uuid front = isThere ? *window.selected : window.documents.front();
        if (opened.contains(front))
            continue;
        try {
            if (!isReadAtOnce(*early.store, front))
                continue;
            early.documents.push_back(DocumentRegistry::readDocument(*early.store, front));
        } catch (const RecoveryError&) {
            // It is read again, and reported, when its tab is shown.
        }
    }
    return early;
}

}  // namespace penmark
