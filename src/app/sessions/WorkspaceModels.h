// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/Workspaces.h"

#include <QAbstractListModel>
#include <optional>
#include <vector>

namespace penmark {

class DocumentRegistry;
class SessionRecords;

/// The workspaces of a library: open ones first, each in the order in which they were made. Main thread.
class WorkspaceListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    /// Both outlive the model.
    WorkspaceListModel(SessionRecords& records, DocumentRegistry& documents);

    /// Takes over what the records hold now.
    void refresh();
    /// Absent for no index.
    std::optional<Uuid> workspace(const QModelIndex& index) const;
    QModelIndex indexOf(const Uuid& workspace) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    QString detail(const PenmarkWorkspace& workspace) const;
    QString state(const PenmarkWorkspace& workspace) const;

    SessionRecords& records_;
    DocumentRegistry& documents_;
    std::vector<Uuid> workspaces_;
};

/// What a workspace links: windows, tabs, and links to what is not on this computer. Main thread.
class WorkspaceMembersModel final : public QAbstractListModel {
    Q_OBJECT

public:
    struct Row {
        enum class Kind { windowsHeading, tabsHeading, unavailableHeading, window, tab, missingWindow, missingTab };
        Kind kind = Kind::window;
        Uuid member;  ///< the window, or the tab's identity
        std::optional<Uuid> window;
        std::optional<Uuid> document;

        bool isHeading() const { return kind <= Kind::unavailableHeading; }
        bool isTab() const { return kind == Kind::tab || kind == Kind::missingTab; }
        friend bool operator==(const Row&, const Row&) = default;
    };

    /// Both outlive the model.
    WorkspaceMembersModel(SessionRecords& records, DocumentRegistry& documents);

    void show(const PenmarkWorkspace* workspace);  ///< null for none
    /// Null for no index and for headings.
    const Row* member(const QModelIndex& index) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    QString title(const Row& row) const;
    QString detail(const Row& row) const;

    SessionRecords& records_;
    DocumentRegistry& documents_;
    std::vector<Row> rows_;
};

}  // namespace penmark
