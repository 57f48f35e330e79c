// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Projects.h"

#include "base/Utf8.h"
#include "organization/SessionError.h"

#include <algorithm>

namespace penmark {

namespace {

// Without slashes at the end, so that a folder has one path.
std::string folderPath(std::string path)
{
    if (!isValidUtf8(path))
        throw SessionError(SessionError::Case::unreadableFolder);
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    if (!path.starts_with('/'))
        throw SessionError(SessionError::Case::noProjectFolder);
    return path;
}

// Of the root it is the path.
std::string folderName(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos || slash + 1 == path.size() ? path : path.substr(slash + 1);
}

const PenmarkProject& requireProject(const SessionLibrary& library, const Uuid& project)
{
    const PenmarkProject* const found = library.projects.find(project);
    if (found == nullptr)
        throw SessionError(SessionError::Case::projectGone);
    return *found;
}

}  // namespace

Uuid addProject(SessionLibrary& library, std::string path)
{
    PenmarkProject project;
    project.path = folderPath(std::move(path));
    for (const PenmarkProject& known : library.projects) {
        if (known.path == project.path)
            return known.id;
    }
    project.id = Uuid::random();
    project.name = folderName(project.path);
    const Uuid id = project.id;
    library.projects.put(std::move(project));
    return id;
}

void renameProject(SessionLibrary& library, const Uuid& project, std::string name)
{
    requireProject(library, project);
    library.projects.change(project, [&](PenmarkProject& changed) {
        changed.name = name.empty() ? folderName(changed.path) : std::move(name);
    });
}

void locateProject(SessionLibrary& library, const Uuid& project, std::string path)
{
    requireProject(library, project);
    path = folderPath(std::move(path));
    library.projects.change(project, [&](PenmarkProject& changed) {
        if (changed.name == folderName(changed.path))
            changed.name = folderName(path);
        changed.path = std::move(path);
    });
}

void removeProject(SessionLibrary& library, const Uuid& project)
{
    const Uuid removed = requireProject(library, project).id;
    library.projects.remove(removed);
    std::vector<Uuid> attached;
    for (const PenmarkSession& session : library.sessions) {
        if (std::find(session.projectIDs.begin(), session.projectIDs.end(), removed) != session.projectIDs.end())
            attached.push_back(session.id);
    }
    for (const Uuid& session : attached)
        library.sessions.change(session, [&](PenmarkSession& changed) { std::erase(changed.projectIDs, removed); });
}

}  // namespace penmark
