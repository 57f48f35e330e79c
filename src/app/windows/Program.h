// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentRegistry.h"
#include "app/documents/OriginalFiles.h"
#include "app/documents/SessionRecords.h"
#include "app/find/FindMemory.h"
#include "app/settings/Settings.h"
#include "base/FunctionRef.h"
#include "storage/StorageInitialization.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace penmark {

class Appearance;
class ClipboardHistory;
class CommandRegistry;
class DocumentWindow;
class PreviewSource;
class ProgramSearch;
class ProgramSessions;
class SettingsStore;
class SettingsWindow;

/// What is to be opened, and where in it the caret goes.
struct OpenRequest {
    std::filesystem::path file;
    std::size_t line = 0;    ///< from 1; 0: wherever it was
    std::size_t column = 0;  ///< from 1
};

/// What was read before there were windows, beside the toolkit's own start.
struct EarlyLibrary {
    StorageInitializationStatus status;
    std::unique_ptr<RecoveryStore> store;  ///< null if it cannot be opened
    StoredSessions sessions;
    std::vector<LoadedDocument> documents;  ///< those in front of windows that will be shown
    std::vector<FileOpening> files;         ///< those of the command line, in their order
    std::vector<std::string> problems;
};

/// The running program: its library, documents, settings and windows. One object, on the window's thread.
class Program final : public QObject {
    Q_OBJECT

public:
    Program(EarlyLibrary early, std::filesystem::path settingsFile, LoadedSettings settings,
            const DocumentRegistry::Limits& limits = {});
    ~Program() override;

    DocumentRegistry& documents() { return *documents_; }
    OriginalFiles& files() { return *files_; }
    SessionRecords& records() { return *records_; }
    ProgramSessions& sessions() { return *sessions_; }
    ProgramSearch& search() { return *search_; }
    CommandRegistry& commands() { return *commands_; }
    SettingsStore& settings() { return *settings_; }
    Appearance& appearance() { return *appearance_; }
    const std::filesystem::path& libraryRoot() const { return libraryRoot_; }
    /// Whether the library can be read and not written.
    bool isReadOnly() const { return library_->store().isReadOnly(); }

    /// Opens the windows that were open, or an empty draft, and what the command line asks for.
    void start(const std::vector<OpenRequest>& files, bool restoreWindows, bool newWindow, bool newDraft);
    /// What can wait until something is seen: the headers, the watching of files, the desktop's wishes.
    void afterFirstFrame();

    std::vector<DocumentWindow*> windows() const;
    /// The window that was used last; a new one with an empty draft if there is none.
    DocumentWindow& frontWindow();
    /// With an empty draft, which gives way to what is opened.
    DocumentWindow& newWindow();
    /// A window by its record, or a fresh one. The caller sees to it that it gets a tab.
    DocumentWindow& makeWindow(const RecoveryWindow* record = nullptr);
    /// Another window beside one, with an empty draft or the given document.
    DocumentWindow& newWindowBeside(DocumentWindow& other, std::optional<Uuid> document = {});
    void windowActivated(DocumentWindow& window);
    /// A window that the user has closed: its record stays for reopening.
    void windowClosed(DocumentWindow& window);

    /// Opens files in a window; `opened` hears of each that is.
    void open(const std::vector<OpenRequest>& requests, DocumentWindow& window,
              std::function<void(const Uuid&)> opened = {}, std::function<void(const FileRefusal&)> refused = {});
    /// Opens files that were dropped on a window; one that is not there is said to be missing, not made.
    void openDropped(const QList<QUrl>& urls, DocumentWindow& window);
    /// Adds it as a project and shows it in the window in front.
    void showFolder(const std::filesystem::path& folder);

    /// A file, or a folder with all that is in it, has another path now: documents that are bound to it follow.
    void fileMoved(const std::filesystem::path& from, const std::filesystem::path& to);

    void noteRecent(const std::string& path);
    /// Paths of files, the latest first: those of this run, then those of documents by their last change.
    std::vector<std::string> recentFiles() const;

