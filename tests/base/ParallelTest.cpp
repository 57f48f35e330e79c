// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Parallel.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace penmark {
namespace {

TEST(Parallel, RunsEachIndexOnceAndNeverTwoOnOneWorker)
{
    for (const std::size_t count : {0u, 1u, 2u, 1000u}) {
        std::vector<int> runs(count);
        std::vector<std::atomic<bool>> busy(workerLimit());
        parallelFor(count, [&](std::size_t index, std::size_t worker) {
            EXPECT_FALSE(busy.at(worker).exchange(true));
            ++runs[index];
            busy[worker] = false;
        });
        EXPECT_EQ(runs, std::vector<int>(count, 1));
    }
}

TEST(Parallel, ThrowsTheFailureAndStopsHandingOutWork)
{
    std::atomic<std::size_t> begun = 0;
    const auto work = [&](std::size_t index, std::size_t) {
        ++begun;
        if (index == 3)
            throw std::runtime_error("three");
    };
    EXPECT_THROW(parallelFor(1'000'000, work), std::runtime_error);
    EXPECT_LT(begun, 1'000'000u);
}

TEST(Parallel, LeavesACoreFreeInTheBackground)
{
    std::atomic<std::size_t> most = 0;
    std::atomic<int> least = 20;
    std::atomic<std::size_t> ran = 0;
    std::thread([&] {
        workInBackground();
        parallelFor(1000, [&](std::size_t, std::size_t worker) {
            ++ran;
            for (std::size_t seen = most; worker > seen && !most.compare_exchange_weak(seen, worker);) {}
            const int nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
            for (int seen = least; nice < seen && !least.compare_exchange_weak(seen, nice);) {}
        });
    }).join();
    EXPECT_EQ(ran, 1000u);
    EXPECT_LT(most, std::max<std::size_t>(1, workerLimit() - 1));
    EXPECT_GE(least, 10) << "helpers too";
    EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())),
              ::getpriority(PRIO_PROCESS, static_cast<id_t>(::getpid())))
        << "the others stay what they are";
}

}  // namespace
}  // namespace penmark
