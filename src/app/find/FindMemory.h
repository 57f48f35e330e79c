// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

namespace penmark {

/// What has been looked for in this run of the program; the same for all its windows.
struct FindMemory {
    static constexpr int limit = 50;

    QStringList queries;       ///< the latest first
    QStringList replacements;  ///< the latest first
    bool caseSensitive = false;
    bool wholeWord = false;
    bool regex = false;

    static void note(QStringList& list, const QString& text)
    {
        if (text.isEmpty())
            return;
        list.removeAll(text);
        list.prepend(text);
        while (list.size() > limit)
            list.removeLast();
    }
};

}  // namespace penmark
