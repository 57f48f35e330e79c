// SPDX-License-Identifier: GPL-3.0-or-later
// What a window does with files and records; what it shows is in DocumentWindow.cpp.
#include "app/documents/FileOpening.h"
#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/editor/TextPrinter.h"
#include "app/printing/PrintDialog.h"
#include "app/windows/CompareWindow.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/LinePrompt.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "base/Sha256.h"
#include "base/Utf8.h"
#include "storage/LegacyEncoding.h"
#include "storage/RecoveryFileAccess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QMenu>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QUrl>
#include <algorithm>

namespace penmark {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Weight = DocumentMessage::Weight;

namespace {

constexpr auto undoTime = 10s;

fs::path toPath(const QString& path)
{
    const QByteArray bytes = QFile::encodeName(path);
    return fs::path(std::string(bytes.constData(), static_cast<std::size_t>(bytes.size())));
}

// A name for a file made of a title: what no file system or shell stumbles over.
QString fileNameOf(const RecoveryBuffer& buffer)
{
    QString name = toQString(buffer.shownTitle());
    static const QString unwanted = QStringLiteral("/\\:*?\"<>|");
    for (QChar& c : name) {
        if (unwanted.contains(c) || c.category() == QChar::Other_Control)
            c = QLatin1Char('-');
    }
    name = name.trimmed();
    while (name.startsWith(QLatin1Char('.')))
        name.remove(0, 1);
    if (name.isEmpty())
        name = QStringLiteral("draft");
    if (QFileInfo(name).suffix().isEmpty())
        name +=
            buffer.content().language() == EditorLanguage::markdown ? QStringLiteral(".md") : QStringLiteral(".txt");
    return name;
}

// Makes a PDF file and puts it in place as a whole, so that a file that is there is as it was if anything fails. One
// that has become another since the user agreed to replace it stays. Returns why it is not written.
std::optional<std::string> writePdf(const fs::path& file, bool replaces, const fs::path& libraryRoot,
                                    const std::function<std::optional<QByteArray>()>& make) noexcept
{
    try {
        std::optional<std::string> replaced;
        if (replaces)
            replaced = sha256(readFileBytes(file).bytes);
        const std::optional<QByteArray> pdf = make();
        if (!pdf)
            return std::string();
        RecoveryFileAccess(libraryRoot)
            .saveFile({pdf->constData(), static_cast<std::size_t>(pdf->size())}, file, replaced);
        return std::nullopt;
    } catch (const RecoveryError& error) {
        return repairUtf8(error.what());
    } catch (const std::bad_alloc&) {
        return "There is not enough memory.";
    } catch (const std::exception& error) {
        return repairUtf8(error.what());
    }
}

}  // namespace

void DocumentWindow::withBuffer(const Uuid& document, const std::function<void(RecoveryBuffer&)>& call)
{
    program_.documents().load(document, this, call);
}

void DocumentWindow::openFiles()
{
    const RecoveryBuffer* const front = buffer();
    Program::FileQuestion question;
    question.caption = tr("Open");
    if (front && !front->isDraft())
        question.proposal = QFileInfo(toQString(*front->record().externalPath)).path();
    question.chosen = [this](const QStringList& paths) {
        std::vector<OpenRequest> requests;
        for (const QString& path : paths)
            requests.push_back({toPath(path)});
        program_.open(requests, *this);
    };
    program_.askForFiles(*this, question);
}

void DocumentWindow::askForFile(const RecoveryBuffer& buffer, const QString& caption,
                                std::function<void(const fs::path& file, bool replaces)> chosen)
{
    Program::FileQuestion question;
    question.caption = caption;
    question.forSaving = true;
    if (buffer.isDraft()) {
        const QDir folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        question.proposal = (folder.exists() ? folder : QDir::home()).filePath(fileNameOf(buffer));
    } else {
        question.proposal = toQString(*buffer.record().externalPath);
    }
    question.chosen = [chosen = std::move(chosen)](const QStringList& paths) {
        if (!paths.isEmpty())
            chosen(toPath(paths.first()), QFileInfo::exists(paths.first()));
    };
    program_.askForFiles(*this, question);
}

void DocumentWindow::save()
{
    RecoveryBuffer* const front = buffer();
    if (!front)
        return;
    if (front->isDraft()) {
        saveAs(front->id());
        return;
    }
    program_.files().save(*front);
}

void DocumentWindow::saveAs(const Uuid& document)
{
    withBuffer(document, [this](RecoveryBuffer& saved) {
        const QPointer<RecoveryBuffer> alive(&saved);
        askForFile(saved, tr("Save As"), [this, alive](const fs::path& file, bool replaces) {
            if (!alive)
                return;
            const auto remember = [this, alive](bool succeeded) {
                if (alive && succeeded && alive->record().externalPath)
                    program_.noteRecent(*alive->record().externalPath);
                if (alive && succeeded && !alive->record().languageName)
                    alive->guessLanguage();
            };
            if (alive->record().externalPath == file.native())
                program_.files().save(*alive, remember);
            else
                program_.files().saveAs(*alive, file, replaces, remember);
        });
    });
}

void DocumentWindow::saveCopy(const Uuid& document)
{
    withBuffer(document, [this](RecoveryBuffer& saved) {
        const QPointer<RecoveryBuffer> alive(&saved);
        askForFile(saved, tr("Save a Copy"), [this, alive](const fs::path& file, bool replaces) {
            if (!alive)
                return;
            const QPointer<DocumentWindow> window(this);
            program_.files().saveCopy(*alive, file, replaces, [window, file](bool succeeded) {
                const QString name = toQString(repairUtf8(file.native()));
                if (window)
                    window->showMessage(succeeded ? tr("Copy saved: %1").arg(name) : tr("Not saved: %1").arg(name));
            });
        });
    });
}

void DocumentWindow::reload()
{
    if (RecoveryBuffer* const front = buffer(); front && !front->isDraft()) {
        const QPointer<DocumentWindow> window(this);
        program_.files().reload(*front, {}, [window](bool succeeded) {
            if (window && succeeded)
                window->showMessage(tr("Reloaded. The text before is kept in the library."));
        });
    }
}

void DocumentWindow::compare()
{
    RecoveryBuffer* const front = buffer();
    if (!front || front->isDraft())
        return;
    const QPointer<RecoveryBuffer> alive(front);
    program_.files().readText(
        *front, this,
        [this, alive](TextSnapshot text) {
            if (!alive)
                return;
            const QString title = toQString(alive->shownTitle());
            auto* const window =
                new CompareWindow(program_, {tr("%1 - the file on disk").arg(title), std::move(text)},
                                  {tr("%1 - in Penmark").arg(title), alive->text()}, alive->content().language());
            window->show();
        },
        [this](const std::string& sentence) { showBar(toQString(sentence), Weight::warning, {}); });
}

void DocumentWindow::act(MessageAction action)
{
    RecoveryBuffer* const front = buffer();
    if (!front)
        return;
    switch (action) {
    case MessageAction::retry:
        program_.documents().store(*front, true);
        break;
    case MessageAction::saveCopy:
        saveCopy(front->id());
        break;
    case MessageAction::saveAs:
        saveAs(front->id());
        break;
    case MessageAction::compare:
        compare();
        break;
    case MessageAction::reload:
        reload();
        break;
    case MessageAction::locate: {
        if (front->isDraft())
            break;
        Program::FileQuestion question;
        question.caption = tr("Locate “%1”").arg(toQString(front->shownTitle()));
        question.proposal = QFileInfo(toQString(*front->record().externalPath)).path();
        question.chosen = [this, alive = QPointer<RecoveryBuffer>(front)](const QStringList& paths) {
            if (alive && !paths.isEmpty())
                program_.files().locate(*alive, toPath(paths.first()));
        };
        program_.askForFiles(*this, question);
        break;
    }
    case MessageAction::turnOnAnyway:
        front->content().setAlwaysHighlight(true);
        front->touch();
        break;
    }
}

// ---- refused files ----

void DocumentWindow::showRefusal(const FileRefusal& refusal)
{
    const QString name = toQString(repairUtf8(refusal.file.filename().native()));
    QString sentence = toQString(refusal.sentence);
    std::vector<Offer> offers;
    if (refusal.at) {
        sentence = name + QStringLiteral(": ") + sentence + QLatin1Char(' ') +
                   tr("The first byte that does not fit is at offset %1, in line %2.")
                       .arg(QLocale().toString(static_cast<qulonglong>(refusal.at->offset)),
                            QLocale().toString(static_cast<qulonglong>(refusal.at->line)));
        offers.push_back({tr("Open a Converted Copy…"), [this, refusal] { openConverted(refusal); }});
    }
    showBar(sentence, Weight::warning, offers);
}

void DocumentWindow::openConverted(const FileRefusal& refusal)
{
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setAccessibleName(tr("Encoding of the file"));
    const auto opened = [this](RecoveryBuffer& draft) { showDocument(draft.id()); };
    const auto refused = [this](const FileRefusal& why) { showRefusal(why); };
    const auto add = [&](QMenu& to, const LegacyEncoding& encoding) {
        to.addAction(toQString(encoding.name), this, [this, refusal, id = std::string(encoding.id), opened, refused] {
            program_.files().openConverted(refusal.file, id, this, opened, refused);
        });
    };
    menu->addSection(tr("Likely"));
    for (const std::string& id : refusal.likely) {
        if (const LegacyEncoding* encoding = findLegacyEncoding(id))
            add(*menu, *encoding);
    }
    menu->addSection(tr("All"));
    QMenu* region = nullptr;
    for (const LegacyEncoding& encoding : legacyEncodings()) {
        const QString title = toQString(encoding.region);
        if (!region || region->title() != title)
            region = menu->addMenu(title);
        add(*region, encoding);
    }
    menu->addSection(tr("Open the File Itself As"));
    for (const auto& [encoding, label] : {std::pair{RecoveryEncoding::utf16LE, tr("UTF-16 LE without a mark")},
                                          std::pair{RecoveryEncoding::utf16BE, tr("UTF-16 BE without a mark")}}) {
        menu->addAction(label, this, [this, refusal, encoding = encoding, opened, refused] {
            program_.files().openAs(refusal.file, encoding, this, opened, refused);
        });
    }
    menu->popup(stack_->mapToGlobal(QPoint(stack_->width() / 2, 0)));
}

// ---- records ----

void DocumentWindow::rename(const Uuid& document)
{
    const auto index = tabs_.indexOf(document);
    if (!index)
        return;
    LinePrompt prompt;
    prompt.name = tr("Title");
    prompt.text = tabTitle(document);
    prompt.place = tabBar_->tabRect(static_cast<int>(*index));
    prompt.place.moveTopLeft(tabBar_->mapTo(this, prompt.place.topLeft()));
    prompt.place.setWidth(std::max(prompt.place.width(), 220));
    prompt.commitsOnLeave = true;
    prompt.taken = [this, document, before = prompt.text](const QString& title) {
        if (title != before)
            program_.documents().rename(document, title.trimmed().toStdString());
    };
    openLinePrompt(*this, prompt);
}

void DocumentWindow::discard(const Uuid& document)
{
    if (const auto session = program_.sessions().sessionOfNote(document)) {
        showBar(tr("This document is the return note of a session."), Weight::warning,
                {{tr("Discard It"), [this, session, document] {
                      program_.sessions().useAsReturnNote(*session, std::nullopt);
                      discard(document);
                  }}});
        return;
    }
    const QString title = tabTitle(document);
    const std::vector<Uuid> ids{document};
    program_.documents().discard(ids);
    for (DocumentWindow* window : program_.windows())
        window->closeDiscarded(document);
    const QPointer<DocumentWindow> front(&program_.frontWindow());
    front->showBar(tr("“%1” discarded. Its text stays in history until cleaned up.").arg(title), Weight::note,
                   {{tr("Undo"),
                     [front, document, ids] {
                         if (!front)
                             return;
                         front->program_.documents().restore(ids);
                         front->showDocument(document);
                     }}},
                   {undoTime});
}

void DocumentWindow::goToLine()
{
    EditorView* const front = view();
    if (!front)
        return;
    const std::size_t present = front->text().lineAt(front->editor().carets().main().head).value + 1;
    LinePrompt prompt;
    prompt.name = tr("Line, or line:column");
    const int width = 260;
    const QPoint corner = stack_->mapTo(this, QPoint((stack_->width() - width) / 2, 8));
    prompt.place = QRect(corner, QSize(width, 30));
    prompt.taken = [this, present](const QString& typed) {
        EditorView* const target = view();
        if (!target)
            return;
        const auto place = parsePlace(typed, present, target->text().lineCount());
        if (place)
            goTo(*tabs_.selected(), place->line, place->column);
        else
            showMessage(tr("“%1” is no line.").arg(typed));
    };
    openLinePrompt(*this, prompt);
}

// ---- paper ----

void DocumentWindow::print()
{
    if (EditorView* const front = view()) {
        if (!openPrintDialog(*this, *front, toQString(buffer()->shownTitle())))
            showBar(tr("Printing is not available: its part of the program is not installed. A PDF can be made."),
                    Weight::warning, {{tr("Export PDF…"), [this] { exportPdf(); }}});
    }
}

void DocumentWindow::exportPdf()
{
    RecoveryBuffer* const front = buffer();
    EditorView* const shown = view();
    if (!front || !shown)
        return;
    Program::FileQuestion question;
    question.caption = tr("Export PDF");
    question.forSaving = true;
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    question.proposal = (folder.exists() ? folder : QDir::home())
                            .filePath(QFileInfo(fileNameOf(*front)).completeBaseName() + QStringLiteral(".pdf"));
    const QString title = toQString(front->shownTitle());
    question.chosen = [this, text = front->text(), title, language = front->content().language(),
                       font = shown->editorFont()](const QStringList& paths) {
        if (paths.isEmpty())
            return;
        const bool replaces = QFileInfo::exists(paths.first());
        const QPointer<DocumentWindow> window(this);
        showMessage(tr("Writing %1").arg(paths.first()));
        startInPool(
            [window, path = paths.first(), replaces, root = program_.libraryRoot(), text, title, language, font] {
                const auto failure =
                    writePdf(toPath(path), replaces, root, [&] { return pdfOf(text, title, language, font); });
                QMetaObject::invokeMethod(
                    qApp,
                    [window, path, failure] {
                        if (!window)
                            return;
                        if (!failure)
                            window->showMessage(tr("Written: %1").arg(path));
                        else
                            window->showBar(tr("%1 could not be written. %2").arg(path, toQString(*failure)).trimmed(),
                                            Weight::warning, {});
                    },
                    Qt::QueuedConnection);
            });
    };
    program_.askForFiles(*this, question);
}

}  // namespace penmark
