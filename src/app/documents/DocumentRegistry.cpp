// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/DocumentRegistry.h"

#include "base/Sha256.h"
#include "storage/DocumentStore.h"
#include "text/SnapshotSource.h"

#include <algorithm>
#include <utility>

namespace penmark {

using std::chrono::steady_clock;

DocumentRegistry::DocumentRegistry(LibraryQueue& library, const Limits& limits) : library_(library), limits_(limits) {}

DocumentRegistry::~DocumentRegistry()
{
    // What is being stored goes on without them.
    for (const auto& [id, buffer] : buffers_)
        buffer->registry_ = nullptr;
}

void DocumentRegistry::loadHeaders()
{
    library_.read(
        this,
        [](RecoveryStore& store) {
            DocumentHeaderList headers;
            DocumentStore(store).forEachHeader(
                [&](RecoveryDocumentHeader&& header) { headers.put(DocumentHeader::of(std::move(header))); });
            return headers;
        },
        [this](DocumentHeaderList headers) { headers_.adopt(std::move(headers)); },
        [this](const RecoveryError& error) { emit failed(QString::fromUtf8(error.what())); });
}

// ---- what is in memory ----

RecoveryBuffer& DocumentRegistry::createDraft(EditorLanguage language, TextSnapshot text, RecoveryEncoding encoding)
{
    LoadedDocument draft;
    draft.record.id = Uuid::random();
    draft.record.createdAt = draft.record.updatedAt = Date::now();
    if (language != EditorLanguage::plainText)
        draft.record.languageName = name(language);
    draft.record.encoding = encoding;
    draft.text = std::move(text);
    RecoveryBuffer& buffer = adopt(std::move(draft));
    if (!buffer.text().empty())
        edited(buffer);
    return buffer;
}

RecoveryBuffer* DocumentRegistry::find(const Uuid& id)
{
    const auto found = buffers_.find(id);
    return found == buffers_.end() ? nullptr : found->second.get();
}

RecoveryBuffer* DocumentRegistry::findBoundTo(std::string_view path)
{
    for (const auto& [id, buffer] : buffers_) {
        if (!buffer->record_.deleted && buffer->record_.externalPath == path)
            return buffer.get();
    }
    return nullptr;
}

std::vector<RecoveryBuffer*> DocumentRegistry::buffers() const
{
    std::vector<RecoveryBuffer*> all;
    for (const auto& [id, buffer] : buffers_)
        all.push_back(buffer.get());
    return all;
}

void DocumentRegistry::load(const Uuid& id, QObject* receiver, Loaded loaded)
{
    if (RecoveryBuffer* buffer = find(id)) {
        buffer->usedAt_ = ++accessSequence_;
        loaded(*buffer);
        return;
    }
    auto& waiting = loading_[id];
    waiting.emplace_back(receiver, std::move(loaded));
    if (waiting.size() == 1)
        startLoading(id);
}

void DocumentRegistry::startLoading(const Uuid& id)
{
    library_.read(
        this, [id](RecoveryStore& store) { return readDocument(store, id); },
        [this, id, since = recordsTaken_](LoadedDocument read) {
            if (hasChanged(id, since))
                startLoading(id);
            else
                endLoading(std::move(read));
        },
        [this, id](const RecoveryError& error) {
            LoadedDocument damaged;
            damaged.record.id = id;
            damaged.textIsStored = true;
            damaged.isInLibrary = true;
            damaged.error = error.what();
            endLoading(std::move(damaged));
        });
}

void DocumentRegistry::endLoading(LoadedDocument read)
{
    const Uuid id = read.record.id;
    RecoveryBuffer& buffer = adopt(std::move(read));
    retain(id);  // while the callers take it
    const auto callers = std::move(loading_[id]);
    loading_.erase(id);
    for (const auto& [caller, call] : callers) {
        if (caller)
            call(buffer);
    }
    release(id);
}

bool DocumentRegistry::hasChanged(const Uuid& id, std::uint64_t since) const
{
    const auto taken = takenAt_.find(id);
    return taken != takenAt_.end() && taken->second > since;
}

LoadedDocument DocumentRegistry::readDocument(RecoveryStore& store, const Uuid& id)
{
    const DocumentStore documents(store);
    LoadedDocument loaded;
    auto record = documents.loadDocument(id);
    loaded.isInLibrary = loaded.textIsStored = record.has_value();
    if (!record) {
        loaded.record.id = id;
        loaded.record.createdAt = loaded.record.updatedAt = Date::now();
        return loaded;
    }
    loaded.record = std::move(*record);
    try {
        if (const auto head = documents.loadHead(loaded.record)) {
            loaded.storedHash = head->contentHash;
            loaded.text = TextSnapshot(ContentStore(store).loadText(head->contentHash));
        }
    } catch (const RecoveryError& error) {
        loaded.error = error.what();
        return loaded;
    }
    if (loaded.record.externalPath) {
        const bool isUtf8 = loaded.record.encoding == RecoveryEncoding::utf8;  // whose digest is the text's own hash
        const std::string digest =
            isUtf8 ? loaded.storedHash : encodedDigest(SnapshotSource(loaded.text), loaded.record.encoding);
        loaded.fileMatches = digest == loaded.record.externalDigest;
        loaded.availability = OriginalFileAvailability::checking;
    }
    return loaded;
}

RecoveryBuffer& DocumentRegistry::adopt(LoadedDocument read)
{
    if (RecoveryBuffer* present = find(read.record.id))
        return *present;
    auto owned = std::make_unique<RecoveryBuffer>(std::move(read));
    RecoveryBuffer& buffer = *owned;
    buffer.registry_ = this;
    buffer.usedAt_ = ++accessSequence_;
    buffers_.emplace(buffer.id(), std::move(owned));
    if (buffer.isInLibrary_)
        putHeader(buffer);
    if (!buffer.isStored())
        edited(buffer);
    emit loaded(buffer);
    return buffer;
}

void DocumentRegistry::retain(const Uuid& id)
{
    if (RecoveryBuffer* buffer = find(id))
        ++buffer->retained_;
}

void DocumentRegistry::release(const Uuid& id)
{
    RecoveryBuffer* buffer = find(id);
    if (!buffer)
        return;
    buffer->usedAt_ = ++accessSequence_;
    if (--buffer->retained_ > 0)
        return;
    store(*buffer);
    unloadIdle();
}

// Later, since a caller may still be at work with the buffer that it releases.
void DocumentRegistry::unloadIdle()
{
    if (unloadPosted_)
        return;
    unloadPosted_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            unloadPosted_ = false;
            std::vector<RecoveryBuffer*> idle;
            std::size_t bytes = 0;
            for (const auto& [id, buffer] : buffers_) {
                if (buffer->retained_ > 0 || !buffer->isStored() || buffer->saving_ || buffer->busy_)
                    continue;
                idle.push_back(buffer.get());
                bytes += buffer->bytes();
            }
            std::sort(idle.begin(), idle.end(), [](auto* left, auto* right) { return left->usedAt_ < right->usedAt_; });
            std::size_t count = idle.size();
            for (RecoveryBuffer* buffer : idle) {
                // An empty draft that nothing shows any more never was.
                const bool isNothing = !buffer->isInLibrary_;
                if (!isNothing && count <= limits_.recentBufferLimit && bytes <= limits_.recentBufferByteLimit)
                    continue;
                --count;
                bytes -= buffer->bytes();
                buffers_.erase(buffer->id());
            }
        },
        Qt::QueuedConnection);
}

