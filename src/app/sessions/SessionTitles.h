// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <QString>
#include <vector>

namespace penmark {

class DocumentRegistry;

/// How sessions, workspaces and documents are called in lists and titles. Names are optional, so what is in them stands
/// for one that is missing. Main thread.

/// As shown in tabs; "New Draft" of one that was never written to. Never empty.
QString documentTitle(DocumentRegistry& documents, const Uuid& document);

/// The name, or "notes.md, todo, +4"; "Empty session" without documents.
QString sessionTitle(DocumentRegistry& documents, const PenmarkSession& session);
/// "3 windows · notes.md, todo, +4"; "No windows" without.
QString sessionSummary(DocumentRegistry& documents, const PenmarkSession& session);

/// When something of what its own windows show was last written, or when the session was made if they show nothing.
Date lastUse(DocumentRegistry& documents, const PenmarkSession& session);

/// The name, or the titles of what it links; "Workspace" if nothing of that is there.
QString workspaceTitle(DocumentRegistry& documents, const SessionLibrary& library, const PenmarkWorkspace& workspace);

/// The title of a window: of the tab in front, "notes.md +2".
QString windowTitle(DocumentRegistry& documents, const RecoveryWindow& window);

/// The first titles, as many as fit some 40 characters, and how many there are beyond: "notes.md, todo, +4".
QString joinedTitles(DocumentRegistry& documents, const std::vector<Uuid>& all);

}  // namespace penmark
