// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/ProgramSearch.h"

#include "app/appearance/Appearance.h"
#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/search/FolderWatch.h"
#include "app/search/HitPlace.h"
#include "app/search/SearchService.h"
#include "app/sessions/SessionTitles.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "organization/CheckpointStore.h"
#include "storage/RecoveryConfiguration.h"
#include "text/SnapshotSource.h"

#include <QLoggingCategory>
#include <QScrollBar>
#include <algorithm>
#include <tuple>

namespace penmark {

namespace {

Q_LOGGING_CATEGORY(searchLog, "penmark.search", QtWarningMsg)

/// Texts below this many bytes are looked through at once.
constexpr std::size_t smallText = 1 << 20;

/// Whether a search of the library and of the document's file finds its text there as it is now.
bool isStoredEverywhere(const RecoveryBuffer& buffer)
{
    return buffer.isInLibrary() && buffer.isStored() &&
           (buffer.isDraft() ||
            (buffer.fileMatchesSavedVersion() && buffer.originalAvailability() != OriginalFileAvailability::changed));
}

QString shownCheckpoint(const CheckpointHeader& header)
{
    const QString date = QString::fromStdString(header.createdAt.localText()).left(16);
    return header.name ? toQString(*header.name) + QStringLiteral(" · ") + date : date;
}

}  // namespace

ProgramSearch::ProgramSearch(Program& program) : program_(program)
{
    makeNames();
}

ProgramSearch::~ProgramSearch()
{
    delete window_;
}

// ---- what searches are told ----

const SessionLibrary& ProgramSearch::library() const
{
    return program_.records().library();
}

TextSearchContext ProgramSearch::context() const
{
    TextSearchContext context;
    if (const auto windows = program_.windows(); !windows.empty())
        context.document = windows.front()->tabs().selected();
    context.session = library().settings.activeSessionID;
    context.workspace = library().settings.activeWorkspaceID;
    return context;
}

void ProgramSearch::makeNames()
{
    DocumentRegistry& documents = program_.documents();
    names_.document = [&documents](const Uuid& id) -> std::optional<std::string> {
        const DocumentHeader* const header = documents.headers().find(id);
        const bool isGone = header ? header->deleted : documents.headers().isLoaded() && !documents.find(id);
        if (isGone)
            return std::nullopt;
        return documentTitle(documents, id).toStdString();
    };
    names_.checkpoint = [this](const Uuid& id) -> std::optional<std::string> {
        const auto found = checkpoints_.find(id);
        if (found != checkpoints_.end())
            return found->second.toStdString();
        if (knowsCheckpoints_)
            return std::nullopt;
        readCheckpoints();
        return tr("Checkpoint").toStdString();
    };
    names_.session = [this, &documents](const Uuid& id) {
        const PenmarkSession* const session = library().sessions.find(id);
        return session ? sessionTitle(documents, *session).toStdString() : std::string();
    };
    names_.workspace = [this, &documents](const Uuid& id) {
        const PenmarkWorkspace* const workspace = library().workspaces.find(id);
        return workspace ? workspaceTitle(documents, library(), *workspace).toStdString() : std::string();
    };
}

std::vector<TextSearchOverlay> ProgramSearch::overlays() const
{
    std::vector<TextSearchOverlay> overlays;
    for (const RecoveryBuffer* const buffer : program_.documents().buffers()) {
        // A damaged one has no text, a draft that nobody has written to is nothing, and most are stored as they are.
        if (!buffer->damage().empty() || (!buffer->isInLibrary() && buffer->isDraft() && buffer->text().empty()) ||
            isStoredEverywhere(*buffer))
            continue;
        TextSearchOverlay& overlay = overlays.emplace_back();
        overlay.document = {buffer->id(), buffer->shownTitle(), buffer->record().externalPath.value_or(std::string())};
        overlay.text = std::make_shared<SnapshotSource>(buffer->text());
        overlay.utf16Units = buffer->text().utf16End().value;
    }
    return overlays;
}

void ProgramSearch::log(std::string_view line)
{
    qCDebug(searchLog) << toQString(line);
}

void ProgramSearch::list(TextScopeKind kind, QObject* receiver, Listed listed)
{
    if (kind != TextScopeKind::checkpoint) {
        listed(targets(kind));
        return;
    }
    program_.records().queue().read(
        receiver, [](RecoveryStore& store) { return CheckpointStore(store).headers().headers; },
        [this, listed](const std::vector<CheckpointHeader>& headers) {
            takeCheckpoints(headers);
            std::vector<SearchTarget> targets;
            for (const CheckpointHeader& header : headers)
                targets.push_back(
                    {header.id, shownCheckpoint(header), header.document ? tr("One document") : QString()});
            listed(std::move(targets));
        },
        [listed](const RecoveryError&) { listed({}); });
}

std::vector<SearchTarget> ProgramSearch::targets(TextScopeKind kind) const
{
    DocumentRegistry& documents = program_.documents();
    std::vector<SearchTarget> targets;
    switch (kind) {
    case TextScopeKind::file: {
        std::vector<const DocumentHeader*> headers;
        for (const DocumentHeader& header : documents.headers().all()) {
            if (!header.deleted)
                headers.push_back(&header);
        }
        std::ranges::sort(headers, std::ranges::greater(),
                          [](const auto* header) { return header->updatedAt.seconds; });
        for (const DocumentHeader* const header : headers)
            targets.push_back({header->id, documentTitle(documents, header->id), toQString(header->path)});
        break;
    }
    case TextScopeKind::session:
        for (const PenmarkSession& session : library().sessions)
            targets.push_back({session.id, sessionTitle(documents, session), sessionSummary(documents, session)});
        break;
    case TextScopeKind::workspace:
        for (const PenmarkWorkspace& workspace : library().workspaces)
            targets.push_back({workspace.id, workspaceTitle(documents, library(), workspace), {}});
        break;
    case TextScopeKind::project:
        for (const PenmarkProject& project : library().projects)
            targets.push_back({project.id, toQString(project.name), toQString(project.path)});
        break;
    default:
        break;
    }
    return targets;
}

void ProgramSearch::readCheckpoints()
{
    if (std::exchange(asksForCheckpoints_, true))
        return;
    program_.records().queue().read(
        this, [](RecoveryStore& store) { return CheckpointStore(store).headers().headers; },
        [this](const std::vector<CheckpointHeader>& headers) {
            takeCheckpoints(headers);
            if (window_)
                window_->controller().search().libraryChanged();
        },
        [this](const RecoveryError&) { asksForCheckpoints_ = false; });
}

void ProgramSearch::takeCheckpoints(const std::vector<CheckpointHeader>& headers)
{
    asksForCheckpoints_ = false;
    knowsCheckpoints_ = true;
    checkpoints_.clear();
    for (const CheckpointHeader& header : headers)
        checkpoints_.emplace(header.id, shownCheckpoint(header));
}

// ---- the window ----

SearchWindow::Look ProgramSearch::look() const
{
    return {documentFont(program_.settings().settings())};
}

void ProgramSearch::show(DocumentWindow& from, std::optional<std::string> query, std::optional<TextSearchScope> scope)
{
    program_.needHeaders();
    SearchWindow& window = window_ ? *window_ : makeWindow(from);
    if (scope)
        window.setScope(*scope);
    if (query)
        window.setQuery(*query);
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
    window.focusQuery();
}

SearchWindow& ProgramSearch::makeWindow(DocumentWindow& from)
{
    if (!service_) {
        TextSearchEngine::Configuration configuration;
        configuration.indexFolder = searchIndexFolder(currentEnvironment());
        service_ = std::make_unique<SearchService>(program_.records().queue().store(), std::move(configuration));
    }
    window_ = new SearchWindow(*this, *service_, *this, history_, program_.appearance(), look());
    connect(&program_.settings(), &SettingsStore::changed, window_.data(),
            [this, window = window_.data()] { window->setLook(look()); });
    connect(window_.data(), &SearchWindow::hitActivated, this, &ProgramSearch::showHit);
    connect(window_.data(), &SearchWindow::leave, this, &ProgramSearch::leave);
    watch_ = new FolderWatch(window_.data());
    watchedGeneration_ = 0;  // another window counts its runs from the start
    connect(watch_, &FolderWatch::changed, window_.data(), [this] {
        service_->folderChanged(watch_->watchedPath());
        window_->controller().search().folderChanged();
    });
    connect(watch_, &FolderWatch::incomplete, window_.data(),
            [this] { window_->controller().search().folderNotWatched(); });
    connect(&window_->controller(), &SearchController::stateChanged, this, &ProgramSearch::stateChanged);
    followLibrary();
    followTexts();
    window_->move(from.frameGeometry().center() - window_->rect().center());
    return *window_;
}

/// What a search covers may be other texts.
void ProgramSearch::followLibrary()
{
    // The window may be on its way out while its connections still hold.
    const auto tell = [this] {
        if (window_)
            window_->controller().search().libraryChanged();
    };
    connect(&program_.records(), &SessionRecords::changed, window_.data(), tell);
    connect(&program_, &Program::activeDocumentChanged, window_.data(), tell);
    connect(&program_.records(), &SessionRecords::checkpointsChanged, window_.data(), [this] {
        knowsCheckpoints_ = false;
        if (window_->controller().search().target().kind == TextScopeKind::checkpoint)
            readCheckpoints();
    });
}

/// What a search covers may have other texts.
void ProgramSearch::followTexts()
{
    DocumentRegistry& documents = program_.documents();
    const auto follow = [this](RecoveryBuffer& buffer) {
        connect(&buffer, &RecoveryBuffer::onEdit, window_.data(),
                [this, id = buffer.id()] { window_->controller().search().textChanged(id); });
    };
    for (RecoveryBuffer* const buffer : documents.buffers())
        follow(*buffer);
    connect(&documents, &DocumentRegistry::loaded, window_.data(), follow);
    connect(&documents, &DocumentRegistry::discarded, window_.data(),
            [this](const Uuid& id) { window_->controller().search().textChanged(id); });
}

/// Watches the folder that is searched, once its files are known.
void ProgramSearch::stateChanged()
{
    const TextSearchController& search = window_->controller().search();
    const bool isProject = search.target().isAvailable && search.target().kind == TextScopeKind::project;
    if (!search.visible() || !isProject) {
        watch_->stop();
        return;
    }
    // What is in the folder is known after a run, and may be other folders after each.
    const TextSearchReport& report = search.report();
    if (search.running() || search.generation() == watchedGeneration_ || !(report.done || report.finished))
        return;
    watchedGeneration_ = search.generation();
    const std::string folder = search.target().folder;
    const auto listing = service_->engine().lastListing(folder);
    if (!listing)
        return;
    // Runs that follow each other quickly share a list, and thousands of folders are not watched anew for each letter.
    if (watch_->watchedPath() == folder && listing == watchedListing_.lock()) {
        if (!watch_->isComplete())
            window_->controller().search().folderNotWatched();
        return;
    }
    watchedListing_ = listing;
    watch_->watch(folder, listing);
}

void ProgramSearch::leave()
{
    if (!program_.windows().empty())
        program_.bringToFront(*program_.windows().front());
}

// ---- results ----

void ProgramSearch::step(DocumentWindow& from, int steps)
{
    if (!window_ || window_->controller().report().hits.empty()) {
        from.showMessage(tr("There are no search results to go through. Ctrl+Shift+F searches."));
        return;
    }
    window_->step(steps);
}

void ProgramSearch::showHit(std::size_t number, bool newWindow)
{
    const TextSearchController& search = window_->controller().search();
    if (number >= search.report().hits.size())
        return;
    const TextSearchHit hit = search.report().hits[number];
    const TextSearchSource source = *search.groupOf(number).source;
    if (source.kind == TextSearchSource::Kind::historical) {
        program_.sessions().showVersion(*source.document, *source.revision,
                                        hit.isInName ? std::nullopt : std::optional(hit.match.bytes));
        return;
    }
    DocumentWindow* target = &program_.frontWindow();
    if (source.document) {
        // A long search is not repeated by itself, so that its hits may outlive their documents.
        if (!program_.isThere(*source.document)) {
            program_.bringToFront(*target);
            target->showMessage(QString::fromUtf8(TextSearchError::staleResult().what()));
            return;
        }
        if (newWindow)
            target = &program_.newWindowBeside(*target, *source.document);
        showIn(*target, *source.document, hit);
        return;
    }
    if (newWindow)
        target = &program_.newWindow();
    // A refusal is said in a window that may lie behind the search.
    program_.open(
        {OpenRequest{source.path}}, *target,
        [this, hit](const Uuid& document) { showIn(program_.frontWindow(), document, hit); },
        [this](const FileRefusal&) { leave(); });
}

void ProgramSearch::showIn(DocumentWindow& window, const Uuid& document, const TextSearchHit& hit)
{
    DocumentWindow* shownIn = &window;
    if (!window.tabs().contains(document)) {
        for (DocumentWindow* const other : program_.windows()) {
            if (other->tabs().contains(document) && !other->isHidden())
                shownIn = other;
        }
    }
    shownIn->showDocument(document);
    if (!hit.isInName) {
        shownIn->whenShown(document, [this, hit, target = shownIn](EditorView& view) { select(*target, view, hit); });
    }
    program_.bringToFront(*shownIn);
}

/// Selects the hit in its text: at once where it still stands there or the text is small, otherwise once it is found,
/// unless somebody has moved or edited by then.
void ProgramSearch::select(DocumentWindow& window, EditorView& view, const TextSearchHit& hit)
{
    placing_.request_stop();
    placing_ = {};
    const auto show = [](DocumentWindow& in, EditorView& at, const std::optional<Utf8Range>& place) {
        if (!place) {
            in.showMessage(QString::fromUtf8(TextSearchError::staleResult().what()));
            return;
        }
        at.editor().rememberPlace();
        at.setCarets(CaretSet(Caret(place->start, place->end)));
    };
    const TextSnapshot text = view.text();
    if (const auto place = samePlace(hit, text)) {
        show(window, view, place);
        return;
    }
    if (text.end().value < smallText) {
        show(window, view, nearestPlace(hit, text));
        return;
    }
    const auto seen = [](const EditorView& of) {
        return std::tuple(of.document().buffer().generation(), of.editor().carets(), of.verticalScrollBar()->value());
    };
    inPool(
        &view, [hit, text, stop = placing_.get_token()] { return nearestPlace(hit, text, stop); },
        [show, seen, before = seen(view), stop = placing_.get_token(), in = QPointer(&window),
         at = &view](const std::optional<Utf8Range>& place) {
            if (in && !stop.stop_requested() && seen(*at) == before)
                show(*in, *at, place);
        });
}

}  // namespace penmark
