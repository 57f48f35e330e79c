// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/Program.h"

#include "app/appearance/Appearance.h"
#include "app/commands/CommandRegistry.h"
#include "app/documents/Rescue.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/navigator/PreviewSource.h"
#include "app/settings/KeysPage.h"
#include "app/settings/SettingsStore.h"
#include "app/settings/SettingsWindow.h"
#include "app/windows/ClipboardHistory.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/MessageBar.h"
#include "app/windows/ProgramSearch.h"
#include "app/windows/ProgramSessions.h"
#include "app/windows/StatusTexts.h"
#include "base/Utf8.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "storage/DocumentStore.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSysInfo>
#include <algorithm>
#include <set>
#include <span>

namespace penmark {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t previewCharacters = 200;
constexpr int interruptionShown = 10'000;  // milliseconds

/// The beginnings of texts, read behind whatever else is read.
class LibraryPreviews final : public PreviewSource {
public:
    LibraryPreviews(LibraryQueue& library, QObject& receiver) : library_(library), receiver_(receiver) {}

    void readPreviews(std::vector<Uuid> ids, Answer answer) override
    {
        const std::size_t count = ids.size();
        library_.read(
            &receiver_,
            [ids = std::move(ids)](RecoveryStore& store) {
                std::vector<std::string> texts;
                for (const Uuid& id : ids)
                    texts.push_back(preview(store, id));
                return texts;
            },
            answer, [answer, count](const RecoveryError&) { answer(std::vector<std::string>(count)); });
    }

private:
    static std::string preview(RecoveryStore& store, const Uuid& id)
    {
        try {
            const DocumentStore documents(store);
            const auto record = documents.loadDocument(id);
            const auto head = record ? documents.loadHead(*record) : std::nullopt;
            if (!head)
                return {};
            const TextSnapshot text(ContentStore(store).previewText(head->contentHash));
            const Utf16Offset end(std::min(previewCharacters, text.utf16End().value));
            return text.text({Utf8Offset(0), text.toUtf8(end)});
        } catch (const RecoveryError&) {
            return {};  // one that is damaged is found by its title
        }
    }

    LibraryQueue& library_;
    QObject& receiver_;
};

void askByDialog(QWidget& window, const Program::FileQuestion& question)
{
    auto* const dialog = new QFileDialog(&window, question.caption, question.proposal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    if (question.forSaving) {
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        dialog->setFileMode(QFileDialog::AnyFile);
        const QFileInfo proposal(question.proposal);
        dialog->setDirectory(proposal.path());
        dialog->selectFile(proposal.fileName());
    } else if (question.forFolder) {
        dialog->setFileMode(QFileDialog::Directory);
    } else {
        dialog->setFileMode(QFileDialog::ExistingFiles);
    }
    QObject::connect(dialog, &QFileDialog::filesSelected, &window, question.chosen);
    dialog->open();
}

}  // namespace

Program::Program(EarlyLibrary early, fs::path settingsFile, LoadedSettings settings,
                 const DocumentRegistry::Limits& limits)
    : askForFiles(askByDialog), libraryRoot_(early.store->root()), earlyDocuments_(std::move(early.documents)),
      earlyFiles_(std::move(early.files)),
      settings_(std::make_unique<SettingsStore>(std::move(settingsFile), std::move(settings))),
      appearance_(std::make_unique<Appearance>()), library_(std::make_unique<LibraryQueue>(std::move(early.store))),
      documents_(std::make_unique<DocumentRegistry>(*library_, limits)),
      files_(std::make_unique<OriginalFiles>(*documents_)),
      records_(std::make_unique<SessionRecords>(*library_, std::move(early.sessions))),
      sessions_(std::make_unique<ProgramSessions>(*this)), search_(std::make_unique<ProgramSearch>(*this))
{
    appearance_->apply(settings_->settings().appearance, settings_->settings().lastSystemDark);
    createCommands();
    followKeySettings(*commands_, *settings_);
    connect(settings_.get(), &SettingsStore::changed, this, &Program::applySettings);
    connect(documents_.get(), &DocumentRegistry::loaded, this, [this](RecoveryBuffer& buffer) {
        const Settings& chosen = settings_->settings();
        buffer.content().useDefaults({chosen.indentWithTabs, static_cast<std::size_t>(chosen.indentWidth),
                                      static_cast<std::size_t>(chosen.tabWidth), chosen.detectIndentation,
                                      chosen.newLineEnd == LineEndChoice::crlf ? "\r\n" : "\n"});
    });
    const auto say = [this](const QString& sentence) {
        if (!windows_.empty())
            frontWindow().showBar(sentence, DocumentMessage::Weight::failure, {});
    };
    connect(documents_.get(), &DocumentRegistry::failed, this, say);
    connect(records_.get(), &SessionRecords::failed, this, &Program::recordsFailed);
    connect(records_.get(), &SessionRecords::recovered, this, &Program::endRecordsBar);
    connect(records_.get(), &SessionRecords::arranged, this, &Program::followSessions);
    connect(records_.get(), &SessionRecords::changed, this, [this] {
        for (DocumentWindow* window : windows_)
            window->updateTitle();
    });
    connect(records_.get(), &SessionRecords::refused, this, [this](const QString& sentence) {
        if (!windows_.empty())
            frontWindow().showBar(sentence, DocumentMessage::Weight::warning, {});
    });
    connect(documents_.get(), &DocumentRegistry::storeFailed, this, &Program::endRecordsBar);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state != Qt::ApplicationActive)
            storeNow();
        else if (settings_->settings().watchOriginals)
            files_->checkAll();
    });
    connect(
        qApp, &QGuiApplication::commitDataRequest, this,
        [this] {
            // What was typed while a store ran takes another one.
            constexpr int attempts = 3;
            for (int attempt = 0; attempt < attempts; ++attempt) {
                documents_->storeAll(true);
                records_->save();
                library_->finishWriting();
                QCoreApplication::sendPostedEvents(library_.get());
            }
        },
        Qt::DirectConnection);
    // A document that nobody shows any more, because its tab was closed or it was to be discarded, comes back.
    connect(documents_.get(), &DocumentRegistry::storeFailed, this, [this](RecoveryBuffer& buffer) {
        if (!windows_.empty() && !buffer.text().empty() && !isShown(buffer.id()))
            QMetaObject::invokeMethod(
                this,
                [this, alive = QPointer<RecoveryBuffer>(&buffer)] {
                    if (alive && !windows_.empty())
                        frontWindow().showDocument(alive->id());
                },
                Qt::QueuedConnection);
    });
    qApp->setQuitOnLastWindowClosed(false);
}