// ---- storing ----

void DocumentRegistry::edited(RecoveryBuffer& buffer)
{
    const auto now = steady_clock::now();
    if (!buffer.unstoredSince_) {
        buffer.unstoredSince_ = now;
        buffer.changed();
        if (!buffer.text().empty() && !headers_.find(buffer.id()))
            putHeader(buffer);
    }
    // After a failure the next attempt has its time.
    if (buffer.retry_.isActive() || buffer.conflict_)
        return;
    const auto due = std::min(now + limits_.autosave, *buffer.unstoredSince_ + limits_.autosaveAtLatest);
    const auto delay =
        std::chrono::ceil<std::chrono::milliseconds>(std::max(due - now, steady_clock::duration::zero()));
    buffer.timer_.start(static_cast<int>(delay.count()), Qt::PreciseTimer, &buffer);
}

void DocumentRegistry::recordChanged(RecoveryBuffer& buffer)
{
    ++buffer.recordVersion_;
    buffer.changed();
    putHeader(buffer);
    store(buffer);
}

DocumentRegistry::StoreRequest DocumentRegistry::requestFor(RecoveryBuffer& buffer) const
{
    StoreRequest request;
    request.record = buffer.record_;
    request.text = buffer.text();
    request.generation = buffer.generation();
    request.recordVersion = buffer.recordVersion_;
    request.isInLibrary = buffer.isInLibrary_;
    request.textChanged = buffer.savedGeneration_ != buffer.generation();
    request.attempts = buffer.attempts_;
    request.takesAnyHead = std::exchange(buffer.conflict_, false);
    request.openedText = buffer.openedText_;
    request.fileBytes = buffer.fileBytes_;
    request.fileContent = buffer.fileContent_;
    request.headHash = buffer.storedHash_;
    request.isDamaged = !buffer.damage_.empty();
    request.isFileText = buffer.fileGeneration_ == request.generation;
    return request;
}

