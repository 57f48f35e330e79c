// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryConfiguration.h"

#include <QObject>
#include <QString>
#include <filesystem>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace penmark {

/// Writes the texts of a library that cannot be used otherwise into a new folder. The library is opened for reading
/// only, and the work is done on a thread of its own. Main thread; nothing else in this process may have the library
/// open meanwhile.
class LibraryExport final : public QObject {
    Q_OBJECT

public:
    struct Result {
        std::filesystem::path folder;       ///< the new one; empty if none was made
        std::size_t written = 0;            ///< texts
        std::vector<std::string> problems;  ///< one sentence for each text that cannot be read
        std::string failure;                ///< why it ended early; empty if it did not
        bool cancelled = false;
    };

    using QObject::QObject;
    /// Cancels, and waits for the text that is just written.
    ~LibraryExport() override;

    /// Into "Penmark export DATE" in that folder, or a numbered one beside it if there is one already.
    void start(const RecoveryConfiguration& configuration, const std::filesystem::path& parent);
    /// What is written stays.
    void cancel() { thread_.request_stop(); }

signals:
    void progressed(std::size_t done, std::size_t total, const QString& title);  ///< at most every 100 ms
    void finished(const penmark::LibraryExport::Result& result);

private:
    void run(const RecoveryConfiguration& configuration, const std::filesystem::path& parent, const std::string& name,
             const std::stop_token& stop, Result& result);

    std::jthread thread_;
};

}  // namespace penmark
