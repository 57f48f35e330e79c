// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/EditScript.h"

#include <cstdint>
#include <span>
#include <stop_token>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

/// Numbers pieces of text from 0 in the order they are first met, the same number for the same bytes. The pieces must
/// outlive it.
class PieceNumbers {
public:
    std::uint32_t numberOf(std::string_view piece)
    {
        return numbers_.try_emplace(piece, static_cast<std::uint32_t>(numbers_.size())).first->second;
    }
    std::vector<std::uint32_t> numbersOf(std::span<const std::string_view> pieces);

private:
    std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

/// A shortest script from the earlier lines to the current ones. Lines are the same if their bytes are. Threads: any.
/// Throws Cancelled when stopped.
EditScript lineDiff(std::span<const std::string_view> earlier, std::span<const std::string_view> current,
                    const std::stop_token& stop = {});

/// The same, but absent if it takes more than `mostEdits` (see shortestEditScript).
std::optional<EditScript> lineDiff(std::span<const std::string_view> earlier, std::span<const std::string_view> current,
                                   std::size_t mostEdits, const std::stop_token& stop = {});

}  // namespace penmark
