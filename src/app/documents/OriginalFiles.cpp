// SPDX-License-Identifier: GPL-3.0-or-later
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
#include <utility>

#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

std::string nameOf(const std::string& path)
{
    return repairUtf8(fs::path(path).filename().native());
}

/// A file that the user has agreed to replace: what it holds is kept in the library. If another document is to be bound
/// to it, whoever was is a draft from then on. Returns the digest of what is there; absent if nothing is.
std::optional<std::string> giveWay(RecoveryStore& store, const std::string& path, const std::optional<Uuid>& newOwner,
                                   std::vector<RecoveryDocument>& others)
{
    std::error_code error;
    if (!fs::exists(path, error) && !error)
        return std::nullopt;
    if (::access(path.c_str(), W_OK) != 0)
        throw RecoveryError::storage("The original file is read-only. Save a copy.");
    if (store.isReadOnly())
        throw RecoveryError::storage("What " + repairUtf8(fs::path(path).filename().native()) +
                                     " holds cannot be kept, since the library is open for reading only. Choose "
                                     "another name.");
    DocumentStore documents(store);
    const std::string bytes = readOriginal(path);
    std::string text;
    try {
        text = decodeText(bytes).text;
    } catch (const RecoveryError&) {
        throw RecoveryError::storage(repairUtf8(fs::path(path).filename().native()) +
                                     " is not a text file and is left as it is. Choose another name.");
    }
    const std::string digest = sha256(bytes);
    store.transaction([&] {
        const auto owner = documents.findBoundTo(path);
        if (owner && owner->externalDigest == digest && owner->id == newOwner)
            return;  // its own file as it was last read or saved
        if (owner && newOwner && owner->id != newOwner) {
            others.push_back(documents.changeDocument(owner->id, [](RecoveryDocument& document) {
                document.externalPath.reset();
                document.externalDigest.reset();
            }));
        }
        const RecoveryDocument kept =
            documents.newDocument(fs::path(path).filename().native() + " — before it was replaced");
        documents.createWithText(kept, text);
        others.push_back(documents.discard(kept.id));
    });
    return digest;
}

}  // namespace

struct OriginalFiles::FileResult {
    DocumentRegistry::Stored stored;
    std::optional<RecoveryError> storeFailure;
    std::optional<RecoveryError> fileFailure;
    std::optional<TextSnapshot> text;  // of a reloaded document
    std::optional<DocumentFileSnapshot> snapshot;
    std::vector<RecoveryDocument> others;  // that were made or changed on the way
};

OriginalFiles::OriginalFiles(DocumentRegistry& registry) : registry_(registry)
{
    settle_.setSingleShot(true);
    settle_.setInterval(100ms);  // a file that is rewritten is told of several times
    connect(&settle_, &QTimer::timeout, this, [this] {
        for (const QString& path : std::exchange(touched_, {}))
            lookAt(path);
    });
    connect(&registry_, &DocumentRegistry::loaded, this, [this](RecoveryBuffer& buffer) {
        if (buffer.isDraft())
            return;
        if (buffer.availability_ != OriginalFileAvailability::current) {
            check(buffer);
        } else if (buffer.record_.missingOriginal) {
            buffer.record_.missingOriginal = false;  // it is back
            registry_.recordChanged(buffer);
        }
        watchFile(buffer);
    });
}

OriginalFiles::~OriginalFiles() = default;

// ---- opening ----

void OriginalFiles::open(const fs::path& file, QObject* receiver, Opened opened, Refused refused, std::stop_token stop)
{
    read(file, receiver, std::move(opened), std::move(refused), std::move(stop), 3);
}

void OriginalFiles::read(const fs::path& file, QObject* receiver, Opened opened, Refused refused, std::stop_token stop,
                         int attempts)
{
    registry_.library().read(
        receiver,
        [file, stop](RecoveryStore& store) -> std::optional<FileOpening> {
            try {
                return openFile(store, file, stop);
            } catch (const Cancelled&) {
                return std::nullopt;
            }
        },
        [this, file, receiver, opened = std::move(opened), refused, stop, attempts,
         since = registry_.recordsTaken_](std::optional<FileOpening> opening) {
            if (!opening || stop.stop_requested())
                return;
            if (attempts > 1 && isOutdated(*opening, since))
                read(file, receiver, opened, refused, stop, attempts - 1);
            else
                takeOpened(std::move(*opening), opened, refused);
        },
        [file, refused](const RecoveryError& error) {
            refused({file, error.what(), std::nullopt, false, {}});
        });
}