Program::~Program()
{
    search_.reset();  // its window asks for what is in the others
    for (DocumentWindow* window : std::vector<DocumentWindow*>(windows_))
        delete window;
    delete settingsWindow_;
}

void Program::applySettings()
{
    const Settings& chosen = settings_->settings();
    if (chosen.appearance != appearance_->choice())
        appearance_->apply(chosen.appearance, chosen.lastSystemDark);
    for (DocumentWindow* window : windows_)
        window->setMenuBarVisible(chosen.menuBarVisible);
    if (!afterFirstFrame_)
        return;
    if (chosen.watchOriginals)
        files_->watch();
    else
        files_->stopWatching();
}

// ---- start ----

void Program::start(const std::vector<OpenRequest>& files, bool restoreWindows, bool inNewWindow, bool newDraft)
{
    for (LoadedDocument& document : std::exchange(earlyDocuments_, {}))
        documents_->adopt(std::move(document));
    // Before a window asks the library for the same text.
    std::vector<RecoveryBuffer*> opened;
    for (FileOpening& opening : earlyFiles_) {
        auto* const document = std::get_if<LoadedDocument>(&opening);
        RecoveryBuffer* present = document ? documents_->findBoundTo(*document->record.externalPath) : nullptr;
        if (document && !present)
            present = &documents_->adopt(std::move(*document));
        opened.push_back(present);
    }
    if (restoreWindows) {
        restoreWindowsInOrder();
    } else {
        records_->changeQuietly([](SessionLibrary& library) { penmark::endFocus(library); });
        for (const Uuid& window : shownWindows(records_->library()))
            notRestored_.insert(window);
        // Who never wants them back has them among what was closed, where their number is bounded. Whether there is
        // anything in them is known once the documents are.
        if (!settings_->settings().restoreWindows && !isReadOnly())
            connect(&documents_->headers(), &DocumentHeaders::loaded, this, &Program::putLeftOutIntoClosed,
                    Qt::SingleShotConnection);
    }
    if (windows_.empty() || inNewWindow)
        makeWindow();
    DocumentWindow& front = frontWindow();
    for (std::size_t index = 0; index < opened.size(); ++index) {
        if (opened[index])
            showOpened(*opened[index], files[index], front);
        else
            front.showRefusal(std::get<FileRefusal>(earlyFiles_[index]));
    }
    earlyFiles_.clear();
    if (newDraft || front.tabs().empty())
        front.newDraft();
    if (isReadOnly())
        front.showBar(tr("Nothing can be stored: this library is open for reading only"),
                      DocumentMessage::Weight::failure, {});
    else if (!settings_->problem().isEmpty())
        front.showBar(settings_->problem(), DocumentMessage::Weight::warning, {});
    else if (!settings_->settings().welcomeDismissed && !(front.bar() && front.bar()->isVisibleTo(&front)))
        welcome(front);
}

