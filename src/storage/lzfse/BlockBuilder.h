// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Format.h"
#include "Memory.h"
#include "Processor.h"

#include <array>
#include <cstddef>
#include <span>

namespace penmark::lzfse {

/// Collects literals and triples and cuts them into blocks: writeBlock is called whenever one is full.
class BlockBuilder {
public:
    BlockBuilder() = default;
    BlockBuilder(const BlockBuilder&) = delete;
    BlockBuilder& operator=(const BlockBuilder&) = delete;
    virtual ~BlockBuilder() = default;

    /// Adds `run` literals, which are at `text`, and a match after them. 16 bytes of text must be readable.
    PENMARK_LZFSE_INLINE void add(const char* text, std::size_t run, std::uint32_t distance, std::size_t match)
    {
        if (run <= 16 && match <= max_match && literals_ + 16 <= max_literals && triples_ < max_triples) [[likely]] {
            copy16(&literalBytes_[literals_], text);
            push(static_cast<std::uint32_t>(run), distance, static_cast<std::uint32_t>(match));
        } else {
            addInParts(text, run, distance, match);
        }
    }

    /// Does the same for runs and matches of any size, and reads no more than the run.
    void addInParts(const char* text, std::size_t run, std::uint32_t distance, std::size_t match);

    /// Cuts off what was added so far.
    void closeBlock();

protected:
    /// Three bytes behind the literals may be overwritten, and the triples too.
    virtual void writeBlock(std::span<char> literals, std::span<Triple> triples, std::size_t rawSize) = 0;

private:
    PENMARK_LZFSE_INLINE void push(std::uint32_t run, std::uint32_t distance, std::uint32_t match)
    {
        tripleList_[triples_++] = {distance, static_cast<std::uint16_t>(run), static_cast<std::uint16_t>(match)};
        literals_ += run;
        rawSize_ += run + match;
    }

    std::size_t literals_ = 0;
    std::size_t triples_ = 0;
    std::size_t rawSize_ = 0;
    std::array<char, max_literals + 32> literalBytes_{};
    std::array<Triple, max_triples> tripleList_{};
};

}  // namespace penmark::lzfse
