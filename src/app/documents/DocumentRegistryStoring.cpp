// SPDX-License-Identifier: GPL-3.0-or-later
// When and how the registry stores documents.
#include "app/documents/DocumentRegistry.h"
#include "base/Sha256.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "text/SnapshotSource.h"

#include <algorithm>
#include <utility>

namespace penmark {

using std::chrono::steady_clock;

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

}  // namespace penmark
