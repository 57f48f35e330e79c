// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Parallel.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace penmark {

namespace {

// The kernel's struct sched_attr in its first size; its header cannot be included beside that of the C library.
struct SchedulingAttributes {
    std::uint32_t size = sizeof(SchedulingAttributes);
    std::uint32_t policy = SCHED_OTHER;
    std::uint64_t flags = 0;
    std::int32_t nice = 0;
    std::uint32_t priority = 0;
    std::uint64_t runtime = 0;  // ns; of an ordinary thread the time that it may go on when another one wakes up
    std::uint64_t deadline = 0;
    std::uint64_t period = 0;
};

constexpr int backgroundNice = 10;
constexpr std::uint64_t backgroundSlice = 100'000;  // the shortest; by itself a kernel from 6.6 on grants some 3 ms

thread_local bool isInBackground = false;

}  // namespace

void workInBackground() noexcept
{
    isInBackground = true;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), backgroundNice);
    SchedulingAttributes attributes;
    attributes.nice = backgroundNice;
    attributes.runtime = backgroundSlice;
    ::syscall(SYS_sched_setattr, 0, &attributes, 0);  // older kernels refuse or ignore it, and wake others at once
}

std::size_t workerLimit() noexcept
{
    static const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());  // asking reads a file
    return cores;
}

void parallelFor(std::size_t count, FunctionRef<void(std::size_t index, std::size_t worker)> work,
                 std::size_t aloneUpTo)
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

    const std::size_t cores = isInBackground ? workerLimit() - 1 : workerLimit();
    const std::size_t limit = count > aloneUpTo ? std::min(count, cores) : 1;
    std::vector<std::jthread> others;
    for (std::size_t worker = 1; worker < limit; ++worker) {
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
