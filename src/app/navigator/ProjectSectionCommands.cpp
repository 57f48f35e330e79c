// SPDX-License-Identifier: GPL-3.0-or-later
// What can be done with projects and their files.
#include "app/documents/PoolWork.h"
#include "app/navigator/DraggedRows.h"
#include "app/navigator/ProjectSection.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputDialog>
#include <QMenu>
#include <algorithm>
#include <filesystem>

namespace penmark {
namespace {

std::string folderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

bool isInside(const std::string& path, const std::string& folder)
{
    return path == folder || path.compare(0, folder.size() + 1, folder + '/') == 0;
}

}  // namespace

std::vector<std::string> ProjectSection::pathsOf(const Rows& rows, Kind kind) const
{
    std::vector<std::string> paths;
    for (const int row : rows)
        if (at(row).kind == kind)
            paths.push_back(pathOf(at(row)));
    return paths;
}

bool ProjectSection::activate(const Rows& rows, Activation how)
{
    if (rows.empty())
        return true;
    const std::vector<std::string> files = pathsOf(rows, Kind::file);
    if (!files.empty()) {
        actions_.openProjectFiles({files.begin(), files.end()}, how == Activation::newWindow);
        return true;
    }
    const Node node = at(rows.front());
    if (node.kind == Kind::offer)
        actions_.askForProject(window());
    else if (node.kind == Kind::unwatched)
        tree_.refresh();
    else if (node.kind == Kind::project && isMissing(node))
        actions_.locateProject(window(), node.project->id);
    else
        setExpanded(rows.front(), !node.isExpanded);
    return true;
}

bool ProjectSection::isName(const QString& name)
{
    const bool isPossible = !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0)) &&
                            name != QLatin1String(".") && name != QLatin1String("..");
    if (!isPossible)
        emit failed(tr("A name cannot be empty, “.” or “..”, or contain “/”."));
    return isPossible;
}

bool ProjectSection::rename(int row, const QString& name)
{
    const Node node = at(row);
    if (node.kind == Kind::project)
        actions_.renameProject(node.project->id, name.simplified());
    else if (node.entry && isName(name))
        move(pathOf(node), *node.folder + '/' + name.toStdString());
    return true;
}

bool ProjectSection::remove(const Rows& rows)
{
    std::vector<std::string> paths = pathsOf(rows, Kind::file);
    for (const std::string& folder : pathsOf(rows, Kind::folder))
        paths.push_back(folder);
    // What is in a folder goes with it.
    std::erase_if(paths, [&](const std::string& path) {
        return std::any_of(paths.begin(), paths.end(),
                           [&](const std::string& other) { return path != other && isInside(path, other); });
    });
    if (!paths.empty())
        trash(paths);
    return true;
}

void ProjectSection::move(const std::string& from, const std::string& to)
{
    if (from == to)
        return;
    inPool(
        this, [from, to] { return moveFile(from, to); },
        [this, from, to](const FileFailure& failure) {
            if (failure) {
                emit failed(*failure);
            } else {
                std::set<std::string> expanded;
                for (const std::string& path : expanded_)
                    expanded.insert(isInside(path, from) ? to + path.substr(from.size()) : path);
                expanded_ = std::move(expanded);
                emit fileMoved(from, to);
            }
            tree_.readAgain(folderOf(from));
            if (folderOf(to) != folderOf(from))
                tree_.readAgain(folderOf(to));
        });
}

void ProjectSection::create(const std::string& path, bool isFolder)
{
    inPool(
        this, [path, isFolder] { return isFolder ? makeFolder(path) : makeFile(path); },
        [this, path, isFolder](const FileFailure& failure) {
            if (failure)
                emit failed(*failure);
            else if (!isFolder)
                actions_.openProjectFiles({path}, false);
            tree_.readAgain(folderOf(path));
        });
}

void ProjectSection::trash(const std::vector<std::string>& paths)
{
    const auto job = [paths] {
        std::vector<TrashedFile> results;
        for (const std::string& path : paths)
            results.push_back(moveToTrash(path));
        return results;
    };
    inPool(this, job, [this, paths](const std::vector<TrashedFile>& results) {
        std::vector<std::pair<std::string, std::string>> trashed;
        int done = 0;
        for (std::size_t at = 0; at < paths.size(); ++at) {
            tree_.readAgain(folderOf(paths[at]));
            if (results[at].failure)
                emit failed(*results[at].failure);
            else if (++done; !results[at].path.empty())
                trashed.emplace_back(results[at].path, paths[at]);
        }
        if (trashed.empty())
            return;
        const QString message = trashed.size() == 1
                                    ? tr("“%1” moved to the trash").arg(shownName(trashed.front().second))
                                    : tr("%1 files moved to the trash").arg(trashed.size());
        emit undoOffered(message, [self = QPointer<ProjectSection>(this), trashed] {
            if (self)
                self->restore(trashed);
        });
    });
}

void ProjectSection::restore(const std::vector<std::pair<std::string, std::string>>& trashed)
{
    for (const auto& [from, to] : trashed)
        inPool(
            this, [from = from, to = to] { return restoreFromTrash(from, to); },
            [this, to = to](const FileFailure& failure) {
                if (failure)
                    emit failed(*failure);
                tree_.readAgain(folderOf(to));
            });
}

