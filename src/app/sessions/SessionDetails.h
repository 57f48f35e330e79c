// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionContentsModel.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QTreeView;

namespace penmark {

class SessionActions;
class SessionRecords;

/// What a session holds: windows with their tabs and how the texts begin, its return note, its projects. Main thread.
class SessionDetails final : public QWidget {
    Q_OBJECT

public:
    /// All outlive the widget.
    SessionDetails(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                   DocumentPreviews& previews);

    /// Shows it as the records have it now; one that is not there, or none, leaves the place empty.
    void show(const std::optional<Uuid>& session);

private:
    void createList();
    void createReturnNote();
    void activate(const QModelIndex& index);
    void showMenu(QPoint position);
    void showReturnNote(const PenmarkSession& session);
    void showProjects(const PenmarkSession& session);

    SessionRecords& records_;
    SessionActions& actions_;
    DocumentRegistry& documents_;
    DocumentPreviews& previews_;
    SessionContentsModel contents_;
    std::optional<Uuid> session_;
    QLabel* title_;
    QLabel* state_;
    QTreeView* list_;
    QLabel* noteText_;
    QPushButton* noteButton_;
    QLabel* projects_;
};

}  // namespace penmark
