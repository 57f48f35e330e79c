// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/settings/Settings.h"
#include "base/FunctionRef.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <memory>

namespace penmark {

/// The settings of the running program and their file. A change counts at once and is written a moment later by a
/// thread of its own. The file may be edited by hand meanwhile: what the program has not changed itself follows it.
///
/// A file that cannot be read is left as it is until a setting is changed; then it is kept beside the new one as
/// "settings.json.damaged". Threads: the window's.
class SettingsStore final : public QObject {
    Q_OBJECT

public:
    SettingsStore(std::filesystem::path path, LoadedSettings loaded, QObject* parent = nullptr);
    /// Writes what is not written yet.
    ~SettingsStore() override;

    const Settings& settings() const { return settings_; }
    const std::filesystem::path& path() const { return path_; }
    /// What is wrong with the file, as a sentence; empty if nothing is.
    const QString& problem() const { return problem_; }

    void change(FunctionRef<void(Settings&)> edit);
    /// Follows changes of the file from now on. Not before the first frame: it reads folders.
    void watch();
    /// Writes the file if there is none, and waits for what is still to be written, so that it can be opened.
    void ensureFile();
    /// Waits until everything is written.
    void flush();

signals:
    void changed();
    void problemChanged();
    void stored();  ///< everything changed so far is in the file

private:
    struct Outcome;
    void write();
    void written(const Outcome& outcome, const Settings& asked);
    void reread();
    void takeOver(const LoadedSettings& loaded);
    void adopt(Settings settings);
    void setProblem(const QString& problem);
    void watchPaths();

    std::filesystem::path path_;
    Settings settings_;
    Settings base_;  // as the file was last known to be
    std::optional<std::string> digest_;
    bool isDamaged_;
    bool isWriting_ = false;
    QString problem_;
    QTimer writeTimer_;
    QTimer rereadTimer_;
    std::unique_ptr<QFileSystemWatcher> watcher_;
    QThreadPool worker_;  // one thread: writing and reading in the order asked for
};

}  // namespace penmark
