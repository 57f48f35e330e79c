// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionStarter.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;

namespace penmark {

class DocumentRegistry;
class LibraryQueue;
class SessionRecords;

/// "New Session…": what a new session is to begin with. Enter creates at once, an empty one without a name if nothing
/// was chosen. Does not block, and deletes itself when it is closed. Main thread.
class NewSessionDialog final : public QDialog {
    Q_OBJECT

public:
    /// All outlive the dialog. `starters` are the user's own, listed behind the others.
    NewSessionDialog(QWidget* parent, SessionRecords& records, DocumentRegistry& documents, LibraryQueue& library,
                     std::vector<SessionStarter> starters);

    /// The session that is proposed as the enclosing one; ignored if it is not open.
    void setParentSession(const std::optional<Uuid>& session);

    /// What is filled in by now.
    SessionStart start() const;

signals:
    void chosen(const SessionStart& start);  ///< before the dialog closes

private:
    using Kind = SessionStart::Kind;

    void accept() override;
    void createStarts(const std::vector<SessionStarter>& starters);
    QWidget* createExtras();
    void addStart(Kind kind, const QString& title, const QString& detail, int starter = -1);
    void fillSessions();
    void readCheckpoints();
    void showExtras();
    void say(const QString& sentence);
    /// Asks for the folder; `createsThen` is for a Create that lacked it.
    void browse(bool createsThen);
    Kind kind() const;
    bool needsFolder() const { return kind() == Kind::projectFolder || kind() == Kind::logReview; }

    SessionRecords& records_;
    DocumentRegistry& documents_;
    LibraryQueue& library_;
    std::vector<SessionStarter> starters_;
    QLineEdit* name_;
    QComboBox* parents_;
    QListWidget* starts_;
    QWidget* folderRow_;
    QLineEdit* folder_;
    QComboBox* checkpoints_;
    QComboBox* sessions_;
    QLabel* notice_;
    bool checkpointsAsked_ = false;
};

}  // namespace penmark