void ProjectSection::ask(const QString& title, const QString& label,
                         const std::function<void(const std::string&)>& take)
{
    auto* const dialog = new QInputDialog(&window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(title);
    dialog->setLabelText(label);
    connect(dialog, &QInputDialog::textValueSelected, this, [this, take](const QString& name) {
        if (isName(name))
            take(name.toStdString());
    });
    dialog->open();
}

void ProjectSection::addCreation(QMenu& menu, const std::string& folder)
{
    menu.addAction(tr("New File…"), this, [this, folder] {
        ask(tr("New File"), tr("Name of the file:"),
            [this, folder](const std::string& name) { create(folder + '/' + name, false); });
    });
    menu.addAction(tr("New Folder…"), this, [this, folder] {
        ask(tr("New Folder"), tr("Name of the folder:"),
            [this, folder](const std::string& name) { create(folder + '/' + name, true); });
    });
    menu.addSeparator();
}

void ProjectSection::fillMenu(QMenu& menu, const Rows& rows)
{
    if (rows.empty()) {
        menu.addAction(tr("Open Project Folder…"), this, [this] { actions_.askForProject(window()); });
        menu.addAction(tr("Refresh"), this, [this] { tree_.refresh(); });
        return;
    }
    const Node node = at(rows.front());
    if (node.kind == Kind::project && rows.size() == 1) {
        fillProjectMenu(menu, rows.front());
        return;
    }
    const std::vector<std::string> files = pathsOf(rows, Kind::file);
    std::vector<std::string> paths = pathsOf(rows, Kind::folder);
    paths.insert(paths.end(), files.begin(), files.end());
    if (paths.empty())
        return;
    const std::vector<std::filesystem::path> opened(files.begin(), files.end());
    if (!files.empty()) {
        menu.addAction(tr("Open"), this, [this, opened] { actions_.openProjectFiles(opened, false); })
            ->setShortcut(QKeySequence(Qt::Key_Return));
        menu.addAction(tr("Open in New Window"), this, [this, opened] { actions_.openProjectFiles(opened, true); })
            ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
        menu.addSeparator();
    }
    addCreation(menu, targetOf(node));
    if (rows.size() == 1)
        menu.addAction(tr("Rename…"), this, [this, row = rows.front()] { emit renameAsked(row); })
            ->setShortcut(QKeySequence(Qt::Key_F2));
    menu.addAction(tr("Move to Trash"), this, [this, paths] { trash(paths); })
        ->setShortcut(QKeySequence(Qt::Key_Delete));
    menu.addSeparator();
    menu.addAction(tr("Copy Path"), this, [paths] {
        QStringList lines;
        for (const std::string& path : paths)
            lines << QString::fromStdString(path);
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
    });
    menu.addAction(tr("Show in Files"), this, [this, paths] { emit showInFilesAsked(paths.front()); });
}

void ProjectSection::fillProjectMenu(QMenu& menu, int row)
{
    const Node node = at(row);
    const Uuid id = node.project->id;
    if (!isMissing(node)) {
        addCreation(menu, node.project->path);
        menu.addAction(tr("Copy Path"), this, [path = node.project->path] {
            QGuiApplication::clipboard()->setText(QString::fromStdString(path));
        });
        menu.addAction(tr("Show in Files"), this, [this, path = node.project->path] { emit showInFilesAsked(path); });
        menu.addSeparator();
    }
    menu.addAction(tr("Rename…"), this, [this, row] { emit renameAsked(row); })->setShortcut(QKeySequence(Qt::Key_F2));
    menu.addAction(tr("Locate Folder…"), this, [this, id] { actions_.locateProject(window(), id); });
    menu.addAction(tr("Refresh"), this, [this, node] {
        tree_.readAgain(node.project->path);
        tree_.refresh();
    });
    QAction* const remove = menu.addAction(tr("Remove Project"), this, [this, id] { actions_.removeProject(id); });
    remove->setToolTip(tr("Takes the project off this list. Nothing is deleted: the folder and its files stay where "
                          "they are."));
    menu.setToolTipsVisible(true);
}

void ProjectSection::drag(int row, DraggedRows& dragged) const
{
    const Node& node = at(row);
    if (node.entry)
        dragged.files.push_back(pathOf(node));
}

bool ProjectSection::canDrop(const DraggedRows& dragged, int row) const
{
    if (row < 0 || dragged.files.empty() || !at(row).project || (!at(row).entry && at(row).kind != Kind::project))
        return false;
    const std::string target = targetOf(at(row));
    return std::all_of(dragged.files.begin(), dragged.files.end(),
                       [&](const std::string& path) { return !isInside(target, path) && folderOf(path) != target; });
}

void ProjectSection::drop(const DraggedRows& dragged, int row)
{
    const std::string target = targetOf(at(row));
    for (const std::string& path : dragged.files)
        move(path, target + path.substr(path.rfind('/')));
}

}  // namespace penmark
