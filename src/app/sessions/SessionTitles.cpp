// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionTitles.h"

#include "app/documents/DocumentRegistry.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"

#include <QCoreApplication>
#include <QStringList>
#include <optional>

namespace penmark {

namespace {

constexpr qsizetype titleLength = 40;  // UTF-16 units of all titles together

QString tr(const char* text, const char* comment = nullptr, int count = -1)
{
    return QCoreApplication::translate("SessionTitles", text, comment, count);
}

}  // namespace

QString documentTitle(DocumentRegistry& documents, const Uuid& document)
{
    std::string title;
    if (const RecoveryBuffer* const buffer = documents.find(document))
        title = buffer->shownTitle();
    else if (const DocumentHeader* const header = documents.headers().find(document))
        title = header->title;
    return title.empty() ? tr("New Draft") : QString::fromStdString(title);
}

QString joinedTitles(DocumentRegistry& documents, const std::vector<Uuid>& all)
{
    QStringList titles;
    qsizetype length = 0;
    for (const Uuid& document : all) {
        const QString title = documentTitle(documents, document);
        if (!titles.isEmpty() && length + title.size() > titleLength)
            break;
        length += title.size();
        titles.append(title);
    }
    const auto more = static_cast<qsizetype>(all.size()) - titles.size();
    if (more > 0)
        titles.append(QStringLiteral("+%1").arg(more));
    return titles.join(QStringLiteral(", "));
}

QString sessionTitle(DocumentRegistry& documents, const PenmarkSession& session)
{
    if (session.name && !session.name->empty())
        return QString::fromStdString(*session.name);
    const QString titles = joinedTitles(documents, documentsOf(session));
    return titles.isEmpty() ? tr("Empty session") : titles;
}

QString sessionSummary(DocumentRegistry& documents, const PenmarkSession& session)
{
    const auto windows = static_cast<int>(session.windows.size());
    QString text = windows == 0 ? tr("No windows") : windows == 1 ? tr("1 window") : tr("%1 windows").arg(windows);
    const QString titles = joinedTitles(documents, documentsOf(session));
    return titles.isEmpty() ? text : text + QStringLiteral(" · ") + titles;
}

Date lastUse(DocumentRegistry& documents, const PenmarkSession& session)
{
    std::optional<Date> latest;
    for (const Uuid& document : documentsOf(session)) {
        const DocumentHeader* const header = documents.headers().find(document);
        if (header && (!latest || *latest < header->updatedAt))
            latest = header->updatedAt;
    }
    return latest.value_or(session.createdAt);
}

QString workspaceTitle(DocumentRegistry& documents, const SessionLibrary& library, const PenmarkWorkspace& workspace)
{
    if (!workspace.name.empty())
        return QString::fromStdString(workspace.name);
    const QString titles = joinedTitles(documents, documentsOfWorkspace(library, workspace.id));
    return titles.isEmpty() ? tr("Workspace") : titles;
}

QString windowTitle(DocumentRegistry& documents, const RecoveryWindow& window)
{
    const std::vector<Uuid> all = documentsOf(window);
    if (all.empty())
        return tr("Empty window");
    const QString title = documentTitle(documents, window.selected.value_or(all.front()));
    return all.size() == 1 ? title : title + QStringLiteral(" +%1").arg(all.size() - 1);
}

}  // namespace penmark
