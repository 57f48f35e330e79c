// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace penmark::lzfse {

class BlockDecoder;

/// Decodes LZFSE streams. A stream must be exact to the last bit: anything an encoder would not write is refused.
/// The format has no checksum, so a damaged stream may still decode, to other bytes.
///
/// Threads: one at a time. Owns its tables (50 KB), so use one decoder for many streams.
class Decoder {
public:
    Decoder();
    ~Decoder();
    Decoder(Decoder&& other) noexcept;
    Decoder& operator=(Decoder&& other) noexcept;

    /// Decodes the whole stream into `room` and returns how many bytes that made; the rest of the room may have been
    /// written to. Nothing: the stream is not valid or decodes to more.
    std::optional<std::size_t> decode(std::string_view stream, std::span<char> room);

    /// Decodes the whole stream into `out`. False, with `out` empty: the stream is not valid or decodes to more than
    /// `limit` bytes. Keep one `out` for streams of like size: then nothing is allocated or cleared.
    bool decode(std::string_view stream, std::size_t limit, std::string& out);

private:
    std::unique_ptr<BlockDecoder> blocks_;
};

}  // namespace penmark::lzfse
