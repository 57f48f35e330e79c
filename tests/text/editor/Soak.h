// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>

namespace penmark::test {

struct SoakReport {
    std::size_t rounds = 0;     ///< documents
    std::size_t actions = 0;    ///< what a user did, moves of carets included
    std::size_t changes = 0;    ///< of the text
    std::size_t places = 0;     ///< that these changed
    std::size_t snapshots = 0;  ///< kept for a while, and still right
    std::size_t undone = 0;     ///< steps taken back to the start of a document
};

/// Works in random documents for so long, with two editors on each, against a plain string. Throws std::logic_error
/// with the place in the run when something does not hold; the same seed does the same again, unless the machine makes
/// pauses that end steps of undoing.
SoakReport soak(std::chrono::milliseconds time, unsigned seed);

}  // namespace penmark::test
