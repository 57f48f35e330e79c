// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "organization/SessionLibrary.h"

#include <vector>

namespace penmark {

/// One operation's changes of sessions. Notes which windows come to be seen and which no longer are, and at the end
/// brings the settings up to date: windows that appear stand in front of the others, and those that have gone are
/// neither in the order nor in focus. Lives for one operation.
class SessionEdit {
public:
    explicit SessionEdit(SessionLibrary& library) : library_(library) {}
    SessionEdit(const SessionEdit&) = delete;
    SessionEdit& operator=(const SessionEdit&) = delete;

    /// Nothing if there is no such session.
    void change(const Uuid& session, FunctionRef<void(PenmarkSession&)> change);
    void add(PenmarkSession session);
    void remove(const Uuid& session);

    /// To be called behind the last change.
    void finish();

private:
    SessionLibrary& library_;  // outlives this object
    std::vector<Uuid> shownBefore_;
    std::vector<Uuid> shownAfter_;
};

}  // namespace penmark
