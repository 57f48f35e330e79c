// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf16.h"
#include "base/Utf8.h"

#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using namespace std::string_literals;

// What is malformed, and what it is repaired to: one replacement for each longest beginning of a character.
TEST(Utf8, RepairsAsTheUnicodeStandardRecommends)
{
    const struct {
        std::string bytes, repaired;
    } cases[] = {
        {"plain é € 😀", "plain é € 😀"},
        {"a\xffz", "a\uFFFDz"},
        {"\xe2\x82", "\uFFFD"},                            // cut off at the end: one
        {"\xf0\x9f\x98", "\uFFFD"},                        // the same
        {"\xe2\x82(", "\uFFFD("},                          // cut off by what follows
        {"\xc0\xaf", "\uFFFD\uFFFD"},                      // overlong
        {"\xe0\x80\xaf", "\uFFFD\uFFFD\uFFFD"},            // overlong
        {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
        {"\x80\x80", "\uFFFD\uFFFD"},
        {"\xf1\x80\x80\xe1\x80\xc2z", "\uFFFD\uFFFD\uFFFDz"},
    };
    for (const auto& [bytes, repaired] : cases) {
        EXPECT_EQ(repairUtf8(bytes), repaired);
        EXPECT_EQ(isValidUtf8(bytes), bytes == repaired);
        EXPECT_TRUE(isValidUtf8(repairUtf8(bytes)));
    }
}

TEST(Utf16, ConvertsEveryCharacterBothWaysInBothOrders)
{
    std::string all;
    for (char32_t c = 0; c <= 0x10ffff; c += c < 0x3000 ? 1 : 61) {
        if (c >= 0xd800 && c < 0xe000)
            continue;
        const char32_t rest = c < 0x10000 ? c : c - 0x10000;
        const auto unit = [](char32_t u) {
            return std::string{static_cast<char>(u & 0xff), static_cast<char>(u >> 8)};
        };
        const std::string little = c < 0x10000 ? unit(c) : unit(0xd800 + (rest >> 10)) + unit(0xdc00 + (rest & 0x3ff));
        const auto utf8 = utf16ToUtf8(little, ByteOrder::littleEndian);
        ASSERT_TRUE(utf8 && isValidUtf8(*utf8)) << std::hex << static_cast<std::uint32_t>(c);
        ASSERT_EQ(utf8ToUtf16(*utf8, ByteOrder::littleEndian), little);
        all += *utf8;
    }
    const auto big = utf8ToUtf16(all, ByteOrder::bigEndian);
    ASSERT_TRUE(big);
    EXPECT_EQ(utf16ToUtf8(*big, ByteOrder::bigEndian), all);
    EXPECT_EQ(utf8ToUtf16("A😀", ByteOrder::bigEndian), "\x00\x41\xd8\x3d\xde\x00"s);
}

TEST(Utf16, RefusesWhatIsNotExact)
{
    for (const std::string& bytes : {"\x41"s, "\x00\xd8"s, "\x00\xdc"s, "\x00\xd8\x41\x00"s, "\x00\xdc\x00\xd8"s})
        EXPECT_FALSE(utf16ToUtf8(bytes, ByteOrder::littleEndian)) << bytes.size();
    EXPECT_FALSE(utf8ToUtf16("\xff", ByteOrder::littleEndian));
}

}  // namespace
}  // namespace penmark
