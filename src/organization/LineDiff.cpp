// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/LineDiff.h"

namespace penmark {

std::vector<std::uint32_t> PieceNumbers::numbersOf(std::span<const std::string_view> pieces)
{
    std::vector<std::uint32_t> numbers;
    numbers.reserve(pieces.size());
    numbers_.reserve(numbers_.size() + pieces.size());
    for (const std::string_view piece : pieces)
        numbers.push_back(numberOf(piece));
    return numbers;
}

EditScript lineDiff(std::span<const std::string_view> earlier, std::span<const std::string_view> current,
                    const std::stop_token& stop)
{
    return *lineDiff(earlier, current, unlimitedEdits, stop);
}

std::optional<EditScript> lineDiff(std::span<const std::string_view> earlier, std::span<const std::string_view> current,
                                   std::size_t mostEdits, const std::stop_token& stop)
{
    PieceNumbers numbers;
    const auto a = numbers.numbersOf(earlier);
    const auto b = numbers.numbersOf(current);
    return shortestEditScript(a, b, mostEdits, stop);
}

}  // namespace penmark
