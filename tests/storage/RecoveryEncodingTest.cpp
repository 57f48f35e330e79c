// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryEncoding.h"

#include "base/PiecewiseSource.h"
#include "base/Record.h"
#include "base/Sha256.h"
#include "storage/RecoveryError.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace penmark {

static void PrintTo(const UnsupportedByte& byte, std::ostream* out)
{
    *out << "byte " << byte.offset << ", line " << byte.line;
}

namespace {

using namespace std::string_literals;

using E = RecoveryEncoding;

// A file that decodes must come back byte for byte, and a search for the offending byte must find none.
TEST(RecoveryEncodingTest, DecodesAndGivesBackTheSameBytes)
{
    struct Case {
        std::string bytes;
        E encoding;
        std::string text;
    };
    const Case cases[] = {
        {""s, E::utf8, ""s},
        {"plain\r\nASCII\rlines\n"s, E::utf8, "plain\r\nASCII\rlines\n"s},
        {"Grüße 😀\n"s, E::utf8, "Grüße 😀\n"s},
        {"\xef\xbb\xbf"s, E::utf8BOM, ""s},
        {"\xef\xbb\xbfGrüße"s, E::utf8BOM, "Grüße"s},
        {"\xef\xbb\xbf with \0 inside"s, E::utf8BOM, " with \0 inside"s},  // only a file without a mark is
        {"\xef\xbb\xbf\xef\xbb\xbfx"s, E::utf8BOM, "\xef\xbb\xbfx"s},      // refused for it
        {"\xff\xfe"s, E::utf16LE, ""s},
        {"\xfe\xff"s, E::utf16BE, ""s},
        {"\xff\xfe\x61\0\xe9\0\n\0"s, E::utf16LE, "aé\n"s},
        {"\xfe\xff\0\x61\0\xe9\r\n"s, E::utf16BE, "aé\xe0\xb4\x8a"s},  // 0D0A is one character
        {"\xff\xfe\x3d\xd8\x00\xde"s, E::utf16LE, "😀"s},
        {"\xfe\xff\xd8\x3d\xde\x00"s, E::utf16BE, "😀"s},
        {"\xff\xfe\xff\xfe\0\0"s, E::utf16LE, "\xef\xbb\xbf\0"s},
        {"\xff\xfe\xff\xff\xfe\xff"s, E::utf16LE, "\xef\xbf\xbf\xef\xbf\xbe"s},  // noncharacters are text
    };
    for (const auto& [bytes, encoding, text] : cases) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        const DecodedText decoded = decodeText(bytes);
        EXPECT_EQ(decoded.text, text);
        EXPECT_EQ(decoded.encoding, encoding);
        EXPECT_EQ(encodeText(decoded.text, decoded.encoding), bytes);
        EXPECT_EQ(findUnsupportedByte(bytes), std::nullopt);
    }
}

TEST(RecoveryEncodingTest, RefusesAndNamesTheFirstOffendingByte)
{
    struct Case {
        std::string bytes;
        UnsupportedByte at;
    };
    const Case cases[] = {
        {"a\0b\0"s, {1, 1}},  // UTF-16LE without a mark
        {"text\n\0"s, {5, 2}},
        {"caf\xe9\0"s, {3, 1}},  // Latin-1; the first of two reasons
        {"one\r\ntwo\rthree\ncaf\xe9 au lait"s, {18, 4}},
        {"one\r\xe9\n"s, {4, 2}},
        {"\xef\xbb\xbf"
         "ok\n\xc0\x80"s,
         {6, 2}},                               // overlong
        {"\xef\xbb"s, {0, 1}},                  // half a mark
        {"\xed\xa0\x80"s, {0, 1}},              // a surrogate in UTF-8
        {"x\xf4\x90\x80\x80"s, {1, 1}},         // above U+10FFFF
        {"\xe2\x82"s, {0, 1}},                  // cut off
        {"\xff\xfe\x61\0\x62"s, {4, 1}},        // odd length
        {"\xff\xfe\n\0\0\xd8\x61\0"s, {4, 2}},  // a leading surrogate alone
        {"\xff\xfe\r\0\n\0\0\xd8"s, {6, 2}},    // at the end
        {"\xfe\xff\0\r\xdc\0"s, {4, 2}},        // a trailing one alone
        {"\xfe\xff\xd8\x3d\xd8\x3d\xde\0"s, {2, 1}},
        {"\xff\xfe\xff"s, {2, 1}},
    };
    for (const auto& [bytes, at] : cases) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        try {
            decodeText(bytes);
            ADD_FAILURE() << "decoded";
        } catch (const RecoveryError& error) {
            EXPECT_STREQ(error.what(),
                         "This file is not valid UTF-8 or BOM-marked UTF-16 text. No bytes have been changed.");
        }
        EXPECT_EQ(findUnsupportedByte(bytes), at);
    }
}

