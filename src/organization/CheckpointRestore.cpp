// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointRestore.h"

#include "organization/CheckpointStore.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/Sessions.h"
#include "organization/WindowTabs.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <span>
#include <unordered_map>
#include <unordered_set>

namespace penmark {

namespace {

// What a copy takes over from the document as it is now.
struct Present {
    std::string title;
    std::optional<std::string> displayTitle;
    std::optional<std::string> languageName;
    RecoveryEncoding encoding = RecoveryEncoding::utf8;
    std::optional<std::string> originPath;

    static constexpr auto fields()
    {
        using R = Present;
        return std::tuple{field("title", &R::title), field("displayTitle", &R::displayTitle),
                          field("languageName", &R::languageName), field("encoding", &R::encoding),
                          field("originPath", &R::originPath)};
    }
};

// The documents of a checkpoint as new ones. Inside the caller's transaction.
class DocumentCopies {
public:
    DocumentCopies(RecoveryStore& store, const Clock& clock)
        : content_(store), documents_(store, clock), present_(store.prepare("SELECT json FROM documents WHERE id=?")),
          revision_(store.prepare("SELECT hash FROM revisions WHERE id=?"))
    {}

    void add(const CheckpointDocument& covered, CheckpointRestored& restored)
    {
        if (restored.documents.contains(covered.documentID))
            return;  // a damaged record names it twice
        const auto now = readPresent(covered.documentID);
        std::string title = covered.title.value_or("Untitled");
        if (now && !covered.title)
            title = now->displayTitle.value_or(now->title);
        auto hash = hashOf(covered.revisionID);
        if (!hash || !isThere(*hash)) {
            restored.problems.push_back("The text of “" + title + "” is no longer in the library.");
            return;
        }
        RecoveryDocument copy = documents_.newDocument(title.append(restoredCopySuffix));
        if (now) {
            copy.languageName = now->languageName;
            copy.encoding = now->encoding;
            copy.originPath = now->originPath;
        }
        restored.documents.emplace(covered.documentID, copy.id);
        copies_.push_back({std::move(copy), std::move(*hash)});
    }

    void create(const std::function<void()>& proceed)
    {
        constexpr std::size_t atOnce = 1'000;
        for (std::size_t start = 0; start < copies_.size(); start += atOnce) {
            proceed();
            documents_.createFromContent(std::span(copies_).subspan(start, std::min(atOnce, copies_.size() - start)));
        }
    }

private:
    std::optional<Present> readPresent(const Uuid& document)
    {
        const std::string id = document.text();
        present_.bind({id});
        if (!present_.step())
            return std::nullopt;
        try {
            return decodeRecord<Present>(present_.text(0));
        } catch (const RecordError&) {
            return std::nullopt;  // its text is wanted all the same
        }
    }

    std::optional<std::string> hashOf(const Uuid& revision)
    {
        const std::string id = revision.text();
        revision_.bind({id});
        return revision_.step() ? std::optional<std::string>(revision_.text(0)) : std::nullopt;
    }

    // As far as can be told without reading the text.
    bool isThere(const std::string& hash)
    {
        if (found_.contains(hash))
            return true;
        try {
            content_.textSize(hash);
        } catch (const RecoveryError& error) {
            if (error.which() == RecoveryError::Case::missingContent)
                return false;
            throw;
        }
        found_.insert(hash);
        return true;
    }

    ContentStore content_;
    DocumentStore documents_;
    Statement present_;
    Statement revision_;
    std::unordered_set<std::string> found_;
    std::vector<DocumentStore::FromContent> copies_;
};

// The sessions of a checkpoint as new ones of a library. Inside the caller's transaction.
class SessionCopies {
public:
    SessionCopies(RecoveryStore& store, const SessionCheckpoint& checkpoint, CheckpointRestored& restored)
        : store_(store), checkpoint_(checkpoint), copies_(restored.documents), library_(restored.library)
    {
        for (const PenmarkSession& session : checkpoint.sessions)
            originals_.emplace(session.id, Original{Uuid::random(), session.parentID});
    }

    void addSessions(const Uuid& enclosing)
    {
        for (const PenmarkSession& session : checkpoint_.sessions)
            library_.sessions.put(copyOf(session, enclosing));
    }

    // The documents alone, as tabs in the checkpoint's order.
    void addWindow(const Uuid& enclosing)
    {
        RecoveryWindow window;
        window.id = Uuid::random();
        window.sessionID = enclosing;
        for (const CheckpointDocument& covered : checkpoint_.documents) {
            if (const auto copied = documentCopy(covered.documentID))
                window.documents.push_back(*copied);
        }
        if (window.documents.empty())
            return;
        window.selected = window.documents.front();
        window.isOpen = true;
        identifyTabs(window);
        library_.sessions.change(enclosing, [&](PenmarkSession& session) { session.windows.push_back(window); });
    }

private:
    struct Original {
        Uuid copy;
        std::optional<Uuid> parent;
    };

    PenmarkSession copyOf(const PenmarkSession& original, const Uuid& enclosing)
    {
        PenmarkSession copy = original;
        copy.id = originals_.at(original.id).copy;
        copy.parentID = parentOf(original).value_or(enclosing);
        copy.windows.clear();
        for (const RecoveryWindow& window : original.windows) {
            RecoveryWindow copied = copyOf(window, copy.id);
            const bool hasTabs = !copied.documents.empty() || !copied.tabIDs.empty();
            if (hasTabs || window.documents.empty())
                copy.windows.push_back(std::move(copied));
        }
        copy.projectIDs.clear();
        for (const Uuid& project : original.projectIDs) {
            const auto present = requireProject(project);
            if (present && std::find(copy.projectIDs.begin(), copy.projectIDs.end(), *present) == copy.projectIDs.end())
                copy.projectIDs.push_back(*present);
        }
        copy.returnNoteID = original.returnNoteID ? documentCopy(*original.returnNoteID) : std::nullopt;
        return copy;
    }

