// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/Workspaces.h"

#include <QObject>
#include <QString>

namespace penmark {

/// What the sections about sessions, workspaces, projects and closed items show: the library as it is, and the words
/// for what is in it. Main thread.
class SessionSource : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual const SessionLibrary& library() const = 0;
    virtual QString documentTitle(const Uuid& document) const = 0;
    /// Never empty.
    virtual QString sessionTitle(const PenmarkSession& session) const = 0;
    virtual QString sessionSummary(const PenmarkSession& session) const = 0;
    virtual QString windowTitle(const RecoveryWindow& window) const = 0;
    virtual QString workspaceTitle(const PenmarkWorkspace& workspace) const = 0;
    virtual WorkspaceMembershipSummary membership(const PenmarkWorkspace& workspace) const = 0;

signals:
    void changed();  ///< the library is another
};

}  // namespace penmark
