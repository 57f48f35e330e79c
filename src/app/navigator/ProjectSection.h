// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/LibrarySection.h"
#include "app/navigator/ProjectFiles.h"
#include "app/navigator/ProjectTree.h"

#include <functional>
#include <set>
#include <string>

namespace penmark {

/// The projects, each with the files of its folder below it. Folders are read when they are expanded; what is done to
/// files is done in the background, and replaces nothing.
class ProjectSection final : public LibrarySection {
    Q_OBJECT

public:
    explicit ProjectSection(const SectionContext& context, QObject* parent = nullptr);

    QString word() const override { return QStringLiteral("projects"); }
    QString heading() const override { return tr("Projects"); }
    int rowCount() const override { return static_cast<int>(rows_.size()); }
    int count() const override;
    QString countText() const override;
    NavigatorRow row(int row) const override;
    void setExpanded(int row, bool isExpanded) override;

    /// Paths of folders, as bytes.
    const std::set<std::string>& expandedPaths() const { return expanded_; }
    void setExpandedPaths(std::set<std::string> paths);
    ProjectTree& tree() { return tree_; }

    bool activate(const Rows& rows, Activation how) override;
    bool rename(int row, const QString& name) override;
    bool remove(const Rows& rows) override;
    void fillMenu(QMenu& menu, const Rows& rows) override;
    void drag(int row, DraggedRows& dragged) const override;
    bool canDrop(const DraggedRows& dragged, int row) const override;
    void drop(const DraggedRows& dragged, int row) override;

signals:
    /// A file, or a folder with all that is in it, is elsewhere now.
    void fileMoved(const std::string& from, const std::string& to);
    void showInFilesAsked(const std::string& path);
    void expandedPathsChanged();

private:
    using Entry = std::shared_ptr<const FolderEntry>;
    enum class Kind { project, folder, file, problem, beyond, unwatched, offer };
    struct Node {
        Kind kind = Kind::project;
        std::shared_ptr<const PenmarkProject> project;
        std::shared_ptr<const std::string> folder;  // the path of the folder that it is in, or has to do with
        Entry entry;                                // of files and folders
        std::shared_ptr<const FolderListing> listing;
        int depth = 0;
        bool isExpanded = false;

        bool isSame(const Node& other) const;
        friend bool operator==(const Node& one, const Node& other)
        {
            return one.isSame(other) && one.project == other.project && one.entry == other.entry &&
                   one.listing == other.listing && one.isExpanded == other.isExpanded;
        }
    };
    class Builder;

    void libraryChanged() override;
    void rebuild() override;
    void readWhatIsShown();
    const Node& at(int row) const { return rows_[static_cast<std::size_t>(row)]; }
    /// Of a project, folder or file.
    static std::string pathOf(const Node& node);
    /// Where something would be put: the folder itself, or the one that a file is in.
    static std::string targetOf(const Node& node);
    bool isMissing(const Node& project) const;
    std::vector<std::string> pathsOf(const Rows& rows, Kind kind) const;
    void describeEntry(const Node& node, NavigatorRow& row) const;

    void fillProjectMenu(QMenu& menu, int row);
    void addCreation(QMenu& menu, const std::string& folder);
    void ask(const QString& title, const QString& label, const std::function<void(const std::string&)>& take);
    void create(const std::string& path, bool isFolder);
    void move(const std::string& from, const std::string& to);
    void trash(const std::vector<std::string>& paths);
    void restore(const std::vector<std::pair<std::string, std::string>>& trashed);
    bool isName(const QString& name);

    ProjectTree tree_;
    std::vector<Node> rows_;
    std::set<std::string> expanded_;
    std::vector<std::shared_ptr<const PenmarkProject>> known_;  // whose folders have been looked for
    int matches_ = 0;                                           // projects
};

}  // namespace penmark
