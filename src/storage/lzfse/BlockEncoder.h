// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Format.h"
#include "Processor.h"

#include <array>
#include <cstddef>
#include <span>

namespace penmark::lzfse {

/// Turns literals and triples into one block with a packed header. Owns the working space; one thread at a time.
class BlockEncoder {
public:
    /// No block is larger.
    static constexpr std::size_t max_size =
        packed_header_size + max_frequency_bytes + max_literals * 10 / 8 + triple_padding + max_triples * 54 / 8 + 16;

    /// Writes the block to `out`, which must have max_size bytes, and returns its size. The literals must be followed
    /// by three bytes that may be overwritten. Distances equal to the one before are replaced by 0 in `triples`.
    std::size_t encode(std::span<char> literals, std::span<Triple> triples, std::uint32_t rawSize, char* out);

private:
    void countSymbols(std::span<const char> literals, std::span<Triple> triples);

    std::array<std::uint32_t, all_symbols> counts_{};
    Frequencies frequencies_{};
    std::array<std::uint32_t, max_triples> symbols_{};  ///< of each triple: run, match, distance in bytes 0, 1, 2
    bool fastShifts_ = hasFastShifts();
};

}  // namespace penmark::lzfse
