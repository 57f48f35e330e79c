// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/LibraryExport.h"

#include "base/SystemError.h"
#include "base/Utf8.h"
#include "storage/DocumentExport.h"
#include "storage/DocumentFiles.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <QDate>
#include <cerrno>
#include <chrono>
#include <new>

#include <sys/stat.h>

namespace penmark {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

namespace {

constexpr auto progressInterval = std::chrono::milliseconds(100);

// A folder that was not there before.
fs::path makeFolder(const fs::path& parent, const std::string& name)
{
    for (int number = 1;; ++number) {
        const fs::path folder = parent / (number == 1 ? name : name + " (" + std::to_string(number) + ")");
        // For this user only, as the library is: what is in it may be anything.
        if (::mkdir(folder.c_str(), 0700) == 0)
            return folder;
        if (errno != EEXIST)
            throw SystemError(errno, folder.native());
    }
}

}  // namespace

LibraryExport::~LibraryExport()
{
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
    }
}

void LibraryExport::start(const RecoveryConfiguration& configuration, const fs::path& parent)
{
    const std::string name = tr("Penmark export %1").arg(QDate::currentDate().toString(Qt::ISODate)).toStdString();
    thread_ = std::jthread([this, configuration, parent, name](const std::stop_token& stop) {
        Result result;
        try {
            run(configuration, parent, name, stop, result);
        } catch (const Cancelled&) {
            result.cancelled = true;
        } catch (const RecoveryError& error) {
            result.failure = error.what();
        } catch (const SystemError& error) {
            result.failure = repairUtf8(error.what());
        } catch (const std::bad_alloc&) {
            result.failure = tr("There is not enough memory.").toStdString();
        }
        std::error_code ignored;
        if (result.written == 0 && !result.folder.empty() && fs::remove(result.folder, ignored))
            result.folder.clear();  // an empty one would be taken for an export
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)] { emit finished(result); }, Qt::QueuedConnection);
    });
}

void LibraryExport::run(const RecoveryConfiguration& configuration, const fs::path& parent, const std::string& name,
                        const std::stop_token& stop, Result& result)
{
    RecoveryStore store(configuration, LibraryAccess::readOnly);
    (void)DocumentFiles(store).recordedPath(parent / name);  // refuses the library's own folder before one is made
    result.folder = makeFolder(parent, name);
    steady_clock::time_point told;
    std::size_t unlisted = 0;  // problems of records that no text belongs to
    const auto report = [&](const std::string& problem) { result.problems.push_back(problem); };
    const auto progress = [&](std::size_t done, std::size_t total, const std::string& title) {
        if (done == 0)
            unlisted = result.problems.size();
        result.written = done - (result.problems.size() - unlisted);
        if (stop.stop_requested())
            throw Cancelled();
        if (const auto now = steady_clock::now(); now - told >= progressInterval) {
            told = now;
            QMetaObject::invokeMethod(
                this, [=, this] { emit progressed(done, total, QString::fromStdString(title)); }, Qt::QueuedConnection);
        }
    };
    result.written = DocumentExport(store).run(result.folder, false, report, progress);
}

}  // namespace penmark
