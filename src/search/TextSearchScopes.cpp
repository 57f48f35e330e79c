// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchScopes.h"

#include <filesystem>

namespace penmark {

namespace {

constexpr std::string_view storedText = "Stored text · Read-only";
constexpr std::string_view currentText = "Current text, including unsaved edits";
constexpr std::string_view namesAndPaths = "Names and paths";

/// Finds the target of one scope. Each function makes it available, or says what can be done.
class ScopeResolution {
public:
    ScopeResolution(const TextSearchScope& scope, const SessionLibrary& library, const TextSearchNames& names,
                    TextSearchField field)
        : library_(library), names_(names), field_(field)
    {
        target_.kind = scope.kind;
        if (hasFixedTarget(scope.kind))
            target_.id = scope.id;
    }

    void file(const std::optional<Uuid>& document, std::string_view message, std::string_view follows)
    {
        const auto title = document ? titleBy(names_.document, *document, "Untitled") : std::nullopt;
        if (!title)
            return refuse(message);
        offer(document, *title, follows.empty() ? std::string(textLabel(currentText)) : *title + std::string(follows));
    }

    void session(const std::optional<Uuid>& id, std::string_view message)
    {
        const PenmarkSession* session = id ? library_.sessions.find(*id) : nullptr;
        if (session == nullptr)
            return refuse(message);
        offer(id, nameOr(session->name.value_or(std::string()), names_.session, *id, "Session"),
              "Includes nested sessions");
    }

    void workspace(const std::optional<Uuid>& id, std::string_view message, std::string_view about)
    {
        const PenmarkWorkspace* workspace = id ? library_.workspaces.find(*id) : nullptr;
        if (workspace == nullptr)
            return refuse(message);
        const std::string title = nameOr(workspace->name, names_.workspace, *id, "Workspace");
        offer(id, title, title + std::string(about));
    }

    void project(const std::optional<Uuid>& id)
    {
        const PenmarkProject* project = id ? library_.projects.find(*id) : nullptr;
        if (project == nullptr)
            return refuse("Choose an available project.");
        if (project->path.empty() || (names_.folder && !names_.folder(project->path)))
            return refuse("Locate this folder on this Mac to search it.");
        offer(id, project->name.empty() ? std::filesystem::path(project->path).filename().string() : project->name,
              project->path);
        target_.folder = project->path;
    }

    void checkpoint(const std::optional<Uuid>& id)
    {
        const auto title = id ? titleBy(names_.checkpoint, *id, "Checkpoint") : std::nullopt;
        if (!title)
            return refuse("Choose an available checkpoint.");
        offer(id, *title, std::string(textLabel(storedText)));
    }

    void everything(std::string_view title, std::string_view detail)
    {
        offer(std::nullopt, std::string(title), std::string(detail));
    }

    ResolvedSearchTarget take() { return std::move(target_); }

private:
    using Titles = std::function<std::optional<std::string>(const Uuid&)>;

    static std::optional<std::string> titleBy(const Titles& titles, const Uuid& id, std::string_view otherwise)
    {
        return titles ? titles(id) : std::string(otherwise);
    }

    static std::string nameOr(const std::string& name, const std::function<std::string(const Uuid&)>& names,
                              const Uuid& id, std::string_view otherwise)
    {
        if (!name.empty())
            return name;
        std::string found = names ? names(id) : std::string();
        return found.empty() ? std::string(otherwise) : found;
    }

    std::string_view textLabel(std::string_view label) const
    {
        return field_ == TextSearchField::namesAndPaths ? namesAndPaths : label;
    }

    void refuse(std::string_view message) { target_.message = message; }

    void offer(const std::optional<Uuid>& id, std::string title, std::string detail)
    {
        target_.isAvailable = true;
        target_.id = id;
        target_.title = std::move(title);
        target_.detail = std::move(detail);
    }

    const SessionLibrary& library_;
    const TextSearchNames& names_;
    TextSearchField field_;
    ResolvedSearchTarget target_;
};

}  // namespace

std::string_view scopeDescription(TextScopeKind kind)
{
    switch (kind) {
    case TextScopeKind::currentFile:
        return "Follows the last active editor.";
    case TextScopeKind::currentSession:
        return "Follows the active session, including descendants.";
    case TextScopeKind::currentWorkspace:
        return "Follows the last workspace you activated.";
    case TextScopeKind::file:
        return "The chosen document, including current unsaved text.";
    case TextScopeKind::session:
        return "The chosen session and its descendants.";
    case TextScopeKind::workspace:
        return "Linked windows and tabs, counted once per document.";
    case TextScopeKind::project:
        return "Files in the chosen folder, including current unsaved text.";
    case TextScopeKind::checkpoint:
        return "Read-only text at the chosen checkpoint.";
    case TextScopeKind::allDocuments:
        return "Current versions, including closed sessions; discarded documents are in history.";
    case TextScopeKind::allHistory:
        return "Retained revisions, deduplicated per document and content.";
    }
    return unavailableTarget;
}

ResolvedSearchTarget resolveScope(const TextSearchScope& scope, const TextSearchContext& context,
                                  const SessionLibrary& library, const TextSearchNames& names, TextSearchField field)
{
    ScopeResolution resolution(scope, library, names, field);
    switch (scope.kind) {
    case TextScopeKind::currentFile:
        resolution.file(context.document, "Activate an editor to choose the current file.",
                        " · Follows the active editor");
        break;
    case TextScopeKind::currentSession:
        resolution.session(context.session, "Choose a session.");
        break;
    case TextScopeKind::currentWorkspace:
        resolution.workspace(context.workspace, "Show or focus a workspace to choose the current workspace.",
                             " · Follows the last activated workspace");
        break;
    case TextScopeKind::file:
        resolution.file(scope.id, "Choose an available file.", {});
        break;
    case TextScopeKind::session:
        resolution.session(scope.id, "Choose an available session.");
        break;
    case TextScopeKind::workspace:
        resolution.workspace(scope.id, "Choose an available workspace.", " · Linked windows and tabs");
        break;
    case TextScopeKind::project:
        resolution.project(scope.id);
        break;
    case TextScopeKind::checkpoint:
        resolution.checkpoint(scope.id);
        break;
    case TextScopeKind::allDocuments:
        resolution.everything("All retained documents", "Current versions, including closed sessions");
        break;
    case TextScopeKind::allHistory:
        resolution.everything("All retained history", "Revisions, including discarded documents");
        break;
    }
    return resolution.take();
}

std::string_view sourceLabel(const TextSearchSource& source, TextSearchField field)
{
    if (field == TextSearchField::namesAndPaths)
        return namesAndPaths;
    return source.kind == TextSearchSource::Kind::historical ? storedText : currentText;
}

std::string_view sourceLocation(const TextSearchSource& source)
{
    // Where a revision's document is bound to a file, that file holds another text.
    const bool isStored = source.path.empty() || source.kind == TextSearchSource::Kind::historical;
    return isStored ? std::string_view("Stored in Penmark") : std::string_view(source.path);
}

}  // namespace penmark
