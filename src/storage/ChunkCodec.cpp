// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ChunkCodec.h"

#include "base/Parallel.h"
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"

#include <mutex>

namespace penmark {

struct ChunkCodec::Tables {
    lzfse::Encoder encoder;
    lzfse::Decoder decoder;
};

ChunkCodec::ChunkCodec() : tables_(std::make_unique<Tables>()) {}
ChunkCodec::~ChunkCodec() = default;

std::string ChunkCodec::compress(std::string_view chunk)
{
    return tables_->encoder.encode(chunk);
}

std::optional<std::size_t> ChunkCodec::decompress(std::string_view stream, std::span<char> room)
{
    return tables_->decoder.decode(stream, room);
}

namespace {

// Codecs that nobody uses at the moment; never more than were in use at once.
struct Pool {
    std::mutex mutex;
    std::vector<std::unique_ptr<ChunkCodec>> idle;
};

Pool& pool()
{
    static Pool instance;
    return instance;
}

}  // namespace

ChunkCodecs::ChunkCodecs() : lent_(workerLimit()) {}

ChunkCodecs::~ChunkCodecs()
{
    const std::scoped_lock hold(pool().mutex);
    for (auto& codec : lent_) {
        if (codec)
            pool().idle.push_back(std::move(codec));
    }
}

ChunkCodec& ChunkCodecs::of(std::size_t worker)
{
    auto& codec = lent_[worker];
    if (!codec) {
        const std::scoped_lock hold(pool().mutex);
        if (!pool().idle.empty()) {
            codec = std::move(pool().idle.back());
            pool().idle.pop_back();
        }
    }
    if (!codec)
        codec = std::make_unique<ChunkCodec>();
    return *codec;
}

}  // namespace penmark
