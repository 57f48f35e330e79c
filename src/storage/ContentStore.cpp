// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ContentStore.h"

#include "base/Parallel.h"
#include "base/Sha256.h"
#include "base/Utf8.h"
#include "storage/ChunkCodec.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <unordered_map>
#include <unordered_set>

namespace penmark {

namespace {

constexpr std::string_view selectChunk = "SELECT body FROM chunks WHERE hash=?";

[[noreturn]] void failMissing()
{
    throw RecoveryError(RecoveryError::Case::missingContent);
}

// Below this many chunks starting threads costs more than it saves.
constexpr std::size_t fewChunks = 4;

void forEachChunk(std::size_t count, FunctionRef<void(std::size_t index, std::size_t worker)> work)
{
    if (count > fewChunks) {
        parallelFor(count, work);
        return;
    }
    for (std::size_t index = 0; index < count; ++index)
        work(index, 0);
}

std::string hashOf(const TextSource& text, std::size_t offset, std::size_t length)
{
    Sha256 hasher;
    text.forEachPiece(offset, length, [&](std::string_view piece) { hasher.add(piece); });
    return hasher.finish();
}

// The bytes of a chunk in its room; throws unless they are what the hash says. Only the last one may be short.
std::size_t decodeChunk(ChunkCodec& codec, const std::string& hash, const std::string& body, std::span<char> room,
                        bool isLast)
{
    const auto size = codec.decompress(body, room);
    if (!size || (!isLast && *size != room.size()) || sha256({room.data(), *size}) != hash)
        failMissing();
    return *size;
}

// Each chunk is decoded in its place. The first one is tried before there is room for all: a damaged manifest may claim
// any number of them.
std::string decodeChunks(const std::vector<std::string>& hashes,
                         const std::unordered_map<std::string_view, std::string>& bodies)
{
    if (hashes.empty())
        return {};
    constexpr std::size_t chunkSize = ContentStore::chunkSize;
    const std::size_t last = hashes.size() - 1;
    ChunkCodecs codecs;
    std::string text(chunkSize, '\0');
    std::size_t lastSize = decodeChunk(codecs.of(0), hashes[0], bodies.at(hashes[0]), text, last == 0);
    text.resize(hashes.size() * chunkSize);
    forEachChunk(last, [&](std::size_t index, std::size_t worker) {
        const std::size_t chunk = index + 1;
        const std::span room(text.data() + chunk * chunkSize, chunkSize);
        const std::size_t size =
            decodeChunk(codecs.of(worker), hashes[chunk], bodies.at(hashes[chunk]), room, chunk == last);
        if (chunk == last)
            lastSize = size;
    });
    text.resize(last * chunkSize + lastSize);
    return text;
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
    forEachChunk(chunks_.size() + 1, [&](std::size_t index, std::size_t) {
        if (index == 0)
            contentHash_ = hashOf(text, 0, text.size());
        else
            chunks_[index - 1].hash = hashOf(text, (index - 1) * chunkSize, chunkSize);
    });
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
    forEachChunk(missing.size(), [&](std::size_t index, std::size_t worker) {
        const std::size_t chunk = missing[index];
        std::string body = prepared.compress(codecs.of(worker), chunk);
        body.shrink_to_fit();  // the codec makes room for a chunk that gets no smaller, and there may be thousands
        chunks[chunk].body = std::move(body);
    });
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
    std::vector<std::string> hashes;
    std::unordered_map<std::string_view, std::string> bodies;  // compressed, by chunk hash
    {
        const auto hold = store_.lock();
        hashes = loadManifest(contentHash);
        Statement select = store_.prepare(selectChunk);
        for (const std::string& hash : hashes) {
            const auto [body, isNew] = bodies.try_emplace(hash);
            if (!isNew)
                continue;
            select.bind({hash});
            if (!select.step())
                failMissing();
            body->second = select.text(0);
        }
    }
    try {
        std::string text = decodeChunks(hashes, bodies);
        const bool isHashed = hashes.size() == 1 && hashes.front() == contentHash;
        if ((!isHashed && sha256(text) != contentHash) || !isValidUtf8(text))
            failMissing();
        return text;
    } catch (const std::bad_alloc&) {
        failMissing();  // a manifest that claims more than there can be
    }
}

std::string ContentStore::previewText(std::string_view contentHash) const
{
    const auto hashes = loadManifest(contentHash);
    if (hashes.empty())
        return "(Empty document)";
    const auto rows = store_.query(selectChunk, {hashes.front()});
    if (rows.empty())
        failMissing();
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
        failMissing();
    std::string chunk(chunkSize, '\0');
    const auto size = ChunkCodecs().of(0).decompress(rows.front().front(), chunk);
    if (!size)
        failMissing();
    return (hashes.size() - 1) * chunkSize + *size;
}

std::vector<std::string> ContentStore::loadManifest(std::string_view contentHash) const
{
    const auto rows = store_.query("SELECT body FROM content WHERE hash=?", {contentHash});
    if (rows.empty())
        failMissing();
    try {
        return decodeRecord<std::vector<std::string>>(rows.front().front());
    } catch (const RecordError&) {
        failMissing();
    }
}

}  // namespace penmark
