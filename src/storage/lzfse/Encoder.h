// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace penmark::lzfse {

/// The most bytes that `rawSize` bytes, less than 4 GiB, can become: those bytes, a header and the end marker.
constexpr std::size_t maxEncodedSize(std::size_t rawSize)
{
    constexpr std::size_t largest_stored = 0xffff'ffff;
    return rawSize + 8 * (rawSize / largest_stored + 1) + 4;
}

/// Encodes LZFSE streams.
///
/// Threads: one at a time. Owns its tables (550 KB), so use one encoder for many texts: nothing is allocated or
/// cleared for each. What it makes of a text does not depend on the texts before.
class Encoder {
public:
    /// Positions in texts count from `firstPosition` and start over when 32 bits are full; it matters to tests only.
    explicit Encoder(std::uint32_t firstPosition = 0);
    ~Encoder();
    Encoder(Encoder&& other) noexcept;
    Encoder& operator=(Encoder&& other) noexcept;

    /// Encodes the whole of `raw` as one stream and returns its size; `out` must have maxEncodedSize(raw.size()).
    std::size_t encode(std::string_view raw, std::span<char> out);
    std::string encode(std::string_view raw);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace penmark::lzfse
