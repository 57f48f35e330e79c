// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/Characters.h"

#include "CpuTime.h"
#include "text/RandomText.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <chrono>
#include <memory>

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

namespace penmark {
namespace {

using Offsets = std::vector<std::size_t>;
using Step = Utf8Offset (*)(const TextSnapshot&, Utf8Offset);

Offsets walkForward(const TextSnapshot& text, Step step)
{
    Offsets stops;
    for (Utf8Offset at; at < text.end();) {
        const Utf8Offset next = step(text, at);
        if (next <= at)
            throw std::logic_error("stands still");
        at = next;
        stops.push_back(at.value);
    }
    return stops;
}

/// Ascending, without the start and with the end, as walkForward has them.
Offsets walkBackward(const TextSnapshot& text, Step step)
{
    Offsets stops;
    for (Utf8Offset at = text.end(); at.value > 0;) {
        stops.push_back(at.value);
        const Utf8Offset next = step(text, at);
        if (next >= at)
            throw std::logic_error("stands still");
        at = next;
    }
    return {stops.rbegin(), stops.rend()};
}

std::string cutAt(const std::string& text, const Offsets& stops)
{
    std::string cut;
    std::size_t from = 0;
    for (const std::size_t stop : stops) {
        cut += text.substr(from, stop - from) + "|";
        from = stop;
    }
    return cut;
}

/// A text of many pieces, whose cuts fall anywhere between characters.
TextSnapshot inPieces(const std::string& text, Random& random)
{
    TextBuilder builder;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = std::min(text.size(), at + 1024 + random.below(400));
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            ++end;
        const TextSnapshot piece(text.substr(at, end - at));
        builder.append(piece, {{}, piece.end()});
        at = end;
    }
    return std::move(builder).build();
}

Offsets boundariesOfIcu(const std::string& text)
{
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), error));
    UText* utf8 = utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &error);
    iterator->setText(utf8, error);
    EXPECT_TRUE(U_SUCCESS(error));
    Offsets boundaries;
    while (iterator->next() != icu::BreakIterator::DONE)
        boundaries.push_back(static_cast<std::size_t>(iterator->current()));
    utext_close(utf8);
    return boundaries;
}

TEST(Characters, GraphemesOfAllScripts)
{
    for (const std::string cut : {
             "a|b|\r\n|\r|\r\n|\n|\t|c|",
             "e\u0301|x\u0301\u0302\u0303|\n|\u0301|",
             "🇩🇪|🇫🇷|🇮|a|🇩🇪|",
             "👨‍👩‍👧|👍🏽|🏳️‍🌈|❤️|1️⃣|a\u200d|b|",
             "한|글|\u1112\u1161\u11ab|\u1100\u1100\u1161|한\u11ab|",
             "क्षि|न|म|स्ते|",
             "ไ|ท|ย|ก้|น้ำ|",
             "中|文|か\u3099|",
             "\u0600١|a|\u00ad|b|",
         }) {
        std::string text = cut;
        std::erase(text, '|');
        const TextSnapshot snapshot(text);
        EXPECT_EQ(cutAt(text, walkForward(snapshot, nextGrapheme)), cut);
        EXPECT_EQ(cutAt(text, walkBackward(snapshot, previousGrapheme)), cut);
    }
}

// Every place of a text that is long enough for many pieces, asked for by itself.
TEST(Characters, GraphemesAgreeWithIcu)
{
    static const std::string extra[] = {"\u094d", "\u0915", "\u200d", "😀",      "🏽", "🇩", "\u0301", "\r",
                                        "\n",     "\u1100", "\u1161", "각",     "가",   "ะ", "\u0e33", "\u0600",
                                        "\u0c4d", "\u0c15", "\u200c", "\u0e4a", "a",    "©", "ℹ",      "\U000e0101"};
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        std::string text;
        for (int part = 0; part < 60; ++part) {
            text += random.text(20);
            for (int i = 0; i < 40; ++i)
                text += extra[random.below(std::size(extra))];
        }
        const TextSnapshot snapshot = inPieces(text, random);
        const Offsets expected = boundariesOfIcu(text);
        EXPECT_EQ(walkForward(snapshot, nextGrapheme), expected);
        EXPECT_EQ(walkBackward(snapshot, previousGrapheme), expected);
        for (std::size_t at = 0; at < text.size(); ++at) {
            const auto after = std::upper_bound(expected.begin(), expected.end(), at);
            const std::size_t start = after == expected.begin() ? 0 : after[-1];
            const std::size_t before = start < at || at == 0 ? start : after - expected.begin() < 2 ? 0 : after[-2];
            ASSERT_EQ(graphemeStart(snapshot, Utf8Offset(at)).value, start) << at;
            ASSERT_EQ(nextGrapheme(snapshot, Utf8Offset(at)).value, *after) << at;
            ASSERT_EQ(previousGrapheme(snapshot, Utf8Offset(at)).value, before) << at;
        }
    }
}

std::string repeated(std::string_view part, std::size_t times)
{
    std::string text;
    for (std::size_t i = 0; i < times; ++i)
        text += part;
    return text;
}

double seconds(auto&& run, int times)
{
    const auto start = cpuTime();
    for (int i = 0; i < times; ++i)
        run();
    return (cpuTime() - start).count() / times;
}

