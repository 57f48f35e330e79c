// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "BlockBuilder.h"
#include "Processor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace penmark::lzfse {

/// Divides text into literals and matches.
///
/// Two tables remember where the same 5 and the same 8 bytes were seen last. Positions keep counting from one text to
/// the next, so the tables need no clearing: what lies before the present text is told by its number.
class MatchFinder {
public:
    /// Positions count from `firstPosition`, and start over before they exceed 32 bits.
    explicit MatchFinder(std::uint32_t firstPosition) : base_(firstPosition) {}

    /// Hands the whole of `text`, at most max_text bytes, to `blocks`.
    void find(std::string_view text, BlockBuilder& blocks);

    static constexpr std::size_t max_text = std::size_t{1} << 30;

private:
    static constexpr std::uint32_t table_bits = 15;

    struct Search;

    PENMARK_LZFSE_FAST_SHIFTS static std::size_t searchFast(MatchFinder& self, std::string_view text,
                                                            BlockBuilder& blocks);

    std::uint32_t base_;  // the position of the first byte of the text
    std::array<std::uint32_t, std::size_t{1} << table_bits> eights_{};
    std::array<std::uint32_t, std::size_t{1} << table_bits> fives_{};
    bool fastShifts_ = hasFastShifts();
};

}  // namespace penmark::lzfse
