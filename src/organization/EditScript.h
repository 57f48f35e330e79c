// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

namespace penmark {

/// A step on the way from an earlier sequence to a current one, which takes the elements of both in order.
struct Edit {
    enum class Kind : std::uint8_t {
        keep,    ///< the next `count` elements stand in both
        remove,  ///< the next `count` elements of the earlier one are left out
        add,     ///< the next `count` elements of the current one are put in
    };

    Kind kind = Kind::keep;
    std::size_t count = 0;  ///< elements, at least 1

    friend bool operator==(const Edit&, const Edit&) = default;
};

/// The whole way. No two edits of one kind follow each other, and at one place removing comes before adding.
using EditScript = std::vector<Edit>;

constexpr std::size_t unlimitedEdits = std::numeric_limits<std::size_t>::max();

/// A script that removes and adds as few elements as possible (Myers 1986, in linear space). Of several such scripts it
/// is one whose lone removals and additions stand as far to the end as they can.
///
/// Absent if more than `mostEdits` elements would have to be removed and added besides those that occur on one side
/// only. Elements are best numbered from 0 without large gaps: memory grows with the largest number and the lengths.
/// Time grows with the lengths times the number of those edits, in the usual case with the square of that number.
/// Threads: any. Throws Cancelled when stopped.
std::optional<EditScript> shortestEditScript(std::span<const std::uint32_t> earlier,
                                             std::span<const std::uint32_t> current, std::size_t mostEdits,
                                             const std::stop_token& stop = {});

/// The same without a limit, so there always is one.
EditScript shortestEditScript(std::span<const std::uint32_t> earlier, std::span<const std::uint32_t> current,
                              const std::stop_token& stop = {});

/// Everything removed, then everything added.
EditScript blockEditScript(std::size_t earlierCount, std::size_t currentCount);

/// How many elements stand alike at the beginnings of both, and how many of the others at the ends.
struct CommonEnds {
    std::size_t start = 0;
    std::size_t end = 0;
};

template <class Sequence>
CommonEnds commonEnds(const Sequence& earlier, const Sequence& current)
{
    const std::size_t shorter = earlier.size() < current.size() ? earlier.size() : current.size();
    CommonEnds ends;
    while (ends.start < shorter && earlier[ends.start] == current[ends.start])
        ++ends.start;
    while (ends.start + ends.end < shorter &&
           earlier[earlier.size() - ends.end - 1] == current[current.size() - ends.end - 1])
        ++ends.end;
    return ends;
}

}  // namespace penmark
