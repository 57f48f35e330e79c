// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/ItemTitles.h"

#include "cli/DisplayText.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryError.h"

namespace penmark::cli {

namespace {

constexpr std::size_t joinedWidth = 40;  // columns of all titles together

std::string readTitle(RecoveryStore& store, const Uuid& document)
{
    try {
        const auto found = DocumentStore(store).loadDocument(document);
        return found && !found->shownTitle().empty() ? found->shownTitle() : "New Draft";
    } catch (const RecoveryError&) {
        return "Damaged document";
    }
}

}  // namespace

void ItemTitles::set(const Uuid& document, std::string title)
{
    known_.insert_or_assign(document, std::move(title));
}

const std::string& ItemTitles::ofDocument(const Uuid& document)
{
    const auto found = known_.find(document);
    return found != known_.end() ? found->second : known_.emplace(document, readTitle(store_, document)).first->second;
}

std::string ItemTitles::ofWindow(const RecoveryWindow& window)
{
    const std::vector<Uuid> documents = documentsOf(window);
    if (documents.empty())
        return "Empty window";
    std::string title = ofDocument(window.selected.value_or(documents.front()));
    if (documents.size() > 1)
        title += " +" + std::to_string(documents.size() - 1);
    return title;
}

std::string ItemTitles::ofSession(const PenmarkSession& session)
{
    if (session.name && !session.name->empty())
        return *session.name;
    const std::vector<Uuid> documents = documentsOf(session);
    return documents.empty() ? "Empty session" : joined(documents);
}

std::string ItemTitles::ofWorkspace(const SessionLibrary& library, const PenmarkWorkspace& workspace)
{
    if (!workspace.name.empty())
        return workspace.name;
    const std::vector<Uuid> documents = documentsOfWorkspace(library, workspace.id);
    return documents.empty() ? "Workspace" : joined(documents);
}

std::string ItemTitles::joined(std::span<const Uuid> documents)
{
    std::string text;
    std::size_t width = 0;
    std::size_t shown = 0;
    for (const Uuid& document : documents) {
        const std::string& title = ofDocument(document);
        width += displayWidth(title);
        if (shown > 0 && width > joinedWidth)
            break;
        text.append(shown > 0 ? ", " : "").append(title);
        ++shown;
    }
    if (shown < documents.size())
        text += ", +" + std::to_string(documents.size() - shown);
    return text;
}

}  // namespace penmark::cli