void DocumentRegistry::store(RecoveryBuffer& buffer, bool whateverTheHead)
{
    if (!buffer.damage_.empty() || (buffer.conflict_ && !whateverTheHead))
        return;
    if (buffer.saving_) {
        buffer.storeAgain_ = true;
        return;
    }
    buffer.timer_.stop();
    buffer.retry_.stop();
    if (buffer.isStored()) {
        buffer.unstoredSince_.reset();
        return;
    }
    beginSaving(buffer);
    const auto request = std::make_shared<const StoreRequest>(requestFor(buffer));
    library_.run(
        &buffer, [request](RecoveryStore& store) { return storeOn(store, *request); },
        [this, &buffer, request](Stored result) {
            takeResult(buffer, *request, std::move(result));
            afterSaving(buffer);
        },
        [this, &buffer](const RecoveryError& error) {
            storeHasFailed(buffer, error);
            afterSaving(buffer);
        });
}

void DocumentRegistry::beginSaving(RecoveryBuffer& buffer)
{
    buffer.saving_ = true;
    buffer.storeAgain_ = false;
    buffer.unstoredSince_.reset();  // whatever is edited from now on is not in it
    buffer.timer_.stop();
    buffer.retry_.stop();
}

DocumentRegistry::Stored DocumentRegistry::storeOn(RecoveryStore& store, const StoreRequest& request)
{
    if (request.openedText && !(*request.openedText == request.text)) {
        // What was opened was edited at once; a save would else leave no trace of it.
        StoreRequest opened = request;
        opened.text = *std::exchange(opened.openedText, std::nullopt);
        opened.isFileText = true;
        StoreRequest edited = request;
        edited.record.head = storeOn(store, opened).record.head;
        edited.isInLibrary = true;
        edited.takesAnyHead = false;
        edited.openedText.reset();
        edited.fileBytes.reset();
        return storeOn(store, edited);
    }
    DocumentStore documents(store);
    RecoveryDocument wanted = request.record;
    if (request.fileBytes)
        wanted.externalDigest = sha256(request.fileContent);
    const auto change = [&](RecoveryDocument& document) {
        document.title = wanted.title;
        document.displayTitle = wanted.displayTitle;
        document.languageName = wanted.languageName;
        document.encoding = wanted.encoding;
        document.missingOriginal = wanted.missingOriginal;
        if (request.fileBytes || !request.isInLibrary) {
            document.externalPath = wanted.externalPath;
            document.externalDigest = wanted.externalDigest;
        }
    };
    // A file that was opened and holds what the library holds already.
    const bool isHead = request.isFileText && wanted.encoding == RecoveryEncoding::utf8 && request.fileBytes &&
                        wanted.externalDigest == request.headHash;
    if (request.isInLibrary && (!request.textChanged || isHead))
        return {documents.changeDocument(wanted.id, change), isHead ? std::optional(request.headHash) : std::nullopt};

    const SnapshotSource source(request.text);
    const auto prepared = ContentStore(store).prepareText(source);
    const bool retries = !request.attempts->empty();
    request.attempts->insert(prepared.contentHash());
    return store.transaction([&]() -> Stored {
        auto expected = request.record.head;
        if (!request.isInLibrary || retries || request.takesAnyHead) {
            const auto present = documents.loadDocument(wanted.id);
            if (!present && request.text.empty() && !request.storesEmpty) {
                // In two steps, since changing a record is what tells other computers of it.
                RecoveryDocument bare;
                bare.id = wanted.id;
                bare.createdAt = bare.updatedAt = wanted.createdAt;
                documents.createDocument(bare);
                return {documents.changeDocument(wanted.id, change), prepared.contentHash()};
            }
            if (!present)
                return {documents.createWithText(wanted, prepared).document, prepared.contentHash()};
            const auto head = documents.loadHead(*present);
            if (request.takesAnyHead || (head && request.attempts->contains(head->contentHash)))
                expected = present->head;
        }
        return {documents.writeRevision(wanted.id, expected, prepared, change).document, prepared.contentHash()};
    });
}