// Whether the document was changed, or bound to another file or to none, since it was read: reading does not wait for
// writing.
bool OriginalFiles::isOutdated(const FileOpening& opening, std::uint64_t since)
{
    const auto* const read = std::get_if<LoadedDocument>(&opening);
    if (!read)
        return false;
    const RecoveryBuffer* const present = registry_.find(read->record.id);
    return present ? present->record().externalPath != read->record.externalPath
                   : registry_.hasChanged(read->record.id, since);
}

void OriginalFiles::takeOpened(FileOpening opening, const Opened& opened, const Refused& refused)
{
    if (const auto* refusal = std::get_if<FileRefusal>(&opening)) {
        refused(*refusal);
        return;
    }
    auto& document = std::get<LoadedDocument>(opening);
    // Two openings of one file meet here.
    if (RecoveryBuffer* present = registry_.findBoundTo(*document.record.externalPath)) {
        check(*present);
        opened(*present);
        return;
    }
    RecoveryBuffer& buffer = registry_.adopt(std::move(document));
    opened(buffer);
}

void OriginalFiles::openConverted(const fs::path& file, const std::string& encodingID, QObject* receiver, Opened opened,
                                  Refused refused)
{
    struct Converted {
        std::string text;
        std::string failure;
    };
    inPool(
        receiver,
        [file, encodingID] {
            Converted result;
            const auto failure = LibraryQueue::guard([&] {
                const FileBytes bytes = readFileBytes(file);
                if (auto converted = convertLegacyText(bytes.bytes, encodingID))
                    result.text = std::move(converted->text);
            });
            if (failure)
                result.failure = failure->what();
            return result;
        },
        [this, file, opened = std::move(opened), refused = std::move(refused)](Converted converted) {
            if (!converted.failure.empty()) {
                refused({file, converted.failure, std::nullopt, false, {}});
                return;
            }
            LoadedDocument draft;
            draft.record.id = Uuid::random();
            draft.record.title = repairUtf8(file.filename().native());
            draft.record.originPath = repairUtf8(file.native());
            draft.record.createdAt = draft.record.updatedAt = Date::now();
            draft.text = TextSnapshot(std::move(converted.text));
            opened(registry_.adopt(std::move(draft)));
        });
}

void OriginalFiles::openAs(const fs::path& file, RecoveryEncoding encoding, QObject* receiver, Opened opened,
                           Refused refused)
{
    registry_.library().run(
        receiver,
        [file, encoding](RecoveryStore& store) -> FileOpening {
            try {
                const std::string path = DocumentFiles(store).recordedPath(file);
                const FileBytes bytes = readFileBytes(path);
                LoadedDocument document;
                if (const auto bound = DocumentStore(store).findBoundTo(path)) {
                    // The text that it has had stays in its history.
                    document = DocumentRegistry::readDocument(store, bound->id);
                    document.error.clear();
                    document.textIsStored = document.fileMatches = false;
                } else {
                    document.record.id = Uuid::random();
                    document.record.title = repairUtf8(fs::path(path).filename().native());
                    document.record.externalPath = document.record.originPath = path;
                    document.record.createdAt = document.record.updatedAt = Date::now();
                }
                document.fileSnapshot = takeSnapshot(path);
                document.record.encoding = encoding;
                document.text = TextSnapshot(decodeText(bytes.bytes, encoding));
                document.fileBytes = bytes.owner;
                document.fileContent = bytes.bytes;
                document.availability = OriginalFileAvailability::current;
                return document;
            } catch (const RecoveryError& error) {
                return FileRefusal{file, error.what(), std::nullopt, false, {}};
            }
        },
        [this, opened = std::move(opened), refused](FileOpening opening) {
            takeOpened(std::move(opening), opened, refused);
        },
        [file, refused](const RecoveryError& error) {
            refused({file, error.what(), std::nullopt, false, {}});
        });
}

void OriginalFiles::readText(const RecoveryBuffer& buffer, QObject* receiver, std::function<void(TextSnapshot)> done,
                             std::function<void(const std::string&)> failed)
{
    struct Read {
        TextSnapshot text;
        std::string failure;
    };
    inPool(
        receiver,
        [path = buffer.record().externalPath.value_or(""), encoding = buffer.record().encoding] {
            Read read;
            const auto failure = LibraryQueue::guard([&] {
                const FileBytes bytes = readFileBytes(path);
                try {
                    read.text = TextSnapshot(decodeText(bytes.bytes).text);
                } catch (const RecoveryError&) {
                    read.text = TextSnapshot(decodeText(bytes.bytes, encoding));
                }
            });
            if (failure)
                read.failure = failure->what();
            return read;
        },
        [done = std::move(done), failed = std::move(failed)](Read read) {
            if (read.failure.empty())
                done(std::move(read.text));
            else
                failed(read.failure);
        });
}

