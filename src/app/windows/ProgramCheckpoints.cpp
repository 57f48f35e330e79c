// SPDX-License-Identifier: GPL-3.0-or-later
// Checkpoints and the history of documents.
#include "app/editor/Strings.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/SessionTitles.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSearch.h"
#include "app/windows/ProgramSessions.h"
#include "organization/CheckpointRestore.h"
#include "organization/CheckpointStore.h"
#include "organization/DocumentHistory.h"
#include "organization/SessionError.h"
#include "organization/SessionVisits.h"
#include "organization/Sessions.h"

#include <QApplication>
#include <QShortcut>
#include <utility>
#include <variant>

namespace penmark {

namespace {

constexpr std::size_t openedAtOnce = 20;  // copies; more are found in the library

QString refusalOf(SessionError::Case which)
{
    return QString::fromUtf8(SessionError(which).what());
}

}  // namespace

// ---- keeping ----

void ProgramSessions::askToKeepCheckpoint(QWidget& window)
{
    NamePrompt::ask(&window, tr("Keep Checkpoint"), tr("Keeps everything as it is now, until you remove it."),
                    tr("Optional checkpoint name"), QString(), tr("Keep"),
                    [this](const QString& name) { keepCheckpoint(name); });
}

void ProgramSessions::askToKeepVersion(QWidget& window, Uuid document)
{
    NamePrompt::ask(&window, tr("Keep Current Version"),
                    tr("It stays in Document History until you remove it, even after automatic history cleanup."),
                    tr("Optional checkpoint name"), QString(), tr("Keep"),
                    [this, document](const QString& name) { keepCheckpoint(name, document); });
}

void ProgramSessions::keepCheckpoint(const QString& name, std::optional<Uuid> document)
{
    program_.storeAll([this, name, document](const std::optional<std::string>& failure) {
        if (failure) {  // a picture of everything but what was typed last would say more than it holds
            if (!program_.windows().empty())
                front().showBar(toQString(*failure), DocumentMessage::Weight::failure, {});
            return;
        }
        records().runOnSaved(
            [name = name.trimmed().toStdString(), document](RecoveryStore& store, SessionLibrary& saved) {
                CheckpointStore checkpoints(store);
                return document ? checkpoints.keepDocument(*document, name)
                                : checkpoints.keepLibrary(saved, name, true);
            },
            [this, document](const CheckpointHeader&) {
                emit records().checkpointsChanged();
                say(document ? tr("This version is kept.") : tr("The checkpoint is kept."));
            },
            [this](const RecoveryError& error) { this->failed(error); });
    });
}

// ---- restoring ----

void ProgramSessions::restoreCheckpoint(Uuid checkpoint, const std::optional<std::set<Uuid>>& only)
{
    restore(checkpoint, {only, {}});
}

void ProgramSessions::restore(Uuid checkpoint, const RestoreChoice& choice)
{
    using Outcome = std::variant<CheckpointRestored, SessionError::Case>;
    say(tr("Restoring…"));
    records().runOnSaved(
        [checkpoint, choice](RecoveryStore& store, SessionLibrary& saved) -> Outcome {
            try {
                CheckpointRestored restored = penmark::restoreCheckpoint(store, checkpoint, saved, choice);
                saved = restored.library;
                return restored;
            } catch (const SessionError& error) {
                return error.which();
            }
        },
        [this](const Outcome& outcome) {
            if (const auto* refused = std::get_if<SessionError::Case>(&outcome))
                emit records().refused(refusalOf(*refused));
            else
                takeRestored(std::get<CheckpointRestored>(outcome));
        },
        [this](const RecoveryError& error) { failed(error); });
}

void ProgramSessions::takeRestored(const CheckpointRestored& restored)
{
    program_.documents().loadHeaders();
    // What has changed here since the job was given its library stays; it only added.
    const bool done = change([&](SessionLibrary& changed) {
        if (restored.session) {
            for (const Uuid& session : sessionAndNested(restored.library, *restored.session))
                changed.sessions.put(*restored.library.sessions.find(session));
            changed.sessions.change(*restored.session, [&](PenmarkSession& enclosing) {
                const PenmarkSession* const parent =
                    enclosing.parentID ? changed.sessions.find(*enclosing.parentID) : nullptr;
                if (parent == nullptr || !parent->isOpen)  // it was put aside meanwhile, or is gone
                    enclosing.parentID.reset();
            });
        }
        for (const PenmarkProject& project : restored.library.projects) {
            if (!changed.projects.contains(project.id))
                changed.projects.put(project);
        }
    });
    if (!done)
        return;
    if (restored.session)
        openSession(*restored.session);
    if (program_.isEnding())
        return;
    if (!restored.session && restored.documents.size() <= openedAtOnce) {
        for (const auto& [original, copy] : restored.documents)
            front().showDocument(copy);
    }
    const auto count = static_cast<int>(restored.documents.size());
    const QString sentence =
        count == 1 ? tr("1 document was restored as a copy.") : tr("%1 documents were restored as copies.").arg(count);
    if (restored.problems.empty())
        say(sentence);
    else
        front().showBar(
            sentence + QLatin1Char(' ') + toQString(restored.problems.front()) +
                (restored.problems.size() > 1 ? tr(" (and %1 more)").arg(restored.problems.size() - 1) : QString()),
            DocumentMessage::Weight::warning, {});
}

void ProgramSessions::restoreRevision(Uuid document, Uuid revision)
{
    records().queue().run(
        this,
        [document, revision](RecoveryStore& store) { return penmark::restoreRevision(store, document, revision); },
        [this](const RecoveryDocument& copy) {
            program_.documents().noteNew(copy);
            front().showDocument(copy.id);
            front().activateWindow();
        },
        [this](const RecoveryError& error) { failed(error); });
}

// ---- what is said of checkpoints ----

void ProgramSessions::changeCheckpoint(std::function<void(RecoveryStore& store)> change, std::function<void()> done)
{
    records().queue().run(
        this,
        [change = std::move(change)](RecoveryStore& store) {
            try {
                change(store);
                return QString();
            } catch (const SessionError& error) {
                return QString::fromUtf8(error.what());
            }
        },
        [this, done = std::move(done)](const QString& refusal) {
            if (!refusal.isEmpty())
                emit records().refused(refusal);
            else if (done)
                done();
            emit records().checkpointsChanged();
        },
        [this](const RecoveryError& error) { failed(error); });
}

void ProgramSessions::setPinned(Uuid checkpoint, bool pinned)
{
    changeCheckpoint([=](RecoveryStore& store) { CheckpointStore(store).setPinned(checkpoint, pinned); });
}

void ProgramSessions::renameCheckpoint(Uuid checkpoint, const QString& name)
{
    changeCheckpoint([checkpoint, name = name.trimmed().toStdString()](RecoveryStore& store) {
        CheckpointStore(store).rename(checkpoint, name);
    });
}

void ProgramSessions::deleteCheckpoint(Uuid checkpoint)
{
    changeCheckpoint([=](RecoveryStore& store) { CheckpointStore(store).remove(checkpoint); },
                     [this, checkpoint] {
                         records().changeQuietly(
                             [&](SessionLibrary& changed) { expireCheckpoint(changed, checkpoint); });
                     });
}

// ---- documents ----

void ProgramSessions::openDocument(Uuid document, bool newWindow)
{
    if (newWindow)
        program_.newWindowBeside(front(), document);
    else
        front().showDocument(document);
    front().activateWindow();
}

HistoryWindow::Look ProgramSessions::historyLook() const
{
    const Settings& settings = program_.settings().settings();
    return {documentFont(settings), static_cast<int>(settings.tabWidth)};
}

void ProgramSessions::showHistory(Uuid document)
{
    QPointer<HistoryWindow>& window = histories_[document];
    if (!window) {
        window = new HistoryWindow(program_.documents(), *this, program_.appearance(), historyLook(), document);
        connect(&program_.settings(), &SettingsStore::changed, window,
                [this, window = window.data()] { window->setLook(historyLook()); });
        connect(&records(), &SessionRecords::checkpointsChanged, window, &HistoryWindow::checkpointsChanged);
        // Results of a search of history are gone through from one such window to the next.
        for (const auto& [key, steps] : {std::pair(QKeySequence(Qt::Key_F4), 1), {Qt::SHIFT | Qt::Key_F4, -1}})
            connect(new QShortcut(key, window), &QShortcut::activated, window,
                    [this, by = steps] { program_.search().step(front(), by); });
        window->move(front().frameGeometry().center() - window->rect().center());
    }
    // What was typed last is the newest version.
    if (RecoveryBuffer* const buffer = program_.documents().find(document))
        program_.documents().store(*buffer);
    window->show();
    window->raise();
    window->activateWindow();
}

void ProgramSessions::showVersion(Uuid document, Uuid revision, std::optional<Utf8Range> place)
{
    showHistory(document);
    histories_[document]->showVersion(revision, place);
}

}  // namespace penmark
