// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/EarlyStart.h"

#include "storage/RecoveryError.h"
#include "storage/WindowStore.h"

#include <algorithm>

namespace penmark {

namespace fs = std::filesystem;

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
        auto loaded = WindowStore(*early.store).load();
        early.windows = std::move(loaded.windows);
        early.problems = std::move(loaded.problems);
    } catch (const RecoveryError& error) {
        early.problems.emplace_back(error.what());
    }
    for (const RecoveryWindow& window : early.windows) {
        if (!restoresWindows || !window.isOpen || window.documents.empty())
            continue;
        const bool isThere = window.selected && std::find(window.documents.begin(), window.documents.end(),
                                                          *window.selected) != window.documents.end();
        const Uuid front = isThere ? *window.selected : window.documents.front();
        try {
            early.documents.push_back(DocumentRegistry::readDocument(*early.store, front));
        } catch (const RecoveryError&) {
            // It is read again, and reported, when its tab is shown.
        }
    }
    for (const OpenRequest& file : files)
        early.files.push_back(openFile(*early.store, file.file));
    return early;
}

}  // namespace penmark
