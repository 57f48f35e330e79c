// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace penmark {

std::size_t workerLimit() noexcept
{
    static const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());  // asking reads a file
    return cores;
}

void parallelFor(std::size_t count, FunctionRef<void(std::size_t index, std::size_t worker)> work)
{
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::exception_ptr failure;
    const auto run = [&](std::size_t worker) {
        try {
            for (std::size_t index = next++; index < count; index = next++)
                work(index, worker);
        } catch (...) {
            next = count;
            const std::scoped_lock hold(mutex);
            if (!failure)
                failure = std::current_exception();
        }
    };

    std::vector<std::jthread> others;
    for (std::size_t worker = 1; worker < std::min(count, workerLimit()); ++worker) {
        try {
            others.emplace_back(run, worker);
        } catch (const std::system_error&) {
            break;  // the system has no further thread to give: those that run do all of it
        }
    }
    run(0);
    others.clear();
    if (failure)
        std::rethrow_exception(failure);
}

}  // namespace penmark
