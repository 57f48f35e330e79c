// SPDX-License-Identifier: GPL-3.0-or-later
#include "Decoder.h"

#include "BlockDecoder.h"
#include "LzvnDecoder.h"
#include "Memory.h"

#include <algorithm>

namespace penmark::lzfse {

namespace {

struct Block {
    std::uint32_t magic;
    std::string_view bytes;
    std::uint32_t rawSize;
};

// The block with which `stream` begins, if all of it is there.
std::optional<Block> firstBlock(std::string_view stream)
{
    if (stream.size() < magic_size)
        return std::nullopt;
    const auto magic = load<std::uint32_t>(stream.data());
    if (magic == end_of_stream)
        return Block{magic, stream.substr(0, magic_size), 0};
    if (stream.size() < stored_header_size)
        return std::nullopt;
    const auto rawSize = load<std::uint32_t>(stream.data() + 4);

    std::optional<std::size_t> size;
    switch (magic) {
    case stored_block:
        size = std::size_t{rawSize} + stored_header_size;
        break;
    case lzvn_block:
        if (stream.size() >= lzvn_header_size)
            size = std::size_t{load<std::uint32_t>(stream.data() + 8)} + lzvn_header_size;
        break;
    case unpacked_header_block:
    case packed_header_block:
        size = BlockDecoder::blockSize(stream, magic);
        break;
    default:
        break;
    }
    if (!size || *size > stream.size())
        return std::nullopt;
    return Block{magic, stream.substr(0, *size), rawSize};
}

// What the blocks claim to decode to; nothing if they do not make up the stream.
std::optional<std::uint64_t> claimedSize(std::string_view stream)
{
    std::uint64_t total = 0;
    while (const auto block = firstBlock(stream)) {
        stream.remove_prefix(block->bytes.size());
        if (block->magic == end_of_stream)
            return stream.empty() ? std::optional(total) : std::nullopt;
        total += block->rawSize;
    }
    return std::nullopt;
}

}  // namespace

Decoder::Decoder() : blocks_(std::make_unique<BlockDecoder>()) {}
Decoder::~Decoder() = default;
Decoder::Decoder(Decoder&& other) noexcept = default;
Decoder& Decoder::operator=(Decoder&& other) noexcept = default;

std::optional<std::size_t> Decoder::decode(std::string_view stream, std::span<char> room)
{
    Output output{room.data(), room.data(), room.data() + room.size()};
    while (const auto block = firstBlock(stream)) {
        const std::string_view bytes = block->bytes;
        stream.remove_prefix(bytes.size());
        switch (block->magic) {
        case end_of_stream:
            if (!stream.empty())
                return std::nullopt;
            return static_cast<std::size_t>(output.at - output.begin);
        case stored_block:
            if (block->rawSize > static_cast<std::size_t>(output.end - output.at))
                return std::nullopt;
            output.at = std::copy(bytes.begin() + stored_header_size, bytes.end(), output.at);
            break;
        case lzvn_block:
            if (!decodeLzvn(bytes.substr(lzvn_header_size), block->rawSize, output))
                return std::nullopt;
            break;
        default:
            if (!blocks_->decode(bytes, block->magic, output))
                return std::nullopt;
        }
    }
    return std::nullopt;
}

bool Decoder::decode(std::string_view stream, std::size_t limit, std::string& out)
{
    const auto size = claimedSize(stream);
    if (size && *size <= limit) {
        out.resize(static_cast<std::size_t>(*size));
        if (decode(stream, std::span(out)) == out.size())
            return true;
    }
    out.clear();
    return false;
}

}  // namespace penmark::lzfse
