// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionStarter.h"

#include "app/documents/RecoveryBuffer.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"

namespace penmark {

namespace {

StarterDraft draftOf(const RecoveryDocument& record)
{
    StarterDraft draft;
    draft.languageName = record.languageName;
    if (!record.externalPath)
        draft.title = record.displayTitle;
    return draft;
}

}  // namespace

StarterDraft readStarterDraft(RecoveryStore& store, const Uuid& document, bool withText)
{
    DocumentStore documents(store);
    const auto record = documents.loadDocument(document);
    if (!record)
        return {};
    StarterDraft draft = draftOf(*record);
    const auto head = withText && !record->externalPath ? documents.loadHead(*record) : std::nullopt;
    if (const ContentStore content(store); head && content.textSize(head->contentHash) <= starterTextLimit)
        draft.text = content.loadText(head->contentHash);
    return draft;
}

StarterDraft starterDraftOf(const RecoveryBuffer& buffer, bool withText)
{
    StarterDraft draft = draftOf(buffer.record());
    const TextSnapshot& text = buffer.text();
    if (withText && buffer.isDraft() && text.end().value > 0 && text.end().value <= starterTextLimit)
        draft.text = text.text();
    return draft;
}

SessionStarter starterOf(const SessionLibrary& library, const PenmarkSession& session, std::string name,
                         const std::map<Uuid, StarterDraft>& drafts)
{
    SessionStarter starter;
    starter.name = std::move(name);
    for (const RecoveryWindow& window : session.windows) {
        StarterWindow& made = starter.windows.emplace_back();
        for (const Uuid& document : documentsOf(window)) {
            const auto draft = drafts.find(document);
            made.drafts.push_back(draft == drafts.end() ? StarterDraft() : draft->second);
        }
        made.placement = window.placement;
        made.presentation = window.presentation;
        if (made.presentation) {
            made.presentation->projectID.reset();
            made.presentation->expandedProjectPaths.reset();
            made.presentation->libraryFilter.reset();
            made.presentation->minimized.reset();
        }
    }
    for (const Uuid& id : session.projectIDs) {
        if (const PenmarkProject* const project = library.projects.find(id))
            starter.projects.push_back(project->path);
    }
    return starter;
}

}  // namespace penmark
