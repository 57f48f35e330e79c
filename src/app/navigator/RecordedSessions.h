// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/SessionSource.h"

namespace penmark {

class DocumentRegistry;
class SessionRecords;

/// The sessions of the running program. Main thread.
class RecordedSessions final : public SessionSource {
    Q_OBJECT

public:
    /// Both outlive it.
    RecordedSessions(const SessionRecords& records, DocumentRegistry& documents, QObject* parent = nullptr);

    const SessionLibrary& library() const override;
    QString documentTitle(const Uuid& document) const override;
    QString sessionTitle(const PenmarkSession& session) const override;
    QString sessionSummary(const PenmarkSession& session) const override;
    QString windowTitle(const RecoveryWindow& window) const override;
    QString workspaceTitle(const PenmarkWorkspace& workspace) const override;
    WorkspaceMembershipSummary membership(const PenmarkWorkspace& workspace) const override;

private:
    const SessionRecords& records_;
    DocumentRegistry& documents_;
};

}  // namespace penmark
