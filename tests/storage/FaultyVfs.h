// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace penmark {

/// Stands between SQLite and the file system for as long as it lives and lets chosen calls fail: those that write,
/// sync, truncate, open or delete are counted, and from the chosen one on, or only that one, they fail. A write that
/// fails has stored the first half of its bytes, as a full disk does.
class FaultyVfs {
public:
    enum class Mode { once, fromThenOn };

    FaultyVfs();
    ~FaultyVfs();
    FaultyVfs(const FaultyVfs&) = delete;
    FaultyVfs& operator=(const FaultyVfs&) = delete;

    /// Lets the n-th counted call from now fail (from 1); 0 lets all succeed.
    void failAt(int n, Mode mode);

    /// Whether a call failed since then.
    bool hasFailed() const;
};

}  // namespace penmark
