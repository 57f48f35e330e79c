// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorSection.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace penmark {

/// Makes `rows` what `wanted` is. Rows that both begin or end with stay, and so does what is selected among them;
/// `isSame` says whether two stand for the same thing. Those that stay are replaced too, and `changedRow` tells of them
/// if they are not equal.
template <class Row, class IsSame>
void replaceRows(NavigatorSection& section, std::vector<Row>& rows, std::vector<Row> wanted, IsSame isSame)
{
    const auto [oldEnd, newEnd] = std::mismatch(rows.begin(), rows.end(), wanted.begin(), wanted.end(), isSame);
    const auto first = oldEnd - rows.begin();
    const auto [oldLast, newLast] = std::mismatch(rows.rbegin(), std::make_reverse_iterator(oldEnd), wanted.rbegin(),
                                                  std::make_reverse_iterator(newEnd), isSame);
    const auto removed = oldLast.base() - oldEnd;
    const auto inserted = newLast.base() - newEnd;
    std::vector<int> changed;
    const auto compare = [&](std::ptrdiff_t from, std::ptrdiff_t to, std::ptrdiff_t shift) {
        for (auto at = from; at < to; ++at) {
            Row& row = rows[static_cast<std::size_t>(at)];
            Row& other = wanted[static_cast<std::size_t>(at + shift)];
            if (!(row == other)) {
                changed.push_back(static_cast<int>(at + shift));
                row = other;  // before signals: whoever reads a row must find what is true of it
            }
        }
    };
    compare(0, first, 0);
    compare(first + removed, static_cast<std::ptrdiff_t>(rows.size()), inserted - removed);
    if (removed > 0) {
        emit section.removingRows(static_cast<int>(first), static_cast<int>(first + removed - 1));
        rows.erase(rows.begin() + first, rows.begin() + first + removed);
        emit section.removedRows();
    }
    if (inserted > 0) {
        emit section.insertingRows(static_cast<int>(first), static_cast<int>(first + inserted - 1));
        rows = std::move(wanted);
        emit section.insertedRows();
    }
    for (const int row : changed)
        emit section.changedRow(row);
}

template <class Row>
void replaceRows(NavigatorSection& section, std::vector<Row>& rows, std::vector<Row> wanted)
{
    replaceRows(section, rows, std::move(wanted), std::equal_to<Row>());
}

}  // namespace penmark
