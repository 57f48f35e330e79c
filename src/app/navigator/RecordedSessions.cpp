// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/RecordedSessions.h"

#include "app/documents/SessionRecords.h"
#include "app/sessions/SessionTitles.h"

namespace penmark {

RecordedSessions::RecordedSessions(const SessionRecords& records, DocumentRegistry& documents, QObject* parent)
    : SessionSource(parent), records_(records), documents_(documents)
{
    connect(&records_, &SessionRecords::changed, this, &SessionSource::changed);
}

const SessionLibrary& RecordedSessions::library() const
{
    return records_.library();
}

QString RecordedSessions::documentTitle(const Uuid& document) const
{
    return penmark::documentTitle(documents_, document);
}

QString RecordedSessions::sessionTitle(const PenmarkSession& session) const
{
    return penmark::sessionTitle(documents_, session);
}

QString RecordedSessions::sessionSummary(const PenmarkSession& session) const
{
    return penmark::sessionSummary(documents_, session);
}

QString RecordedSessions::windowTitle(const RecoveryWindow& window) const
{
    return penmark::windowTitle(documents_, window);
}

QString RecordedSessions::workspaceTitle(const PenmarkWorkspace& workspace) const
{
    return penmark::workspaceTitle(documents_, records_.library(), workspace);
}

WorkspaceMembershipSummary RecordedSessions::membership(const PenmarkWorkspace& workspace) const
{
    return membershipOf(records_.library(), workspace);
}

}  // namespace penmark