void Program::welcome(DocumentWindow& window)
{
    QString folder = toQString(libraryRoot_.native());
    const QString home = QDir::homePath();
    if (folder.startsWith(home + QLatin1Char('/')))
        folder.replace(0, home.size(), QStringLiteral("~"));
    const auto dismissed = [this] { settings_->change([](Settings& settings) { settings.welcomeDismissed = true; }); };
    window.showBar(tr("Everything you type is kept in %1. Files are written only when you save.").arg(folder),
                   DocumentMessage::Weight::note,
                   {{tr("Settings"),
                     [this, dismissed, alive = QPointer<DocumentWindow>(&window)] {
                         dismissed();
                         if (alive)
                             showSettings(*alive);
                     }},
                    {tr("Dismiss"), dismissed}});
    connect(window.bar(), &MessageBar::dismissed, this, dismissed);
}

void Program::afterFirstFrame()
{
    if (std::exchange(afterFirstFrame_, true))
        return;
    needHeaders();
    applySettings();
    settings_->watch();
    connect(appearance_.get(), &Appearance::systemDarkChanged, this,
            [this](bool dark) { settings_->change([dark](Settings& settings) { settings.lastSystemDark = dark; }); });
    appearance_->followDesktop();
    clipboardHistory();
    tellOfInterruption();
    records_->touch();  // the day's checkpoint comes with the first writing
    records_->forgetOldVisits();
}

void Program::tellOfInterruption()
{
    if (!records_->interrupted())
        return;
    const Date began = records_->interrupted()->startedAt;
    const auto tell = [this, began] {
        // Nobody wrote down when it happened; what was stored last says until when everything is there.
        Date last = began;
        for (const DocumentHeader& header : documents_->headers().all())
            last = std::max(last, header.updatedAt);
        const QString sentence = last == began ? tr("Penmark was interrupted. Everything stored is here.")
                                               : tr("Penmark was interrupted. Everything stored until %1 is here.")
                                                     .arg(QString::fromStdString(last.localText()).mid(11));
        if (!windows_.empty())
            frontWindow().statusLine().showMessage(sentence, interruptionShown);
    };
    if (documents_->headers().isLoaded())
        tell();
    else
        connect(&documents_->headers(), &DocumentHeaders::loaded, this, tell, Qt::SingleShotConnection);
}

void Program::needHeaders()
{
    if (!std::exchange(readsHeaders_, true))
        documents_->loadHeaders();
}

ClipboardHistory& Program::clipboardHistory()
{
    if (!clipboard_)
        clipboard_ = std::make_unique<ClipboardHistory>();
    return *clipboard_;
}

PreviewSource& Program::previews()
{
    if (!previews_)
        previews_ = std::make_unique<LibraryPreviews>(*library_, *this);
    return *previews_;
}

// ---- the end ----

void Program::recordsFailed(const QString& sentence)
{
    // A document that cannot be stored says so itself.
    const std::vector<RecoveryBuffer*> buffers = documents_->buffers();
    if (windows_.empty() ||
        std::any_of(buffers.begin(), buffers.end(), [](const auto* buffer) { return !buffer->error().empty(); }))
        return;
    recordsFailure_ = storeFailureText(sentence.toStdString());
    frontWindow().showBar(recordsFailure_, DocumentMessage::Weight::failure, {});
}

void Program::endRecordsBar()
{
    if (recordsFailure_.isEmpty())
        return;
    for (DocumentWindow* window : windows_)
        window->endBar(recordsFailure_);
    recordsFailure_.clear();
}

void Program::storeNow()
{
    documents_->storeAll();
    records_->save();
}

void Program::storeAll(std::function<void(std::optional<std::string>)> done)
{
    // Whoever wants everything stored wants it whatever another writer did: both versions are in the history then.
    documents_->storeAll(true);
    records_->save();
    documents_->whenStored(this, std::move(done));
}

