// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryWindow.h"

#include <set>
#include <span>
#include <string>
#include <vector>

namespace penmark {

class RecoveryStore;

/// The windows of the editor, kept so that they come back as they were. Threads: any; each call holds the library's
/// lock.
class WindowStore {
public:
    explicit WindowStore(RecoveryStore& store) : store_(store) {}

    /// Replaces all windows, in one transaction; their order is kept.
    void saveAll(std::span<const RecoveryWindow> windows);

    /// Takes away those of these windows that are there.
    void remove(const std::set<Uuid>& windows);

    struct Loaded {
        std::vector<RecoveryWindow> windows;  ///< in the order saved
        std::vector<std::string> problems;    ///< one sentence for each record that cannot be read
    };

    /// A damaged record does not take the other windows with it.
    Loaded load() const;

private:
    RecoveryStore& store_;  // outlives this object
};

}  // namespace penmark
