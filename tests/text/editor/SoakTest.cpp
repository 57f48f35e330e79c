// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/Soak.h"

#include <gtest/gtest.h>

namespace penmark::test {

// A short slice of what bench/soak_text does for as long as one likes.
TEST(TextSoakTest, ManyEditsAgreeWithAPlainString)
{
    SoakReport report;
    ASSERT_NO_THROW(report = soak(std::chrono::seconds(2), 1));
    EXPECT_GT(report.changes, 0U);
    EXPECT_GT(report.undone, 0U);
    EXPECT_GT(report.snapshots, 0U);
}

}  // namespace penmark::test
