// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/DocumentPreviews.h"

#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"

#include <algorithm>

namespace penmark {

namespace {

constexpr std::size_t atOnce = 128;      // some milliseconds on the thread that reads
constexpr std::size_t bytesRead = 1200;  // of a text in memory; enough for 200 characters and the white space between

QString singleLine(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(std::min(utf8.size(), bytesRead)))
        .simplified()
        .left(static_cast<qsizetype>(DocumentPreviews::length));
}

QString readBeginning(RecoveryStore& store, const Uuid& document)
{
    try {
        DocumentStore documents(store);
        const auto record = documents.loadDocument(document);
        const auto head = record ? documents.loadHead(*record) : std::nullopt;
        return head ? singleLine(ContentStore(store).previewText(head->contentHash)) : QString();
    } catch (const RecoveryError&) {
        return {};  // the document says why when it is opened
    }
}

}  // namespace

DocumentPreviews::DocumentPreviews(DocumentRegistry& documents, LibraryQueue& library)
    : documents_(documents), library_(library)
{
    timer_.setSingleShot(true);
    timer_.setInterval(0);
    connect(&timer_, &QTimer::timeout, this, [this] { readWanted(); });
}

QString DocumentPreviews::beginning(const Uuid& document)
{
    if (const RecoveryBuffer* const buffer = documents_.find(document)) {
        const TextSnapshot& text = buffer->text();
        const Utf8Offset end(std::min<std::size_t>(text.end().value, bytesRead));
        return singleLine(text.text({Utf8Offset(0), text.characterStart(end)}));
    }
    const auto [entry, isNew] = texts_.try_emplace(document);
    if (isNew) {
        wanted_.push_back(document);
        if (!reading_)
            timer_.start();
    }
    return entry->second;
}

void DocumentPreviews::forget()
{
    ++generation_;
    texts_ = {};
    wanted_ = {};
    reading_ = false;
    emit forgotten();
}

void DocumentPreviews::readWanted()
{
    if (wanted_.empty())
        return;
    // What was asked for last is what is seen now.
    std::vector<Uuid> batch(wanted_.end() - static_cast<std::ptrdiff_t>(std::min(atOnce, wanted_.size())),
                            wanted_.end());
    wanted_.resize(wanted_.size() - batch.size());
    reading_ = true;
    library_.read(
        this,
        [batch](RecoveryStore& store) {
            std::vector<QString> texts;
            for (const Uuid& document : batch)
                texts.push_back(readBeginning(store, document));
            return texts;
        },
        [this, batch, generation = generation_](const std::vector<QString>& texts) {
            if (generation != generation_)
                return;
            for (std::size_t at = 0; at < batch.size(); ++at)
                texts_[batch[at]] = texts[at];
            reading_ = false;
            readWanted();
            emit changed(batch);
        },
        [this, generation = generation_](const RecoveryError&) {
            if (generation == generation_)
                reading_ = false;
        });
}

}  // namespace penmark
