// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the files of documents are what they were.
#include "app/documents/OriginalFiles.h"
#include "app/documents/PoolWork.h"
#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "storage/DocumentFiles.h"
#include "storage/DocumentStore.h"
#include "storage/LegacyEncoding.h"
#include "storage/RecoveryFileAccess.h"

#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QThreadPool>
#include <algorithm>
#include <iterator>
#include <utility>

#include <unistd.h>

namespace penmark {

using namespace std::chrono_literals;

namespace {

QString pathOf(const std::string& path)
{
    return QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size()));
}

}  // namespace

void OriginalFiles::check(RecoveryBuffer& buffer)
{
    if (buffer.isDraft())
        return;
    if (!buffer.availability_)
        buffer.availability_ = OriginalFileAvailability::checking;
    // One at a time: a file may be large, or its disk far away.
    if (buffer.checkRuns_) {
        buffer.checkAgain_ = true;
        return;
    }
    buffer.checkRuns_ = true;
    const std::uint64_t serial = buffer.checks_.start();
    DocumentFileSnapshot remembered = buffer.fileSnapshot_.value_or(DocumentFileSnapshot());
    remembered.fileURL = *buffer.record_.externalPath;
    inPool(
        &buffer,
        [remembered, digest = buffer.record_.externalDigest, read = buffer.fileBytes_, bytes = buffer.fileContent_] {
            OriginalCheck result;
            result.snapshot.fileURL = remembered.fileURL;
            LibraryQueue::guard([&] {
                // Opened a moment ago: until it is stored only the bytes that were read tell what the file held.
                if (read) {
                    result = checkOriginal(remembered, sha256(bytes));
                } else if (digest) {
                    result = checkOriginal(remembered, *digest);
                } else {  // a file that saving will make: there should be none
                    result.snapshot = takeSnapshot(remembered.fileURL);
                    result.availability =
                        result.snapshot.exists ? OriginalFileAvailability::changed : OriginalFileAvailability::current;
                }
            });
            return result;
        },
        [this, &buffer, serial, digest = buffer.record_.externalDigest](const OriginalCheck& result) {
            buffer.checkRuns_ = false;
            if (std::exchange(buffer.checkAgain_, false))
                check(buffer);
            // A save that ended meanwhile, or a newer check, knows better.
            if (!buffer.checks_.accept(serial))
                return;
            if (buffer.saving_ || buffer.record_.externalDigest != digest)
                registry_.whenIdle(buffer, [this, alive = QPointer<RecoveryBuffer>(&buffer)] {
                    if (alive)
                        check(*alive);
                });
            else
                checked(buffer, result);
        });
}

void OriginalFiles::checked(RecoveryBuffer& buffer, const OriginalCheck& result)
{
    const bool isMissing = result.availability == OriginalFileAvailability::unavailable;
    if (result.availability == OriginalFileAvailability::current)
        buffer.fileSnapshot_ = result.snapshot;
    if (buffer.availability_ != result.availability) {
        buffer.availability_ = result.availability;
        buffer.changed();
    }
    if (buffer.record_.missingOriginal != isMissing && buffer.isInLibrary_) {
        buffer.record_.missingOriginal = isMissing;
        registry_.recordChanged(buffer);
    }
}

void OriginalFiles::checkAll()
{
    for (RecoveryBuffer* buffer : registry_.buffers())
        check(*buffer);
}

void OriginalFiles::watch()
{
    if (watcher_)
        return;
    watcher_ = std::make_unique<QFileSystemWatcher>();
    const auto happened = [this](const QString& path) {
        touched_.insert(path);
        settle_.start();
    };
    connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, happened);
    connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, happened);
    for (const RecoveryBuffer* buffer : registry_.buffers())
        watchFile(*buffer);
}

void OriginalFiles::stopWatching()
{
    watcher_.reset();
    asked_.clear();
}

// The file tells of writing, its folder of another file that takes its place. Where they are is asked elsewhere: on a
// disk that does not answer the question can last for minutes, so it is asked once.
void OriginalFiles::watchFile(const RecoveryBuffer& buffer)
{
    if (!watcher_ || buffer.isDraft())
        return;
    const QString file = pathOf(*buffer.record_.externalPath);
    QStringList wanted;
    for (const QString& path : {file, QFileInfo(file).path()}) {
        if (asked_.contains(path))
            askAgain_ = true;
        else if (!watcher_->files().contains(path) && !watcher_->directories().contains(path))
            wanted.push_back(path);
    }
    if (wanted.empty())
        return;
    asked_.unite({wanted.begin(), wanted.end()});
    inPool(
        watcher_.get(),
        [wanted] {
            QStringList present;
            std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(present),
                         [](const QString& path) { return QFileInfo::exists(path); });
            return present;
        },
        [this, wanted](const QStringList& present) {
            asked_.subtract({wanted.begin(), wanted.end()});
            if (!present.empty())
                watcher_->addPaths(present);
            const bool again = std::exchange(askAgain_, false);
            for (RecoveryBuffer* each : registry_.buffers()) {
                // It may have changed before it was watched.
                if (!each->isDraft() && present.contains(pathOf(*each->record_.externalPath)))
                    check(*each);
                if (again)
                    watchFile(*each);
            }
        });
}

void OriginalFiles::lookAt(const QString& path)
{
    for (RecoveryBuffer* buffer : registry_.buffers()) {
        if (buffer->isDraft())
            continue;
        const QString file = pathOf(*buffer->record_.externalPath);
        if (file != path && QFileInfo(file).path() != path)
            continue;
        check(*buffer);
        watchFile(*buffer);
    }
}

}  // namespace penmark
