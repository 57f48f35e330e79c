// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchRule.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLineEdit;

namespace penmark {

/// The part of a rule that is rarely changed: what is searched of a source, and which files of a folder. Main thread.
class SearchOptions final : public QWidget {
    Q_OBJECT

public:
    SearchOptions();

    /// Signals nothing. Files are only chosen of a folder.
    void show(const TextSearchRule& rule);
    void applyTo(TextSearchRule& rule) const;
    /// How many are other than they are at first and count for this scope.
    static int countOf(const TextSearchRule& rule);

signals:
    void changed();
    void typed();  ///< more is likely to follow

private:
    QComboBox* field_;
    QLineEdit* fileTypes_;
    QLineEdit* pathFilter_;
    QCheckBox* hidden_;
    QCheckBox* ignored_;
    QCheckBox* large_;
};

}  // namespace penmark