// ---- saving and reloading ----

// The text is stored first. What fails behind that is the file's failure: the text is safe, and the document says so.
void OriginalFiles::perform(RecoveryBuffer& buffer, Kind kind, FileWork work, Done done)
{
    const QPointer<RecoveryBuffer> alive(&buffer);
    registry_.whenIdle(buffer, [this, alive, kind, work = std::move(work), done = std::move(done)] {
        if (!alive)
            return;
        RecoveryBuffer& idle = *alive;
        if (!idle.damage_.empty() && kind != Kind::reload) {
            if (done)
                done(false);
            return;
        }
        registry_.beginSaving(idle);
        idle.notice_.clear();
        idle.busy_ = kind == Kind::reload;
        idle.changed();
        auto taken = registry_.requestFor(idle);
        taken.storesEmpty = true;
        taken.textChanged = taken.textChanged || !idle.record_.head;
        const auto request = std::make_shared<const DocumentRegistry::StoreRequest>(std::move(taken));
        registry_.library().run(
            &idle, [request, kind, work](RecoveryStore& store) { return storeAndWork(store, *request, kind, work); },
            [this, &idle, request, kind, done](FileResult result) {
                const bool succeeded = (kind == Kind::copy || !result.storeFailure) && !result.fileFailure;
                ended(idle, *request, kind, std::move(result));
                if (done)
                    done(succeeded);
            },
            [this, &idle, done](const RecoveryError& error) {
                idle.busy_ = false;
                registry_.storeHasFailed(idle, error);
                registry_.afterSaving(idle);
                if (done)
                    done(false);
            });
    });
}

OriginalFiles::FileResult OriginalFiles::storeAndWork(RecoveryStore& store,
                                                      const DocumentRegistry::StoreRequest& request, Kind kind,
                                                      const FileWork& work)
{
    FileResult result;
    if (request.isDamaged) {
        result.stored.record = request.record;  // there is no text to store first
    } else {
        result.storeFailure = LibraryQueue::guard([&] { result.stored = DocumentRegistry::storeOn(store, request); });
        if (result.storeFailure && kind != Kind::copy)
            return result;
    }
    const DocumentRegistry::Stored before = result.stored;
    result.fileFailure = LibraryQueue::guard([&] {
        work(store, request, result);
        if (kind == Kind::reload) {
            LoadedDocument read = DocumentRegistry::readDocument(store, request.record.id);
            if (!read.error.empty())
                throw RecoveryError(RecoveryError::Case::missingContent);
            result.stored = {std::move(read.record), std::move(read.storedHash)};
            result.text = std::move(read.text);
        }
        if (kind != Kind::copy)
            result.snapshot = takeSnapshot(result.stored.record.externalPath.value_or(""));
    });
    if (result.fileFailure && kind == Kind::reload)
        result.stored = before;  // the text that is shown is not another head's
    return result;
}

void OriginalFiles::ended(RecoveryBuffer& buffer, const DocumentRegistry::StoreRequest& request, Kind kind,
                          FileResult result)
{
    buffer.busy_ = false;
    if (result.storeFailure) {
        // A copy may have been written nevertheless: where the library has no room, another disk may.
        if (kind == Kind::copy && result.fileFailure)
            buffer.notice_ = result.fileFailure->what();
        registry_.storeHasFailed(buffer, *result.storeFailure);
        registry_.afterSaving(buffer);
        return;
    }
    if (!request.isDamaged || !result.fileFailure)
        registry_.takeResult(buffer, request, result.stored);
    registry_.takeRecords(result.others);
    if (result.fileFailure) {
        buffer.notice_ = result.fileFailure->what();
        if (result.fileFailure->which() == RecoveryError::Case::externalChange)
            check(buffer);
    } else if (kind != Kind::copy) {
        fileIsCurrent(buffer, request, kind, std::move(result));
    }
    registry_.afterSaving(buffer);
}

