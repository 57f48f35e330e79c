// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/ReturnNoteText.h"

#include "app/documents/DocumentRegistry.h"
#include "app/sessions/SessionTitles.h"
#include "organization/SessionLibrary.h"

#include <QCoreApplication>
#include <algorithm>

namespace penmark {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("ReturnNoteText", text);
}

/// The documents that tabs of the session show, each once.
std::vector<Uuid> openDocuments(const PenmarkSession& session)
{
    std::vector<Uuid> open;
    for (const RecoveryWindow& window : session.windows) {
        for (const Uuid& document : window.documents) {
            if (std::find(open.begin(), open.end(), document) == open.end())
                open.push_back(document);
        }
    }
    return open;
}

}  // namespace

ReturnNoteText returnNoteText(DocumentRegistry& documents, const PenmarkSession& session, Date now)
{
    ReturnNoteText note;
    note.title = tr("Return note: %1").arg(sessionTitle(documents, session));
    std::string& text = note.text;
    text = note.title.toStdString() + "\n" + now.localText().substr(0, 16) + "\n\n";
    text += tr("Where I was").toStdString() + "\n\n";
    note.caret = text.size() - 1;
    text += "\n" + tr("Next step").toStdString() + "\n\n";
    const std::vector<Uuid> open = openDocuments(session);
    if (open.empty())
        return note;
    text += "\n" + tr("Open documents").toStdString() + "\n";
    for (const Uuid& document : open) {
        text += "- " + documentTitle(documents, document).toStdString();
        const DocumentHeader* const header = documents.headers().find(document);
        if (header != nullptr && !header->path.empty())
            text += " (" + header->path + ")";
        text += "\n";
    }
    return note;
}

}  // namespace penmark