    /// A tab that the user closes, while the window still has it: it can be reopened.
    void noteClosed(DocumentWindow& window, const Uuid& document);
    /// The tab or window that was closed last, if anything of it is still there: of a session that is open, if there is
    /// one.
    void reopenClosed();
    /// Whether a document is to be found and not discarded; true as long as that is not known.
    bool isThere(const Uuid& document) const;
    bool canReopenClosed() const { return lastClosed().has_value(); }
    /// Shows windows as the library has them: makes those that are missing, takes away those that are put aside.
    void followSessions();
    /// They were left out at the start, and are wanted now.
    void restoreLeftOut(const std::vector<Uuid>& windows);
    void restoreAllLeftOut();
    /// Shows all windows again: what is new would belong to no workspace, and vanish.
    void endFocus();
    /// Before all others, and with the keys.
    void bringToFront(DocumentWindow& window);
    /// Whether the program would be without any window, hidden ones and those beside a workspace in focus included, if
    /// one that is seen were closed.
    bool hasOneWindow() const;
    /// Null if it is not shown.
    DocumentWindow* findWindow(const Uuid& id) const;

    /// Saves the documents of all tabs whose files differ, also of tabs that have not been read yet.
    void saveAll();

    /// Whether the document is shown in any window.
    bool isShown(const Uuid& document) const;

    /// Stores everything, then calls; with the reason if something is not stored.
    void storeAll(std::function<void(std::optional<std::string> failure)> done);
    /// Stores everything and ends. What cannot be stored keeps the program running, unless it has to end. Where nothing
    /// can be stored at all, only texts that are in no file keep it running, and the user may leave all the same.
    void quit(bool mustEnd = false);
    bool isEnding() const { return ending_; }

    /// How files are asked for; a test answers by itself. `chosen` is called once or not at all.
    struct FileQuestion {
        QString caption;
        QString proposal;  ///< a path
        bool forSaving = false;
        bool forFolder = false;
        std::function<void(const QStringList& paths)> chosen;
    };
    std::function<void(QWidget& window, const FileQuestion& question)> askForFiles;

    void showSettings(DocumentWindow& window, bool keys = false);
    void showAbout(DocumentWindow& window);
    void showInFiles(const std::string& path);
    /// What helps to find out what is wrong; no text of documents, no titles, no paths of theirs.
    QString diagnostics() const;
    /// Reads the headers of all documents unless that has begun.
    void needHeaders();
    ClipboardHistory& clipboardHistory();
    FindMemory& findMemory() { return findMemory_; }
    PreviewSource& previews();
    void openLibraryFolder();

signals:
    void tabClosed(const penmark::Uuid& document);  ///< it is shown in no window any more
    void windowsChanged();
    void activeDocumentChanged();  ///< another tab or window is in front

private:
    void createCommands();
    void applySettings();
    void welcome(DocumentWindow& window);
    void showOpened(RecoveryBuffer& buffer, const OpenRequest& request, DocumentWindow& window);
    void storeNow();
    std::vector<RecoveryBuffer*> unsavedTexts() const;
    std::size_t rescue(const std::vector<RecoveryBuffer*>& buffers);
    void staysForTexts(const std::vector<RecoveryBuffer*>& unsaved);
    std::optional<Uuid> lastClosed() const;
    void restoreWindowsInOrder();
    void putLeftOutIntoClosed();
    void putIntoClosed(SessionLibrary& library, const RecoveryWindow& window,
                       FunctionRef<bool(const Uuid& document)> isWanted);
    void takeAway(DocumentWindow& window);
    void keepOneVisible();
    void tellOfInterruption();
    void recordsFailed(const QString& sentence);
    void endRecordsBar();

    std::filesystem::path libraryRoot_;
    std::vector<LoadedDocument> earlyDocuments_;
    std::vector<FileOpening> earlyFiles_;
    std::unique_ptr<SettingsStore> settings_;
    std::unique_ptr<Appearance> appearance_;
    std::unique_ptr<LibraryQueue> library_;
    std::unique_ptr<DocumentRegistry> documents_;
    std::unique_ptr<OriginalFiles> files_;
    std::unique_ptr<SessionRecords> records_;
    std::unique_ptr<ProgramSessions> sessions_;
    std::unique_ptr<ProgramSearch> search_;
    std::unique_ptr<CommandRegistry> commands_;
    std::vector<DocumentWindow*> windows_;  // the one used last first
    std::vector<std::string> noted_;        // paths of files, the latest first
    std::set<Uuid> notRestored_;            // windows that this start was to leave out
    QString recordsFailure_;                // what the bar says of window records; empty: nothing
    QPointer<SettingsWindow> settingsWindow_;
    std::unique_ptr<ClipboardHistory> clipboard_;
    FindMemory findMemory_;
    std::unique_ptr<PreviewSource> previews_;
    bool readsHeaders_ = false;
    bool afterFirstFrame_ = false;
    bool ending_ = false;
    int attemptsToEnd_ = 0;
};

}  // namespace penmark