void DocumentRegistry::takeResult(RecoveryBuffer& buffer, const StoreRequest& request, Stored result)
{
    buffer.takeStored(result.record);
    buffer.savedRecordVersion_ = request.recordVersion;
    buffer.savedGeneration_ = request.generation;
    if (result.contentHash)
        buffer.storedHash_ = std::move(*result.contentHash);
    if (buffer.fileGeneration_ == request.generation)
        buffer.fileTextHash_ = buffer.storedHash_;
    if (request.fileBytes) {
        buffer.openedText_.reset();
        buffer.fileBytes_.reset();
        buffer.fileContent_ = {};
    }
    buffer.storedAt_ = Date::now();
    buffer.error_.clear();
    buffer.attempts_->clear();
    buffer.failures_ = 0;
    putHeader(buffer);
    emit stored(buffer);
}

void DocumentRegistry::storeHasFailed(RecoveryBuffer& buffer, const RecoveryError& error)
{
    buffer.error_ = error.what();
    buffer.storeAgain_ = false;
    buffer.conflict_ = error.which() == RecoveryError::Case::revisionConflict;
    // A conflict is not settled by trying again, nor is a library written that can only be read.
    if (!buffer.conflict_ && !buffer.isReadOnlyLibrary()) {
        const auto wait = limits_.retry * (1 << std::min(buffer.failures_++, 3));
        buffer.retry_.start(static_cast<int>(wait.count()), Qt::CoarseTimer, &buffer);
    }
    emit storeFailed(buffer);
}

void DocumentRegistry::afterSaving(RecoveryBuffer& buffer)
{
    buffer.saving_ = false;
    buffer.changed();
    while (!buffer.saving_ && !buffer.whenIdle_.empty()) {
        const auto next = std::move(buffer.whenIdle_.front());
        buffer.whenIdle_.erase(buffer.whenIdle_.begin());
        next();
    }
    if (!buffer.saving_ && buffer.error_.empty() && !buffer.isStored()) {
        if (std::exchange(buffer.storeAgain_, false))
            store(buffer);
        else
            edited(buffer);
    }
    tellWaiting();
    unloadIdle();
}

void DocumentRegistry::whenIdle(RecoveryBuffer& buffer, std::function<void()> call)
{
    if (buffer.saving_)
        buffer.whenIdle_.push_back(std::move(call));
    else
        call();
}

void DocumentRegistry::storeAll(bool whateverTheHead)
{
    for (const auto& [id, buffer] : buffers_)
        store(*buffer, whateverTheHead);
}

void DocumentRegistry::whenStored(QObject* receiver, std::function<void(std::optional<std::string>)> call)
{
    waiting_.push_back({receiver, std::move(call)});
    tellWaiting();
}

void DocumentRegistry::tellWaiting()
{
    if (waiting_.empty())
        return;
    std::optional<std::string> failure;
    for (const auto& [id, buffer] : buffers_) {
        if (buffer->saving_)
            return;
        if (buffer->isStored())
            continue;
        if (buffer->error_.empty() && buffer->damage_.empty()) {
            store(*buffer);  // somebody types on
            return;
        }
        if (!failure)
            failure = buffer->error_.empty() ? buffer->damage_ : buffer->error_;
    }
    for (Waiting& waiting : std::exchange(waiting_, {})) {
        if (waiting.receiver)
            waiting.call(failure);
    }
}

// ---- records ----

void DocumentRegistry::rename(const Uuid& id, const std::string& title)
{
    const std::optional<std::string> wanted = title.empty() ? std::nullopt : std::optional(title);
    if (RecoveryBuffer* buffer = find(id); buffer && buffer->damage_.empty()) {
        if (buffer->record_.displayTitle == wanted)
            return;
        buffer->record_.displayTitle = wanted;
        recordChanged(*buffer);
        return;
    }
    changeRecords({id}, [wanted](RecoveryStore& store, const Uuid& which) {
        return DocumentStore(store).changeDocument(which,
                                                   [&](RecoveryDocument& document) { document.displayTitle = wanted; });
    });
}

void DocumentRegistry::setLanguage(RecoveryBuffer& buffer, EditorLanguage language)
{
    if (!buffer.damage_.empty())
        return;
    buffer.content_.setLanguage(language);
    buffer.record_.languageName = name(language);
    recordChanged(buffer);
}

