// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace penmark {

/// Asks for one line that may stay empty, in a dialog that does not block: Enter takes it, Esc takes nothing.
class NamePrompt {
public:
    NamePrompt() = delete;

    /// `label` stands above the line and names it, `placeholder` in it, `proposal` is selected in it. `taken` gets what
    /// was typed without white space around it; it is called once, or not at all.
    static void ask(QWidget* parent, const QString& title, const QString& label, const QString& placeholder,
                    const QString& proposal, const QString& okText, std::function<void(QString)> taken);
};

}  // namespace penmark
