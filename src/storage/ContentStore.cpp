// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ContentStore.h"

#include "base/Parallel.h"
#include "base/Sha256.h"
#include "base/Utf8.h"
#include "storage/ChunkCodec.h"
#include "storage/ContentReading.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <unordered_set>

namespace penmark {

namespace {

constexpr std::string_view selectChunk = "SELECT body FROM chunks WHERE hash=?";

std::string hashOf(const TextSource& text, std::size_t offset, std::size_t length)
{
    Sha256 hasher;
    text.forEachPiece(offset, length, [&](std::string_view piece) { hasher.add(piece); });
    return hasher.finish();
}

}  // namespace

void ContentStore::Prepared::hashAll()
{
    const TextSource& text = source();
    chunks_.resize((text.size() + chunkSize - 1) / chunkSize);
    if (chunks_.size() == 1) {  // the only chunk is the text
        contentHash_ = chunks_.front().hash = hashOf(text, 0, chunkSize);
        return;
    }
    // The whole text is one long task beside many short ones, so it is begun first.
    parallelFor(
        chunks_.size() + 1,
        [&](std::size_t index, std::size_t) {
            if (index == 0)
                contentHash_ = hashOf(text, 0, text.size());
            else
                chunks_[index - 1].hash = hashOf(text, (index - 1) * chunkSize, chunkSize);
        },
        fewChunks);
}

std::string ContentStore::Prepared::compress(ChunkCodec& codec, std::size_t chunk) const
{
    std::string room;
    return codec.compress(source().part(chunk * chunkSize, chunkSize, room));
}

std::string ContentStore::Prepared::manifest() const
{
    std::string json = "[";
    json.reserve(67 * chunks_.size() + 2);
    for (const Chunk& chunk : chunks_) {
        if (json.size() > 1)
            json += ',';
        json.append("\"").append(chunk.hash).append("\"");
    }
    return json += ']';
}

ContentStore::Prepared ContentStore::prepareText(std::string_view utf8) const
{
    Prepared prepared;
    prepared.string_ = StringSource(utf8);
    prepare(prepared);
    return prepared;
}

ContentStore::Prepared ContentStore::prepareText(const TextSource& text) const
{
    Prepared prepared;
    prepared.source_ = &text;
    prepare(prepared);
    return prepared;
}

void ContentStore::prepare(Prepared& prepared) const
{
    prepared.hashAll();
    // A single chunk is compressed, if need be, when it is stored: that takes less than looking for it twice.
    if (prepared.chunks_.size() < 2)
        return;

    // The lock is given back now and then, so that a huge text does not hold up others.
    constexpr std::size_t probesPerLock = 512;
    auto& chunks = prepared.chunks_;
    std::vector<std::size_t> missing;
    std::unordered_set<std::string_view> seen;
    for (std::size_t from = 0; from < chunks.size(); from += probesPerLock) {
        const auto hold = store_.lock();
        Statement probe = store_.prepare(selectChunk);
        for (std::size_t i = from; i < std::min(from + probesPerLock, chunks.size()); ++i) {
            if (!seen.insert(chunks[i].hash).second)
                continue;  // a repeated block of this text
            probe.bind({chunks[i].hash});
            if (!probe.step())
                missing.push_back(i);
        }
    }

    ChunkCodecs codecs;
    parallelFor(
        missing.size(),
        [&](std::size_t index, std::size_t worker) {
            const std::size_t chunk = missing[index];
            std::string body = prepared.compress(codecs.of(worker), chunk);
            body.shrink_to_fit();  // the codec makes room for a chunk that gets no smaller, and there may be thousands
            chunks[chunk].body = std::move(body);
        },
        fewChunks);
}

std::string ContentStore::storeText(const Prepared& prepared)
{
    {
        Statement probe = store_.prepare(selectChunk);
        Statement insert = store_.prepare("INSERT INTO chunks(hash,body) VALUES(?,?)");
        for (std::size_t i = 0; i < prepared.chunks_.size(); ++i) {
            const auto& chunk = prepared.chunks_[i];
            probe.bind({chunk.hash});
            if (probe.step())
                continue;
            // Not compressed yet: the only chunk, or one that was there before and has been pruned since.
            std::string body;
            if (!chunk.body)
                body = prepared.compress(ChunkCodecs().of(0), i);
            insert.bind({chunk.hash, Blob{chunk.body ? *chunk.body : body}});
            insert.run();
        }
    }
    store_.execute("INSERT OR IGNORE INTO content(hash,body) VALUES(?,?)",
                   {prepared.contentHash_, Blob{prepared.manifest()}});
    return prepared.contentHash_;
}

std::string ContentStore::loadText(std::string_view contentHash) const
{
    const auto compressed =
        ContentReading(store_).fetch(contentHash, std::numeric_limits<std::size_t>::max());  // and lets the lock go
    std::string text;
    text.resize(compressed->decode(text).size());
    return text;
}

std::string ContentStore::previewText(std::string_view contentHash) const
{
    const auto hashes = loadManifest(contentHash);
    if (hashes.empty())
        return "(Empty document)";
    const auto rows = store_.query(selectChunk, {hashes.front()});
    if (rows.empty())
        throw RecoveryError(RecoveryError::Case::missingContent);
    std::string chunk(chunkSize, '\0');
    const auto size = ChunkCodecs().of(0).decompress(rows.front().front(), chunk);
    if (!size)
        throw RecoveryError::storage("The stored text cannot be decompressed.");
    chunk.resize(std::min(*size, previewLimit));
    std::string preview = repairUtf8(chunk);
    if (*size > previewLimit || hashes.size() > 1)
        preview += "\n… Preview shortened. Recover as New Document to inspect the full version.";
    return preview;
}

std::size_t ContentStore::textSize(std::string_view contentHash) const
{
    const auto hashes = loadManifest(contentHash);
    if (hashes.empty())
        return 0;
    const auto rows = store_.query(selectChunk, {hashes.back()});
    if (rows.empty())
        throw RecoveryError(RecoveryError::Case::missingContent);
    std::string chunk(chunkSize, '\0');
    const auto size = ChunkCodecs().of(0).decompress(rows.front().front(), chunk);
    if (!size)
        throw RecoveryError(RecoveryError::Case::missingContent);
    return (hashes.size() - 1) * chunkSize + *size;
}

std::vector<std::string> ContentStore::loadManifest(std::string_view contentHash) const
{
    const auto rows = store_.query("SELECT body FROM content WHERE hash=?", {contentHash});
    if (rows.empty())
        throw RecoveryError(RecoveryError::Case::missingContent);
    try {
        return decodeRecord<std::vector<std::string>>(rows.front().front());
    } catch (const RecordError&) {
        throw RecoveryError(RecoveryError::Case::missingContent);
    }
}

}  // namespace penmark
