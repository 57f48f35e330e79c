// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "organization/PenmarkSession.h"

#include <QString>
#include <string>

namespace penmark {

class DocumentRegistry;

/// What a new return note begins with. Main thread.
struct ReturnNoteText {
    QString title;          ///< "Return note: Budget"
    std::string text;       ///< the title, the day, "Where I was", "Next step" and the documents that are open
    std::size_t caret = 0;  ///< UTF-8 offset where writing goes on: below "Where I was"
};

ReturnNoteText returnNoteText(DocumentRegistry& documents, const PenmarkSession& session, Date now);

}  // namespace penmark
