// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ContentReading.h"

#include "base/Parallel.h"
#include "base/Record.h"
#include "base/Sha256.h"
#include "base/Utf8.h"
#include "storage/ChunkCodec.h"
#include "storage/ContentStore.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <new>
#include <span>

namespace penmark {

namespace {

// The bytes of a chunk in its room; throws unless they are what the hash says. Only the last one may be short.
std::size_t decodeChunk(ChunkCodec& codec, const std::string& hash, const std::string& body, std::span<char> room,
                        bool isLast)
{
    const auto size = codec.decompress(body, room);
    if (!size || (!isLast && *size != room.size()) || sha256({room.data(), *size}) != hash)
        throw RecoveryError(RecoveryError::Case::missingContent);
    return *size;
}

void makeRoom(std::string& room, std::size_t bytes)
{
    if (room.size() < bytes)
        room.resize(bytes);
}

}  // namespace

std::size_t CompressedText::size() const
{
    std::size_t size = 0;
    for (const auto& [hash, body] : bodies_)
        size += body.size();
    return size;
}

// Each chunk is decoded in its place. The first one is tried before there is room for all: a damaged manifest may claim
// any number of them.
std::string_view CompressedText::decode(std::string& room) const
{
    if (hashes_.empty()) {
        if (sha256({}) != contentHash_)
            throw RecoveryError(RecoveryError::Case::missingContent);
        return {};
    }
    constexpr std::size_t chunkSize = ContentStore::chunkSize;
    const std::size_t last = hashes_.size() - 1;
    try {
        ChunkCodecs codecs;
        makeRoom(room, chunkSize);
        std::size_t lastSize =
            decodeChunk(codecs.of(0), hashes_[0], bodies_.at(hashes_[0]), std::span(room.data(), chunkSize), last == 0);
        makeRoom(room, hashes_.size() * chunkSize);
        parallelFor(
            last,
            [&](std::size_t index, std::size_t worker) {
                const std::size_t chunk = index + 1;
                const std::span part(room.data() + chunk * chunkSize, chunkSize);
                const std::size_t size =
                    decodeChunk(codecs.of(worker), hashes_[chunk], bodies_.at(hashes_[chunk]), part, chunk == last);
                if (chunk == last)
                    lastSize = size;
            },
            fewChunks);
        const std::string_view text(room.data(), last * chunkSize + lastSize);
        const bool isHashed = hashes_.size() == 1 && hashes_.front() == contentHash_;
        if ((!isHashed && sha256(text) != contentHash_) || !isValidUtf8(text))
            throw RecoveryError(RecoveryError::Case::missingContent);
        return text;
    } catch (const std::bad_alloc&) {
        throw RecoveryError(RecoveryError::Case::missingContent);  // a manifest that claims more than there can be
    }
}

ContentReading::ContentReading(RecoveryStore& store)
    : hold_(store.lock()), state_(store.prepare("SELECT 1 FROM content")),
      selectManifest_(store.prepare("SELECT body FROM content WHERE hash=?")),
      selectChunk_(store.prepare("SELECT body FROM chunks WHERE hash=?"))
{
    state_.step();
}

std::optional<CompressedText> ContentReading::fetch(std::string_view contentHash, std::size_t mostChunks)
{
    CompressedText text;
    text.contentHash_ = contentHash;
    selectManifest_.bind({contentHash});
    if (!selectManifest_.step())
        throw RecoveryError(RecoveryError::Case::missingContent);
    try {
        text.hashes_ = decodeRecord<std::vector<std::string>>(selectManifest_.text(0));
    } catch (const RecordError&) {
        throw RecoveryError(RecoveryError::Case::missingContent);
    }
    if (text.hashes_.size() > mostChunks)
        return std::nullopt;
    for (const std::string& hash : text.hashes_) {
        const auto [body, isNew] = text.bodies_.try_emplace(hash);
        if (!isNew)
            continue;
        selectChunk_.bind({hash});
        if (!selectChunk_.step())
            throw RecoveryError(RecoveryError::Case::missingContent);
        body->second = selectChunk_.text(0);
    }
    return text;
}

}  // namespace penmark
