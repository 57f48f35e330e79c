// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/penmark/LibraryExport.h"
#include "storage/StorageInitialization.h"

#include <QWidget>
#include <functional>
#include <memory>

class QHBoxLayout;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QVBoxLayout;

namespace penmark {

/// Shown in place of everything else when the library cannot be opened: why, and what can be done. Where there is a
/// database, it can be opened for reading only, or its texts can be exported. Changes nothing in the library.
class FailureWindow final : public QWidget {
    Q_OBJECT

public:
    /// `holder` is the process that has the library open; 0 if that is not what is wrong.
    FailureWindow(const StorageInitializationStatus& status, RecoveryConfiguration configuration, int holder);

    /// How a folder is asked for; a test answers by itself. `chosen` is called once or not at all.
    std::function<void(const QString& caption, std::function<void(const QString& folder)> chosen)> askForFolder;

signals:
    void tryAgain(penmark::LibraryAccess access);

private:
    void addReason(const QString& sentence, const QString& where);
    void addReading();
    void addButtons(const QString& sentence, const QString& where);
    QPushButton* addButton(QHBoxLayout& row, const QString& name);
    void askByDialog(const QString& caption, const std::function<void(const QString& folder)>& chosen);
    void openAnother();
    void beginExport(const QString& folder);
    void endExport(const LibraryExport::Result& result);
    void setExporting(bool exporting);

    RecoveryConfiguration configuration_;
    QVBoxLayout* layout_;
    QLabel* progress_ = nullptr;  // null, as what follows, if there is nothing to read
    QPlainTextEdit* problems_ = nullptr;
    QPushButton* openReadOnly_ = nullptr;
    QPushButton* export_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QPushButton* tryAgain_ = nullptr;
    QPushButton* openAnother_ = nullptr;
    std::unique_ptr<LibraryExport> running_;
};

}  // namespace penmark
