// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#if defined(__x86_64__) && defined(__GNUC__)
#include <cpuid.h>
/// The inner loops are compiled twice: for every processor, and for those whose shifts by a variable and counts of
/// leading zeros take one step. A loop is written once, as an always inlined function, and called from both.
#define PENMARK_LZFSE_FAST_SHIFTS __attribute__((target("bmi,bmi2,lzcnt")))
#else
#define PENMARK_LZFSE_FAST_SHIFTS
#endif
#define PENMARK_LZFSE_INLINE_LAMBDA __attribute__((always_inline))
#define PENMARK_LZFSE_INLINE inline __attribute__((always_inline))

namespace penmark::lzfse {

/// Whether what is marked PENMARK_LZFSE_FAST_SHIFTS may be called.
inline bool hasFastShifts()
{
#if defined(__x86_64__) && defined(__GNUC__)
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    const bool countsZeros = __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & bit_ABM) != 0;
    return countsZeros && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

}  // namespace penmark::lzfse