TEST(Characters, ClustersWithoutEndAreCutTheSameWayFromBothSides)
{
    for (const std::string_view part : {"\u0301", "\u094d\u0915", "\u200d", "🇩", "👩\u200d", "\u1100", "ก็"}) {
        SCOPED_TRACE(part);
        const std::string text = "ab" + repeated(part, 300'000 / part.size()) + "z";
        const TextSnapshot snapshot(text);
        const Offsets forward = walkForward(snapshot, nextGrapheme);
        EXPECT_EQ(forward, walkBackward(snapshot, previousGrapheme));
        std::size_t longest = 0;
        for (std::size_t i = 1; i < forward.size(); ++i)
            longest = std::max(longest, forward[i] - forward[i - 1]);
        EXPECT_LE(longest, 5000U);
        const Utf8Offset middle = snapshot.characterStart(Utf8Offset(150'001));
        EXPECT_LT(seconds([&] { nextGrapheme(snapshot, middle); }, 10), granted(0.0005));
        EXPECT_LT(seconds([&] { previousGrapheme(snapshot, middle); }, 10), granted(0.0005));
    }
}

TEST(Characters, WordStops)
{
    struct Case {
        std::string starts;     // | where nextWordStart stops
        std::string ends;       // where nextWordEnd stops
        std::string backwards;  // where previousWordStart stops, and the end
    };
    for (const Case& c : {
             Case{"foo |bar_2  |baz|", "foo| bar_2|  baz|", "foo |bar_2  |baz|"},
             Case{"f|(|x|) |+= |y|;|", "f|(|x|)| +=| y|;|", "f|(|x|) |+= |y|;|"},
             Case{"one  |\n|\n|  |two|", "one|  |\n|\n|  two|", "one  |\n|\n|  |two|"},
             Case{"a|\r\n|b|", "a|\r\n|b|", "a|\r\n|b|"},
             Case{"don't |l’été |'|quoted|' |x|''|y|", "don't| l’été| '|quoted|'| x|''|y|",
                  "don't |l’été |'|quoted|' |x|''|y|"},
             Case{"Слово |ἀρχή |שלום |مرحبا |한국어|", "Слово| ἀρχή| שלום| مرحبا| 한국어|",
                  "Слово |ἀρχή |שלום |مرحبا |한국어|"},
             Case{"नमस्ते |e\u0301te\u0301 |x\u00ady|", "नमस्ते| e\u0301te\u0301| x\u00ady|",
                  "नमस्ते |e\u0301te\u0301 |x\u00ady|"},
             Case{"a|👨‍👩‍👧👍🏽|b |❤️|", "a|👨‍👩‍👧👍🏽|b| ❤️|",
                  "a|👨‍👩‍👧👍🏽|b |❤️|"},
             Case{"สวัสดี|ชาว|โลก|", "สวัสดี|ชาว|โลก|", "สวัสดี|ชาว|โลก|"},
             Case{"abc|你好|世界|，|再见|", "abc|你好|世界|，|再见|", "abc|你好|世界|，|再见|"},
         }) {
        std::string text = c.starts;
        std::erase(text, '|');
        const TextSnapshot snapshot(text);
        EXPECT_EQ(cutAt(text, walkForward(snapshot, nextWordStart)), c.starts);
        EXPECT_EQ(cutAt(text, walkForward(snapshot, nextWordEnd)), c.ends);
        EXPECT_EQ(cutAt(text, walkBackward(snapshot, previousWordStart)), c.backwards);
    }
}

TEST(Characters, WordAtADoubleClick)
{
    // ^ where the click is, [ and ] around what it selects
    for (const std::string marked :
         {"say [do^n't] so", "say[^  ]so", "a[+^=]b", "end [o^f]\nline", "the [line^]\nnext", "[las^t]", "[last^]",
          "a\n^[]\nb", "x[ ^]", "[e\u0301te^\u0301]!", "你好[世^界]", "[\u0301^b]", "a[  ^]\r\nb"}) {
        std::string text;
        std::size_t click = 0;
        std::size_t start = 0;
        std::size_t end = 0;
        for (const char byte : marked) {
            if (byte == '^')
                click = text.size();
            else if (byte == '[')
                start = text.size();
            else if (byte == ']')
                end = text.size();
            else
                text += byte;
        }
        const TextSnapshot snapshot(text);
        EXPECT_EQ(wordAt(snapshot, Utf8Offset(click)), (Utf8Range{Utf8Offset(start), Utf8Offset(end)})) << marked;
    }
}

// Stops are the same in both directions and never inside a cluster, also far into runs without blanks and where pieces
// are cut.
TEST(Characters, WordStopsOfRandomTexts)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        std::string text = random.text(1500);
        text += repeated(seed % 2 ? "ภาษาไทย" : "日本語の文章", 400) + random.text(200);
        const TextSnapshot snapshot = inPieces(text, random);
        const Offsets forward = walkForward(snapshot, nextWordStart);
        EXPECT_EQ(forward, walkBackward(snapshot, previousWordStart));
        for (const Offsets& stops : {forward, walkForward(snapshot, nextWordEnd)})
            for (const std::size_t stop : stops)
                ASSERT_EQ(graphemeStart(snapshot, Utf8Offset(stop)).value, stop);
        for (std::size_t at = 0; at < text.size(); at = nextGrapheme(snapshot, Utf8Offset(at)).value) {
            const Utf8Range word = wordAt(snapshot, Utf8Offset(at));
            ASSERT_LE(word.start.value, at);
            ASSERT_GE(word.end.value, at);
            ASSERT_EQ(wordAt(snapshot, word.start), word) << at;
        }
    }
}

TEST(Characters, RunsOfManyMegabytesAreWalkedFast)
{
    for (const char byte : {'a', ' ', '-'}) {
        const TextSnapshot text(std::string(20'000'000, byte));
        EXPECT_LT(seconds([&] { EXPECT_EQ(nextWordStart(text, {}), text.end()); }, 1), granted(0.2));
        EXPECT_LT(seconds([&] { EXPECT_EQ(previousWordStart(text, text.end()), Utf8Offset()); }, 1), granted(0.2));
    }
}

}  // namespace
}  // namespace penmark