void Program::quit(bool mustEnd)
{
    if (ending_ && !mustEnd)
        return;
    ending_ = true;
    settings_->flush();
    storeAll([this, mustEnd](const std::optional<std::string>& failure) {
        const std::vector<RecoveryBuffer*> unsaved = unsavedTexts();
        if (!failure || (isReadOnly() && unsaved.empty())) {
            records_->finish();
            library_->finishWriting();
            QCoreApplication::exit(0);
            return;
        }
        if (mustEnd && (isReadOnly() || attemptsToEnd_++ >= 3)) {
            std::fprintf(stderr, "penmark: %s\n", failure->c_str());
            rescue(isReadOnly() ? unsaved : documents_->buffers());
            QCoreApplication::exit(1);
            return;
        }
        if (mustEnd) {
            QTimer::singleShot(500, this, [this] { quit(true); });
            return;
        }
        // The window stays, with the text that is nowhere else.
        ending_ = false;
        records_->collectNow();
        followSessions();  // what has come meanwhile
        if (isReadOnly()) {
            staysForTexts(unsaved);
            return;
        }
        frontWindow().showBar(tr("Penmark stays open, since not everything is stored: %1").arg(toQString(*failure)),
                              DocumentMessage::Weight::failure, {{tr("Try Again"), [this] { quit(); }}});
    });
}

std::vector<RecoveryBuffer*> Program::unsavedTexts() const
{
    std::vector<RecoveryBuffer*> unsaved = documents_->buffers();
    std::erase_if(unsaved, [](const RecoveryBuffer* buffer) { return !buffer->isTextUnsaved(); });
    return unsaved;
}

std::size_t Program::rescue(const std::vector<RecoveryBuffer*>& buffers)
{
    const std::vector<fs::path> files = rescueTexts(buffers);
    for (const fs::path& file : files)
        std::fprintf(stderr, "penmark: A text that could not be stored is in %s\n", file.c_str());
    return files.size();
}

// The library will not take them however long the program stays, so leaving is offered.
void Program::staysForTexts(const std::vector<RecoveryBuffer*>& unsaved)
{
    DocumentWindow& window = frontWindow();
    const Uuid document = unsaved.front()->id();
    window.showDocument(document);
    const QString sentence =
        unsaved.size() == 1
            ? tr("This text is stored nowhere, since the library is open for reading only.")
            : tr("This text and %1 more are stored nowhere, since the library is open for reading only.")
                  .arg(unsaved.size() - 1);
    window.showBar(sentence, DocumentMessage::Weight::failure,
                   {{tr("Save a Copy…"),
                     [alive = QPointer<DocumentWindow>(&window), document] {
                         if (alive)
                             alive->saveCopy(document);
                     }},
                    {tr("Quit Anyway"), [this] {
                         const std::vector<RecoveryBuffer*> left = unsavedTexts();
                         if (rescue(left) == left.size())
                             QCoreApplication::exit(0);
                         else
                             frontWindow().showBar(tr("Penmark stays open, since there is no place for what is not "
                                                      "stored. Save a copy of each such text."),
                                                   DocumentMessage::Weight::failure, {});
                     }}});
}

// ---- what windows ask for ----

void Program::showSettings(DocumentWindow& window, bool keys)
{
    if (!settingsWindow_) {
        settingsWindow_ = new SettingsWindow(*settings_, *commands_, toQString(libraryRoot_.native()));
        connect(settingsWindow_, &SettingsWindow::openFile, this, [this](const QString& path) {
            open({{fs::path(QFile::encodeName(path).toStdString())}}, frontWindow());
        });
        connect(settingsWindow_, &SettingsWindow::showInFiles, this,
                [this](const QString& path) { showInFiles(path.toStdString()); });
    }
    if (keys)
        settingsWindow_->showPage(QStringLiteral("keys"));
    if (!settingsWindow_->isVisible())
        settingsWindow_->move(window.frameGeometry().center() - settingsWindow_->rect().center());
    settingsWindow_->show();
    settingsWindow_->raise();
    settingsWindow_->activateWindow();
}

void Program::openLibraryFolder()
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(toQString(libraryRoot_.native())));
}

void Program::showInFiles(const std::string& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(toQString(path)).path()));
}

QString Program::diagnostics() const
{
    return QStringLiteral("Penmark %1\n%2, kernel %3\nQt %4, platform %5\nDocuments: %6, in memory: %7, windows: %8\n")
        .arg(QCoreApplication::applicationVersion(), QSysInfo::prettyProductName(), QSysInfo::kernelVersion(),
             QString::fromLatin1(qVersion()), QGuiApplication::platformName())
        .arg(documents_->headers().all().size())
        .arg(documents_->buffers().size())
        .arg(windows_.size());
}

void Program::showAbout(DocumentWindow& window)
{
    auto* const box =
        new QMessageBox(QMessageBox::NoIcon, tr("About Penmark"),
                        tr("<h3>Penmark %1</h3><p>A text editor that keeps your text before you have chosen "
                           "any filename.</p><p>Free software under the GNU General Public License, "
                           "version 3 or later.</p>")
                            .arg(QCoreApplication::applicationVersion()),
                        QMessageBox::Close, &window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIconPixmap(QGuiApplication::windowIcon().pixmap(64, 64));
    box->open();
}

}  // namespace penmark
