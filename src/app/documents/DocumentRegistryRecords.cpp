// SPDX-License-Identifier: GPL-3.0-or-later
// What the registry changes of documents beside their texts: names, languages, whether they are discarded.
#include "app/documents/DocumentRegistry.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"

#include <utility>

namespace penmark {

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
