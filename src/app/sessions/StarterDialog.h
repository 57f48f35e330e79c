// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionStarter.h"

#include <QDialog>
#include <set>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace penmark {

class DocumentRegistry;
class SessionRecords;

/// "Save Session as Starter…": a name, and whether the texts of drafts come along. Does not block, and deletes itself
/// when it is closed. Main thread.
class StarterDialog final : public QDialog {
    Q_OBJECT

public:
    /// Both outlive the dialog. A starter of a name in `taken` is replaced by the program, and the dialog says so.
    StarterDialog(QWidget* parent, SessionRecords& records, DocumentRegistry& documents, const Uuid& session,
                  std::set<std::string> taken = {});

signals:
    void made(const SessionStarter& starter);

private:
    void accept() override;
    void finish(const std::map<Uuid, StarterDraft>& drafts);
    void showState();

    SessionRecords& records_;
    DocumentRegistry& documents_;
    Uuid session_;
    std::set<std::string> taken_;
    QLineEdit* name_;
    QCheckBox* texts_;
    QLabel* note_;
    QPushButton* save_ = nullptr;
};

}  // namespace penmark
