// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/LegacyEncoding.h"

#include "base/Utf8.h"

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <set>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>

namespace penmark {
namespace {

using namespace std::string_literals;

bool isWide(std::string_view id)
{
    return id.starts_with("utf-");
}

/// Text to bytes by ICU, which knows nothing of the code under test. Absent if something cannot be written in it.
class Encoder {
public:
    explicit Encoder(std::string_view name)
    {
        UErrorCode error = U_ZERO_ERROR;
        converter_.reset(ucnv_open(std::string(name).c_str(), &error));
        ucnv_setFromUCallBack(converter_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        ucnv_setFallback(converter_.get(), false);
        EXPECT_TRUE(U_SUCCESS(error)) << name;
    }

    std::optional<std::string> encode(const std::u16string& text)
    {
        std::string bytes(8 * text.size() + 16, '\0');
        UErrorCode error = U_ZERO_ERROR;
        const auto size = ucnv_fromUChars(converter_.get(), bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                          text.data(), static_cast<std::int32_t>(text.size()), &error);
        if (U_FAILURE(error))
            return std::nullopt;
        bytes.resize(static_cast<std::size_t>(size));
        return bytes;
    }

private:
    struct Close {
        void operator()(UConverter* converter) const { ucnv_close(converter); }
    };
    std::unique_ptr<UConverter, Close> converter_;
};

std::string toUtf8(const std::u16string& text)
{
    return Encoder("UTF-8").encode(text).value();
}

std::u16string fromUtf8(std::string_view text)
{
    std::u16string units(text.size(), u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("UTF-8", &error), ucnv_close);
    units.resize(
        static_cast<std::size_t>(ucnv_toUChars(converter.get(), units.data(), static_cast<std::int32_t>(units.size()),
                                               text.data(), static_cast<std::int32_t>(text.size()), &error)));
    return units;
}

// What the code charts say, so that an id stands for the encoding that people mean by it.
TEST(LegacyEncodingTest, ConvertsWhatTheEncodingsMean)
{
    struct Case {
        std::string_view id;
        std::string bytes;
        std::string text;
        std::size_t unconvertible = 0;
    };
    const Case cases[] = {
        {"windows-1252", "\x80 \x93na\xefve\x94\r\n", "€ “naïve”\r\n"},
        {"iso-8859-15", "\xa4\xbd", "€œ"},
        {"macintosh", "caf\x8e \xd2\xdb\xd3\r", "café “€”\r"},
        {"ibm437", "\x81\xe1 \xc9\xcd\xbb\x1a", "üß ╔═╗\x1a"},
        {"ibm850", "\x9b\xb5\xd1", "øÁÐ"},
        {"ibm858", "\xd5", "€"},
        {"windows-1250", "\x8a\xe8\xf8", "Ščř"},
        {"iso-8859-2", "\xa9\xe8\xf8", "Ščř"},
        {"ibm852", "\xe6\x9f\xfd", "Ščř"},
        {"x-mac-centraleurope", "\xe1\x8b\xde", "Ščř"},
        {"windows-1251", "\xcf\xf0\xe8\xe2\xe5\xf2", "Привет"},
        {"koi8-r", "\xf0\xd2\xc9\xd7\xc5\xd4", "Привет"},
        {"koi8-u", "\xa4\xa7", "єї"},
        {"iso-8859-5", "\xbf\xe0\xd8\xd2\xd5\xe2", "Привет"},
        {"ibm866", "\x8f\xe0\xa8\xa2\xa5\xe2", "Привет"},
        {"windows-1253", "\xc1\xe8\xde\xed\xe1", "Αθήνα"},
        {"windows-1254", "\xdd\xfe\xf0", "İşğ"},
        {"windows-1255", "\xf9\xec\xe5\xed", "שלום"},
        {"windows-1256", "\xe3\xd1\xcd\xc8\xc7", "مرحبا"},
        {"windows-1257", "\xd0\xfe", "Šž"},
        {"windows-874", "\xe4\xb7\xc2", "ไทย"},
        {"shift_jis", "\x93\xfa\x96{\x81` \xb1\\ \x87@\x1a", "日本～ ｱ\\ ①\x1a"},
        {"euc-jp", "\xc6\xfc\xcb\xdc \x8e\xb1", "日本 ｱ"},
        {"iso-2022-jp", "\x1b$BF|K\\\x1b(B ok", "日本 ok"},
        {"gb18030", "\xd6\xd0\xce\xc4 \x94\x39\xfc\x36", "中文 😀"},
        {"big5", "\xa4\xa4\xa4\xe5", "中文"},
        {"euc-kr", "\xc7\xd1\xb1\xdb \x8c\x63", "한글 똠"},
        {"utf-16le", "a\0=\xd8\0\xde"s, "a😀"},
        {"utf-16be", "\xfe\xff\0a"s, "a"},  // a mark is left out
        {"utf-32le", "\xff\xfe\0\0\0\xf6\1\0"s, "😀"},
        {"utf-32be", "\0\1\xf6\0"s, "😀"},
        {"shift_jis", "a\x85", "a\uFFFD", 1},  // cut off
        {"euc-jp", "\xff\xc6\xfc", "\uFFFD日", 1},
        {"utf-16le", "\0\xd8x\0y"s, "\uFFFDx\uFFFD", 3},
        {"utf-32be", "\0\x11\0\0"s, "\uFFFD", 4},
        {"windows-1252", "", ""},
    };
    for (const auto& [id, bytes, text, unconvertible] : cases) {
        SCOPED_TRACE(std::string(id) + " " + testing::PrintToString(bytes));
        const auto converted = convertLegacyText(bytes, id);
        ASSERT_TRUE(converted);
        EXPECT_EQ(converted->text, text);
        EXPECT_EQ(converted->unconvertibleBytes, unconvertible);
    }
    EXPECT_FALSE(convertLegacyText("text", "utf-8"));
    EXPECT_FALSE(convertLegacyText("text", ""));
}

// Ids are kept in settings, so they are unique; ASCII is itself wherever it can be, control characters included.
TEST(LegacyEncodingTest, OffersEncodingsThatAllExist)
{
    std::set<std::string_view> ids;
    std::set<std::string_view> regions;
    std::string_view region;
    std::string ascii;
    for (int c = 0; c < 128; ++c)
        ascii += static_cast<char>(c);
    for (const LegacyEncoding& encoding : legacyEncodings()) {
        SCOPED_TRACE(encoding.id);
        EXPECT_TRUE(ids.insert(encoding.id).second);
        EXPECT_EQ(findLegacyEncoding(encoding.id)->name, encoding.name);
        if (encoding.region != region) {
            EXPECT_TRUE(regions.insert(encoding.region).second) << "a region comes twice";
        }
        region = encoding.region;
        const auto converted = convertLegacyText(ascii, encoding.id);
        ASSERT_TRUE(converted);
        if (!isWide(encoding.id) && !encoding.id.starts_with("iso-2022")) {
            EXPECT_EQ(converted->text, ascii);
        }
    }
    EXPECT_EQ(findLegacyEncoding("nothing"), nullptr);
}

// Random texts of all characters that an encoding has, longer than the blocks that they are converted in.
TEST(LegacyEncodingTest, GivesBackWhatWasWrittenInIt)
{
    std::mt19937 random(7);
    for (const LegacyEncoding& encoding : legacyEncodings()) {
        SCOPED_TRACE(encoding.id);
        // ICU knows some by other names, or by these names with fewer characters.
        const std::string name = encoding.id == "shift_jis"             ? "windows-31j"
                                 : encoding.id == "euc-kr"              ? "windows-949"
                                 : encoding.id == "ibm858"              ? "IBM00858"
                                 : encoding.id == "x-mac-centraleurope" ? "x-mac-centraleurroman"
                                                                        : std::string(encoding.id);
        Encoder encoder(name);
        std::vector<std::u16string> characters;
        for (unsigned c = 0x20; c < 0x10000; c += c < 0x600 ? 1 : 7) {
            const bool isControl = c == 0x7f || (c >= 0x80 && c < 0xa0);
            // These are left out where they cannot be written, rather than refused.
            const bool isInvisible = u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
            const bool isAmbiguous = c >= 0xd800 && c < 0xf900;  // surrogates, and characters of private use
            const bool isText = !isControl && !isInvisible && !isAmbiguous;
            const std::u16string one(1, static_cast<char16_t>(c));
            if (isText && encoder.encode(one))
                characters.push_back(one);
        }
        if (encoder.encode(u"😀"))
            characters.emplace_back(u"😀");
        ASSERT_GT(characters.size(), 100U);
        std::u16string text;
        while (text.size() < 700'000)
            text += random() % 4 == 0 ? u"\r\n" : characters[random() % characters.size()];
        const auto converted = convertLegacyText(encoder.encode(text).value(), encoding.id);
        EXPECT_EQ(converted->unconvertibleBytes, 0U);
        const std::string expected = toUtf8(text);
        const auto differs =
            std::mismatch(expected.begin(), expected.end(), converted->text.begin(), converted->text.end());
        const auto at = static_cast<std::size_t>(differs.first - expected.begin());
        EXPECT_EQ(converted->text.size(), expected.size());
        EXPECT_EQ(expected.substr(at, 20), converted->text.substr(at, 20)) << "at " << at;
    }
}

TEST(LegacyEncodingTest, BadBytesAreCountedAndNeverFail)
{
    std::mt19937 random(8);
    for (const LegacyEncoding& encoding : legacyEncodings()) {
        SCOPED_TRACE(encoding.id);
        for (int round = 0; round < 40; ++round) {
            std::string bytes(round == 0 ? 1'100'001 : random() % 200, '\0');
            std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
            const auto converted = convertLegacyText(bytes, encoding.id);
            ASSERT_TRUE(isValidUtf8(converted->text));
            ASSERT_LE(converted->unconvertibleBytes, bytes.size());
            if (converted->unconvertibleBytes > 0) {
                ASSERT_NE(converted->text.find("\uFFFD"), std::string::npos);
            }
            for (const std::string_view id : guessLegacyEncoding(bytes))
                ASSERT_NE(findLegacyEncoding(id), nullptr);
        }
    }
}

TEST(LegacyEncodingTest, GuessesByTheText)
{
    const std::string russian = "Все люди рождаются свободными и равными в своем достоинстве и правах. Они наделены "
                                "разумом и совестью и должны поступать в отношении друг друга в духе братства.\n";
    const std::string japanese =
        "すべての人間は、生まれながらにして自由であり、かつ、尊厳と権利とについて平等である。"
        "人間は、理性と良心とを授けられており、互いに同胞の精神をもって行動しなければならない。\n";
    const std::string french =
        "Tous les êtres humains naissent libres et égaux en dignité et en droits. Ils sont doués "
        "de raison et de conscience et doivent agir les uns envers les autres.\n";
    const std::string chinese =
        "人人生而自由，在尊严和权利上一律平等。他们赋有理性和良心，并应以兄弟关系的精神相对待。\n";
    const std::string korean = "모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다. 인간은 천부적으로 "
                               "이성과 양심을 부여받았으며 서로 형제애의 정신으로 행동하여야 한다.\n";
    const std::pair<const std::string*, std::string_view> cases[] = {
        {&russian, "windows-1251"}, {&russian, "koi8-r"},     {&russian, "iso-8859-5"}, {&russian, "utf-16le"},
        {&russian, "utf-32be"},     {&japanese, "shift_jis"}, {&japanese, "euc-jp"},    {&japanese, "iso-2022-jp"},
        {&french, "windows-1252"},  {&french, "utf-16be"},    {&chinese, "gb18030"},    {&korean, "euc-kr"},
        {&french, "utf-32le"},
    };
    for (const auto& [text, id] : cases) {
        SCOPED_TRACE(id);
        const std::string bytes = Encoder(id).encode(fromUtf8(*text)).value();
        const auto ids = guessLegacyEncoding(bytes);
        ASSERT_FALSE(ids.empty());
        EXPECT_EQ(ids.front(), id);
        if (isWide(id))
            continue;
        // Behind a long part in ASCII, with line ends or without.
        for (const char* ascii : {"plain text\n", "plain text "}) {
            std::string file;
            while (file.size() < 500'000)
                file += ascii;
            const auto later = guessLegacyEncoding(file + bytes);
            ASSERT_FALSE(later.empty());
            EXPECT_EQ(later.front(), id);
        }
    }
    EXPECT_TRUE(guessLegacyEncoding("").empty());
}

}  // namespace
}  // namespace penmark
