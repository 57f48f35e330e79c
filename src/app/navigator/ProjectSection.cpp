// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ProjectSection.h"

#include "app/navigator/DocumentSection.h"
#include "app/navigator/ReplaceRows.h"

#include <algorithm>

namespace penmark {

bool ProjectSection::Node::isSame(const Node& other) const
{
    const auto owner = [](const Node& node) { return node.project ? node.project->id : Uuid(); };
    return kind == other.kind && depth == other.depth && owner(*this) == owner(other) &&
           (entry ? other.entry && entry->name == other.entry->name : !other.entry) &&
           (folder == other.folder || (folder && other.folder && *folder == *other.folder));
}

/// Writes the rows in the order in which they are seen.
class ProjectSection::Builder {
public:
    explicit Builder(const ProjectSection& section) : section_(section) {}

    void run()
    {
        for (const auto& project : section_.library().projects.items()) {
            const std::size_t before = nodes.size();
            Node node;
            node.project = project;
            node.folder = std::make_shared<const std::string>(project->path);
            const auto* const folder = section_.tree_.find(project->id, project->path);
            node.listing = folder ? folder->listing : nullptr;
            nodes.push_back(node);
            const bool isExpanded = section_.expanded_.count(project->path) > 0;
            const bool isFiltered = section_.isFiltered();
            if (folder && (isExpanded || isFiltered))
                addFolder(*project, *folder, node.folder, 1, isExpanded);
            const bool hasRows = nodes.size() > before + 1;
            nodes[before].isExpanded = isFiltered ? hasRows || isExpanded : isExpanded;
            if (isFiltered && !hasRows && !section_.matches(QString::fromStdString(project->name)))
                nodes.pop_back();
            else
                ++matches;
        }
    }

    std::vector<Node> nodes;
    std::set<std::string> shown;  // paths of folders
    int matches = 0;

private:
    Node made(const Node& project, Kind kind, const std::shared_ptr<const std::string>& folder, int depth) const
    {
        Node node;
        node.kind = kind;
        node.project = project.project;
        node.folder = folder;
        node.depth = depth;
        return node;
    }

    void addFolder(const PenmarkProject& project, const ProjectTree::Folder& folder,
                   const std::shared_ptr<const std::string>& path, int depth, bool isExpanded)
    {
        if (!folder.listing)
            return;
        const Node holder = nodes.back();
        if (isExpanded && !folder.listing->problem)
            shown.insert(*path);
        const bool isFiltered = section_.isFiltered();
        if (folder.listing->problem && depth > 1 && !isFiltered) {
            Node node = made(holder, Kind::problem, path, depth);
            node.listing = folder.listing;
            nodes.push_back(node);
        }
        for (const Entry& entry : folder.listing->entries) {
            const bool isHit = !isFiltered || section_.catalog_.words().match(entry->folded, {});
            if (!entry->isFolder && !isHit)
                continue;
            const std::size_t at = nodes.size();
            Node node = made(holder, entry->isFolder ? Kind::folder : Kind::file, path, depth);
            node.entry = entry;
            nodes.push_back(node);
            if (!entry->isFolder || entry->isLoop)
                continue;
            const auto below = std::make_shared<const std::string>(*path + '/' + entry->name);
            const bool expands = section_.expanded_.count(*below) > 0;
            const auto* const inside = expands || isFiltered ? section_.tree_.find(project.id, *below) : nullptr;
            if (inside)
                addFolder(project, *inside, below, depth + 1, expands);
            const bool hasRows = nodes.size() > at + 1;
            nodes[at].isExpanded = expands || (isFiltered && hasRows);
            if (isFiltered && !isHit && !hasRows)
                nodes.pop_back();
        }
        if (folder.listing->beyond > 0 && !isFiltered) {
            Node node = made(holder, Kind::beyond, path, depth);
            node.listing = folder.listing;
            nodes.push_back(node);
        }
    }

