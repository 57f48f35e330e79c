// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsStore.h"

#include "base/Sha256.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryFileAccess.h"

#include <QCoreApplication>
#include <QFile>
#include <chrono>
#include <system_error>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto writeDelay = 300ms;
constexpr auto rereadDelay = 50ms;  // programs that save do so in several steps
constexpr int mostAttempts = 5;

/// Gives the file the first free name of "settings.json.damaged", "settings.json.damaged-2", …
void keepDamaged(const fs::path& path)
{
    for (int number = 1; number < 100; ++number) {
        fs::path kept = path;
        kept += number == 1 ? std::string(".damaged") : ".damaged-" + std::to_string(number);
        std::error_code error;
        // A second name first, so that no file is ever overwritten.
        fs::create_hard_link(path, kept, error);
        if (error == std::errc::file_exists)
            continue;
        if (error)
            fs::copy_file(path, kept, fs::copy_options::none, error);
        if (error)
            throw RecoveryError::storage("The damaged settings cannot be kept: " + error.message());
        fs::remove(path);
        return;
    }
    throw RecoveryError::storage("There are too many damaged settings in " + path.parent_path().string() + ".");
}

}  // namespace

/// What came of writing. Settings that somebody else wrote meanwhile are in it.
struct SettingsStore::Outcome {
    Settings inFile;
    std::optional<std::string> digest;
    QString failure;
};

SettingsStore::SettingsStore(std::filesystem::path path, LoadedSettings loaded, QObject* parent)
    : QObject(parent), path_(std::move(path)), settings_(loaded.settings), base_(std::move(loaded.settings)),
      digest_(std::move(loaded.digest)), isDamaged_(loaded.isDamaged), problem_(QString::fromStdString(loaded.problem))
{
    worker_.setMaxThreadCount(1);
    writeTimer_.setSingleShot(true);
    rereadTimer_.setSingleShot(true);
    connect(&writeTimer_, &QTimer::timeout, this, [this] { write(); });
    connect(&rereadTimer_, &QTimer::timeout, this, [this] { reread(); });
}

SettingsStore::~SettingsStore()
{
    flush();
}

void SettingsStore::change(FunctionRef<void(Settings&)> edit)
{
    Settings edited = settings_;
    edit(edited);
    if (edited == settings_)
        return;
    // What the program notes for itself is no reason to put another file in the place of a damaged one.
    Settings noted = settings_;
    noted.lastSystemDark = edited.lastSystemDark;
    const bool isNote = edited == noted;
    adopt(std::move(edited));
    if (!(isNote && isDamaged_))
        writeTimer_.start(writeDelay);
}

void SettingsStore::adopt(Settings settings)
{
    if (settings == settings_)
        return;
    settings_ = std::move(settings);
    emit changed();
}

void SettingsStore::write()
{
    writeTimer_.stop();
    if (isWriting_)  // its answer starts the next
        return;
    isWriting_ = true;
    worker_.start([this, path = path_, base = base_, ours = settings_, expected = digest_, damaged = isDamaged_] {
        Outcome outcome{ours, expected, {}};
        bool isDamaged = damaged;
        try {
            fs::create_directories(path.parent_path());
            for (int attempt = 1;; ++attempt) {
                if (std::exchange(isDamaged, false)) {
                    keepDamaged(resolveOriginal(path));
                    outcome.digest.reset();
                }
                const std::string text = settingsText(outcome.inFile);
                try {
                    RecoveryFileAccess(path.parent_path()).saveFile(text, path, outcome.digest);
                    outcome.digest = sha256(text);
                    break;
                } catch (const RecoveryError& error) {
                    if (error.which() != RecoveryError::Case::externalChange || attempt == mostAttempts)
                        throw;
                }
                // Somebody edited the file: what was changed here is changed there.
                LoadedSettings theirs = loadSettings(path);
                isDamaged = theirs.isDamaged;
                outcome.digest = theirs.digest;
                if (!isDamaged && theirs.digest)
                    outcome.inFile = mergeSettings(base, ours, std::move(theirs.settings));
            }
        } catch (const std::exception& error) {
            outcome.failure = QString::fromUtf8(error.what());
        }
        QMetaObject::invokeMethod(
            this, [this, outcome, ours] { written(outcome, ours); }, Qt::QueuedConnection);
    });
}

void SettingsStore::written(const Outcome& outcome, const Settings& asked)
{
    isWriting_ = false;
    if (!outcome.failure.isEmpty()) {
        setProblem(tr("The settings could not be stored: %1").arg(outcome.failure));
        return;  // they count until the program ends, and the next change tries again
    }
    isDamaged_ = false;
    digest_ = outcome.digest;
    base_ = outcome.inFile;
    setProblem({});
    adopt(mergeSettings(asked, settings_, outcome.inFile));
    if (!(settings_ == base_)) {
        writeTimer_.start(writeDelay);
        return;
    }
    if (watcher_)
        watchPaths();
    emit stored();
}

void SettingsStore::ensureFile()
{
    if (!digest_)
        write();
    flush();
}

void SettingsStore::flush()
{
    for (;;) {
        if (writeTimer_.isActive() && !isWriting_)
            write();
        if (!isWriting_)
            return;
        worker_.waitForDone();
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    }
}

// The file as others write it

void SettingsStore::watch()
{
    if (watcher_)
        return;
    watcher_ = std::make_unique<QFileSystemWatcher>();
    connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, [this] { rereadTimer_.start(rereadDelay); });
    connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, [this] { rereadTimer_.start(rereadDelay); });
    watchPaths();
    rereadTimer_.start(0);  // for what happened since the file was loaded
}

// The folder as well: most programs put a new file in the place of the old one.
void SettingsStore::watchPaths()
{
    for (const QString& path : {QFile::decodeName(path_.c_str()), QFile::decodeName(path_.parent_path().c_str())}) {
        if (QFile::exists(path) && !watcher_->files().contains(path) && !watcher_->directories().contains(path))
            watcher_->addPath(path);
    }
}

void SettingsStore::reread()
{
    worker_.start([this, path = path_] {
        const LoadedSettings loaded = loadSettings(path);
        QMetaObject::invokeMethod(
            this, [this, loaded] { takeOver(loaded); }, Qt::QueuedConnection);
    });
}

void SettingsStore::takeOver(const LoadedSettings& loaded)
{
    watchPaths();
    // A write that is under way, or about to be, meets the change itself.
    if (isWriting_ || loaded.digest == digest_ || !loaded.digest)
        return;
    if (writeTimer_.isActive())
        return write();
    digest_ = loaded.digest;
    isDamaged_ = loaded.isDamaged;
    setProblem(QString::fromStdString(loaded.problem));
    // While somebody is still at it, what counts is what counted before.
    if (loaded.isDamaged)
        return;
    // What could not be written so far is not given up.
    Settings merged = mergeSettings(base_, settings_, loaded.settings);
    base_ = loaded.settings;
    if (!(merged == base_))
        writeTimer_.start(writeDelay);
    adopt(std::move(merged));
}

void SettingsStore::setProblem(const QString& problem)
{
    if (problem == problem_)
        return;
    problem_ = problem;
    emit problemChanged();
}

}  // namespace penmark