// The text is encoded block by block: a character of any length must survive the borders of 64 KiB.
TEST(RecoveryEncodingTest, DigestsWhatWouldBeWritten)
{
    for (const auto& [encoding, word] : storedWords(E{})) {
        SCOPED_TRACE(word);
        for (const std::string& character : {"a"s, "é"s, "中"s, "😀"s}) {
            for (std::size_t before = 0; before < 5; ++before) {
                std::string text = "\xef\xbb\xbf"s + std::string(65'536 - 3 - before, '\n');
                for (int i = 0; i < 40'000; ++i)
                    text += character;
                const std::string expected = sha256(encodeText(text, encoding));
                EXPECT_EQ(encodedDigest(StringSource(text), encoding), expected) << character << before;
                EXPECT_EQ(encodedDigest(PiecewiseSource(text, 1021), encoding), expected) << character << before;
            }
        }
        EXPECT_EQ(encodedDigest(StringSource(), encoding), sha256(encodeText("", encoding)));
        for (const std::string& bad :
             {"caf\xe9"s, std::string(65'534, 'x') + "\xf0\x9f", std::string(65'535, 'x') + "\xff\xff"})
            EXPECT_THROW(encodedDigest(PiecewiseSource(bad, 100), encoding), RecoveryError) << bad.size();
    }
}

// Reopening a file as one of the four: its own mark may be there or not, another's may not.
TEST(RecoveryEncodingTest, DecodesAsTheEncodingThatWasChosen)
{
    struct Case {
        std::string bytes;
        E encoding;
        std::optional<std::string> text;  // absent: refused
        UnsupportedByte at = {};
    };
    const Case cases[] = {
        {"a\0b\0"s, E::utf16LE, "ab"s},  // without a mark
        {"\0a\0b"s, E::utf16BE, "ab"s},
        {"\xff\xfe\x61\0"s, E::utf16LE, "a"s},
        {"\xff\xfe\x61\0"s, E::utf16BE, std::nullopt, {0, 1}},
        {"\xfe\xff\0\x61"s, E::utf16LE, std::nullopt, {0, 1}},
        {"\xef\xbb\xbf\x61"s, E::utf16LE, std::nullopt, {0, 1}},
        {"\xff\xfe\x61\0"s, E::utf8, std::nullopt, {0, 1}},
        {"\xff\xfe\x61\0"s, E::utf8BOM, std::nullopt, {0, 1}},
        {"Grüße"s, E::utf8BOM, "Grüße"s},
        {"\xef\xbb\xbfx"s, E::utf8BOM, "x"s},
        {"\xef\xbb\xbfx"s, E::utf8, "\xef\xbb\xbfx"s},
        {"a\0b"s, E::utf8, "a\0b"s},
        {"a\0\n\xff"s, E::utf8, std::nullopt, {3, 2}},
        {"\xef\xbb\xbf\n\xff"s, E::utf8, std::nullopt, {4, 2}},
        {"\n\0b"s, E::utf16LE, std::nullopt, {2, 2}},  // odd length
        {""s, E::utf16BE, ""s},
    };
    for (const auto& [bytes, encoding, text, at] : cases) {
        SCOPED_TRACE(testing::PrintToString(bytes) + " as " + std::string(storedWord(encoding)));
        if (text) {
            EXPECT_EQ(decodeText(bytes, encoding), *text);
            EXPECT_EQ(findUnsupportedByte(bytes, encoding), std::nullopt);
        } else {
            EXPECT_THROW(decodeText(bytes, encoding), RecoveryError);
            EXPECT_EQ(findUnsupportedByte(bytes, encoding), at);
        }
    }
}

// Every text survives its encoding if that is known; if it is not, whoever saves is told beforehand.
TEST(RecoveryEncodingTest, TellsWhichTextsWouldNotComeBack)
{
    const std::string mark = "\xef\xbb\xbf";
    const std::string texts[] = {"", "plain", mark, mark + mark, mark + "a\0"s, "a\0"s, "a" + mark, "\uFFFE", "뻯😀"};
    for (const auto& [encoding, word] : storedWords(E{})) {
        for (const std::string& text : texts) {
            SCOPED_TRACE(testing::PrintToString(text) + " as " + std::string(word));
            const std::string bytes = encodeText(text, encoding);
            EXPECT_EQ(decodeText(bytes, encoding), text);
            const bool comesBack = !findUnsupportedByte(bytes) && decodeText(bytes).text == text;
            EXPECT_EQ(encodingLosesMark(text, encoding).has_value(), !comesBack);
        }
    }
    EXPECT_NE(encodingLosesMark(mark + "\0"s, E::utf8)->find("begins with a byte-order mark"), std::string::npos);
    EXPECT_NE(encodingLosesMark(PiecewiseSource("ab\0c"s, 1), E::utf8)->find("NUL"), std::string::npos);
    EXPECT_TRUE(encodingLosesMark(PiecewiseSource(mark, 1), E::utf8));
}

TEST(RecoveryEncodingTest, RefusesToEncodeWhatIsNoText)
{
    for (const auto& [encoding, word] : storedWords(E{})) {
        SCOPED_TRACE(word);
        EXPECT_THROW(encodeText("\xed\xa0\x80", encoding), RecoveryError);
        EXPECT_THROW(encodeText("caf\xe9", encoding), RecoveryError);
    }
}

// The words are in every library that exists.
TEST(RecoveryEncodingTest, IsStoredByItsWord)
{
    EXPECT_EQ(encodeRecord(std::vector{E::utf8, E::utf8BOM, E::utf16LE, E::utf16BE}),
              R"(["utf8","utf8BOM","utf16LE","utf16BE"])");
}

}  // namespace

}  // namespace penmark