void DocumentRegistry::setEncoding(RecoveryBuffer& buffer, RecoveryEncoding encoding)
{
    if (buffer.record_.encoding == encoding || !buffer.damage_.empty())
        return;
    buffer.record_.encoding = encoding;
    recordChanged(buffer);
}

void DocumentRegistry::discard(std::span<const Uuid> ids)
{
    std::vector<Uuid> idle;
    for (const Uuid& id : ids) {
        RecoveryBuffer* buffer = find(id);
        if (!buffer) {
            idle.push_back(id);
            continue;
        }
        // Its text goes to the library first, and nothing is stored behind the discarding, which would restore it.
        // A store that runs already may not have all of it.
        whenIdle(*buffer, [this, buffer, id] {
            store(*buffer);
            buffer->record_.deleted = true;
            whenIdle(*buffer, [this, buffer, id] {
                if (buffer->isStored()) {
                    discardStored({id});
                    return;
                }
                buffer->record_.deleted = false;
                buffer->changed();
                putHeader(*buffer);
                emit failed(tr("“%1” is not discarded, since its text could not be stored.")
                                .arg(QString::fromStdString(buffer->shownTitle())));
            });
        });
        buffer->record_.deleted = true;
        buffer->changed();
        putHeader(*buffer);
    }
    if (!idle.empty())
        discardStored(std::move(idle));
}

void DocumentRegistry::discardStored(std::vector<Uuid> ids)
{
    std::erase_if(ids, [this](const Uuid& id) {
        RecoveryBuffer* buffer = find(id);
        return buffer && !buffer->isInLibrary_;  // an empty draft; there is nothing to keep of it
    });
    if (!ids.empty())
        changeRecords(std::move(ids),
                      [](RecoveryStore& store, const Uuid& id) { return DocumentStore(store).discard(id); });
}

void DocumentRegistry::restore(std::span<const Uuid> ids)
{
    changeRecords({ids.begin(), ids.end()}, [](RecoveryStore& store, const Uuid& id) {
        // Writing its text again is what brings a document back, and its history tells of it.
        DocumentStore documents(store);
        return store.transaction([&] {
            const auto document = documents.loadDocument(id);
            if (!document)
                throw RecoveryError::storage("There is no document " + id.text() + ".");
            const auto head = documents.loadHead(*document);
            if (!document->deleted || !head)
                return documents.changeDocument(id, [](RecoveryDocument& changed) { changed.deleted = false; });
            return documents.writeRevision(id, document->head, ContentStore(store).loadText(head->contentHash))
                .document;
        });
    });
}

void DocumentRegistry::changeRecords(std::vector<Uuid> ids,
                                     std::function<RecoveryDocument(RecoveryStore&, const Uuid&)> change)
{
    library_.run(
        this,
        [ids, change = std::move(change)](RecoveryStore& store) {
            std::vector<RecoveryDocument> records;
            for (const Uuid& id : ids)
                records.push_back(change(store, id));
            return records;
        },
        [this](const std::vector<RecoveryDocument>& records) { takeRecords(records); },
        [this](const RecoveryError& error) { emit failed(QString::fromUtf8(error.what())); });
}

void DocumentRegistry::takeRecords(const std::vector<RecoveryDocument>& records)
{
    for (const RecoveryDocument& record : records) {
        if (RecoveryBuffer* buffer = find(record.id)) {
            buffer->takeStored(record);
            // It may have been read before the record was written.
            if (buffer->recordVersion_ == buffer->savedRecordVersion_)
                buffer->record_.displayTitle = record.displayTitle;
            if (!record.externalPath) {
                buffer->availability_.reset();
                buffer->fileSnapshot_.reset();
                buffer->checks_.start();  // one that runs is of a file that is another's by now
            }
            buffer->changed();
            putHeader(*buffer);
        } else {
            headers_.put(DocumentHeader::of(record));
            takenAt_[record.id] = ++recordsTaken_;
        }
        if (record.deleted)
            emit discarded(record.id);
    }
}

void DocumentRegistry::putHeader(const RecoveryBuffer& buffer)
{
    if (!buffer.isInLibrary_ && buffer.text().empty() && !buffer.record_.displayTitle && buffer.isDraft())
        return;
    DocumentHeader header = DocumentHeader::of(buffer.record_);
    header.title = buffer.shownTitle();
    header.fileDiffers = !buffer.isDraft() && !buffer.fileMatchesSavedVersion();
    headers_.put(std::move(header));
}

}  // namespace penmark
