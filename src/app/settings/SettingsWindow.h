// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/settings/SettingsStore.h"

#include <QWidget>
#include <vector>

class QLabel;
class QLineEdit;
class QListWidget;
class QScrollArea;
class QVBoxLayout;

namespace penmark {

class CommandRegistry;
class SettingsPage;

/// All settings, on pages that one search box looks through. What is changed applies at once. One window of the
/// program, made when it is first asked for; it does not block others.
class SettingsWindow final : public QWidget {
    Q_OBJECT

public:
    /// Store and registry outlive the window; they are expected to be tied together by followKeySettings().
    SettingsWindow(SettingsStore& store, CommandRegistry& registry, const QString& libraryFolder);
    ~SettingsWindow() override;

    /// "general", "editor", "appearance", "keys", "files", "library" or "privacy"; others show the first.
    void showPage(const QString& id);

signals:
    void openFile(const QString& path);       ///< in an editor; the file exists
    void showInFiles(const QString& folder);  ///< in the desktop's file manager

private:
    void createPages(CommandRegistry& registry, const QString& libraryFolder);
    void addPage(const QString& id, SettingsPage* page);
    void addGeneral();
    void addEditor();
    void addAppearance();
    void addFiles();
    void addLibrary(const QString& folder);
    void addPrivacy(const QString& folder);
    void showCurrent();
    void showSettings();
    void openAsJson();
    void keyPressEvent(QKeyEvent* event) override;

    SettingsStore& store_;
    QLineEdit* search_;
    QListWidget* list_;
    QScrollArea* scroll_;
    QLabel* problem_;
    QLabel* nothing_;
    QVBoxLayout* pageLayout_;
    std::vector<SettingsPage*> pages_;
    QStringList ids_;
};

}  // namespace penmark
