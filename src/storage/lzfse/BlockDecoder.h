// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Format.h"
#include "Processor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace penmark::lzfse {

/// Where decoded bytes go. Up to `end` anything may be written at any time; what lies before `at` is the text so far.
struct Output {
    char* begin;
    char* at;
    char* end;
};

/// What one state says about a run, match or distance.
struct ValueState {
    std::uint8_t extraBits;
    std::uint8_t bits;  ///< with the extra ones
    std::uint16_t next;
    std::uint32_t base;
};

/// What one state says about a literal.
struct LiteralState {
    std::uint8_t bits;
    std::uint8_t letter;
    std::uint16_t next;
};

/// Decodes blocks with triples. Owns the tables and a buffer for literals; one thread at a time.
class BlockDecoder {
public:
    /// The size of the block of `magic` with which `stream` begins, if it has one and all of it is there.
    static std::optional<std::size_t> blockSize(std::string_view stream, std::uint32_t magic);

    /// Decodes a whole block, whose size is blockSize. False: it is not a valid one or does not fit.
    bool decode(std::string_view block, std::uint32_t magic, Output& output);

private:
    struct Tables {
        std::array<ValueState, run_alphabet.states> runs;
        std::array<ValueState, match_alphabet.states> matches;
        std::array<ValueState, distance_alphabet.states> distances;
        std::array<LiteralState, literal_alphabet.states> literals;
    };
    struct Loops;

    bool makeTables(const BlockHeader& header);

    BlockHeader header_;
    Frequencies frequencies_{};
    Tables tables_{};
    std::array<char, max_literals + 512> literals_{};  ///< with room for reading past a whole run
    bool fastShifts_ = hasFastShifts();
};

}  // namespace penmark::lzfse