    // Absent for one that was at the top, or whose parents are a ring: the library is to be valid in any case.
    std::optional<Uuid> parentOf(const PenmarkSession& session) const
    {
        if (!session.parentID || !originals_.contains(*session.parentID))
            return std::nullopt;
        std::optional<Uuid> above = session.parentID;
        for (std::size_t steps = 0; above && steps < originals_.size(); ++steps) {
            if (*above == session.id)
                return std::nullopt;
            const auto next = originals_.find(*above);
            above = next == originals_.end() ? std::nullopt : next->second.parent;
        }
        return originals_.at(*session.parentID).copy;
    }

    RecoveryWindow copyOf(const RecoveryWindow& original, const Uuid& session)
    {
        RecoveryWindow copy = original;
        copy.id = Uuid::random();
        copy.sessionID = session;
        copy.documents.clear();
        for (const Uuid& document : original.documents) {
            if (const auto copied = documentCopy(document))
                copy.documents.push_back(*copied);
        }
        copy.selected = original.selected ? documentCopy(*original.selected) : std::nullopt;
        copy.editorStates.clear();
        for (const auto& [document, state] : original.editorStates) {
            if (const auto copied = documentCopy(document))
                copy.editorStates.emplace(*copied, state);
        }
        copy.tabIDs.clear();
        for (const auto& [document, tab] : original.tabIDs) {
            if (const auto copied = documentCopy(document))
                copy.tabIDs.emplace(*copied, Uuid::random());
        }
        identifyTabs(copy);
        showAllTabs(copy);  // no workspace links the copies, so nothing would bring back what is aside
        copy.isOpen = !copy.documents.empty();
        if (copy.presentation && copy.presentation->projectID)
            copy.presentation->projectID = requireProject(*copy.presentation->projectID);
        if (copy.searchViewID && !hasSearchView(*copy.searchViewID))
            copy.searchViewID.reset();
        return copy;
    }

    std::optional<Uuid> documentCopy(const Uuid& document) const
    {
        const auto found = copies_.find(document);
        return found == copies_.end() ? std::nullopt : std::optional(found->second);
    }

    // The project as it is now, that of the same folder, or the checkpoint's added again.
    std::optional<Uuid> requireProject(const Uuid& project)
    {
        if (library_.projects.contains(project))
            return project;
        const auto then = std::find_if(checkpoint_.projects.begin(), checkpoint_.projects.end(),
                                       [&](const PenmarkProject& at) { return at.id == project; });
        if (then == checkpoint_.projects.end())
            return std::nullopt;
        for (const PenmarkProject& present : library_.projects) {
            if (present.path == then->path)
                return present.id;
        }
        library_.projects.put(*then);
        return project;
    }

    bool hasSearchView(const Uuid& view) const
    {
        return !store_.query("SELECT 1 FROM search_views WHERE id=?", {view.text()}).empty();
    }

    RecoveryStore& store_;
    const SessionCheckpoint& checkpoint_;
    const std::map<Uuid, Uuid>& copies_;
    SessionLibrary& library_;
    std::unordered_map<Uuid, Original> originals_;
};

std::string enclosingName(const SessionCheckpoint& checkpoint, const LocalCalendar& calendar)
{
    if (checkpoint.name && !checkpoint.name->empty())
        return "Restored: " + *checkpoint.name;
    const LocalDay taken = calendar(checkpoint.createdAt);
    return "Restored: " + taken.dayKey + " " + taken.time;
}

}  // namespace

CheckpointRestored restoreCheckpoint(RecoveryStore& store, const Uuid& checkpoint, const SessionLibrary& stored,
                                     const RestoreChoice& choice, const Clock& clock, const LocalCalendar& calendar)
{
    return store.transaction([&] {
        const auto taken = CheckpointStore(store).load(checkpoint);
        if (!taken)
            throw SessionError(SessionError::Case::checkpointGone);
        CheckpointRestored restored;
        restored.library = stored;
        DocumentCopies documents(store, clock);
        const std::function<void()> proceed = choice.proceed ? choice.proceed : [] {};
        for (const CheckpointDocument& covered : taken->documents) {
            proceed();
            if (!choice.only || choice.only->contains(covered.documentID))
                documents.add(covered, restored);
        }
        documents.create(proceed);
        const bool withSessions = !choice.only && !taken->sessions.empty();
        if (!withSessions && !choice.session)
            return restored;
        const EnclosingSession enclosing = choice.session.value_or(EnclosingSession());
        restored.session =
            createSession(restored.library, enclosing.name.empty() ? enclosingName(*taken, calendar) : enclosing.name,
                          enclosing.parent, clock());
        restored.library.settings = stored.settings;  // what was in use stays so
        SessionCopies sessions(store, *taken, restored);
        if (withSessions)
            sessions.addSessions(*restored.session);
        else
            sessions.addWindow(*restored.session);
        SessionLibraryStore(store).save(stored, restored.library);
        return restored;
    });
}

}  // namespace penmark