    const ProjectSection& section_;
};

ProjectSection::ProjectSection(const SectionContext& context, QObject* parent) : LibrarySection(context, parent)
{
    connect(&tree_, &ProjectTree::changed, this, [this] {
        if (!isBuilt())
            return;
        readWhatIsShown();
        rebuild();
    });
}

/// Looks for the folders of projects that are new or elsewhere: one that is missing says so before it is expanded.
void ProjectSection::libraryChanged()
{
    const auto& projects = library().projects.items();
    for (const auto& each : known_) {
        const PenmarkProject* const now = library().projects.find(each->id);
        if (!now || now->path != each->path)
            tree_.forget(each->id);
    }
    known_ = projects;
    for (const auto& each : projects)
        if (!tree_.find(each->id, each->path))
            tree_.read(each->id, each->path, nullptr, false);
    rebuild();
}

void ProjectSection::rebuild()
{
    Builder builder(*this);
    builder.run();
    matches_ = builder.matches;
    tree_.setShown(builder.shown);
    if (!isFiltered()) {
        Node message;
        message.kind = Kind::unwatched;
        if (tree_.isUnwatched())
            builder.nodes.push_back(message);
        message.kind = Kind::offer;
        if (library().projects.isEmpty())
            builder.nodes.push_back(message);
    }
    replaceRows(*this, rows_, std::move(builder.nodes),
                [](const Node& one, const Node& other) { return one.isSame(other); });
    emit changedHeading();
}

/// Folders that were expanded before are read once the one around them has been.
void ProjectSection::readWhatIsShown()
{
    for (const auto& project : library().projects.items())
        for (const std::string& path : expanded_) {
            const bool isBelow = path.compare(0, project->path.size() + 1, project->path + '/') == 0;
            if (!isBelow || tree_.find(project->id, path))
                continue;
            const std::size_t slash = path.rfind('/');
            const auto* const around = tree_.find(project->id, path.substr(0, slash));
            if (!around || !around->listing)
                continue;
            for (const Entry& entry : around->listing->entries)
                if (entry->isFolder && !entry->isLoop && path.compare(slash + 1, std::string::npos, entry->name) == 0)
                    tree_.read(project->id, path, around, entry->isIgnored);
        }
}

void ProjectSection::setExpandedPaths(std::set<std::string> paths)
{
    expanded_ = std::move(paths);
    if (!isBuilt())
        return;
    readWhatIsShown();
    rebuild();
}

void ProjectSection::setExpanded(int row, bool isExpanded)
{
    const Node node = at(row);
    if ((node.kind != Kind::project && node.kind != Kind::folder) || (node.entry && node.entry->isLoop))
        return;
    const std::string path = pathOf(node);
    if (isExpanded) {
        expanded_.insert(path);
        const auto* const around = node.entry ? tree_.find(node.project->id, *node.folder) : nullptr;
        tree_.read(node.project->id, path, around, node.entry && node.entry->isIgnored);
    } else {
        expanded_.erase(path);
    }
    rebuild();
    emit expandedPathsChanged();
}

int ProjectSection::count() const
{
    return isFiltered() && isBuilt() ? matches_ : static_cast<int>(library().projects.size());
}

QString ProjectSection::countText() const
{
    return count() == 1 ? tr("1 project") : tr("%1 projects").arg(count());
}

std::string ProjectSection::pathOf(const Node& node)
{
    return node.entry ? *node.folder + '/' + node.entry->name : *node.folder;
}

std::string ProjectSection::targetOf(const Node& node)
{
    return node.kind == Kind::file ? *node.folder : pathOf(node);
}

bool ProjectSection::isMissing(const Node& project) const
{
    return project.listing && project.listing->problem;
}

NavigatorRow ProjectSection::row(int number) const
{
    const Node& node = at(number);
    NavigatorRow row;
    row.kind = NavigatorRow::Kind::message;
    row.depth = node.depth;
    row.isExpanded = node.isExpanded;
    switch (node.kind) {
    case Kind::project:
        row.kind = NavigatorRow::Kind::project;
        row.title = QString::fromStdString(node.project->name);
        row.path = QString::fromStdString(node.project->path);
        row.place = isMissing(node) ? tr("Folder not found") : shownPath(row.path);
        row.state = isMissing(node) ? tr("Project, folder not found") : tr("Project");
        row.isQuiet = isMissing(node);
        row.isExpandable = !isMissing(node);
        row.canRename = true;
        break;
    case Kind::folder:
    case Kind::file:
        describeEntry(node, row);
        break;
    case Kind::problem:
        row.title = tr("This folder cannot be read: %1.").arg(QString::fromStdString(*node.listing->problem));
        break;
    case Kind::beyond:
        row.title = tr("%1 more are not listed.").arg(node.listing->beyond);
        break;
    case Kind::unwatched:
        row.title = tr("Changes are not watched: too many folders. Refresh");
        break;
    case Kind::offer:
        row.title = tr("Open Project Folder…");
        break;
    }
    return row;
}

void ProjectSection::describeEntry(const Node& node, NavigatorRow& row) const
{
    const FolderEntry& entry = *node.entry;
    row.kind = entry.isFolder ? NavigatorRow::Kind::folder : NavigatorRow::Kind::file;
    row.title = QString::fromStdString(entry.name);
    row.path = QString::fromStdString(pathOf(node));
    row.isQuiet = entry.isIgnored;
    row.isExpandable = entry.isFolder && !entry.isLoop;
    row.canRename = true;
    if (entry.isLoop)
        row.state = tr("Folder, a link to one that it is in");
    else if (entry.isFolder)
        row.state = entry.isIgnored ? tr("Folder, ignored") : tr("Folder");
    else
        row.state = entry.isIgnored ? tr("File, ignored") : tr("File");
}

}  // namespace penmark
