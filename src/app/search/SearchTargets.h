// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"
#include "search/TextSearchRule.h"

#include <QString>
#include <functional>
#include <vector>

class QObject;

namespace penmark {

/// A document, session, workspace, project or checkpoint that can be searched.
struct SearchTarget {
    Uuid id;
    QString title;
    QString detail;  ///< what tells it from others with this title: a path, a date
};

/// Lists what scopes with a fixed target may be about. Main thread.
class SearchTargets {
public:
    using Listed = std::function<void(std::vector<SearchTarget> targets)>;

    virtual ~SearchTargets() = default;
    /// Answers at once or later, with those most likely to be meant first; not at all once the receiver is gone.
    virtual void list(TextScopeKind kind, QObject* receiver, Listed listed) = 0;
};

}  // namespace penmark
