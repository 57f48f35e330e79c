// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <cstddef>

namespace penmark {

/// Runs work(index, worker) for each index below count on all cores, the calling thread among them, and returns when
/// all are done. Indexes are begun in ascending order; `worker` is below workerLimit(), and no two calls with the same
/// one overlap, so it can select a buffer or a codec. The first exception stops the handing out of further indexes
/// and is thrown here. Starting the threads takes some 50 microseconds: up to `aloneUpTo` indexes, the calling thread
/// does all of them.
void parallelFor(std::size_t count, FunctionRef<void(std::size_t index, std::size_t worker)> work,
                 std::size_t aloneUpTo = 1);

/// The calling thread, and those that parallelFor starts for it, let others go first from now on: they have a tenth of
/// the weight where both want a core, can be interrupted at once, and parallelFor leaves one core free. For work that
/// goes on while somebody types. It cannot be taken back.
void workInBackground() noexcept;

/// The number of threads that parallelFor uses at most, the caller's included.
std::size_t workerLimit() noexcept;

}  // namespace penmark
