// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/CheckpointDocumentsModel.h"
#include "organization/SessionCalendar.h"

#include <QWidget>
#include <stop_token>

class QBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeView;

namespace penmark {

class DocumentRegistry;
class SessionActions;
class SessionRecords;

/// What a checkpoint holds and how that differs from now, and what is done with it. It is read in the background; an
/// answer about a checkpoint that is no longer shown is dropped. Main thread.
class CheckpointView final : public QWidget {
    Q_OBJECT

public:
    /// All outlive the view.
    CheckpointView(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents);
    ~CheckpointView() override;

    /// Reads it again if it is the one that is shown. Null for none.
    void show(const CalendarCheckpoint* checkpoint);
    const std::optional<CalendarCheckpoint>& shown() const { return shown_; }

    /// Restores everything, or what is ticked.
    void restore();
    void askToDelete();

signals:
    void compareRequested(const Uuid& document, const Uuid& revision);
    void searchRequested(const Uuid& checkpoint);

private:
    void createTable();
    void createButtons(QBoxLayout& layout);
    void read();
    void take(CheckpointContents contents);
    void showHead();
    void showButtons();
    void say(const QString& sentence);
    void askForName();
    void compare();
    void search();
    void showTableMenu(QPoint position);

    SessionRecords& records_;
    SessionActions& actions_;
    DocumentRegistry& documents_;
    CheckpointDocumentsModel model_;
    std::optional<CalendarCheckpoint> shown_;
    bool isRead_ = false;  // the contents are of what is shown
    int request_ = 0;
    std::stop_source reading_;
    QLabel* title_;
    QLabel* date_;
    QLabel* sessions_;
    QLabel* counts_;
    QLabel* notice_;
    QLineEdit* filter_;
    QTreeView* table_;
    QPushButton* restore_ = nullptr;
    QPushButton* pin_ = nullptr;
    QPushButton* rename_ = nullptr;
    QPushButton* delete_ = nullptr;
    QPushButton* compare_ = nullptr;
    QPushButton* search_ = nullptr;
};

}  // namespace penmark
