// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>
#include <filesystem>
#include <string>

namespace penmark {

/// Shown in place of everything else when the library cannot be opened: why, and what can be done. Changes nothing.
class FailureWindow final : public QWidget {
    Q_OBJECT

public:
    /// `holder` is the process that has the library open; 0 if that is not what is wrong.
    FailureWindow(const std::string& message, const std::filesystem::path& library, int holder);

signals:
    void tryAgain();

private:
    void openAnother();
};

}  // namespace penmark
