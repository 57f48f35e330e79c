// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/TextSource.h"

#include "base/PiecewiseSource.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

// Whatever is asked for comes back, from a string and from pieces alike; what lies behind the end is left out.
TEST(TextSourceTest, GivesAnyPart)
{
    const std::string text = "Grüße 😀\nند";
    const StringSource whole(text);
    const PiecewiseSource pieces(text, 3);
    const TextSource* const sources[] = {&whole, &pieces};
    for (const TextSource* source : sources) {
        ASSERT_EQ(source->size(), text.size());
        for (std::size_t offset = 0; offset <= text.size() + 2; ++offset) {
            for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{4}, std::string::npos}) {
                const std::string expected = offset < text.size() ? text.substr(offset, length) : "";
                std::string room = "left from before";
                EXPECT_EQ(source->part(offset, length, room), expected) << offset << " " << length;
                std::string joined;
                source->forEachPiece(offset, length, [&](std::string_view piece) { joined += piece; });
                EXPECT_EQ(joined, expected) << offset << " " << length;
            }
        }
    }
    std::string room;
    EXPECT_EQ(whole.part(2, 5, room).data(), text.data() + 2) << "copied";
}

}  // namespace
}  // namespace penmark
