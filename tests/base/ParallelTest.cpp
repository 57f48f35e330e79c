// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Parallel.h"

#include <atomic>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace penmark
