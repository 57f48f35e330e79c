// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// Compresses and decompresses chunks as LZFSE streams. Its tables are large and worth reusing. One thread at a time.
class ChunkCodec {
public:
    ChunkCodec();
    ~ChunkCodec();

    /// Always a compressed stream, also of an empty chunk.
    std::string compress(std::string_view chunk);

    /// Decompresses into `room` and returns the number of bytes; absent if the stream is damaged or does not fit.
    std::optional<std::size_t> decompress(std::string_view stream, std::span<char> room);

private:
    struct Tables;
    std::unique_ptr<Tables> tables_;
};

/// Up to this many chunks starting threads costs more than it saves.
constexpr std::size_t fewChunks = 4;

/// Codecs for the workers of one parallel task, lent from a pool of the process when a worker first asks. Different
/// workers may ask at the same time.
class ChunkCodecs {
public:
    ChunkCodecs();
    ~ChunkCodecs();
    ChunkCodecs(const ChunkCodecs&) = delete;
    ChunkCodecs& operator=(const ChunkCodecs&) = delete;

    ChunkCodec& of(std::size_t worker);

private:
    std::vector<std::unique_ptr<ChunkCodec>> lent_;  // by worker
};

}  // namespace penmark
