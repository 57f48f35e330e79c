// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <ctime>

#if defined(__has_feature)
#define PENMARK_HAS_FEATURE(feature) __has_feature(feature)
#else
#define PENMARK_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || PENMARK_HAS_FEATURE(address_sanitizer) ||         \
    PENMARK_HAS_FEATURE(thread_sanitizer)
#define PENMARK_SANITIZED 1
#else
#define PENMARK_SANITIZED 0
#endif

namespace penmark {

/// What this thread has used of the processor, so that most of what else the machine does is not counted.
inline std::chrono::duration<double> cpuTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The seconds that a test grants to work for which a plain build on an idle machine needs clearly less than `seconds`.
/// Even the processor's time doubles where other programs share its caches and its core, and sanitizers cost a factor
/// of ten: tests find work that has grown out of proportion, and benchmarks find the rest.
constexpr double granted(double seconds)
{
    return seconds * (PENMARK_SANITIZED ? 20 : 3);
}

}  // namespace penmark
