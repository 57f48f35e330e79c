// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/DocumentRegistry.h"

#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "text/SnapshotSource.h"

#include <algorithm>
#include <utility>

namespace penmark {

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

}  // namespace penmark
