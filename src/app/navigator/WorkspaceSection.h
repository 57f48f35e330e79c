// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/LibrarySection.h"

#include <map>
#include <set>

namespace penmark {

/// The workspaces, each with its members below it once it is expanded.
class WorkspaceSection final : public LibrarySection {
    Q_OBJECT

public:
    explicit WorkspaceSection(const SectionContext& context, QObject* parent = nullptr)
        : LibrarySection(context, parent)
    {}

    QString word() const override { return QStringLiteral("workspaces"); }
    QString heading() const override { return tr("Workspaces"); }
    int rowCount() const override { return static_cast<int>(rows_.size()); }
    int count() const override;
    QString countText() const override;
    NavigatorRow row(int row) const override;
    void setExpanded(int row, bool isExpanded) override;

    bool activate(const Rows& rows, Activation how) override;
    bool rename(int row, const QString& name) override;
    bool remove(const Rows& rows) override;
    void fillMenu(QMenu& menu, const Rows& rows) override;
    void drag(int row, DraggedRows& dragged) const override;
    bool canDrop(const DraggedRows& dragged, int row) const override;
    void drop(const DraggedRows& dragged, int row) override;

private:
    using Workspace = std::shared_ptr<const PenmarkWorkspace>;
    enum class Kind { workspace, window, tab, lostWindow, lostTab, message };
    struct Node {
        Workspace workspace;
        Kind kind = Kind::workspace;
        TabPlace place;  // of members: window, document and tab, as far as there are
        bool isExpandable = false;
        bool isExpanded = false;
        bool isActive = false;

        bool isSame(const Node& other) const
        {
            return kind == other.kind && place == other.place &&
                   (kind == Kind::message || workspace->id == other.workspace->id);
        }
        friend bool operator==(const Node&, const Node&) = default;
    };

    void libraryChanged() override;
    void rebuild() override;
    void addMembers(const Node& workspace, std::vector<Node>& nodes) const;
    const Node& at(int row) const { return rows_[static_cast<std::size_t>(row)]; }
    const WorkspaceMembershipSummary& membersOf(const PenmarkWorkspace& workspace) const;
    bool isHit(const PenmarkWorkspace& workspace) const;
    void unlink(const Node& member);
    void fillWorkspaceMenu(QMenu& menu, int row);

    std::vector<Node> rows_;
    std::set<Uuid> expanded_;
    mutable std::map<Uuid, WorkspaceMembershipSummary> members_;  // looked up once for a state of the library
    int matches_ = 0;
};

/// A window of the library that shows the document, this one if it can; null if none does.
const RecoveryWindow* windowShowing(const SessionLibrary& library, const Uuid& document, const Uuid& preferred);

}  // namespace penmark