void OriginalFiles::fileIsCurrent(RecoveryBuffer& buffer, const DocumentRegistry::StoreRequest& request, Kind kind,
                                  FileResult result)
{
    buffer.fileEncoding_ = request.record.encoding;
    buffer.fileGeneration_ = request.generation;
    if (kind == Kind::reload) {
        buffer.fileEncoding_ = buffer.record_.encoding = result.stored.record.encoding;
        buffer.replaceText(*result.text);
        buffer.fileGeneration_ = buffer.savedGeneration_ = buffer.generation();
        buffer.damage_.clear();
        buffer.timer_.stop();
        buffer.unstoredSince_.reset();
    }
    buffer.fileTextHash_ = buffer.storedHash_;
    buffer.fileSnapshot_ = std::move(result.snapshot);
    buffer.availability_ = OriginalFileAvailability::current;
    buffer.record_.missingOriginal = false;
    const bool isNamedAfterFile =
        request.record.externalPath && buffer.record_.title == nameOf(*request.record.externalPath);
    if (kind == Kind::save && (buffer.titleIsAutomatic_ || isNamedAfterFile) &&
        buffer.record_.title != nameOf(*buffer.record_.externalPath)) {
        buffer.titleIsAutomatic_ = false;
        buffer.record_.title = nameOf(*buffer.record_.externalPath);
        registry_.recordChanged(buffer);
    }
    registry_.putHeader(buffer);
    watchFile(buffer);
}

void OriginalFiles::save(RecoveryBuffer& buffer, Done done)
{
    perform(
        buffer, Kind::save,
        [](RecoveryStore& store, const DocumentRegistry::StoreRequest&, FileResult& result) {
            result.stored.record = DocumentFiles(store).save(result.stored.record.id);
        },
        std::move(done));
}

void OriginalFiles::saveAs(RecoveryBuffer& buffer, const fs::path& file, bool replaces, Done done)
{
    perform(
        buffer, Kind::save,
        [file, replaces](RecoveryStore& store, const DocumentRegistry::StoreRequest&, FileResult& result) {
            DocumentFiles files(store);
            const std::string path = files.recordedPath(file);
            RecoveryDocument& record = result.stored.record;
            if (!replaces) {
                record = files.save(record.id, path);
                return;
            }
            DocumentStore documents(store);
            const auto owner = documents.findBoundTo(path);
            const auto replaced = giveWay(store, path, record.id, result.others);
            try {
                record = files.save(record.id, path, replaced);
            } catch (const RecoveryError&) {
                if (owner && owner->id != record.id)
                    result.others.push_back(documents.changeDocument(owner->id, [&](RecoveryDocument& document) {
                        document.externalPath = owner->externalPath;
                        document.externalDigest = owner->externalDigest;
                    }));
                throw;
            }
        },
        std::move(done));
}

void OriginalFiles::saveCopy(RecoveryBuffer& buffer, const fs::path& file, bool replaces, Done done)
{
    perform(
        buffer, Kind::copy,
        [file, replaces](RecoveryStore& store, const DocumentRegistry::StoreRequest& request, FileResult& result) {
            const std::string path = DocumentFiles(store).recordedPath(file);
            const auto replaced = replaces ? giveWay(store, path, std::nullopt, result.others) : std::nullopt;
            RecoveryFileAccess(store.root())
                .saveFile(encodeText(request.text.text(), request.record.encoding), path, replaced);
        },
        std::move(done));
}

void OriginalFiles::reload(RecoveryBuffer& buffer, std::optional<RecoveryEncoding> as, Done done)
{
    perform(
        buffer, Kind::reload,
        [as](RecoveryStore& store, const DocumentRegistry::StoreRequest&, FileResult& result) {
            std::optional<RecoveryDocument> kept;
            result.stored.record = DocumentFiles(store).reload(result.stored.record.id, as, &kept);
            if (kept)
                result.others.push_back(std::move(*kept));
        },
        std::move(done));
}

void OriginalFiles::locate(RecoveryBuffer& buffer, const fs::path& file, Done done)
{
    const QPointer<RecoveryBuffer> alive(&buffer);
    perform(
        buffer, Kind::copy,
        [file](RecoveryStore& store, const DocumentRegistry::StoreRequest&, FileResult& result) {
            const std::string path = DocumentFiles(store).recordedPath(file);
            DocumentStore documents(store);
            const auto owner = documents.findBoundTo(path);
            if (owner && owner->id != result.stored.record.id)
                throw RecoveryError::storage("“" + owner->shownTitle() + "” is bound to " + path + " already.");
            // What was expected of the old place is expected of the new one: another text there counts as changed.
            result.stored.record = documents.changeDocument(result.stored.record.id, [&](RecoveryDocument& document) {
                document.externalPath = path;
                document.missingOriginal = false;
                if (!document.externalDigest)
                    document.externalDigest = std::string();
            });
        },
        [this, alive, done](bool succeeded) {
            if (alive && succeeded) {
                alive->record_.missingOriginal = false;
                alive->fileSnapshot_.reset();
                check(*alive);
                watchFile(*alive);
                registry_.putHeader(*alive);
            }
            if (done)
                done(succeeded);
        });
}

}  // namespace penmark
