// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <bit>
#include <cstddef>
#include <vector>

namespace penmark {

/// Identities in one flat table: a set for the checks that every save makes, where a tree or a chain of nodes would
/// cost several times as much. Holds at most as many as it was made for. The nil identity is kept like any other.
class IdentitySet {
public:
    explicit IdentitySet(std::size_t capacity)
        : slots_(std::bit_ceil(2 * capacity + 2)), used_(slots_.size()), mask_(slots_.size() - 1)
    {}

    /// False if it is there already.
    bool insert(const Uuid& id)
    {
        const std::size_t at = slotOf(id);
        if (used_[at] != 0)
            return false;
        slots_[at] = id;
        used_[at] = 1;
        return true;
    }

    bool contains(const Uuid& id) const { return used_[slotOf(id)] != 0; }

private:
    // Its own slot or the free one that it would take. Twice the capacity leaves a free one behind every run.
    std::size_t slotOf(const Uuid& id) const
    {
        std::size_t at = id.hash() & mask_;
        while (used_[at] != 0 && slots_[at] != id)
            at = (at + 1) & mask_;
        return at;
    }

    std::vector<Uuid> slots_;
    std::vector<char> used_;
    std::size_t mask_;
};

}  // namespace penmark
