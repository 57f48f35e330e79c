// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/WindowTabs.h"

#include "organization/SessionLibrary.h"

#include <algorithm>

namespace penmark {

namespace {

void hideTab(RecoveryWindow& window, const Uuid& document)
{
    const auto at = std::find(window.documents.begin(), window.documents.end(), document);
    if (at == window.documents.end())
        return;
    const auto index = static_cast<std::size_t>(at - window.documents.begin());
    std::erase(window.documents, document);
    if (window.selected != document)
        return;
    window.selected.reset();
    if (!window.documents.empty())
        window.selected = window.documents[std::min(index, window.documents.size() - 1)];
}

}  // namespace

std::optional<Uuid> tabIdentity(const RecoveryWindow& window, const Uuid& document)
{
    const auto found = window.tabIDs.find(document);
    if (found == window.tabIDs.end())
        return std::nullopt;
    return found->second;
}

void identifyTabs(RecoveryWindow& window)
{
    for (const Uuid& document : window.documents) {
        if (window.tabIDs.count(document) == 0)
            window.tabIDs.emplace(document, Uuid::random());
    }
}

void putTabAside(RecoveryWindow& window, const Uuid& document)
{
    if (window.tabIDs.count(document) == 0)
        window.tabIDs.emplace(document, Uuid::random());
    hideTab(window, document);
}

void showTab(RecoveryWindow& window, const Uuid& document, std::optional<std::size_t> index)
{
    if (std::find(window.documents.begin(), window.documents.end(), document) != window.documents.end())
        return;
    const std::size_t at = std::min(index.value_or(window.documents.size()), window.documents.size());
    window.documents.insert(window.documents.begin() + static_cast<std::ptrdiff_t>(at), document);
    if (!window.selected)
        window.selected = document;
}

void showAllTabs(RecoveryWindow& window)
{
    for (const Uuid& document : documentsOf(window))
        showTab(window, document);
}

void removeTab(RecoveryWindow& window, const Uuid& document)
{
    hideTab(window, document);
    window.tabIDs.erase(document);
    window.editorStates.erase(document);
}

void keepTabs(RecoveryWindow& window, FunctionRef<bool(const Uuid& document)> isWanted)
{
    for (const Uuid& document : documentsOf(window)) {
        if (!isWanted(document))
            removeTab(window, document);
    }
}

}  // namespace penmark
